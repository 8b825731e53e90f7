#include "ui/shown_text/shown_text.h"

#include <QStringList>

#include <string_view>

namespace {

constexpr std::size_t kLongestLine = 32768;
constexpr int kLongestRow = 4096;
constexpr std::size_t kLongestItems = 262144;
constexpr const char* kSeparators = "-\n";

// What would break out of its line or turn the direction of what stands around it; Qt draws it so in a label,
// too.
bool breaksOut(QChar c)
{
    const ushort unit = c.unicode();
    return unit < 0x20 || (unit >= 0x7F && unit <= 0x9F) || unit == 0x061C || unit == 0x200E ||
           unit == 0x200F || (unit >= 0x2028 && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069) ||
           unit == 0xFEFF;
}

QString withoutBreaks(QString text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (breaksOut(text.at(i))) {
            text[i] = QLatin1Char(' ');
        }
    }
    return text;
}

QString beginningOf(std::string_view utf8)
{
    std::size_t length = utf8.size();
    if (length > kLongestLine) {
        length = kLongestLine;
        // A character has at most three octets after its first; more of them in a row are none.
        for (int back = 0; back < 3 && (static_cast<unsigned char>(utf8[length]) & 0xC0u) == 0x80u; ++back) {
            --length;
        }
    }
    return withoutBreaks(QString::fromUtf8(utf8.data(), static_cast<int>(length)));
}

} // namespace

QString shownLine(const std::string& utf8)
{
    return beginningOf(utf8);
}

QString shownRow(const QString& text)
{
    const bool cutsPair = text.size() > kLongestRow && text[kLongestRow].isLowSurrogate() &&
                          text[kLongestRow - 1].isHighSurrogate();
    return withoutBreaks(text.left(cutsPair ? kLongestRow - 1 : kLongestRow));
}

QString shownItems(const std::string& utf8, int mostItems)
{
    QStringList lines;
    std::size_t taken = 0;
    std::string_view rest = utf8;
    for (int count = 0; count < mostItems && taken <= kLongestItems; ++count) {
        const std::size_t separator = rest.find_last_of(kSeparators);
        const std::size_t begin = separator == std::string_view::npos ? 0 : separator + 1;
        lines.prepend(beginningOf(rest.substr(begin)));
        taken += static_cast<std::size_t>(lines.first().size());
        if (begin == 0) {
            break;
        }
        rest.remove_suffix(rest.size() - separator);
    }
    return lines.join(QLatin1Char('\n'));
}
