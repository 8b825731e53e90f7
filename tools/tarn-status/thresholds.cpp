#include "tools/tarn-status/thresholds.h"

#include <cstdlib>
#include <sstream>

#include "tools/common/option_table.h"

namespace tarnstatus {

namespace {

constexpr double kLongestAge = 1e9;

[[noreturn]] void refuse()
{
    throw tools::UsageError("not a list such as toner=20,state=attention,age=300 "
                            "(percent; offline, attention or none; seconds)");
}

double numberOf(const std::string& text, double most)
{
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool isPlain = !text.empty() && text.find_first_not_of("0123456789.") == std::string::npos;
    if (!isPlain || *end != '\0' || number > most) {
        refuse();
    }
    return number;
}

Thresholds::State stateOf(const std::string& word)
{
    if (word == "none") {
        return Thresholds::State::None;
    }
    if (word == "offline") {
        return Thresholds::State::Offline;
    }
    if (word == "attention") {
        return Thresholds::State::Attention;
    }
    refuse();
}

} // namespace

void Thresholds::take(const std::string& text)
{
    std::istringstream parts(text);
    bool isEmpty = true;
    for (std::string part; std::getline(parts, part, ',');) {
        const std::size_t sign = part.find('=');
        const std::string name = part.substr(0, sign);
        const std::string value = sign == std::string::npos ? std::string() : part.substr(sign + 1);
        isEmpty = false;
        if (name == "toner") {
            toner = static_cast<int>(numberOf(value, 100));
        } else if (name == "age") {
            age = numberOf(value, kLongestAge);
        } else if (name == "state") {
            state = stateOf(value);
        } else {
            refuse();
        }
    }
    if (isEmpty) {
        refuse();
    }
}

} // namespace tarnstatus
