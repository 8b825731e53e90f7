#include "tests/support/json_text.h"

#include <cstddef>

namespace kel::testing {

namespace {

class Scanner final
{
public:
    explicit Scanner(std::string_view text) : m_left(text) {}

    bool isOneValue()
    {
        const bool sound = value(0);
        blanks();
        return sound && m_left.empty();
    }

private:
    static constexpr int kDeepest = 64;

    bool value(int depth)
    {
        blanks();
        if (m_left.empty() || depth > kDeepest) {
            return false;
        }
        switch (m_left.front()) {
        case '{':
            return list('{', '}', [&] { return string() && take(":") && value(depth + 1); });
        case '[':
            return list('[', ']', [&] { return value(depth + 1); });
        case '"':
            return string();
        default:
            return word("true") || word("false") || word("null") || number();
        }
    }

    template <typename Item>
    bool list(char first, char last, Item item)
    {
        const char close[] = {last, '\0'};
        const char open[] = {first, '\0'};
        if (!take(open)) {
            return false;
        }
        if (take(close)) {
            return true;
        }
        do {
            blanks();
            if (!item()) {
                return false;
            }
        } while (take(","));
        return take(close);
    }

    bool string()
    {
        if (!word("\"")) {
            return false;
        }
        while (!m_left.empty() && m_left.front() != '"') {
            if (static_cast<unsigned char>(m_left.front()) < 0x20 || !character()) {
                return false;
            }
        }
        return word("\"");
    }

    bool character()
    {
        if (m_left.front() != '\\') {
            m_left.remove_prefix(1);
            return true;
        }
        if (m_left.size() < 2) {
            return false;
        }
        const char escaped = m_left[1];
        m_left.remove_prefix(2);
        if (escaped != 'u') {
            return std::string_view("\"\\/bfnrt").find(escaped) != std::string_view::npos;
        }
        const std::string_view digits = m_left.substr(0, 4);
        m_left.remove_prefix(digits.size());
        return digits.size() == 4 &&
               digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
    }

    bool number()
    {
        word("-");
        if (!word("0") && !digits()) {
            return false;
        }
        if (word(".") && !digits()) {
            return false;
        }
        if (word("e") || word("E")) {
            if (!word("+")) {
                word("-");
            }
            return digits();
        }
        return true;
    }

    bool digits()
    {
        std::size_t count = 0;
        while (count < m_left.size() && m_left[count] >= '0' && m_left[count] <= '9') {
            ++count;
        }
        m_left.remove_prefix(count);
        return count > 0;
    }

    void blanks()
    {
        while (!m_left.empty() &&
               std::string_view(" \t\n\r").find(m_left.front()) != std::string_view::npos) {
            m_left.remove_prefix(1);
        }
    }

    bool take(std::string_view sign)
    {
        blanks();
        return word(sign);
    }

    bool word(std::string_view text)
    {
        if (m_left.substr(0, text.size()) != text) {
            return false;
        }
        m_left.remove_prefix(text.size());
        return true;
    }

    std::string_view m_left;
};

} // namespace

bool isJson(std::string_view text)
{
    return Scanner(text).isOneValue();
}

} // namespace kel::testing
