#include "tarn/src/snmp/quirks.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace tarn::snmp {

namespace {

using F = VendorField;
using T = VendorFormat;

// Enterprise numbers: IANA private enterprise registry. Within one enterprise and field, the first that
// answers counts.
const VendorObject vendorObjects[] = {
    {11, F::SerialNumber, "1.3.6.1.4.1.11.2.3.9.4.2.1.1.3.3.0", T::PmlText,
     "prtGeneralSerialNumber is missing; sysDescr shows the print server's"},
    {11, F::Model, "1.3.6.1.4.1.11.2.3.9.1.1.7.0", T::DeviceId, "sysDescr names the print server"},
    {236, F::SerialNumber, "1.3.6.1.4.1.236.11.5.1.1.1.4.0", T::Text, "prtGeneralSerialNumber is missing"},
    {236, F::Model, "1.3.6.1.4.1.236.11.5.1.1.1.1.0", T::Text, "hrDeviceDescr is missing"},
    {253, F::SerialNumber, "1.3.6.1.4.1.253.8.53.3.2.1.3.1", T::Text, "prtGeneralSerialNumber is missing"},
    {253, F::Model, "1.3.6.1.4.1.253.8.51.1.2.1.20.1", T::DeviceId, "hrDeviceDescr is missing"},
    {297, F::Model, "1.3.6.1.4.1.253.8.51.1.2.1.20.1", T::DeviceId, "hrDeviceDescr is missing"},
    {367, F::SerialNumber, "1.3.6.1.4.1.367.3.2.1.2.1.4.0", T::Text, "prtGeneralSerialNumber is missing"},
    {367, F::Model, "1.3.6.1.4.1.367.3.2.1.1.1.1.0", T::Text,
     "hrDeviceDescr is missing, sysDescr lists services"},
    {367, F::TotalPages, "1.3.6.1.4.1.367.3.2.1.2.19.1.0", T::Number, "no prtMarkerLifeCount"},
    {641, F::SerialNumber, "1.3.6.1.4.1.641.2.1.2.1.6.1", T::Text, "prtGeneralSerialNumber is missing"},
    {641, F::Model, "1.3.6.1.4.1.641.2.1.2.1.2.1", T::Text, "hrDeviceDescr is missing"},
    {641, F::SerialNumber, "1.3.6.1.4.1.641.6.2.3.1.5.1", T::Text, "newer devices moved the object"},
    {641, F::Model, "1.3.6.1.4.1.641.6.2.3.1.4.1", T::Text, "newer devices moved the object"},
    {674, F::Model, "1.3.6.1.4.1.674.10898.100.2.1.2.1.3.1", T::DeviceId,
     "hrDeviceDescr holds serial number and firmware too"},
    {1248, F::Model, "1.3.6.1.4.1.1248.1.1.3.1.3.8.0", T::Text, "sysDescr names the print server"},
    {1347, F::SerialNumber, "1.3.6.1.4.1.1347.43.5.1.1.28.1", T::Text, "prtGeneralSerialNumber is missing"},
    {1347, F::Model, "1.3.6.1.4.1.1347.43.5.1.1.1.1", T::Text, "sysDescr names the print server"},
    {1347, F::TotalPages, "1.3.6.1.4.1.1347.43.10.1.1.12.1.1", T::Number, "no prtMarkerLifeCount"},
    {1602, F::Model, "1.3.6.1.4.1.1602.1.1.1.1.0", T::Text, "hrDeviceDescr is missing"},
    {2435, F::SerialNumber, "1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.1.0", T::Text,
     "prtGeneralSerialNumber is missing"},
    {2435, F::Model, "1.3.6.1.4.1.2435.2.4.3.2435.5.13.3.0", T::Text, "sysDescr names the network card"},
    {2435, F::Model, "1.3.6.1.4.1.2435.2.3.9.1.1.7.0", T::DeviceId, "sysDescr names the network card"},
    {2435, F::TotalPages, "1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.10.0", T::TagList, "no prtMarkerLifeCount"},
    {18334, F::Model, "1.3.6.1.4.1.18334.1.1.1.1.6.2.1.0", T::Text, "hrDeviceDescr names the platform"},
    {0, F::Model, "1.3.6.1.4.1.2699.1.2.1.2.1.1.3.1", T::DeviceId, // PWG 5107.1 ppmPrinterIEEE1284DeviceId
     "hrDeviceDescr is missing"},
};

// Agents that say nothing of the maker: their sysObjectID does not tell whom to ask.
constexpr std::uint32_t generalAgents[] = {
    8072, // Net-SNMP
    2021, // its predecessor
};

struct NoModel
{
    const char* pattern; // lower case; at the start when it begins with '^'
    const char* seen;    // an example
};

// Texts of model objects that name something else.
const NoModel noModels[] = {
    {"^generic ", "Generic 28C-1: the platform, where hrDeviceDescr should be"},
    {"print server", "EPSON Built-in 11b/g/n & 10/100/1000 Print Server"},
    {"ethernet multi-environment", "HP ETHERNET MULTI-ENVIRONMENT,SN:...,PID:..."},
    {"jetdirect", "HP JETDIRECT,J7934G"},
    {"^brother nc-", "Brother NC-8300h, Firmware Ver.1.14: the network card"},
    {"printing system", "KYOCERA Document Solutions Printing System"},
    {"print i/f", "KYOCERA Print I/F"},
    {"network interface", "a network card"},
    {"embedded ethernet", "a network card"},
    {"linux ", "Linux host 5.10: a general agent's uname"},
    {"hardware:", "Hardware: x86 Family ...: a general agent"},
};

const char* const noSerials[] = {"unknown", "none", "n/a", "not available", "not set", "serial_number"};

const char* const serialWords[] = {
    "serial number:", "serial no:", "serial:", "s/n:", "s/n ", "sn:", ";sn", "sn "};

std::string lower(std::string text)
{
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

bool isAlnum(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

std::string trimmed(const std::string& text)
{
    const char* const blanks = " \t\r\n,;:/";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return std::string();
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> wordsOf(const std::string& text)
{
    std::vector<std::string> words;
    std::string word;
    for (const char c : text + ' ') {
        if (c != ' ') {
            word.push_back(c);
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    return words;
}

// "LW62.DN4.P636", "1.35", "V11.01.03": parts joined by dots, a digit in it.
bool looksLikeFirmware(const std::string& word)
{
    const auto dots = std::count(word.begin(), word.end(), '.');
    const bool digit = std::any_of(word.begin(), word.end(), [](char c) { return c >= '0' && c <= '9'; });
    const bool plain = std::all_of(word.begin(), word.end(), [](char c) { return isAlnum(c) || c == '.'; });
    return dots >= 1 && digit && plain && word.front() != '.' && word.back() != '.';
}

// "7XQ1R92": six or more capitals and digits mixed, as serial numbers are.
bool looksLikeSerial(const std::string& word)
{
    int digits = 0;
    for (const char c : word) {
        if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z'))) {
            return false;
        }
        digits += c <= '9' ? 1 : 0;
    }
    return word.size() >= 6 && digits >= 2;
}

std::optional<std::uint32_t> enterpriseOf(const std::string& sysObjectId)
{
    const std::string root = "1.3.6.1.4.1.";
    if (sysObjectId.compare(0, root.size(), root) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(std::strtoul(sysObjectId.c_str() + root.size(), nullptr, 10));
}

std::string deviceIdModel(const std::string& text)
{
    const std::string folded = lower(text);
    for (const char* const key : {"mdl:", "model:"}) {
        const std::string wanted = key;
        for (std::size_t at = folded.find(wanted); at != std::string::npos;
             at = folded.find(wanted, at + 1)) {
            if (at == 0 || folded[at - 1] == ';' || folded[at - 1] == ' ') {
                const std::size_t begin = at + wanted.size();
                const std::size_t end = text.find(';', begin);
                return trimmed(text.substr(begin, end == std::string::npos ? end : end - begin));
            }
        }
    }
    return std::string();
}

} // namespace

std::vector<const VendorObject*> vendorObjectsFor(const std::string& sysObjectId)
{
    const std::optional<std::uint32_t> enterprise = enterpriseOf(sysObjectId);
    const bool known = enterprise && std::find(std::begin(generalAgents), std::end(generalAgents),
                                               *enterprise) == std::end(generalAgents);
    std::vector<const VendorObject*> objects;
    for (const VendorObject& object : vendorObjects) {
        if (!known || object.enterprise == 0 || object.enterprise == *enterprise) {
            objects.push_back(&object);
        }
    }
    return objects;
}

std::optional<std::string> vendorText(const VendorObject& object, const std::string& octets)
{
    std::string text = octets;
    if (object.format == VendorFormat::DeviceId) {
        text = deviceIdModel(octets);
    } else if (object.format == VendorFormat::PmlText) {
        text = octets.size() > 2 ? octets.substr(2) : std::string();
    }
    return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

std::optional<std::int64_t> vendorNumber(const std::string& octets)
{
    for (std::size_t at = 0; at + 3 <= octets.size();) {
        const auto tag = static_cast<std::uint8_t>(octets[at]);
        const auto length = static_cast<std::uint8_t>(octets[at + 2]);
        if (tag == 0xFF || length > 8 || octets.size() - at - 3 < length) {
            return std::nullopt;
        }
        if (tag == 0x00 && length > 0 && length < 8) {
            std::int64_t number = 0;
            for (std::size_t i = 0; i < length; ++i) {
                number = (number << 8) | static_cast<std::uint8_t>(octets[at + 3 + i]);
            }
            return number;
        }
        at += 3U + length;
    }
    return std::nullopt;
}

bool namesNoModel(const std::string& text)
{
    const std::string folded = lower(text);
    return std::any_of(std::begin(noModels), std::end(noModels), [&](const NoModel& row) {
        const std::string pattern = row.pattern;
        return pattern.front() == '^' ? folded.compare(0, pattern.size() - 1, pattern, 1) == 0
                                      : folded.find(pattern) != std::string::npos;
    });
}

bool namesNoSerial(const std::string& text)
{
    const std::string folded = lower(text);
    const bool placeholder = std::any_of(std::begin(noSerials), std::end(noSerials),
                                         [&](const char* word) { return folded == word; });
    const bool oneSign = std::all_of(text.begin(), text.end(), [&](char c) { return c == text.front(); });
    return placeholder || oneSign;
}

std::string cleanModel(const std::string& text, const std::string& serialNumber)
{
    std::string head = text.substr(0, text.find_first_of(";,"));
    head = head.substr(0, head.find(" / "));
    head = head.substr(0, lower(head).find(" version "));
    std::vector<std::string> words = wordsOf(head);
    std::size_t end = words.size();
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool serial = !serialNumber.empty() && words[i] == serialNumber;
        if (serial || looksLikeFirmware(words[i]) || lower(words[i]).compare(0, 2, "/p") == 0) {
            end = i;
            break;
        }
    }
    const bool firmwareBehind = end < words.size();
    while (firmwareBehind && end > 2 && looksLikeSerial(words[end - 1])) {
        --end;
    }
    std::string model;
    for (std::size_t i = 0; i < end; ++i) {
        model += (model.empty() ? "" : " ") + words[i];
    }
    return trimmed(model);
}

std::string serialInDescription(const std::string& text)
{
    const std::string folded = lower(text);
    for (const char* const word : serialWords) {
        const std::string wanted = word;
        for (std::size_t at = folded.find(wanted); at != std::string::npos;
             at = folded.find(wanted, at + 1)) {
            if (at > 0 && isAlnum(folded[at - 1])) {
                continue; // within another word
            }
            std::size_t begin = at + wanted.size();
            begin = std::min(text.find_first_not_of(" :", begin), text.size());
            std::size_t end = begin;
            while (end < text.size() && (isAlnum(text[end]) || text[end] == '-')) {
                ++end;
            }
            const std::string serial = text.substr(begin, end - begin);
            const bool digit =
                std::any_of(serial.begin(), serial.end(), [](char c) { return c >= '0' && c <= '9'; });
            if (serial.size() >= 4 && digit) {
                return serial;
            }
        }
    }
    return std::string();
}

std::string modelInDescription(const std::string& text)
{
    const std::string wanted = "PID:";
    const std::size_t at = text.find(wanted);
    if (at == std::string::npos) {
        return std::string();
    }
    const std::size_t begin = at + wanted.size();
    const std::size_t end = text.find_first_of(",;", begin);
    return trimmed(text.substr(begin, end == std::string::npos ? end : end - begin));
}

} // namespace tarn::snmp
