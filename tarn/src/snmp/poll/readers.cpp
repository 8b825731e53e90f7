#include "tarn/src/snmp/poll/readers.h"

#include <algorithm>
#include <utility>

namespace tarn::snmp {

namespace {

constexpr int kRowsGuessed = 5; // of a table never read before

bool isException(ValueType type)
{
    return type == ValueType::NoSuchObject || type == ValueType::NoSuchInstance ||
           type == ValueType::EndOfMibView;
}

Varbind question(Oid name)
{
    Varbind varbind;
    varbind.name = std::move(name);
    return varbind;
}

Oid child(const Oid& parent, std::uint32_t row)
{
    Oid oid;
    oid.reserve(parent.size() + 1); // copied first, it would be allocated twice
    oid = parent;
    oid.push_back(row);
    return oid;
}

void takeIndex(ColumnData& data, std::uint32_t index)
{
    if (data.rows.empty() || data.rows.back() < index) {
        data.rows.push_back(index);
        data.numbers.push_back(0);
    }
}

bool isError(const Pdu& response)
{
    return response.errorStatus != static_cast<std::int32_t>(ErrorStatus::NoError);
}

} // namespace

// ---- ObjectReader ----

ObjectReader::ObjectReader(std::vector<Oid> names, RequestLimits& limits)
    : m_limits(limits), m_pending(std::move(names)), m_perRequest(12)
{
}

std::optional<Pdu> ObjectReader::nextRequest()
{
    if (m_pending.empty() || m_limits.requestsLeft <= 0) {
        return std::nullopt;
    }
    --m_limits.requestsLeft;
    m_asked = std::min({m_perRequest, m_pending.size(), static_cast<std::size_t>(m_limits.maxResults)});
    Pdu pdu;
    pdu.type = PduType::GetRequest;
    pdu.varbinds.reserve(m_asked);
    for (std::size_t i = 0; i < m_asked; ++i) {
        pdu.varbinds.push_back(question(m_pending[i]));
    }
    return pdu;
}

void ObjectReader::accept(const Pdu& response)
{
    if (m_asked == 0) {
        return;
    }
    if (isError(response)) {
        acceptError(response);
        m_asked = 0;
        return;
    }
    std::size_t answered = 0;
    for (const Varbind& varbind : response.varbinds) {
        const auto asked = m_pending.begin() + static_cast<std::ptrdiff_t>(m_asked - answered);
        const auto found = std::find(m_pending.begin(), asked, varbind.name);
        if (found == asked) {
            continue; // not asked, or answered twice
        }
        if (!isException(varbind.value.type) && varbind.value.type != ValueType::Null) {
            m_values[varbind.name] = varbind.value;
        }
        m_pending.erase(found);
        ++answered;
    }
    if (answered == 0) { // an answer to something else: these questions lead nowhere
        m_pending.erase(m_pending.begin(), m_pending.begin() + static_cast<std::ptrdiff_t>(m_asked));
    }
    m_asked = 0;
}

// RFC 1157 4.1.2: one missing object fails the whole request, and errorIndex names it.
void ObjectReader::acceptError(const Pdu& response)
{
    const bool named = response.errorIndex >= 1 && static_cast<std::size_t>(response.errorIndex) <= m_asked;
    const bool tooBig = response.errorStatus == static_cast<std::int32_t>(ErrorStatus::TooBig);
    if (named && !tooBig) {
        drop(static_cast<std::size_t>(response.errorIndex) - 1);
    } else if (m_asked > 1) {
        m_perRequest = m_asked / 2;
    } else {
        drop(0);
    }
}

void ObjectReader::drop(std::size_t position)
{
    m_pending.erase(m_pending.begin() + static_cast<std::ptrdiff_t>(position));
}

const Value* ObjectReader::find(const Oid& name) const
{
    const auto found = m_values.find(name);
    return found == m_values.end() ? nullptr : &found->second;
}

// ---- ColumnReader ----

void ColumnReader::add(Walk walk)
{
    State state;
    state.cursor = walk.onlyRow && *walk.onlyRow > 0 ? child(walk.prefix, *walk.onlyRow - 1) : walk.prefix;
    state.walk = std::move(walk);
    m_states.push_back(std::move(state));
}

bool ColumnReader::repeats(const State& state) const
{
    return m_limits.bulk && !state.walk.askExpected && !state.walk.onlyRow && state.walk.maxRows > 1;
}

// Asks for the next row of a column and, by the names of their predecessors, for those expected behind it.
void ColumnReader::addSlots(std::size_t index, std::size_t room)
{
    const State& state = m_states[index];
    if (room == 0) {
        return;
    }
    m_slots.push_back(Slot{index, state.cursor});
    std::size_t asked = 1;
    int rows = state.steps + 1;
    for (const std::uint32_t row : state.walk.expected) {
        Oid name = child(state.walk.prefix, row);
        if (name <= state.cursor) {
            continue;
        }
        if (asked >= room || ++rows > state.walk.maxRows || state.walk.onlyRow || state.stopAfter == row) {
            return;
        }
        m_slots.push_back(Slot{index, std::move(name)});
        ++asked;
    }
}

void ColumnReader::addRepeaters(std::size_t room)
{
    std::optional<int> group;
    for (std::size_t i = 0; i < m_states.size() && m_repeaters.size() < room; ++i) {
        const State& state = m_states[i];
        if (state.done || !repeats(state)) {
            continue;
        }
        if (!group) {
            group = state.walk.group;
        }
        if (state.walk.group == *group) {
            m_repeaters.push_back(i);
        }
    }
    m_repetitions = m_repeaters.empty() ? 0 : repetitions(room);
}

int ColumnReader::repetitions(std::size_t room) const
{
    int wanted = 1;
    for (const std::size_t index : m_repeaters) {
        const State& state = m_states[index];
        const int known = static_cast<int>(state.walk.expected.size());
        const int left = known == 0 ? kRowsGuessed : std::max(known - state.steps, 0) + 1;
        wanted = std::max(wanted, std::min(left, state.walk.maxRows - state.steps));
    }
    const int most = std::max(1, static_cast<int>(room / m_repeaters.size()));
    return std::min(wanted, most);
}

std::optional<Pdu> ColumnReader::nextRequest()
{
    m_slots.clear();
    m_repeaters.clear();
    m_repetitions = 0;
    if (m_limits.requestsLeft <= 0) {
        return std::nullopt;
    }
    const auto budget = static_cast<std::size_t>(m_limits.maxResults);
    for (std::size_t i = 0; i < m_states.size() && m_slots.size() < budget; ++i) {
        if (!m_states[i].done && !repeats(m_states[i])) {
            addSlots(i, budget - m_slots.size());
        }
    }
    if (m_slots.size() < budget) {
        addRepeaters(budget - m_slots.size());
    }
    if (m_slots.empty() && m_repeaters.empty()) {
        return std::nullopt;
    }
    --m_limits.requestsLeft;
    Pdu pdu;
    pdu.type = m_repeaters.empty() ? PduType::GetNextRequest : PduType::GetBulkRequest;
    if (!m_repeaters.empty()) {
        pdu.errorStatus = static_cast<std::int32_t>(m_slots.size()); // non-repeaters
        pdu.errorIndex = m_repetitions;
    }
    pdu.varbinds.reserve(m_slots.size() + m_repeaters.size());
    for (const Slot& slot : m_slots) {
        pdu.varbinds.push_back(question(slot.name));
    }
    for (const std::size_t index : m_repeaters) {
        pdu.varbinds.push_back(question(m_states[index].cursor));
    }
    return pdu;
}

void ColumnReader::accept(const Pdu& response)
{
    if (m_slots.empty() && m_repeaters.empty()) {
        return;
    }
    if (isError(response)) {
        acceptError(response);
    } else if (response.varbinds.empty()) {
        shrink(); // cut before the first binding
    } else {
        const std::size_t most =
            m_slots.size() + m_repeaters.size() * static_cast<std::size_t>(m_repetitions);
        for (std::size_t i = 0; i < response.varbinds.size() && i < most; ++i) {
            if (i < m_slots.size()) {
                feed(m_states[m_slots[i].state], m_slots[i].name, response.varbinds[i]);
            } else {
                State& state = m_states[m_repeaters[(i - m_slots.size()) % m_repeaters.size()]];
                feed(state, state.cursor, response.varbinds[i]);
            }
        }
    }
    m_slots.clear();
    m_repeaters.clear();
}

void ColumnReader::feed(State& state, const Oid& asked, const Varbind& answer)
{
    if (state.done || asked != state.cursor) {
        return; // ended meanwhile, or a row that was expected did not come: asked again from where it stands
    }
    if (isException(answer.value.type) || !hasPrefix(answer.name, state.walk.prefix) ||
        answer.name <= state.cursor) {
        state.done = true;
        return;
    }
    state.cursor = answer.name;
    ++state.steps;
    if (state.walk.indexOnly && answer.name.size() > state.walk.prefix.size()) {
        takeIndex(state.data, answer.name[state.walk.prefix.size()]);
    } else if (answer.name.size() == state.walk.prefix.size() + 1) {
        const std::uint32_t row = answer.name.back();
        if (!state.walk.onlyRow || *state.walk.onlyRow == row) {
            appendCell(state.data, specOf(state.walk.id).kind, row, answer.value);
        }
        state.done = state.stopAfter == row;
    }
    state.done = state.done || state.walk.onlyRow || state.steps >= state.walk.maxRows;
}

// noSuchName is how v1 says that nothing comes behind a name (RFC 1157 4.1.3); genErr is how broken agents
// say that one object fails. Both should name the question. GETBULK has no such errors (RFC 3416 4.2.3): the
// agent has no GETBULK, and the index that it names says nothing.
void ColumnReader::acceptError(const Pdu& response)
{
    if (response.errorStatus == static_cast<std::int32_t>(ErrorStatus::TooBig)) {
        return shrink();
    }
    if (!m_repeaters.empty()) {
        return giveUpBulk();
    }
    const auto position = static_cast<std::size_t>(response.errorIndex) - 1;
    if (response.errorIndex < 1 || position >= m_slots.size()) {
        return bisect();
    }
    if (response.errorStatus == static_cast<std::int32_t>(ErrorStatus::NoSuchName)) {
        for (const Slot& slot : m_slots) { // what has no successor ends the walk of every name behind it too
            if (m_slots[position].name <= slot.name) {
                endAt(slot);
            }
        }
    } else {
        endAt(m_slots[position]);
    }
}

void ColumnReader::endAt(const Slot& slot)
{
    State& state = m_states[slot.state];
    if (slot.name == state.cursor) {
        state.done = true;
    } else if (!state.stopAfter || slot.name.back() < *state.stopAfter) {
        state.stopAfter = slot.name.back(); // nothing behind this expected row
    }
}

// The same questions would fail again: fewer next time, and a single one is given up, as GETBULK before as
// GETNEXT.
void ColumnReader::shrink()
{
    const std::size_t results =
        m_slots.size() + m_repeaters.size() * static_cast<std::size_t>(std::max(m_repetitions, 0));
    if (results > 1) {
        m_limits.maxResults = std::max(1, std::min(m_limits.maxResults, static_cast<int>(results)) / 2);
    } else if (!m_repeaters.empty()) {
        giveUpBulk();
        m_limits.maxResults =
            RequestLimits::kMostResults; // GETBULK refused whatever the size: no size is known
    } else {
        m_states[m_slots.front().state].done = true;
    }
}

// The same questions are put again, by GETNEXT.
void ColumnReader::giveUpBulk()
{
    m_limits.bulk = false;
}

// One of the questions fails, and nothing says which: it is looked for among ever fewer, and given up. That
// says nothing of how much an answer can hold.
void ColumnReader::bisect()
{
    if (m_sizeBeforeBisection == 0) {
        m_sizeBeforeBisection = m_limits.maxResults;
    }
    const bool found = m_slots.size() == 1;
    shrink();
    if (found) {
        m_limits.maxResults = std::exchange(m_sizeBeforeBisection, 0);
    }
}

ColumnData ColumnReader::take(ColumnId id)
{
    for (State& state : m_states) {
        if (state.walk.id == id) {
            return std::move(state.data);
        }
    }
    return ColumnData{};
}

} // namespace tarn::snmp
