#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::ipp {

struct CupsLibrary;

// What printers are asked for, sorted: named one by one, as some devices take tens of seconds for "all".
extern const std::array<const char*, 27> kWantedAttributes;

// One value: a number (integer, enum, boolean) or a text (whatever has octets).
struct IppValue
{
    std::optional<std::int64_t> number;
    std::string text;
};

// IppAttributes is what one printer said, free of libcups: the wanted attributes by name.
//
// Invariants
//  (1) At most kMostValues values of one attribute, each text of at most kLongestText octets, as they came,
//      less the attribute's own name (see withoutOwnName).
//  (2) No attribute is without values: what is "unknown" or "no-value" is absent.
class IppAttributes final
{
public:
    static constexpr std::size_t kMostValues = 256;
    static constexpr std::size_t kLongestText = 4096;

    // What is beyond the bounds is left out.
    void add(std::string_view name, IppValue value);

    bool empty() const { return m_values.empty(); }
    bool has(const char* name) const { return m_values.find(name) != m_values.end(); }
    // Never null; empty for an attribute that is absent.
    const std::vector<IppValue>& values(const char* name) const;
    // Of the first value; a text that holds nothing but a number is no number.
    std::optional<std::int64_t> number(const char* name) const;
    // Of the first value, tidied; empty without one.
    std::string text(const char* name) const;
    // Of the value of that index, tidied; empty beyond the last.
    std::string textAt(const char* name, std::size_t index) const;
    std::optional<std::int64_t> numberAt(const char* name, std::size_t index) const;
    std::size_t count(const char* name) const { return values(name).size(); }

private:
    std::map<std::string, std::vector<IppValue>, std::less<>> m_values;
};

enum class IppOperation
{
    PrinterAttributes, // Get-Printer-Attributes
    Queues,            // CUPS-Get-Printers
};

// The octets of a request for the wanted attributes; printerUri is not looked at for Queues. minorVersion is
// that of IPP 2.0 or 1.1.
std::string encodeIpp(const CupsLibrary& cups, IppOperation operation, const std::string& printerUri,
                      bool version11);

struct IppReply
{
    int statusCode = 0; // RFC 8011 4.1.8
    std::vector<IppAttributes> printers;
};

// The attributes of every printer in the octets of a response; nothing when they are none. What libcups reads
// by calling itself for each level, or again and again for each value, is measured beforehand.
std::optional<IppReply> decodeIpp(const CupsLibrary& cups, std::string_view octets);

} // namespace tarn::ipp
