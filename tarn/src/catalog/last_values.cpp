#include "tarn/src/catalog/last_values.h"

#include <algorithm>
#include <vector>

#include "tarn/src/base/files.h"
#include "tarn/src/base/json_append.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/catalog/status_json.h"
#include "tarn/src/engine/endpoint.h"

namespace tarn::catalog {

namespace {

constexpr int kFormat = 1;
constexpr UnixTime kLatest = 253402300799; // the year 9999 ends
constexpr std::string_view kHeader = "{\"format\":1,\"holds\":\"last values of printers\"}\n";

// The text up to the next end of a line, which is taken away.
std::string_view takeLine(std::string_view& text)
{
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

// The format that the first line tells; 0 where it is none of ours.
int formatOf(std::string_view line)
{
    const std::optional<Json::Value> head = parseJson(line, LastValues::kLargestLine);
    return head && head->isObject() && (*head)["format"].isInt() ? (*head)["format"].asInt() : 0;
}

engine::Source sourceOf(const std::string& name)
{
    for (std::size_t i = 0; i < engine::kSourceCount; ++i) {
        if (name == engine::sourceName(static_cast<engine::Source>(i))) {
            return static_cast<engine::Source>(i);
        }
    }
    return engine::Source::None;
}

std::string lineOf(std::uint32_t address, const LastValue& value)
{
    std::string out = "{";
    appendJsonMember(out, "address", engine::formatIpv4(address));
    out += ",\"time\":" + std::to_string(value.time);
    appendJsonMember(out, "source", engine::sourceName(value.source));
    out += ",\"status\":" + statusText(value.status.unpacked()) + "}\n";
    return out;
}

// The addresses, those that answered last first.
std::vector<std::uint32_t> byTime(const std::map<std::uint32_t, LastValue>& values)
{
    std::vector<std::pair<UnixTime, std::uint32_t>> times;
    times.reserve(values.size());
    for (const auto& [address, value] : values) {
        times.emplace_back(-value.time, address);
    }
    std::sort(times.begin(), times.end());
    std::vector<std::uint32_t> addresses;
    addresses.reserve(times.size());
    for (const auto& entry : times) {
        addresses.push_back(entry.second);
    }
    return addresses;
}

} // namespace

bool LastValues::parse(std::string_view text, std::string& complaint)
{
    const int format = text.size() > kLargestText ? 0 : formatOf(takeLine(text));
    if (format > kFormat) {
        complaint = "is of a later version: no last values of printers are kept";
        return false;
    }
    if (format != kFormat) {
        complaint = "is no list of last values";
        return true;
    }
    for (int number = 2; !text.empty(); ++number) {
        if (!parseLine(takeLine(text)) && complaint.empty()) {
            complaint = "line " + std::to_string(number) + " says nothing of a printer";
        }
    }
    keepToMost();
    return true;
}

bool LastValues::parseLine(std::string_view line)
{
    const std::optional<Json::Value> entry = parseJson(line, kLargestLine);
    const std::optional<std::uint32_t> address =
        entry ? engine::parseIpv4(textMember(*entry, "address")) : std::nullopt;
    if (!address || !(*entry)["time"].isInt64() || (*entry)["time"].asInt64() < 0 ||
        !(*entry)["status"].isObject()) {
        return false;
    }
    LastValue value;
    value.time = std::min<UnixTime>((*entry)["time"].asInt64(), kLatest);
    value.source = sourceOf(textMember(*entry, "source"));
    value.status = device::PackedStatus(statusOf((*entry)["status"]));
    const auto known = m_values.find(*address);
    if (known == m_values.end() || known->second.time < value.time) {
        m_values[*address] = std::move(value);
    }
    return true;
}

void LastValues::take(std::map<std::uint32_t, LastValue>&& values, UnixTime now)
{
    for (auto& [address, value] : values) {
        value.time = std::clamp<UnixTime>(value.time, 0, std::max<UnixTime>(now, 0));
        const auto known = m_values.find(address);
        if (known == m_values.end() || known->second.time <= value.time || known->second.time >= now) {
            m_values[address] = std::move(value);
        }
    }
    keepToMost();
}

void LastValues::keepToMost()
{
    if (m_values.size() <= kMostPrinters) {
        return;
    }
    const std::vector<std::uint32_t> addresses = byTime(m_values);
    for (std::size_t i = kMostPrinters; i < addresses.size(); ++i) {
        m_values.erase(addresses[i]);
    }
}

const LastValue* LastValues::find(std::uint32_t address) const
{
    const auto found = m_values.find(address);
    return found == m_values.end() ? nullptr : &found->second;
}

std::string LastValues::text() const
{
    std::string out(kHeader);
    for (const std::uint32_t address : byTime(m_values)) {
        const std::string line = lineOf(address, m_values.at(address));
        if (line.size() > kLargestLine) {
            continue;
        }
        if (out.size() + line.size() > kLargestText) {
            break;
        }
        out += line;
    }
    return out;
}

std::string LastValues::defaultPath()
{
    const std::string directory = xdgDirectory("XDG_STATE_HOME", "/.local/state");
    return directory.empty() ? directory : directory + "/tarn/last-values.jsonl";
}

} // namespace tarn::catalog
