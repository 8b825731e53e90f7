#include "tarn/src/catalog/config_complaints.h"

#include <algorithm>
#include <numeric>

namespace tarn::catalog {

namespace {

constexpr std::size_t kLongestQuote = 64;
constexpr std::size_t kMostSlips = 2; // letters that differ from the key that is meant

// How many letters have to be added, dropped or changed (Levenshtein).
std::size_t slipsBetween(const std::string& a, const std::string& b)
{
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
        }
    }
    return row.back();
}

} // namespace

void ConfigComplaints::add(const Json::Value& at, const std::vector<std::string>& where,
                           const std::string& what)
{
    if (m_lines.size() == kMost) {
        ++m_more;
        return;
    }
    std::string line = "line " + std::to_string(lineOf(at)) + ": ";
    for (const std::string& key : where) {
        line += quoted(key) + ": ";
    }
    m_lines.push_back(line + what);
}

void ConfigComplaints::add(const std::string& what)
{
    m_lines.push_back(what);
}

std::vector<std::string> ConfigComplaints::lines() const
{
    std::vector<std::string> lines = m_lines;
    if (m_more != 0) {
        lines.push_back("and " + std::to_string(m_more) + " more");
    }
    return lines;
}

std::string ConfigComplaints::quoted(const std::string& key)
{
    std::string text = key;
    if (text.size() > kLongestQuote) {
        std::size_t end = kLongestQuote;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            --end; // not in the middle of a character
        }
        text = text.substr(0, end) + "...";
    }
    // C1 controls, two bytes in UTF-8, steer a terminal as well.
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x20 || byte == 0x7F) {
            text[i] = '?';
        } else if (byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0) {
            text.replace(i, 2, "?");
        }
    }
    return '"' + text + '"';
}

std::size_t ConfigComplaints::lineOf(const Json::Value& value)
{
    if (m_lineEnds.empty()) {
        for (std::size_t i = 0; i < m_text.size(); ++i) {
            if (m_text[i] == '\n') {
                m_lineEnds.push_back(i);
            }
        }
        m_lineEnds.push_back(m_text.size());
    }
    const auto offset = static_cast<std::size_t>(value.getOffsetStart());
    const auto end = std::lower_bound(m_lineEnds.begin(), m_lineEnds.end(), offset);
    return static_cast<std::size_t>(end - m_lineEnds.begin()) + 1;
}

std::string meantInstead(const std::string& key, const std::vector<std::string>& known)
{
    if (key.size() > kLongestQuote) {
        return {};
    }
    for (const std::string& name : known) {
        if (slipsBetween(key, name) <= kMostSlips && name.size() > kMostSlips) {
            return " (is \"" + name + "\" meant?)";
        }
    }
    return {};
}

} // namespace tarn::catalog
