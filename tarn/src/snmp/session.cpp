#include "tarn/src/snmp/session_impl.h"

namespace tarn::snmp {

using Id = ColumnId;

void Session::Impl::begin(ReadKind kind)
{
    if (kind == ReadKind::Identity) {
        m_sizing.forgetAnswerSize();
    }
    m_oneFast = m_oneFast && kind == ReadKind::Full;
    m_kind = m_index ? kind : ReadKind::Identity;
    m_sizing.beginConversation(m_kind != ReadKind::Fast);
    m_talk = std::make_unique<Talk>();
    m_talk->before = m_kept.reading();
    m_talk->index = m_index.value_or(PrinterIndex());
    switch (m_kind) {
    case ReadKind::Identity:
        return enter(Stage::System);
    case ReadKind::Full:
        for (const Id id : {Id::SysDescr, Id::SysObjectId, Id::SysLocation, Id::HrDeviceType}) {
            m_talk->now.tables[id] = m_talk->before.tables[id];
        }
        m_talk->now.vendor = m_talk->before.vendor;
        return enter(m_talk->index.differsBetweenTables() ? Stage::Find : Stage::Tables);
    case ReadKind::Fast:
        return enter(Stage::Fast);
    }
}

std::optional<Pdu> Session::Impl::nextRequest()
{
    while (m_stage != Stage::Idle) {
        std::optional<Pdu> pdu =
            m_talk->objects ? m_talk->objects->nextRequest() : m_talk->columns->nextRequest();
        if (pdu) {
            m_sizing.asked(*pdu);
            return pdu;
        }
        leave();
    }
    return std::nullopt;
}

void Session::Impl::accept(const Pdu& response)
{
    if (!m_talk) {
        return;
    }
    ++m_talk->answers;
    if (m_talk->objects) {
        m_talk->objects->accept(response);
    } else if (m_talk->columns) {
        m_talk->columns->accept(response);
    }
    m_sizing.answered();
}

bool Session::Impl::noAnswer(unsigned misses)
{
    return m_stage != Stage::Idle && m_sizing.unanswered(misses);
}

void Session::Impl::enter(Stage stage)
{
    m_talk->objects.reset();
    m_talk->columns.reset();
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

void Session::Impl::leave()
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

void Session::Impl::end(ReadOutcome outcome)
{
    m_sizing.endConversation(m_kind != ReadKind::Fast);
    m_talk.reset();
    m_stage = Stage::Idle;
    m_outcome = outcome;
}

std::shared_ptr<const device::DeviceStatus> Session::Impl::status() const
{
    if (m_status || !m_pictureDigest) {
        return m_status;
    }
    const Reading reading = m_kept.reading();
    return std::make_shared<const device::DeviceStatus>(buildPicture(reading.tables, reading.vendor));
}

void Session::Impl::rest()
{
    if (m_stage == Stage::Idle) {
        m_status.reset();
    }
}

Session::Session(Version version) : m_impl(std::make_unique<Impl>(version)) {}
Session::~Session() = default;
Session::Session(Session&&) noexcept = default;
Session& Session::operator=(Session&&) noexcept = default;

void Session::begin(ReadKind kind)
{
    m_impl->begin(kind);
}

std::optional<Pdu> Session::nextRequest()
{
    return m_impl->nextRequest();
}

void Session::accept(const Pdu& response)
{
    m_impl->accept(response);
}

bool Session::noAnswer(unsigned misses)
{
    return m_impl->noAnswer(misses);
}

bool Session::hearAgain(const MessageHead& message, const device::KeptPicture& published)
{
    return m_impl->hearAgain(message, published);
}

bool Session::asksTheSame() const
{
    return m_impl->asksTheSame();
}

ReadOutcome Session::outcome() const
{
    return m_impl->outcome();
}

std::shared_ptr<const device::DeviceStatus> Session::status() const
{
    return m_impl->status();
}

void Session::rest()
{
    m_impl->rest();
}

} // namespace tarn::snmp
