#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <ctime>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bench/tarn_engine/pollers.h"
#include "bench/tarn_engine/responder.h"
#include "tarn/src/device/device_status.h"
#include "tarn/src/engine/reply_digest.h"
#include "tarn/src/engine/snmp_poller.h"
#include "tarn/src/engine/udp_port.h"
#include "tests/support/recorded_agent.h"

namespace bench {

namespace {

using SteadyClock = std::chrono::steady_clock;
using namespace tarn;

class QuickClock final : public Clock
{
public:
    static constexpr int kTimes =
        6; // 15,000 to 30,000 polls/s, and as many reads of the tables among them as ever
    TimePoint now() const override
    {
        const auto passed = SteadyClock::now() - m_start;
        return TimePoint(Milliseconds(1000000) + std::chrono::duration_cast<Milliseconds>(passed * kTimes));
    }

private:
    const SteadyClock::time_point m_start = SteadyClock::now();
};

class Deaf final : public engine::BackendListener
{
public:
    void targetChanged(engine::Target&) override {}
    void rosterChanged(engine::Discovery, std::vector<engine::DiscoveredPrinter>) override {}
};

class EnginePolls final : public PollBench
{
public:
    EnginePolls()
        : m_poller(m_clock, m_random, std::make_unique<engine::UdpPort>(), m_listener,
                   engine::sessionDialogues())
    {
        const auto community = std::make_shared<const std::string>("public");
        for (std::uint32_t i = 0; i < kPrinters; ++i) {
            engine::PrinterAddress address{
                {addressOf(i), kResponderPort}, engine::VersionChoice::V2c, community};
            m_targets.push_back(std::make_shared<engine::Target>(
                std::move(address), engine::unmetSnapshot(device::DeviceStatus()), m_clock.now()));
            m_poller.watch(m_targets.back());
        }
        const auto deadline = SteadyClock::now() + std::chrono::seconds(60);
        while (!allMet()) {
            if (SteadyClock::now() > deadline) {
                throw std::runtime_error("not all printers answered");
            }
            run(0.5);
        }
        run(2); // until none of them was met lately
    }

    Stretch run(double seconds) override
    {
        for (const auto& target : m_targets) {
            target->markOpened(m_clock.now());
        }
        const std::uint64_t before = accepted();
        const double cpu = threadCpuUs();
        const auto begun = SteadyClock::now();
        const auto end = begun + std::chrono::duration<double>(seconds);
        while (SteadyClock::now() < end) {
            m_poller.run();
            if (m_poller.nextDeadline() > m_clock.now()) {
                pollfd descriptor{m_poller.descriptor(), POLLIN, 0};
                ::poll(&descriptor, 1, 1);
            }
        }
        const std::chrono::duration<double> took = SteadyClock::now() - begun;
        const auto polls = static_cast<double>(accepted() - before);
        return {(threadCpuUs() - cpu) / polls, polls / took.count()};
    }

private:
    std::uint64_t accepted() const
    {
        return m_poller.verdicts()[static_cast<std::size_t>(engine::Verdict::Accepted)];
    }
    bool allMet() const
    {
        for (const auto& target : m_targets) {
            if (!target->snapshot()->online) {
                return false;
            }
        }
        return true;
    }

    QuickClock m_clock;
    SystemRandom m_random;
    Deaf m_listener;
    std::vector<std::shared_ptr<engine::Target>> m_targets;
    engine::SnmpPoller m_poller;
};

class RawPolls final : public PollBench
{
public:
    explicit RawPolls(std::string request) : m_request(std::move(request)) {}

    Stretch run(double seconds) override
    {
        engine::replaceRequestId(m_request, engine::kLeastRequestId);
        std::vector<engine::Datagram> batch;
        std::uint64_t answers = 0;
        std::uint64_t asked = 0;
        const double cpu = threadCpuUs();
        const auto begun = SteadyClock::now();
        const auto end = begun + std::chrono::duration<double>(seconds);
        auto heard = begun;
        while (SteadyClock::now() < end) {
            while (asked - answers + 64 <= engine::SnmpPoller::kMostInFlight) {
                batch.clear();
                for (std::uint64_t i = 0; i < 64; ++i) {
                    const auto printer = static_cast<std::uint32_t>((asked + i) % kPrinters);
                    batch.push_back(
                        {{addressOf(printer), kResponderPort},
                         {reinterpret_cast<const std::uint8_t*>(m_request.data()), m_request.size()}});
                }
                asked += m_port.send(batch.data(), batch.size());
            }
            const std::size_t got = m_port.receive().size();
            answers += got;
            if (got > 0) {
                heard = SteadyClock::now();
                continue;
            }
            pollfd descriptor{m_port.descriptor(), POLLIN, 0};
            if (::poll(&descriptor, 1, 1) == 0 &&
                SteadyClock::now() - heard > std::chrono::milliseconds(50)) {
                asked = answers; // some got lost
            }
        }
        const std::chrono::duration<double> took = SteadyClock::now() - begun;
        const auto polls = static_cast<double>(answers);
        return {(threadCpuUs() - cpu) / polls, polls / took.count()};
    }

private:
    std::string m_request;
    engine::UdpPort m_port;
};

} // namespace

std::unique_ptr<PollBench> enginePolls()
{
    return std::make_unique<EnginePolls>();
}

std::unique_ptr<PollBench> rawPolls(std::string request)
{
    return std::make_unique<RawPolls>(std::move(request));
}

Question fastQuestion(const std::string& recording)
{
    auto agent = kel::testing::RecordedAgent::fromFile(recording);
    snmp::Session session(snmp::Version::V2c);
    kel::testing::converse(session, agent, snmp::ReadKind::Identity);
    session.begin(snmp::ReadKind::Fast);
    std::optional<snmp::Pdu> pdu = session.nextRequest();
    if (!pdu) {
        throw std::runtime_error("nothing is asked");
    }
    pdu->requestId = engine::kLeastRequestId;
    snmp::Pdu answer = agent.answer(*pdu);
    answer.requestId = engine::kLeastRequestId;
    Question question;
    question.request = snmp::encodeMessage({snmp::Version::V2c, "public", *pdu});
    question.variables = answer.varbinds.size();
    question.answerOctets = snmp::encodeMessage({snmp::Version::V2c, "public", answer}).size();
    return question;
}

double threadCpuUs()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

} // namespace bench
