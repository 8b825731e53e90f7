#include "tarn/src/snmp/mib/identity_words.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <vector>

#include "tarn/src/device/make_and_model.h"

namespace tarn::snmp {

namespace {

enum class Where : std::uint8_t
{
    Start,    // of the text
    Head,     // before the first comma, semicolon or " / "
    Anywhere, // in the text
};

struct NoModel
{
    const char* pattern; // lower case
    Where where;
    ModelGrade grade;
    const char* seen; // an example
};

// Texts of model objects that name something else. The first that matches decides.
const NoModel kNoModels[] = {
    {"print server", Where::Anywhere, ModelGrade::None, "EPSON Built-in 11b/g/n & 10/100/1000 Print Server"},
    {"printserver", Where::Anywhere, ModelGrade::None,
     "ZebraNet PrintServer; OkiLAN ... Ethernet PrintServer"},
    {"print-server", Where::Anywhere, ModelGrade::None, "a print server"},
    {"printer server", Where::Anywhere, ModelGrade::None, "a print server"},
    {"okilan", Where::Head, ModelGrade::None, "OKI OkiLAN 8100e: the network card"},
    {"zebranet", Where::Head, ModelGrade::None, "ZebraNet Wired PS: the network card"},
    {"jetdirect", Where::Head, ModelGrade::None, "HP JETDIRECT,J7934G"},
    {"marknet", Where::Head, ModelGrade::None, "Lexmark MarkNet N4050e"},
    {"satolan", Where::Head, ModelGrade::None, "a network card"},
    {"easylan", Where::Head, ModelGrade::None, "a network card"},
    {"netportexpress", Where::Head, ModelGrade::None, "a print server"},
    {"extendnet", Where::Head, ModelGrade::None, "a print server"},
    {"lantronix", Where::Start, ModelGrade::None, "LANTRONIX EPS2: a print server"},
    {"axis ", Where::Start, ModelGrade::None, "AXIS 5400+: a print server"},
    {"seh ", Where::Start, ModelGrade::None, "SEH InterCon PS03: a print server"},
    {"brother nc-", Where::Start, ModelGrade::None, "Brother NC-8300h, Firmware Ver.1.14: the network card"},
    {"nc-", Where::Start, ModelGrade::None, "the same without the maker"},
    {"print i/f", Where::Head, ModelGrade::None, "KYOCERA Print I/F"},
    {"printer i/f", Where::Head, ModelGrade::None, "KYOCERA Printer I/F IB-21G Ver 1.3.3"},
    {"ethernet", Where::Head, ModelGrade::None, "HP ETHERNET MULTI-ENVIRONMENT,SN:...; Embedded Ethernet"},
    {"10base", Where::Head, ModelGrade::None, "Type-B 10Base-T/100Base-TX"},
    {"10/100", Where::Head, ModelGrade::None, "a network card"},
    {"network interface", Where::Head, ModelGrade::None, "a network card"},
    {"network card", Where::Head, ModelGrade::None, "a network card"},
    {"network board", Where::Head, ModelGrade::None, "a network card"},
    {"interface card", Where::Head, ModelGrade::None, "a network card"},
    {"interface board", Where::Head, ModelGrade::None, "a network card"},
    {"lan adapter", Where::Head, ModelGrade::None, "a network card"},
    {"linux", Where::Start, ModelGrade::None, "Linux host 5.10: a general agent's uname"},
    {"darwin ", Where::Start, ModelGrade::None, "a general agent's uname"},
    {"freebsd ", Where::Start, ModelGrade::None, "a general agent's uname"},
    {"netbsd ", Where::Start, ModelGrade::None, "a general agent's uname"},
    {"vxworks", Where::Start, ModelGrade::None, "an operating system"},
    {"hardware:", Where::Anywhere, ModelGrade::None, "Hardware: x86 Family ...: a general agent"},
    {"generic ", Where::Start, ModelGrade::Platform,
     "Generic 28C-1: the platform, where hrDeviceDescr should be"},
    {"fiery ", Where::Start, ModelGrade::Platform, "Fiery X3eTY 35C-KM: the controller of many makers"},
    {"printing system", Where::Head, ModelGrade::Platform, "KYOCERA Document Solutions Printing System"},
    {"network printer", Where::Head, ModelGrade::Platform, "RICOH Network Printer C model"},
};

struct WholeText
{
    const char* text; // lower case
    ModelGrade grade;
};

const WholeText kWholeTexts[] = {
    {"unknown", ModelGrade::None},
    {"none", ModelGrade::None},
    {"n/a", ModelGrade::None},
    {"null", ModelGrade::None},
    {"not available", ModelGrade::None},
    {"printer", ModelGrade::Platform},
    {"laser printer", ModelGrade::Platform},
    {"inkjet printer", ModelGrade::Platform},
    {"label printer", ModelGrade::Platform},
    {"mfp", ModelGrade::Platform},
    {"mf series printer", ModelGrade::Platform},
};

// Less their punctuation.
const char* const kSerialWords[] = {
    "serial number:", "serial no:", "serial:", "s/n:", "s/n ", "sn:", ";sn", "sn "};

// What stands before a model in sysDescr, lower case.
const char* const kModelWords[] = {"pid:", "attached to "};

// Behind a maker's name, with a comma beside them that ends nothing: "Canon Inc., LBP-1760".
const char* const kLegalForms[] = {"inc", "ltd", "co", "corp", "corporation", "gmbh", "llc"};

// What stands before a version number.
const char* const kVersionWords[] = {"v",        "ver", "ver.", "version",  "rev", "rev.",
                                     "revision", "fw",  "f/w",  "firmware", "os"};

std::string lower(std::string text)
{
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
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

bool isLegalForm(std::string word)
{
    word = lower(word);
    while (!word.empty() && (word.back() == '.' || word.back() == ',')) {
        word.pop_back();
    }
    return std::any_of(std::begin(kLegalForms), std::end(kLegalForms),
                       [&](const char* form) { return word == form; });
}

// The text without the legal form of its maker.
std::string withoutLegalForms(const std::string& text)
{
    std::string rest;
    for (const std::string& word : wordsOf(text)) {
        if (!isLegalForm(word)) {
            rest += (rest.empty() ? "" : " ") + word;
        } else if (!rest.empty() && rest.back() == ',') {
            rest.pop_back();
        }
    }
    return rest;
}

std::string headOf(const std::string& text)
{
    const std::string named = withoutLegalForms(text);
    std::string head = named.substr(0, named.find_first_of(";,"));
    head = head.substr(0, head.find(" / "));
    const std::size_t parenthesis = head.rfind(" (");
    const bool open = parenthesis != std::string::npos && head.find(')', parenthesis) == std::string::npos;
    return open ? head.substr(0, parenthesis) : head; // "(Net 6.26, Controller 2004...)"
}

// "LW62.DN4.P636", "1.35", "V11.01.03": parts joined by dots, a digit in it.
bool looksLikeFirmware(const std::string& word)
{
    const auto dots = std::count(word.begin(), word.end(), '.');
    const bool digit = std::any_of(word.begin(), word.end(), isDigit);
    const bool plain = std::all_of(word.begin(), word.end(), [](char c) { return isAlnum(c) || c == '.'; });
    return dots >= 1 && digit && plain && word.front() != '.' && word.back() != '.';
}

// "Ver 3", "OS 1.03.00": a number and the word for it.
bool namesVersion(const std::string& word, const std::string& next)
{
    const bool named = std::any_of(std::begin(kVersionWords), std::end(kVersionWords),
                                   [&](const char* name) { return lower(word) == name; });
    return named && (isDigit(next.front()) || looksLikeFirmware(next));
}

// "7XQ1R92": six or more capitals and digits mixed, as serial numbers are.
bool looksLikeSerial(const std::string& word)
{
    int digits = 0;
    for (const char c : word) {
        if (!(isDigit(c) || (c >= 'A' && c <= 'Z'))) {
            return false;
        }
        digits += isDigit(c) ? 1 : 0;
    }
    return word.size() >= 6 && digits >= 2;
}

// "5.2" may be a model's number, "1.35" and "V11.01.03" are none.
bool mayBeModelNumber(const std::string& word)
{
    return std::count(word.begin(), word.end(), '.') == 1 && word[word.size() - 2] == '.';
}

// Whether one of the words from the second on, before the one at end, has a digit, as models have.
bool hasModelNumber(const std::vector<std::string>& words, std::size_t end)
{
    for (std::size_t i = 1; i < end; ++i) {
        if (std::any_of(words[i].begin(), words[i].end(), isDigit)) {
            return true;
        }
    }
    return false;
}

// Where the model ends and firmware begins; the number of words when nothing follows it.
std::size_t modelEnd(const std::vector<std::string>& words, const std::string& serialNumber)
{
    for (std::size_t i = 1; i < words.size(); ++i) {
        const bool serial = !serialNumber.empty() && words[i] == serialNumber;
        const bool version = i + 1 < words.size() && namesVersion(words[i], words[i + 1]);
        const std::string start = lower(words[i]).substr(0, 2);
        const bool firmware =
            looksLikeFirmware(words[i]) && (!mayBeModelNumber(words[i]) || hasModelNumber(words, i));
        if (serial || version || firmware || start == "/p" || start == "v(") {
            return i;
        }
    }
    return words.size();
}

} // namespace

ModelGrade gradeModel(const std::string& text)
{
    const std::string folded = lower(trimmed(text));
    if (std::none_of(folded.begin(), folded.end(),
                     [](char c) { return isAlnum(c) || static_cast<unsigned char>(c) >= 0x80; })) {
        return ModelGrade::None;
    }
    for (const WholeText& row : kWholeTexts) {
        if (folded == row.text) {
            return row.grade;
        }
    }
    const std::string head = headOf(folded);
    for (const NoModel& row : kNoModels) {
        const std::size_t at = (row.where == Where::Anywhere ? folded : head).find(row.pattern);
        if (at == 0 || (at != std::string::npos && row.where != Where::Start)) {
            return row.grade;
        }
    }
    return ModelGrade::Model;
}

// Two to six letters, then the six to twelve hexadecimal digits of an address, two decimal ones among them.
bool isHostName(const std::string& text)
{
    const auto letters = [](char c) { return std::isalpha(static_cast<unsigned char>(c)) != 0; };
    const auto hex = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    for (std::size_t prefix = 2; prefix <= 6 && prefix < text.size(); ++prefix) {
        const auto middle = text.begin() + static_cast<std::ptrdiff_t>(prefix);
        const std::size_t rest = text.size() - prefix;
        if (rest >= 6 && rest <= 12 && std::all_of(text.begin(), middle, letters) &&
            std::all_of(middle, text.end(), hex) && std::count_if(middle, text.end(), isDigit) >= 2) {
            return true;
        }
    }
    return false;
}

std::string cleanModel(const std::string& text, const std::string& serialNumber)
{
    std::string head = headOf(text);
    head = head.substr(0, lower(head).find(" version "));
    const std::vector<std::string> words = wordsOf(head);
    std::size_t end = modelEnd(words, serialNumber);
    const bool firmwareBehind = end < words.size();
    while (firmwareBehind && looksLikeSerial(words[end - 1]) && hasModelNumber(words, end - 1)) {
        --end;
    }
    std::string model;
    for (std::size_t i = 0; i < end; ++i) {
        model += (model.empty() ? "" : " ") + words[i];
    }
    return device::withMakerOnce(trimmed(model));
}

std::string modelInDescription(const std::string& text)
{
    const std::string folded = lower(text);
    for (const char* const word : kModelWords) {
        const std::string wanted = word;
        const std::size_t at = folded.find(wanted);
        if (at != std::string::npos) {
            const std::size_t begin = at + wanted.size();
            const std::size_t end = text.find_first_of(",;", begin);
            return trimmed(text.substr(begin, end == std::string::npos ? end : end - begin));
        }
    }
    return std::string();
}

std::string serialInDescription(const std::string& text)
{
    const std::string folded = lower(text);
    for (const char* const word : kSerialWords) {
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
            std::string serial = text.substr(begin, end - begin);
            const bool digit =
                std::any_of(serial.begin(), serial.end(), [](char c) { return c >= '0' && c <= '9'; });
            if (serial.size() >= 4 && digit) {
                return serial;
            }
        }
    }
    return std::string();
}

} // namespace tarn::snmp
