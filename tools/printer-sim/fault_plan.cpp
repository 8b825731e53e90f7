#include "tools/printer-sim/fault_plan.h"

#include <charconv>
#include <map>
#include <string_view>

namespace printersim {

namespace {

constexpr std::uint32_t kMostPercent = 100;
constexpr std::uint32_t kMostDelayMs = 60000;

bool parseBounded(std::string_view text, std::uint32_t most, std::uint32_t& number)
{
    std::uint32_t parsed = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), parsed);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size() ||
        parsed > most) {
        return false;
    }
    number = parsed;
    return true;
}

// "20" or "20..50", milliseconds.
bool parseDelay(std::string_view text, FaultPlan& plan)
{
    const std::size_t dots = text.find("..");
    FaultPlan parsed = plan;
    if (!parseBounded(text.substr(0, dots), kMostDelayMs, parsed.delayLeastMs)) {
        return false;
    }
    parsed.delayMostMs = parsed.delayLeastMs;
    if (dots != std::string_view::npos &&
        !parseBounded(text.substr(dots + 2), kMostDelayMs, parsed.delayMostMs)) {
        return false;
    }
    if (parsed.delayMostMs < parsed.delayLeastMs) {
        return false;
    }
    plan = parsed;
    return true;
}

bool parseFault(std::string_view item, FaultPlan& plan)
{
    static const std::map<std::string_view, std::uint32_t FaultPlan::*> kPercentages = {
        {"loss", &FaultPlan::loss},
        {"duplicate", &FaultPlan::duplicate},
        {"garbage", &FaultPlan::garbage},
        {"truncate", &FaultPlan::truncate},
        {"wrong-id", &FaultPlan::wrongId},
        {"wrong-port", &FaultPlan::wrongPort},
        {"wrong-address", &FaultPlan::wrongAddress},
    };
    const std::size_t sign = item.find('=');
    if (sign == std::string_view::npos) {
        return false;
    }
    const std::string_view name = item.substr(0, sign);
    const std::string_view amount = item.substr(sign + 1);
    if (name == "delay") {
        return parseDelay(amount, plan);
    }
    const auto known = kPercentages.find(name);
    return known != kPercentages.end() && parseBounded(amount, kMostPercent, plan.*(known->second));
}

} // namespace

std::string parseFaults(const std::string& text, FaultPlan& plan)
{
    std::string_view rest = text;
    while (!rest.empty()) {
        const std::size_t comma = rest.find(',');
        const std::string_view item = rest.substr(0, comma);
        if (!parseFault(item, plan)) {
            return item.empty() ? std::string(rest) : std::string(item);
        }
        rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    }
    return {};
}

} // namespace printersim
