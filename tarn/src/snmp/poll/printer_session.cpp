#include "tarn/src/snmp/poll/printer_session.h"

namespace tarn::snmp {

using engine::ReadKind;
using engine::ReadOutcome;

using Id = ColumnId;

void PrinterSession::begin(ReadKind kind)
{
    if (kind == ReadKind::Identity) {
        m_sizing.forgetAnswerSize();
    }
    m_oneFast = m_oneFast && kind == ReadKind::Full;
    m_kind = m_index ? kind : ReadKind::Identity;
    m_sizing.beginRead(m_kind != ReadKind::Fast);
    m_read = std::make_unique<Read>();
    m_read->before = m_kept.reading();
    m_read->index = m_index.value_or(PrinterIndex());
    switch (m_kind) {
    case ReadKind::Identity:
        return enter(Stage::System);
    case ReadKind::Full:
        for (const Id id : {Id::SysDescr, Id::SysObjectId, Id::SysLocation, Id::HrDeviceType}) {
            m_read->now.tables[id] = m_read->before.tables[id];
        }
        m_read->now.vendor = m_read->before.vendor;
        return enter(m_read->index.differsBetweenTables() ? Stage::Find : Stage::Tables);
    case ReadKind::Fast:
        return enter(Stage::Fast);
    }
}

std::optional<Pdu> PrinterSession::nextRequest()
{
    while (m_stage != Stage::Idle) {
        std::optional<Pdu> pdu =
            m_read->objects ? m_read->objects->nextRequest() : m_read->columns->nextRequest();
        if (pdu) {
            m_sizing.asked(*pdu);
            return pdu;
        }
        leave();
    }
    return std::nullopt;
}

void PrinterSession::accept(const Pdu& response)
{
    if (!m_read) {
        return;
    }
    ++m_read->answers;
    if (m_read->objects) {
        m_read->objects->accept(response);
    } else if (m_read->columns) {
        m_read->columns->accept(response);
    }
    m_sizing.answered();
}

void PrinterSession::enter(Stage stage)
{
    m_read->objects.reset();
    m_read->columns.reset();
    m_stage = stage;
    switch (stage) {
    case Stage::Idle:
        return;
    case Stage::System:
        return beginSystem();
    case Stage::Find:
        return beginFind();
    case Stage::DeviceTypes:
        return beginDeviceTypes();
    case Stage::Tables:
        return beginTables();
    case Stage::Charset:
        return beginCharset();
    case Stage::Vendor:
        return beginVendor();
    case Stage::Fast:
        return beginFast();
    }
}

void PrinterSession::leave()
{
    switch (m_stage) {
    case Stage::Idle:
        return;
    case Stage::System:
        return finishSystem();
    case Stage::Find:
        return finishFind();
    case Stage::DeviceTypes:
        return finishDeviceTypes();
    case Stage::Tables:
        return finishTables();
    case Stage::Charset:
        return finishCharset();
    case Stage::Vendor:
        return finishVendor();
    case Stage::Fast:
        return finishFast();
    }
}

void PrinterSession::end(ReadOutcome outcome)
{
    m_sizing.endRead(m_kind != ReadKind::Fast);
    m_read.reset();
    m_stage = Stage::Idle;
    m_outcome = outcome;
}

std::shared_ptr<const device::DeviceStatus> PrinterSession::status() const
{
    if (m_status || !m_statusDigest) {
        return m_status;
    }
    const Reading reading = m_kept.reading();
    return std::make_shared<const device::DeviceStatus>(buildStatus(reading.tables, reading.vendor));
}

void PrinterSession::rest()
{
    if (m_stage == Stage::Idle) {
        m_status.reset();
    }
}

SessionFactory printerSessions()
{
    return [](Version version) { return std::make_unique<PrinterSession>(version); };
}

} // namespace tarn::snmp
