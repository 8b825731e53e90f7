// The quick way through a Fast read that is asked again: an answer with the names that were there last
// time, so that only numbers can have moved. Everything else takes the ordinary way.
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "tarn/src/device/packed_status.h"
#include "tarn/src/snmp/poll/fast_columns.h"
#include "tarn/src/snmp/poll/printer_session.h"

namespace tarn::snmp {

using engine::ReadOutcome;

namespace {

using Id = ColumnId;

constexpr std::size_t kMostBindings = 64; // of an answer to one request
constexpr std::size_t kLongestName = 48;  // octets of any name that is asked for, and more

// What one read needs for a moment, kept by the thread for the next: without it an answer that moved
// one number would cost a hundred small blocks of memory.
struct Workspace
{
    Reading reading;
    std::shared_ptr<device::DeviceStatus> status;
};

Workspace& workspace()
{
    thread_local Workspace own;
    return own;
}

// A column's name with some of its index, as it stands in a message.
class Name final
{
public:
    explicit Name(Id id)
    {
        const std::string& prefix = encodedOidOf(id);
        std::copy(prefix.begin(), prefix.end(), m_octets.begin()); // none takes more than a dozen
        m_size = prefix.size();
    }
    Name child(std::uint32_t part) const
    {
        Name name = *this;
        name.m_size += writeBase128(part, name.m_octets.data() + name.m_size);
        return name;
    }
    bool is(ByteView name) const { return name.size == m_size && starts(name); }
    bool starts(ByteView name) const
    {
        return name.size >= m_size && std::memcmp(name.data, m_octets.data(), m_size) == 0;
    }

private:
    std::array<std::uint8_t, kLongestName> m_octets;
    std::size_t m_size = 0;
};

bool isException(ValueType type)
{
    return type == ValueType::NoSuchObject || type == ValueType::NoSuchInstance ||
           type == ValueType::EndOfMibView;
}

// The bindings of an answer, taken one after another as they are expected.
class Answer final
{
public:
    explicit Answer(const MessageHead& message)
        : m_left(takeBindings(message, m_bindings.data(), kMostBindings))
    {
    }

    // The instance of a number, or of a text, that has one.
    bool takeCell(const Name& name, ColumnKind kind, std::uint32_t row, ColumnData& cell)
    {
        const Binding* const binding = next();
        if (binding == nullptr || !name.is(binding->name)) {
            return false;
        }
        if (kind == ColumnKind::Number) {
            return takeNumber(*binding, row, cell);
        }
        return takeText(*binding, row, cell);
    }
    // What shows that a column has no more rows.
    bool takeEnd(const Name& prefix)
    {
        const Binding* const binding = next();
        return binding != nullptr && isWellFormed(*binding) && isMinimalOid(binding->name) &&
               (isException(binding->type) || !prefix.starts(binding->name));
    }
    // The rest says nothing, but has to be a message's.
    bool takeRest()
    {
        for (; m_left > 0; --m_left, ++m_at) {
            if (!isWellFormed(m_bindings[m_at])) {
                return false;
            }
        }
        return true;
    }

private:
    const Binding* next()
    {
        if (m_left == 0) {
            return nullptr;
        }
        --m_left;
        return &m_bindings[m_at++];
    }
    static bool takeNumber(const Binding& binding, std::uint32_t row, ColumnData& cell)
    {
        const std::optional<std::int64_t> number = numberIn(binding);
        if (number) {
            cell.rows.push_back(row);
            cell.numbers.push_back(*number);
        }
        return number.has_value();
    }
    static bool takeText(const Binding& binding, std::uint32_t row, ColumnData& cell)
    {
        if (binding.type != ValueType::OctetString || binding.content.size > kLongestFastText) {
            return false;
        }
        cell.rows.push_back(row);
        cell.texts.emplace_back(reinterpret_cast<const char*>(binding.content.data), binding.content.size);
        return true;
    }

    static constexpr std::size_t kLongestFastText = 16; // error bits

    std::array<Binding, kMostBindings> m_bindings;
    std::size_t m_at = 0;
    std::size_t m_left;
};

// Takes the rows of a column that is known, into column; false when they are others.
bool takeRows(Answer& answer, Id id, std::uint32_t printer, const ColumnData& known, ColumnData& column)
{
    const Name prefix = Name(id).child(printer);
    for (const std::uint32_t row : known.rows) {
        if (!answer.takeCell(prefix.child(row), ColumnKind::Number, row, column)) {
            return false;
        }
    }
    return known.rows.size() >= specOf(id).maxRows || answer.takeEnd(prefix);
}

} // namespace

// What finishFast() does, of an answer that gives it nothing to think about.
bool PrinterSession::acceptReplay(const MessageHead& message, const device::PackedStatus& published)
{
    if (m_stage != Stage::Idle || !m_oneFast || !m_statusDigest || published.digest() != *m_statusDigest) {
        return false;
    }
    Workspace& work = workspace();
    m_kept.readInto(work.reading);
    PrinterTables& kept = work.reading.tables;
    Answer answer(message);
    FastChange change = FastChange::None;
    ColumnData read; // one column at a time
    const auto saysMore = [&](Id id) {
        change = std::max(change, changeIn(id, std::as_const(kept)[id], read));
        return change > FastChange::Numbers;
    };
    for (const Id id : kFastScalars) {
        if (std::as_const(kept)[id].empty()) {
            continue;
        }
        read.clear();
        const std::uint32_t instance = instanceOf(id, *m_index);
        if (!answer.takeCell(Name(id).child(instance), specOf(id).kind, instance, read) || saysMore(id)) {
            return false;
        }
        std::swap(kept[id], read);
    }
    for (const Id id : kFastRows) {
        if (std::as_const(kept)[id].empty()) {
            continue;
        }
        read.clear();
        if (!takeRows(answer, id, m_index->of(id), std::as_const(kept)[id], read) || saysMore(id)) {
            return false;
        }
        std::swap(kept[id], read);
    }
    read.clear();
    const ColumnData& alerts = std::as_const(kept)[Id::PrtAlertSeverityLevel];
    if (!takeRows(answer, Id::PrtAlertSeverityLevel, m_index->of(Id::PrtAlertSeverityLevel), alerts, read) ||
        saysMore(Id::PrtAlertSeverityLevel) || !answer.takeRest()) {
        return false;
    }
    m_kept.keep(work.reading);
    m_outcome = ReadOutcome::Unchanged;
    if (change == FastChange::Numbers) {
        refresh(work.reading, published, work.status);
    }
    return true;
}

void PrinterSession::refresh(const Reading& reading, const device::PackedStatus& published,
                             std::shared_ptr<device::DeviceStatus>& status)
{
    if (!status || status.use_count() > 1) { // somebody still reads the last one
        status = std::make_shared<device::DeviceStatus>();
    }
    published.unpackInto(*status);
    refreshStatus(reading.tables, reading.vendor, *status);
    const std::uint64_t digest = device::PackedStatus(*status).digest();
    if (m_statusDigest != digest) {
        m_statusDigest = digest;
        m_status = status;
        m_outcome = ReadOutcome::Changed;
    }
}

} // namespace tarn::snmp
