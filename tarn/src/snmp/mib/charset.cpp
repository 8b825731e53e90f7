#include "tarn/src/snmp/mib/charset.h"

#include <iconv.h>

#include <algorithm>
#include <mutex>

#include "tarn/src/base/immortal.h"
#include "tarn/src/device/utf8.h"

namespace tarn::snmp {

namespace {

struct Charset
{
    std::int64_t mibEnum; // IANA character sets registry
    const char* name;     // as iconv knows it
    bool singleOctet;
};

constexpr Charset kCharsets[] = {
    {4, "ISO-8859-1", true},    {5, "ISO-8859-2", true},    {6, "ISO-8859-3", true},
    {7, "ISO-8859-4", true},    {8, "ISO-8859-5", true},    {9, "ISO-8859-6", true},
    {10, "ISO-8859-7", true},   {11, "ISO-8859-8", true},   {12, "ISO-8859-9", true},
    {13, "ISO-8859-10", true},  {17, "SHIFT_JIS", false},   {18, "EUC-JP", false},
    {38, "EUC-KR", false},      {39, "ISO-2022-JP", false}, {57, "GB2312", false},
    {109, "ISO-8859-13", true}, {110, "ISO-8859-14", true}, {111, "ISO-8859-15", true},
    {112, "ISO-8859-16", true}, {113, "GBK", false},        {114, "GB18030", false},
    {1000, "UCS-2BE", false},   {1001, "UCS-4BE", false},   {1013, "UTF-16BE", false},
    {1014, "UTF-16LE", false},  {1015, "UTF-16BE", false},  {2004, "HP-ROMAN8", true},
    {2009, "CP850", true},      {2010, "CP852", true},      {2011, "CP437", true},
    {2024, "CP932", false},     {2025, "GB2312", false},    {2026, "BIG5", false},
    {2046, "CP855", true},      {2084, "KOI8-R", true},     {2086, "CP866", true},
    {2109, "CP874", true},      {2250, "CP1250", true},     {2251, "CP1251", true},
    {2252, "CP1252", true},     {2253, "CP1253", true},     {2254, "CP1254", true},
    {2255, "CP1255", true},     {2256, "CP1256", true},     {2257, "CP1257", true},
    {2258, "CP1258", true},     {2259, "TIS-620", true},
};

const Charset* findCharset(std::optional<std::int64_t> mibEnum)
{
    if (!mibEnum) {
        return nullptr;
    }
    const auto* const found =
        std::find_if(std::begin(kCharsets), std::end(kCharsets),
                     [&](const Charset& charset) { return charset.mibEnum == *mibEnum; });
    return found == std::end(kCharsets) ? nullptr : found;
}

// The converter of the charset met last: opening one costs more than a printer's whole status, and a device
// keeps its charset.
class Converters final
{
public:
    ~Converters() { close(); }

    std::optional<std::string> convert(const std::string& octets, const char* from)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_name != from) {
            close();
            m_handle = iconv_open("UTF-8", from);
            m_name = from;
        }
        if (m_handle == none()) {
            return std::nullopt; // this system has no such converter
        }
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr); // forgets what the text before left
        std::string out(octets.size() * 4 + 4, '\0'); // no octet of these charsets becomes more than four
        std::string in = octets;
        char* inAt = in.data();
        std::size_t inLeft = in.size();
        char* outAt = out.data();
        std::size_t outLeft = out.size();
        if (iconv(m_handle, &inAt, &inLeft, &outAt, &outLeft) == static_cast<std::size_t>(-1)) {
            return std::nullopt;
        }
        out.resize(out.size() - outLeft);
        return out;
    }

private:
    // NOLINTNEXTLINE(performance-no-int-to-ptr): iconv's own
    static iconv_t none() { return reinterpret_cast<iconv_t>(-1); }
    void close()
    {
        if (m_handle != none()) {
            iconv_close(m_handle);
            m_handle = none();
        }
    }

    std::mutex m_mutex; // guards the two below
    std::string m_name;
    iconv_t m_handle = none();
};

std::optional<std::string> convert(const std::string& octets, const char* from)
{
    static const Immortal<Converters> converters;
    return converters->convert(octets, from);
}

bool isAscii(const std::string& octets)
{
    return std::all_of(octets.begin(), octets.end(),
                       [](char octet) { return static_cast<std::uint8_t>(octet) < 0x80; });
}

bool isWide(const Charset& charset)
{
    return charset.mibEnum >= 1000 && charset.mibEnum <= 1015;
}

// A big-endian or little-endian byte order mark says more than the charset's default order.
std::optional<std::string> convertWide(const std::string& octets, const Charset& charset)
{
    if (octets.size() >= 2 && octets[0] == '\xFF' && octets[1] == '\xFE') {
        return convert(octets.substr(2), "UTF-16LE");
    }
    if (octets.size() >= 2 && octets[0] == '\xFE' && octets[1] == '\xFF') {
        return convert(octets.substr(2), "UTF-16BE");
    }
    return convert(octets, charset.name);
}

std::string decodeRaw(std::string octets, std::optional<std::int64_t> mibEnum)
{
    const Charset* charset = findCharset(mibEnum);
    const bool looksWide = octets.find('\0') != std::string::npos || !device::isValidUtf8(octets);
    if (charset != nullptr && isWide(*charset) && octets.size() % 2 == 0 && looksWide) {
        if (std::optional<std::string> text = convertWide(octets, *charset)) {
            return *text;
        }
    }
    octets.erase(std::find(octets.begin(), octets.end(), '\0'), octets.end());
    const bool escapes = charset != nullptr && octets.find('\x1B') != std::string::npos; // ISO-2022
    if (isAscii(octets) && !escapes) {
        return octets;
    }
    const bool utf8 = device::isValidUtf8(octets);
    if (charset != nullptr && !(charset->singleOctet && utf8)) {
        if (std::optional<std::string> text = convert(octets, charset->name)) {
            return *text;
        }
    }
    return utf8 ? octets : device::fromLatin1(octets);
}

} // namespace

std::string decodeText(const std::string& octets, std::optional<std::int64_t> charset)
{
    return device::tidyText(decodeRaw(octets, charset));
}

} // namespace tarn::snmp
