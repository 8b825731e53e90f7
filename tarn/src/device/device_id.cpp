#include "tarn/src/device/device_id.h"

#include <algorithm>
#include <cstdint>

#include "tarn/src/device/serial_number.h"
#include "tarn/src/device/utf8.h"

namespace tarn::device {

namespace {

std::uint8_t octetAt(std::string_view octets, std::size_t at)
{
    return static_cast<std::uint8_t>(octets[at]);
}

bool isBinary(std::uint8_t octet)
{
    return octet < 0x20 && octet != '\t' && octet != '\n' && octet != '\r';
}

// Whether the first two octets are a length rather than the beginning of a text.
bool startsWithLength(std::string_view octets)
{
    if (octets.size() < 2) {
        return false;
    }
    const std::size_t first = octetAt(octets, 0);
    const std::size_t second = octetAt(octets, 1);
    // No ID is as long as a length of two printable octets says, 8224 at least.
    return isBinary(octetAt(octets, 0)) || isBinary(octetAt(octets, 1)) ||
           first * 256 + second == octets.size() || second * 256 + first == octets.size();
}

std::string_view withoutLength(std::string_view octets)
{
    if (!startsWithLength(octets)) {
        return octets;
    }
    const std::size_t first = octetAt(octets, 0);
    const std::size_t second = octetAt(octets, 1);
    for (const std::size_t length : {first * 256 + second, second * 256 + first}) {
        if (length > 2 && length < octets.size() && octets[length - 1] == ';') {
            return octets.substr(2, length - 2);
        }
    }
    return octets.substr(2);
}

std::string keyOf(std::string_view octets)
{
    std::string key = tidyText(octets);
    std::transform(key.begin(), key.end(), key.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return key;
}

void takeField(DeviceId& id, std::string_view field)
{
    std::size_t colon = field.find(':');
    colon = colon == std::string_view::npos ? field.find('=') : colon;
    if (colon == std::string_view::npos) {
        return;
    }
    std::string key = keyOf(field.substr(0, colon));
    std::string value = tidyText(field.substr(colon + 1));
    if (!key.empty() && !value.empty() && id.value(key).empty()) {
        id.fields.emplace_back(std::move(key), std::move(value));
    }
}

// "Serial_Number", "S/N" and "SERIAL NUMBER" as one word.
std::string plainKey(std::string_view key)
{
    std::string plain;
    for (const char c : key) {
        if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) {
            plain.push_back(c);
        }
    }
    return plain;
}

// The value of the first of the keys that is there.
template <std::size_t count>
std::string firstOf(const DeviceId& id, const char* const (&keys)[count])
{
    for (const char* key : keys) {
        for (const auto& [said, value] : id.fields) {
            if (plainKey(said) == key) {
                return value;
            }
        }
    }
    return {};
}

// As plainKey makes them.
constexpr const char* kManufacturerKeys[] = {"MFG", "MANUFACTURER", "MANUFACTURE", "MFR", "MAKE", "VENDOR"};
constexpr const char* kModelKeys[] = {"MDL", "MODEL", "MODELNAME"};
constexpr const char* kDescriptionKeys[] = {"DES", "DESCRIPTION"};
constexpr const char* kCommandSetKeys[] = {"CMD", "COMMANDSET"};
constexpr const char* kClassKeys[] = {"CLS", "CLASS"};
constexpr const char* kSerialNumberKeys[] = {"SN",  "SERN",     "SERIALNUMBER", "SERIAL",
                                             "SER", "SERIALNO", "SNUM",         "SERNO"};
constexpr const char* kUuidKeys[] = {"UUID"};

} // namespace

std::string_view DeviceId::value(std::string_view key) const
{
    const auto found =
        std::find_if(fields.begin(), fields.end(), [key](const auto& field) { return field.first == key; });
    return found != fields.end() ? std::string_view(found->second) : std::string_view();
}

DeviceId parseDeviceId(std::string_view octets)
{
    std::string_view text = withoutLength(octets.substr(0, DeviceId::kLargest));
    text = text.substr(0, text.find('\0'));
    DeviceId id;
    while (!text.empty() && id.fields.size() < DeviceId::kMostFields) {
        const std::size_t end = text.find_first_of(";\r\n\""); // some frame it, or break lines instead
        takeField(id, text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    id.manufacturer = firstOf(id, kManufacturerKeys);
    id.model = firstOf(id, kModelKeys);
    id.description = firstOf(id, kDescriptionKeys);
    id.commandSet = firstOf(id, kCommandSetKeys);
    id.deviceClass = firstOf(id, kClassKeys);
    id.serialNumber = serialNumberFrom(firstOf(id, kSerialNumberKeys));
    id.uuid = firstOf(id, kUuidKeys);
    return id;
}

} // namespace tarn::device
