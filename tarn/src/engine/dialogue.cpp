#include "tarn/src/engine/dialogue.h"

namespace tarn::engine {

namespace {

class SessionDialogue final : public Dialogue
{
public:
    explicit SessionDialogue(snmp::Version version) : m_session(version) {}
    void begin(snmp::ReadKind kind) override { m_session.begin(kind); }
    std::optional<snmp::Pdu> nextRequest() override { return m_session.nextRequest(); }
    void accept(const snmp::Pdu& response) override { m_session.accept(response); }
    bool noAnswer(unsigned misses) override { return m_session.noAnswer(misses); }
    bool asksTheSame() const override { return m_session.asksTheSame(); }
    bool hearAgain(const snmp::MessageHead& message, const device::KeptPicture& published) override
    {
        return m_session.hearAgain(message, published);
    }
    snmp::ReadOutcome outcome() const override { return m_session.outcome(); }
    std::shared_ptr<const device::DeviceStatus> status() const override { return m_session.status(); }
    void rest() override { m_session.rest(); }

private:
    snmp::Session m_session;
};

} // namespace

DialogueFactory sessionDialogues()
{
    return [](snmp::Version version) { return std::make_unique<SessionDialogue>(version); };
}

} // namespace tarn::engine
