#include "printer/json_io.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>

// The reader and writer are the deprecated pair on purpose: their successors differ in what they accept and
// how they lay out, and printers.json and the access library's documents are bound to this layout.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace morvik::kel {

std::string writeJson(const Json::Value& root)
{
    Json::FastWriter writer;
    return writer.write(root);
}

bool readJson(const std::string& text, Json::Value& root)
{
    try {
        Json::Reader reader;
        return reader.parse(text, root, true);
    } catch (const std::exception&) {
        return false;
    }
}

std::string stringMember(const Json::Value& object, const char* key)
{
    if (!object.isMember(key)) {
        return {};
    }
    const Json::Value& value = object[key];
    return value.isString() ? value.asString() : std::string();
}

} // namespace morvik::kel
