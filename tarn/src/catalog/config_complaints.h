#pragma once

#include <string>
#include <string_view>
#include <vector>

#include <json/value.h>

namespace tarn::catalog {

// What is wrong with a configuration file, each with its line.
//
// Invariants
//  (1) A complaint is one line: what it quotes of the file holds no control characters.
//  (2) No complaint holds the value of a member: it could be a password.
//  (3) At most kMost are kept; the others are counted.
class ConfigComplaints final
{
public:
    static constexpr std::size_t kMost = 100;

    // The text is that from which the values were parsed; it must outlive this.
    explicit ConfigComplaints(std::string_view text) : m_text(text) {}

    // "line 7: WHERE: what"; where is the keys that lead to the place, outermost first.
    void add(const Json::Value& at, const std::vector<std::string>& where, const std::string& what);
    // About the text as a whole.
    void add(const std::string& what);

    bool isEmpty() const { return m_lines.empty(); }
    // Those that are kept, and one for the others together.
    std::vector<std::string> lines() const;

    // A key of the file, in quotes, fit for a line.
    static std::string quoted(const std::string& key);

private:
    std::size_t lineOf(const Json::Value& value);

    const std::string_view m_text;
    std::vector<std::size_t> m_lineEnds; // offsets, counted when first needed
    std::vector<std::string> m_lines;
    std::size_t m_more = 0;
};

// The member that is probably meant by a key that is none, as " (is "community" meant?)"; else empty.
std::string meantInstead(const std::string& key, const std::vector<std::string>& known);

} // namespace tarn::catalog
