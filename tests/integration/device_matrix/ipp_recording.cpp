#include "tests/integration/device_matrix/ipp_recording.h"

#include <fstream>
#include <iterator>
#include <stdexcept>

namespace matrix {

namespace {

constexpr std::size_t kHeaderOctets = 8;

// One field of a message: a tag that begins a group, or a value with its tag, its name, if any, and its
// octets.
struct Field
{
    unsigned tag = 0;
    std::string_view name;
    std::string_view value;
    std::string_view whole;

    bool beginsGroup() const { return tag < 0x10; }
};

// Goes through the fields of a message.
class Fields final
{
public:
    explicit Fields(std::string_view message)
        : m_rest(message.substr(std::min(message.size(), kHeaderOctets)))
    {
    }

    bool next(Field& field)
    {
        if (m_rest.empty()) {
            return false;
        }
        const std::string_view begin = m_rest;
        field = {static_cast<unsigned char>(m_rest[0]), {}, {}, {}};
        m_rest.remove_prefix(1);
        if (!field.beginsGroup() && !(sized(field.name) && sized(field.value))) {
            m_rest = {};
            return false;
        }
        field.whole = begin.substr(0, begin.size() - m_rest.size());
        return true;
    }

private:
    bool sized(std::string_view& octets)
    {
        if (m_rest.size() < 2) {
            return false;
        }
        const std::size_t length =
            static_cast<unsigned char>(m_rest[0]) * 256U + static_cast<unsigned char>(m_rest[1]);
        if (m_rest.size() < 2 + length) {
            return false;
        }
        octets = m_rest.substr(2, length);
        m_rest.remove_prefix(2 + length);
        return true;
    }

    std::string_view m_rest;
};

} // namespace

std::string readIppRecording(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string octets((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (octets.size() <= kHeaderOctets) {
        throw std::runtime_error("no IPP message in " + path);
    }
    return octets;
}

std::set<std::string> requestedAttributes(std::string_view request)
{
    std::set<std::string> wanted;
    std::string_view name;
    Fields fields(request);
    for (Field field; fields.next(field);) {
        name = field.name.empty() && !field.beginsGroup() ? name : field.name;
        if (name == "requested-attributes") {
            wanted.emplace(field.value);
        }
    }
    return wanted;
}

std::string answerTo(std::string_view request, std::string_view recording, bool honours)
{
    constexpr unsigned kPrinterGroup = 0x04;
    const std::set<std::string> wanted = requestedAttributes(request);
    const bool everything = !honours || wanted.empty() || wanted.count("all") != 0;
    std::string answer(recording.substr(0, kHeaderOctets));
    answer.replace(4, 4, request.substr(std::min<std::size_t>(request.size(), 4), 4)); // the request's number
    unsigned group = 0;
    bool kept = true;
    Fields fields(recording);
    for (Field field; fields.next(field);) {
        if (field.beginsGroup()) {
            group = field.tag;
            kept = true;
        } else if (!field.name.empty()) {
            kept = everything || group != kPrinterGroup || wanted.count(std::string(field.name)) != 0;
        }
        if (kept) {
            answer += field.whole;
        }
    }
    return answer;
}

} // namespace matrix
