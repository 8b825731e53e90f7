#include "tarn/src/api/options.h"

#include "tarn/src/base/json_input.h"

namespace tarn::api {

namespace {

constexpr std::size_t kLargestOptions = 1u << 20;

// Whether name is one of the names joined by "|".
bool isAmong(std::string_view name, std::string_view joined)
{
    for (;;) {
        const std::size_t bar = joined.find('|');
        if (joined.substr(0, bar) == name) {
            return true;
        }
        if (bar == std::string_view::npos) {
            return false;
        }
        joined.remove_prefix(bar + 1);
    }
}

void take(const Json::Value& root, const char* member, bool& option)
{
    if (const Json::Value& value = root[member]; value.isBool()) {
        option = value.asBool();
    }
}

} // namespace

bool Options::parse(std::string_view text)
{
    const std::optional<Json::Value> root = parseJson(text, kLargestOptions);
    if (!root || !root->isObject()) {
        return false;
    }
    if (const Json::Value& value = (*root)["enable_backends"]; value.isString()) {
        const std::string names = value.asString();
        usesNetwork = isAmong("sm", names);
        usesUsb = isAmong("smusb", names);
    }
    take(*root, "enable_ipp", usesIpp);
    take(*root, "enable_set_printer_list", acceptsList);
    take(*root, "enable_cache", usesCache);
    take(*root, "enable_cache_writing", writesCache);
    take(*root, "enable_usb_printer_discovery", findsUsbPrinters);
    take(*root, "enable_cups_printer", findsCupsQueues);
    return true;
}

} // namespace tarn::api
