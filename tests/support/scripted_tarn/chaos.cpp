#include "tests/support/scripted_tarn/chaos.h"

#include <array>
#include <limits>
#include <stdexcept>

namespace kel_test {

namespace {

constexpr std::array<const char*, 12> kStrangeValues = {
    "\"80\"",  "80",   "null",         "true", "[]", "{}", "\"-1\"", "1e308", "\"99999999999999999999999\"",
    "\"yes\"", "\"\"", "\"\\u0000x\"",
};

constexpr std::array<const char*, 14> kStatusKeys = {
    "toner",     "black",     "CToner",    "MToner",    "YToner",     "KToner",      "RToner",
    "lessPaper", "lackPaper", "lessToner", "lackToner", "totalprint", "printerName", "",
};

constexpr std::array<const char*, 10> kStrangeDocuments = {
    "",
    "null",
    "5",
    "\"text\"",
    "[",
    "{\"KToner\":",
    "[] junk",
    "\xEF\xBB\xBF{}",
    "{\"KToner\":\"\xFF\xFE\"}",
    "\x01\x02",
};

} // namespace

int Chaos::below(int bound)
{
    return static_cast<int>(m_random() % static_cast<std::uint64_t>(bound));
}

int Chaos::result()
{
    return below(6) == 0 ? static_cast<int>(m_random()) : 0;
}

int Chaos::state()
{
    switch (below(4)) {
    case 0:
        return std::numeric_limits<int>::min();
    case 1:
        return std::numeric_limits<int>::max();
    case 2:
        return -below(100);
    default:
        return below(10);
    }
}

std::string Chaos::garbage()
{
    const bool isLong = below(200) == 0;
    std::string text(static_cast<std::size_t>(isLong ? 5'000'000 : below(200)), '-');
    for (std::size_t i = 0; i < text.size(); i += isLong ? 4096 : 1) {
        text[i] = static_cast<char>(1 + below(255));
    }
    return text;
}

std::string Chaos::value()
{
    return kStrangeValues[static_cast<std::size_t>(below(static_cast<int>(kStrangeValues.size())))];
}

std::optional<std::string> Chaos::text()
{
    return below(5) == 0 ? std::nullopt : std::optional<std::string>(garbage());
}

std::optional<std::string> Chaos::document()
{
    if (below(5) == 0) {
        return std::nullopt;
    }
    if (below(3) == 0) {
        return kStrangeDocuments[static_cast<std::size_t>(below(static_cast<int>(kStrangeDocuments.size())))];
    }
    if (below(20) == 0) {
        return std::string(static_cast<std::size_t>(100 + below(100'000)), '[');
    }
    std::string text = "{";
    for (const char* key : kStatusKeys) {
        if (below(3) != 0) {
            text += (text.size() > 1 ? ",\"" : "\"") + std::string(key) + "\":" + value();
        }
    }
    return text + "}";
}

std::optional<std::string> Chaos::list(const std::string& key)
{
    const int kind = below(10);
    if (kind < 3) {
        return document();
    }
    if (kind == 3) {
        return "[]";
    }
    const int count = kind == 4 ? 1000 : below(6);
    std::string text = "[";
    for (int i = 0; i < count; ++i) {
        text += i > 0 ? "," : "";
        if (below(6) == 0) {
            text += value();
        } else {
            text += "{\"" + key +
                    "\":" + (below(4) == 0 ? value() : "\"p" + std::to_string(below(1200)) + "\"") +
                    ",\"ip\":" + value() + ",\"isUsbPrinter\":" + value() + "}";
        }
    }
    return text + "]";
}

void Chaos::maybeThrow()
{
    switch (below(60)) {
    case 0:
        throw std::runtime_error("the library throws");
    case 1:
        throw 42;
    default:
        break;
    }
}

int Chaos::delayMs()
{
    return below(10) == 0 ? below(20) : 0;
}

} // namespace kel_test
