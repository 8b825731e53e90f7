#include "tools/tarn-status/csv_field.h"

namespace tarnstatus {

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"") == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    }
    return quoted + '"';
}

} // namespace tarnstatus
