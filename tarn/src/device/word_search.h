#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Words looked for in a folded text (see foldCase), and tables of them. A row of a table has a member `word`.
namespace tarn::device {

enum class Match : std::uint8_t
{
    Word,     // between characters that are no letters
    Start,    // begins a word: languages that inflect or compound
    Anywhere, // scripts that write no blanks
};

bool isLetter(char32_t point); // of a folded text, in an alphabet

// Where the word first stands in the text as match wants it; npos when it does not.
std::size_t findWord(const std::u32string& text, const char32_t* word, Match match);

// Some rows of a table of N, in the table's order.
template <std::size_t N>
class RowSet final
{
public:
    void add(std::size_t row) { m_bits[row / 64] |= std::uint64_t{1} << (row % 64); }
    // Takes the first one out; N when there is none.
    std::size_t takeFirst()
    {
        for (std::size_t i = 0; i < kWords; ++i) {
            if (m_bits[i] != 0) {
                const auto bit = static_cast<std::size_t>(__builtin_ctzll(m_bits[i]));
                m_bits[i] &= m_bits[i] - 1;
                return i * 64 + bit;
            }
        }
        return N;
    }

private:
    static constexpr std::size_t kWords = (N + 63) / 64;
    std::uint64_t m_bits[kWords] = {};
};

// Tells by one walk over a text which rows of a table can have their word in it: those whose first two
// characters stand there beside each other. It is made when the library is compiled.
template <std::size_t N>
class WordIndex final
{
public:
    template <typename Row>
    explicit constexpr WordIndex(const Row (&rows)[N])
    {
        for (std::size_t row = 0; row < N; ++row) {
            const char32_t* const word = rows[row].word;
            std::uint16_t& head = m_heads[word[0] % kHeads];
            m_entries[row] = Entry{word[0], word[1], head};
            head = static_cast<std::uint16_t>(row + 1);
        }
    }

    RowSet<N> rowsIn(const std::u32string& text) const
    {
        RowSet<N> rows;
        for (std::size_t at = 0; at < text.size(); ++at) {
            const char32_t second = text.c_str()[at + 1];
            for (std::size_t link = m_heads[text[at] % kHeads]; link != 0; link = m_entries[link - 1].next) {
                const Entry& entry = m_entries[link - 1];
                if (entry.first == text[at] && (entry.second == second || entry.second == 0)) {
                    rows.add(link - 1);
                }
            }
        }
        return rows;
    }

private:
    static constexpr std::size_t kHeads = 128;
    static_assert(N < 0xFFFF);

    struct Entry
    {
        char32_t first = 0;
        char32_t second = 0;    // 0 where the word is a single character
        std::uint16_t next = 0; // as in m_heads
    };

    std::uint16_t m_heads[kHeads] = {}; // by the first character: the number of a row, from 1; 0 for none
    Entry m_entries[N] = {};
};

} // namespace tarn::device
