#include "tarn/src/usb/ipp_usb.h"

#include <dirent.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tarn/src/base/files.h"

namespace tarn::usb {

namespace {

constexpr std::string_view kSuffix = ".state";
constexpr std::size_t kLargestStateFile = 65536;
constexpr unsigned kMostFiles = 10000;

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view kBlanks = " \t\r\"";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<std::uint16_t> portOf(std::string_view digits)
{
    if (digits.empty() || digits.size() > 5 ||
        digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    unsigned port = 0;
    for (const char digit : digits) {
        port = port * 10 + static_cast<unsigned>(digit - '0');
    }
    return port >= 1 && port <= 65535 ? std::optional(static_cast<std::uint16_t>(port)) : std::nullopt;
}

// How the names of the device's state files begin: the service writes a hyphen for what is neither letter nor
// digit, hyphen nor underscore.
std::string prefixOf(const UsbDevice& device)
{
    char numbers[16];
    std::snprintf(numbers, sizeof numbers, "%04x-%04x-", device.vendor, device.product);
    std::string prefix = numbers + device.serialText + '-';
    for (char& c : prefix) {
        const bool kept =
            (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
        c = kept ? c : '-';
    }
    return prefix;
}

bool isBetween(std::string_view name, std::string_view prefix, std::string_view suffix)
{
    return name.size() >= prefix.size() + suffix.size() && name.substr(0, prefix.size()) == prefix &&
           name.substr(name.size() - suffix.size()) == suffix;
}

} // namespace

std::string ippUsbDirectory()
{
    const char* const set = std::getenv("TARN_IPP_USB_DIR");
    return set != nullptr && *set != '\0' ? set : "/var/ipp-usb/dev";
}

std::optional<std::uint16_t> httpPortIn(std::string_view stateFile)
{
    while (!stateFile.empty()) {
        const std::size_t end = stateFile.find('\n');
        const std::string_view line = stateFile.substr(0, end);
        const std::size_t equals = line.find('=');
        if (equals != std::string_view::npos && trimmed(line.substr(0, equals)) == "http-port") {
            return portOf(trimmed(line.substr(equals + 1)));
        }
        stateFile.remove_prefix(end == std::string_view::npos ? stateFile.size() : end + 1);
    }
    return std::nullopt;
}

std::optional<std::uint16_t> ippUsbPort(const std::string& directory, const UsbDevice& device)
{
    const auto close = [](DIR* open) { ::closedir(open); };
    const std::unique_ptr<DIR, decltype(close)> files(::opendir(directory.c_str()), close);
    if (!files) {
        return std::nullopt;
    }
    const std::string prefix = prefixOf(device);
    std::string found;
    unsigned left = kMostFiles;
    for (const dirent* file = ::readdir(files.get()); file != nullptr && left > 0; --left) {
        if (isBetween(file->d_name, prefix, kSuffix)) {
            if (!found.empty()) {
                return std::nullopt;
            }
            found = file->d_name;
        }
        file = ::readdir(files.get());
    }
    return found.empty() ? std::nullopt
                         : httpPortIn(readFile(directory + '/' + found, kLargestStateFile).text);
}

} // namespace tarn::usb
