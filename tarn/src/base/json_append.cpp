#include "tarn/src/base/json_append.h"

namespace tarn {

namespace {

void appendEscaped(std::string& out, unsigned char byte)
{
    static const char digits[] = "0123456789abcdef";
    switch (byte) {
    case '"':
        out += "\\\"";
        return;
    case '\\':
        out += "\\\\";
        return;
    case '\n':
        out += "\\n";
        return;
    default:
        out += "\\u00";
        out += digits[byte >> 4];
        out += digits[byte & 15];
    }
}

bool needsEscape(unsigned char byte)
{
    return byte < 0x20 || byte == '"' || byte == '\\';
}

} // namespace

void appendJsonString(std::string& out, std::string_view text)
{
    out += '"';
    std::size_t plainFrom = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (needsEscape(byte)) {
            out.append(text, plainFrom, i - plainFrom);
            appendEscaped(out, byte);
            plainFrom = i + 1;
        }
    }
    out.append(text, plainFrom, text.size() - plainFrom);
    out += '"';
}

void appendJsonMember(std::string& out, std::string_view key, std::string_view value)
{
    if (!out.empty() && out.back() != '{') {
        out += ',';
    }
    appendJsonString(out, key);
    out += ':';
    appendJsonString(out, value);
}

} // namespace tarn
