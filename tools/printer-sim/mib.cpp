#include "tools/printer-sim/mib.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>

namespace printersim {

namespace {

constexpr std::size_t kMaxArcs = 128;
constexpr unsigned kMaxPadding = 20;

// The text of "{n:5}" for this printer, or nothing when braces hold something else.
std::optional<std::string> placeholder(std::string_view inside, const Moment& moment)
{
    if (inside == "address") {
        return addressText(moment.address);
    }
    if (inside == "n") {
        return std::to_string(moment.number);
    }
    if (inside.substr(0, 2) != "n:") {
        return std::nullopt;
    }
    unsigned width = 0;
    const auto result = std::from_chars(inside.data() + 2, inside.data() + inside.size(), width);
    if (result.ec != std::errc() || result.ptr != inside.data() + inside.size() || width > kMaxPadding) {
        return std::nullopt;
    }
    std::string digits = std::to_string(moment.number);
    return digits.size() < width ? std::string(width - digits.size(), '0') + digits : digits;
}

} // namespace

Mib::Mib(std::vector<Row> rows)
{
    std::stable_sort(rows.begin(), rows.end(),
                     [](const Row& left, const Row& right) { return left.name < right.name; });
    for (Row& row : rows) {
        if (!m_rows.empty() && m_rows.back().name == row.name) {
            m_rows.back() = std::move(row);
        } else {
            m_rows.push_back(std::move(row));
        }
    }
}

const Row* Mib::find(const Oid& name) const
{
    const auto at = std::lower_bound(m_rows.begin(), m_rows.end(), name,
                                     [](const Row& row, const Oid& wanted) { return row.name < wanted; });
    return at != m_rows.end() && at->name == name ? &*at : nullptr;
}

std::size_t Mib::firstAfter(const Oid& name) const
{
    const auto at = std::upper_bound(m_rows.begin(), m_rows.end(), name,
                                     [](const Oid& wanted, const Row& row) { return wanted < row.name; });
    return static_cast<std::size_t>(at - m_rows.begin());
}

Value integer(std::int64_t number, ValueType type)
{
    Value value;
    value.type = type;
    value.number = number;
    return value;
}

Value octets(std::string bytes)
{
    Value value;
    value.type = ValueType::OctetString;
    value.bytes = std::move(bytes);
    return value;
}

Value objectId(Oid oid)
{
    Value value;
    value.type = ValueType::ObjectId;
    value.oid = std::move(oid);
    return value;
}

Source always(Value value)
{
    return [value = std::move(value)](const Moment&) { return std::optional<Value>(value); };
}

std::optional<Oid> parseOid(std::string_view text)
{
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
    }
    Oid oid;
    const char* at = text.data();
    const char* const end = at + text.size();
    while (oid.size() < kMaxArcs) {
        std::uint32_t arc = 0;
        const auto result = std::from_chars(at, end, arc);
        if (result.ec != std::errc()) {
            return std::nullopt;
        }
        oid.push_back(arc);
        at = result.ptr;
        if (at == end) {
            break;
        }
        if (*at++ != '.') {
            return std::nullopt;
        }
    }
    // The first two arcs share an octet of the encoding (X.690 8.19.4): there are no others.
    if (at != end || oid.size() < 2 || oid[0] > 2 || (oid[0] < 2 && oid[1] > 39)) {
        return std::nullopt;
    }
    return oid;
}

std::string oidText(const Oid& oid)
{
    std::string text;
    for (const std::uint32_t arc : oid) {
        if (!text.empty()) {
            text += '.';
        }
        text += std::to_string(arc);
    }
    return text;
}

bool startsWith(const Oid& name, const Oid& prefix)
{
    return name.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), name.begin());
}

std::optional<std::uint32_t> parseAddress(const std::string& text)
{
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

std::string addressText(std::uint32_t address)
{
    in_addr wire{};
    wire.s_addr = htonl(address);
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &wire, text, sizeof text);
    return text;
}

std::string fillIn(const std::string& text, const Moment& moment)
{
    std::string filled;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t open = text.find('{', at);
        const std::size_t close = open == std::string::npos ? open : text.find('}', open);
        if (close == std::string::npos) {
            break;
        }
        const auto inside = std::string_view(text).substr(open + 1, close - open - 1);
        const auto value = placeholder(inside, moment);
        filled.append(text, at, open - at);
        filled += value ? *value : text.substr(open, close - open + 1);
        at = close + 1;
    }
    return filled.append(text, at, std::string::npos);
}

} // namespace printersim
