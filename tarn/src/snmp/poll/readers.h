#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/poll/request_sizing.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

// ObjectReader asks for single objects by their full names, with GET.
//
// Invariant: every accepted answer removes a name from the list or halves the request, so it ends.
// Threading: one thread.
class ObjectReader final
{
public:
    ObjectReader(std::vector<Oid> names, RequestLimits& limits);

    std::optional<Pdu> nextRequest();
    void accept(const Pdu& response);

    // The value, or null when the device has none.
    const Value* find(const Oid& name) const;

private:
    void drop(std::size_t position);
    void acceptError(const Pdu& response);

    RequestLimits& m_limits;
    std::vector<Oid> m_pending;
    std::size_t m_asked = 0; // the first so many of m_pending
    std::size_t m_perRequest;
    std::map<Oid, Value> m_values;
};

// ColumnReader walks several columns side by side, with GETBULK where it may and GETNEXT else. Rows that are
// expected because they were there before are asked for together, each by its predecessor's name, so that a
// v1 agent too gives a known table in one answer.
//
// Invariants
//  (1) A column only moves forward: an answer that is not above the last one ends it (backward, circular).
//  (2) An answer that belongs to no question of the last request is ignored.
//  (3) Every accepted answer moves or ends a column, makes the requests smaller, or ends the use of GETBULK,
//      which happens once: it ends.
// Threading: one thread.
class ColumnReader final
{
public:
    explicit ColumnReader(RequestLimits& limits) : m_limits(limits) {}

    struct Walk
    {
        ColumnId id = ColumnId::Count;
        Oid prefix;                           // rows are prefix.row
        std::optional<std::uint32_t> onlyRow; // this one and no other
        std::vector<std::uint32_t> expected;  // rows that were there before
        bool indexOnly = false;               // only the first sub-identifier behind the prefix is wanted
        bool askExpected = false;             // ask for the expected rows by name, not by repetition
        int group = 0;                        // columns of one group are repeated together
        std::uint16_t maxRows = 1;
    };

    void reserve(std::size_t walks) { m_states.reserve(walks); }
    void add(Walk walk);
    std::optional<Pdu> nextRequest();
    void accept(const Pdu& response);
    ColumnData take(ColumnId id);

private:
    struct State
    {
        Walk walk;
        Oid cursor;
        std::optional<std::uint32_t> stopAfter;
        int steps = 0;
        bool done = false;
        ColumnData data;
    };
    struct Slot
    {
        std::size_t state;
        Oid name;
    };

    bool repeats(const State& state) const;
    void addSlots(std::size_t index, std::size_t room);
    void addRepeaters(std::size_t room);
    int repetitions(std::size_t room) const;
    void feed(State& state, const Oid& asked, const Varbind& answer);
    void acceptError(const Pdu& response);
    void endAt(const Slot& slot);
    void shrink();
    void giveUpBulk();
    void bisect();

    RequestLimits& m_limits;
    int m_sizeBeforeBisection = 0; // 0: no failing object is being looked for
    std::vector<State> m_states;
    std::vector<Slot> m_slots;            // of the last request: asked once each
    std::vector<std::size_t> m_repeaters; // of the last request: asked m_repetitions times each
    int m_repetitions = 0;
};

} // namespace tarn::snmp
