#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/snmp/wire/pdu.h"

namespace printersim {

using tarn::snmp::Oid;
using tarn::snmp::Value;
using tarn::snmp::ValueType;

// Of which printer, and when, a value is asked.
struct Moment
{
    double seconds = 0;        // since the simulation's start
    double upSeconds = 0;      // since the printer's (last) start
    std::uint32_t number = 1;  // of the printer, from 1
    std::uint32_t address = 0; // IPv4, host byte order
};

// What a row holds at a moment; nothing while the row is not there.
using Source = std::function<std::optional<Value>(const Moment&)>;

struct Row
{
    Oid name;
    Source source;
};

// Mib is what one kind of printer says; the printers of that kind share it.
//
// Invariants
//  (1) Rows are in lexicographic order, each name once: of two rows of one name the last one added counts.
// Threading: unchanged once it is built, then any thread.
class Mib final
{
public:
    explicit Mib(std::vector<Row> rows);

    const std::vector<Row>& rows() const { return m_rows; }
    const Row* find(const Oid& name) const;
    // The index of the first row behind name; rows().size() where there is none.
    std::size_t firstAfter(const Oid& name) const;

private:
    std::vector<Row> m_rows;
};

Value integer(std::int64_t number, ValueType type = ValueType::Integer);
Value octets(std::string bytes);
Value objectId(Oid oid);
Source always(Value value);

// "1.3.6.1" or ".1.3.6.1"; nothing for any other text, more than 128 arcs, or an arc above 2^32 - 1.
std::optional<Oid> parseOid(std::string_view text);
std::string oidText(const Oid& oid);
bool startsWith(const Oid& name, const Oid& prefix);
// "127.0.0.1" as a number in host byte order; nothing for any other text.
std::optional<std::uint32_t> parseAddress(const std::string& text);
std::string addressText(std::uint32_t address);
// Fills {n}, {n:5} (padded with zeros to five digits) and {address}.
std::string fillIn(const std::string& text, const Moment& moment);

} // namespace printersim
