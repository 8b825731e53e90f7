#include "tarn/src/base/json_input.h"

#include <memory>

#include <json/reader.h>

namespace tarn {

namespace {

// Of JsonCpp's "* Line 3, Column 7\n  Missing ...\n" the first error, in one line.
std::string firstError(const std::string& errors)
{
    const std::size_t place = errors.find("Line ");
    const std::size_t end = errors.find('\n', place);
    if (place == std::string::npos || end == std::string::npos) {
        return "no JSON";
    }
    const std::size_t text = errors.find_first_not_of(' ', end + 1);
    const std::string what =
        text == std::string::npos ? std::string() : errors.substr(text, errors.find('\n', text) - text);
    std::string where = errors.substr(place, end - place);
    where.front() = 'l';
    if (const std::size_t column = where.find("Column"); column != std::string::npos) {
        where[column] = 'c';
    }
    return where + ": " + what;
}

} // namespace

std::optional<Json::Value> parseJson(std::string_view text, std::size_t maxBytes, std::string* why)
{
    std::string unused;
    std::string& reason = why != nullptr ? *why : unused;
    if (text.size() > maxBytes) {
        reason = "larger than " + std::to_string(maxBytes) + " bytes";
        return std::nullopt;
    }
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["stackLimit"] = 32;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    try {
        if (!reader->parse(text.data(), text.data() + text.size(), &root,
                           why != nullptr ? &errors : nullptr)) {
            reason = firstError(errors);
            return std::nullopt;
        }
    } catch (const Json::Exception&) {
        reason = "nested too deep";
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
