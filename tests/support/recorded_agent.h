#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "tarn/src/snmp/poll/session.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace kel::testing {

// A printer's agent without a network: answers GET, GETNEXT and GETBULK from objects that a test sets or that
// a recording of lines "OID|TAG|VALUE" holds, with the manners of real agents as switches.
class RecordedAgent final
{
public:
    using Oid = tarn::snmp::Oid;
    using Value = tarn::snmp::Value;
    using Pdu = tarn::snmp::Pdu;

    // Throws std::runtime_error with the line's number for a line that is no row. "#" begins a comment line.
    static RecordedAgent fromRecording(std::string_view text);
    static RecordedAgent fromFile(const std::string& path);

    void set(const std::string& oid, Value value);
    void set(Oid oid, Value value);
    void setInteger(const std::string& oid, std::int64_t number);
    void setText(const std::string& oid, const std::string& octets);
    void erase(const std::string& oid);
    // Everything at or below.
    void eraseTree(const std::string& oid);
    bool has(const std::string& oid) const;

    Pdu answer(const Pdu& request);

    bool v1 = false;             // errors instead of exceptions, no GETBULK
    std::size_t cutAtOctets = 0; // GETBULK: bindings that fit; other answers: tooBig. 0: as many as asked
    std::size_t tooBigAbove = 0; // answers of more bindings are tooBig. 0: never
    std::string genErrOn;        // an object that fails
    bool namesFailing = true;    // the error's index says which
    // GETBULK ends in this error, with this index, where a column at or below bulkErrorOn is to be repeated
    // ("": any column).
    tarn::snmp::ErrorStatus bulkError = tarn::snmp::ErrorStatus::NoError;
    std::int32_t bulkErrorIndex = 0;
    std::string bulkErrorOn;

    int requests = 0;
    int bulkRequests = 0;
    std::size_t largestAnswer = 0; // octets

private:
    Value valueAt(const Oid& oid) const;
    // Where a walk stands.
    struct Cursor
    {
        const Oid* name; // asked for, or what came last
        std::map<Oid, Value>::const_iterator next;
    };
    Cursor cursorAt(const Oid& oid) const;
    // False: nothing comes behind it.
    bool next(Cursor& cursor, tarn::snmp::Varbind& out) const;
    Pdu bulk(const Pdu& request) const;
    bool refusesBulk(const Pdu& request) const;
    Pdu errorFor(const Pdu& request, tarn::snmp::ErrorStatus status, std::size_t index) const;

    std::map<Oid, Value> m_rows;
};

// Runs one read to its end; returns the number of requests it took.
int runRead(tarn::snmp::Session& session, RecordedAgent& agent, tarn::engine::ReadKind kind);

tarn::snmp::Value integer(std::int64_t number);
tarn::snmp::Value octets(const std::string& bytes);

} // namespace kel::testing
