#include "tests/support/recorded_agent.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tarn/src/snmp/mib/columns.h"

namespace kel::testing {

namespace {

using tarn::engine::ReadKind;
using namespace tarn::snmp;

ValueType typeOfTag(int tag)
{
    switch (tag) {
    case 2:
        return ValueType::Integer;
    case 4:
        return ValueType::OctetString;
    case 5:
        return ValueType::Null;
    case 6:
        return ValueType::ObjectId;
    case 64:
        return ValueType::IpAddress;
    case 65:
        return ValueType::Counter32;
    case 66:
        return ValueType::Gauge32;
    case 67:
        return ValueType::TimeTicks;
    case 68:
        return ValueType::Opaque;
    case 70:
        return ValueType::Counter64;
    default:
        throw std::runtime_error("unknown tag " + std::to_string(tag));
    }
}

std::string unhex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

Value parseValue(std::string tag, const std::string& text)
{
    const bool hex = !tag.empty() && tag.back() == 'x';
    Value value;
    value.type = typeOfTag(std::stoi(tag));
    const std::string bytes = hex ? unhex(text) : text;
    switch (value.type) {
    case ValueType::OctetString:
    case ValueType::Opaque:
        value.bytes = bytes;
        break;
    case ValueType::IpAddress: {
        for (const std::uint32_t part : parseOid(bytes.c_str())) {
            value.bytes.push_back(static_cast<char>(part));
        }
        break;
    }
    case ValueType::ObjectId:
        value.oid = parseOid(bytes.c_str());
        break;
    case ValueType::Null:
        break;
    default:
        value.number = std::stoll(bytes);
        break;
    }
    return value;
}

// What the encoder would make of it, without making it: half of a fuzz run went into answers that were written only to
// be measured.
std::size_t sizeOfElement(std::size_t content)
{
    return content + (content < 128 ? 2 : content < 256 ? 3 : content < 65536 ? 4 : 5);
}

std::size_t sizeOfInteger(std::int64_t number)
{
    std::size_t octets = 1;
    for (; number < -128 || number > 127; number >>= 8) {
        ++octets;
    }
    return sizeOfElement(octets);
}

std::size_t sizeOfUnsigned(std::uint64_t number)
{
    std::size_t octets = 1;
    for (; number > 127; number >>= 8) { // a leading zero where the top bit would read as a sign
        ++octets;
    }
    return sizeOfElement(octets);
}

std::size_t sizeOfOid(const Oid& oid)
{
    std::size_t octets = 0;
    for (std::size_t i = 1; i < std::max<std::size_t>(2, oid.size()); ++i) { // the first two are one
        std::uint64_t part = i < oid.size() ? oid[i] : 0;
        part += i == 1 && !oid.empty() ? std::uint64_t{oid[0]} * 40 : 0;
        do {
            ++octets;
        } while ((part >>= 7) != 0);
    }
    return sizeOfElement(octets);
}

std::size_t sizeOfValue(const Value& value)
{
    switch (value.type) {
    case ValueType::Integer:
        return sizeOfInteger(value.number);
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
    case ValueType::Counter64:
        return sizeOfUnsigned(static_cast<std::uint64_t>(value.number));
    case ValueType::OctetString:
    case ValueType::IpAddress:
    case ValueType::Opaque:
        return sizeOfElement(value.bytes.size());
    case ValueType::ObjectId:
        return sizeOfOid(value.oid);
    default:
        return sizeOfElement(0);
    }
}

std::size_t sizeOfBinding(const Varbind& binding)
{
    return sizeOfElement(sizeOfOid(binding.name) + sizeOfValue(binding.value));
}

// Of an answer whose bindings have so many octets: the list; three numbers and the list; version, community "public"
// and that.
std::size_t sizeWith(std::size_t bindings, const Pdu& pdu)
{
    const std::size_t numbers =
        sizeOfInteger(pdu.requestId) + sizeOfInteger(pdu.errorStatus) + sizeOfInteger(pdu.errorIndex);
    return sizeOfElement(3 + 8 + sizeOfElement(numbers + sizeOfElement(bindings)));
}

} // namespace

RecordedAgent RecordedAgent::fromRecording(std::string_view text)
{
    RecordedAgent agent;
    std::istringstream lines{std::string(text)};
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::size_t first = line.find('|');
        const std::size_t second = first == std::string::npos ? first : line.find('|', first + 1);
        if (second == std::string::npos) {
            throw std::runtime_error("line " + std::to_string(number) + ": no row");
        }
        agent.set(line.substr(0, first),
                  parseValue(line.substr(first + 1, second - first - 1), line.substr(second + 1)));
    }
    return agent;
}

RecordedAgent RecordedAgent::fromFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    std::ostringstream text;
    text << file.rdbuf();
    return fromRecording(text.str());
}

void RecordedAgent::set(const std::string& oid, Value value)
{
    set(parseOid(oid.c_str()), std::move(value));
}

void RecordedAgent::set(Oid oid, Value value)
{
    m_rows[std::move(oid)] = std::move(value);
}

void RecordedAgent::setInteger(const std::string& oid, std::int64_t number)
{
    set(oid, integer(number));
}

void RecordedAgent::setText(const std::string& oid, const std::string& bytes)
{
    set(oid, octets(bytes));
}

void RecordedAgent::erase(const std::string& oid)
{
    m_rows.erase(parseOid(oid.c_str()));
}

void RecordedAgent::eraseTree(const std::string& oid)
{
    const Oid root = parseOid(oid.c_str());
    for (auto row = m_rows.lower_bound(root); row != m_rows.end() && hasPrefix(row->first, root);) {
        row = m_rows.erase(row);
    }
}

bool RecordedAgent::has(const std::string& oid) const
{
    return m_rows.count(parseOid(oid.c_str())) != 0;
}

Value RecordedAgent::valueAt(const Oid& oid) const
{
    const auto found = m_rows.find(oid);
    if (found != m_rows.end()) {
        return found->second;
    }
    Value none;
    none.type = ValueType::NoSuchInstance;
    return none;
}

bool RecordedAgent::next(Cursor& cursor, Varbind& out) const
{
    if (cursor.next == m_rows.end()) {
        out.name = *cursor.name;
        out.value.type = ValueType::EndOfMibView;
        return false;
    }
    cursor.name = &cursor.next->first;
    out = Varbind{cursor.next->first, cursor.next->second};
    ++cursor.next;
    return true;
}

RecordedAgent::Cursor RecordedAgent::cursorAt(const Oid& oid) const
{
    return Cursor{&oid, m_rows.upper_bound(oid)};
}

Pdu RecordedAgent::errorFor(const Pdu& request, ErrorStatus status, std::size_t index) const
{
    Pdu error = request;
    error.type = PduType::Response;
    error.errorStatus = static_cast<std::int32_t>(status);
    error.errorIndex = static_cast<std::int32_t>(index);
    return error;
}

bool RecordedAgent::refusesBulk(const Pdu& request) const
{
    const Oid column = parseOid(bulkErrorOn.c_str());
    const auto repeaters = request.varbinds.begin() +
                           std::min<std::ptrdiff_t>(std::max(request.errorStatus, 0),
                                                    static_cast<std::ptrdiff_t>(request.varbinds.size()));
    return bulkError != ErrorStatus::NoError &&
           std::any_of(repeaters, request.varbinds.end(),
                       [&](const Varbind& asked) { return hasPrefix(asked.name, column); });
}

Pdu RecordedAgent::bulk(const Pdu& request) const
{
    Pdu response;
    response.type = PduType::Response;
    const auto nonRepeaters =
        std::min(request.varbinds.size(), static_cast<std::size_t>(std::max(request.errorStatus, 0)));
    std::vector<Cursor> cursors;
    cursors.reserve(request.varbinds.size());
    for (const Varbind& asked : request.varbinds) {
        cursors.push_back(cursorAt(asked.name));
    }
    std::size_t bindings = 0; // octets
    bool anythingLeft = true;
    const auto push = [&](Cursor& cursor) {
        Varbind found;
        anythingLeft = next(cursor, found) || anythingLeft;
        if (cutAtOctets != 0) {
            bindings += sizeOfBinding(found);
            if (sizeWith(bindings, response) > cutAtOctets) {
                return false;
            }
        }
        response.varbinds.push_back(std::move(found));
        return true;
    };
    for (std::size_t i = 0; i < nonRepeaters; ++i) {
        if (!push(cursors[i])) {
            return response;
        }
    }
    // RFC 3416 4.2.3: an agent may stop where a whole repetition was beyond the end.
    for (int repetition = 0; repetition < request.errorIndex && anythingLeft; ++repetition) {
        anythingLeft = false;
        for (std::size_t i = nonRepeaters; i < cursors.size(); ++i) {
            if (!push(cursors[i])) {
                return response;
            }
        }
    }
    return response;
}

Pdu RecordedAgent::answer(const Pdu& request)
{
    ++requests;
    Pdu response;
    response.type = PduType::Response;
    if (request.type == PduType::GetBulkRequest) {
        if (v1) {
            throw std::runtime_error("GETBULK sent to a v1 agent");
        }
        ++bulkRequests;
        if (refusesBulk(request)) {
            return errorFor(request, bulkError, static_cast<std::size_t>(bulkErrorIndex));
        }
        response = bulk(request);
    }
    response.varbinds.reserve(request.type == PduType::GetBulkRequest ? 0 : request.varbinds.size());
    for (std::size_t i = 0; request.type != PduType::GetBulkRequest && i < request.varbinds.size(); ++i) {
        const Oid& asked = request.varbinds[i].name;
        Varbind found;
        bool there = true;
        if (request.type == PduType::GetRequest) {
            found = Varbind{asked, valueAt(asked)};
            there = found.value.type != ValueType::NoSuchInstance;
        } else {
            Cursor cursor = cursorAt(asked);
            there = next(cursor, found);
        }
        if (!genErrOn.empty() && found.name == parseOid(genErrOn.c_str())) {
            return errorFor(request, ErrorStatus::GenErr, namesFailing ? i + 1 : 0);
        }
        if (v1 && !there) {
            return errorFor(request, ErrorStatus::NoSuchName, i + 1);
        }
        response.varbinds.push_back(std::move(found));
    }
    response.requestId = request.requestId;
    std::size_t bindings = 0;
    for (const Varbind& binding : response.varbinds) {
        bindings += sizeOfBinding(binding);
    }
    const std::size_t size = sizeWith(bindings, response);
    const bool cut = request.type != PduType::GetBulkRequest && cutAtOctets != 0 && size > cutAtOctets;
    if (cut || (tooBigAbove != 0 && response.varbinds.size() > tooBigAbove)) {
        return errorFor(request, ErrorStatus::TooBig, 0);
    }
    largestAnswer = std::max(largestAnswer, size);
    return response;
}

int runRead(Session& session, RecordedAgent& agent, ReadKind kind)
{
    session.begin(kind);
    int requests = 0;
    while (std::optional<Pdu> request = session.nextRequest()) {
        session.accept(agent.answer(*request));
        if (++requests > 1000) {
            throw std::runtime_error("the read does not end");
        }
    }
    return requests;
}

Value integer(std::int64_t number)
{
    Value value;
    value.type = ValueType::Integer;
    value.number = number;
    return value;
}

Value octets(const std::string& bytes)
{
    Value value;
    value.type = ValueType::OctetString;
    value.bytes = bytes;
    return value;
}

} // namespace kel::testing
