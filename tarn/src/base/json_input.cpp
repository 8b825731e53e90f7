#include "tarn/src/base/json_input.h"

#include <memory>

#include <json/reader.h>

namespace tarn {

std::optional<Json::Value> parseJson(std::string_view text, std::size_t maxBytes)
{
    if (text.size() > maxBytes) {
        return std::nullopt;
    }
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["stackLimit"] = 32;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) {
            return std::nullopt;
        }
    } catch (const Json::Exception&) { // too deep
        return std::nullopt;
    }
    return root;
}

std::string textMember(const Json::Value& value, const char* key)
{
    if (!value.isObject()) {
        return {};
    }
    const Json::Value& member = value[key];
    return member.isString() ? member.asString() : std::string();
}

} // namespace tarn
