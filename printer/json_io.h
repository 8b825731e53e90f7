#pragma once

#include <json/value.h>

#include <string>

namespace morvik::kel {

// Compact JSON as Json::FastWriter lays it out: one line, members in byte order of their keys, characters
// beyond ASCII as \uXXXX, one line feed at the end.
std::string writeJson(const Json::Value& root);

// Reads one document with Json::Reader, comments collected. False for whatever the reader refuses; too deep
// a nesting, on which it throws, included. Text behind the document is accepted: "[] junk" is "[]".
bool readJson(const std::string& text, Json::Value& root);

// The member's text when the object has that member and it is a string, else the empty text.
std::string stringMember(const Json::Value& object, const char* key);

} // namespace morvik::kel
