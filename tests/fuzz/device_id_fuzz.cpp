#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>

#include "tarn/src/device/device_id.h"
#include "tarn/src/device/utf8.h"

namespace {

bool isTidy(const std::string& text)
{
    bool tidy = !text.empty() && text.front() != ' ' && text.back() != ' ' && tarn::device::isValidUtf8(text);
    for (const char c : text) {
        tidy = tidy && static_cast<std::uint8_t>(c) >= 0x20 && c != 0x7F;
    }
    return tidy;
}

} // namespace

// Whatever a device sends: a bounded number of tidy fields, none twice, and the named ones are among them.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const tarn::device::DeviceId id =
        tarn::device::parseDeviceId(std::string_view(reinterpret_cast<const char*>(data), size));
    std::set<std::string> keys;
    std::set<std::string> values{""};
    for (const auto& [key, value] : id.fields) {
        if (!isTidy(key) || !isTidy(value) || !keys.insert(key).second || id.value(key) != value) {
            std::abort();
        }
        values.insert(value);
    }
    for (const std::string& text :
         {id.manufacturer, id.model, id.description, id.commandSet, id.deviceClass, id.uuid}) {
        if (values.count(text) == 0) {
            std::abort();
        }
    }
    if (!id.serialNumber.empty() && !isTidy(id.serialNumber)) {
        std::abort();
    }
    if (id.fields.size() > tarn::device::DeviceId::kMostFields) {
        std::abort();
    }
    return 0;
}
