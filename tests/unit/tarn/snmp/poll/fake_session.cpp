#include "tests/unit/tarn/snmp/poll/fake_session.h"

#include <utility>

namespace tarn::snmp::test {

namespace {

using engine::ReadKind;
using engine::ReadOutcome;

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

class FakeSession final : public Session
{
public:
    explicit FakeSession(std::size_t* accepted) : m_accepted(accepted) {}

    void begin(ReadKind kind) override
    {
        m_kind = kind;
        m_left = kind == ReadKind::Identity ? 3 : kind == ReadKind::Full ? 2 : 1;
        m_answered = false;
    }

    std::optional<Pdu> nextRequest() override
    {
        if (m_left == 0) {
            return std::nullopt;
        }
        Pdu pdu;
        pdu.varbinds.push_back({{1, 3, m_careful ? 1u : 0u, static_cast<std::uint32_t>(m_kind)}, {}});
        return pdu;
    }

    void accept(const Pdu& response) override
    {
        --m_left;
        m_answered = true;
        if (m_accepted != nullptr) {
            ++*m_accepted;
        }
        if (m_left == 0) {
            m_outcome = conclude(response.varbinds.empty() ? "" : response.varbinds.back().value.bytes);
        }
    }

    bool onTimeout(unsigned misses) override
    {
        return misses == 2 && m_answered && !std::exchange(m_careful, true);
    }

    bool asksTheSame() const override { return false; }
    bool acceptReplay(const MessageHead&, const device::PackedStatus&) override { return false; }
    ReadOutcome outcome() const override { return m_outcome; }
    std::shared_ptr<const device::DeviceStatus> status() const override { return m_status; }
    void rest() override {}

private:
    ReadOutcome conclude(const std::string& text)
    {
        const bool fast = m_kind == ReadKind::Fast;
        if (text == "stranger") {
            return ReadOutcome::Unusable;
        }
        if (fast && startsWith(text, "counter")) {
            return ReadOutcome::NeedsFull;
        }
        if (fast && startsWith(text, "restart")) {
            return ReadOutcome::Restarted;
        }
        if (m_status && m_status->model == text) {
            return ReadOutcome::Unchanged;
        }
        auto status = std::make_shared<device::DeviceStatus>();
        status->model = text;
        status->activity = startsWith(text, "printing") ? device::Activity::Printing : device::Activity::Idle;
        if (startsWith(text, "alert")) {
            status->alerts.emplace_back();
        }
        m_status = std::move(status);
        return ReadOutcome::Changed;
    }

    std::size_t* const m_accepted;
    ReadKind m_kind = ReadKind::Identity;
    int m_left = 0;
    bool m_answered = false; // in this read
    bool m_careful = false;
    ReadOutcome m_outcome = ReadOutcome::Unusable;
    std::shared_ptr<const device::DeviceStatus> m_status;
};

} // namespace

SessionFactory fakeSessions(std::size_t* accepted)
{
    return [accepted](Version) { return std::make_unique<FakeSession>(accepted); };
}

ReadKind kindOf(const Message& request)
{
    return static_cast<ReadKind>(request.pdu.varbinds.front().name.back());
}

bool isCareful(const Message& request)
{
    return request.pdu.varbinds.front().name[2] == 1;
}

} // namespace tarn::snmp::test
