#include <poll.h>

#include <chrono>
#include <stdexcept>
#include <vector>

#include "bench/tarn_engine/engine_rounds.h"
#include "bench/tarn_engine/pollers.h"
#include "bench/tarn_engine/responder.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tarn/src/snmp/poll/udp_port.h"
#include "tarn/src/snmp/wire/reply_digest.h"
#include "tests/support/recorded_agent.h"

namespace bench {

namespace {

using SteadyClock = std::chrono::steady_clock;
using namespace tarn;

Stretch stretchOf(const Round& all, double units)
{
    return {all.cpuUs / units, units / all.seconds};
}

class LibraryPolls final : public EnginePolls
{
public:
    LibraryPolls() : m_rounds(std::make_unique<snmp::UdpPort>(), kPrinters)
    {
        m_meeting = stretchOf(m_rounds.meet(), kPrinters);
        m_rounds.readTables(); // that all do it in the same minute from then on
    }

    // All polls between two reads of the tables, however long that takes: the first of them costs more.
    Stretch run(double) override
    {
        Round all;
        while (m_rounds.canPoll()) {
            const Round one = m_rounds.poll();
            all.answers += one.answers;
            all.cpuUs += one.cpuUs;
            all.seconds += one.seconds;
        }
        m_tables.push_back(stretchOf(m_rounds.readTables(), kPrinters));
        return stretchOf(all, static_cast<double>(all.answers));
    }
    const std::vector<Stretch>& tables() const override { return m_tables; }
    Stretch meeting() const override { return m_meeting; }

private:
    EngineRounds m_rounds;
    Stretch m_meeting;
    std::vector<Stretch> m_tables;
};

class RawPolls final : public PollBench
{
public:
    explicit RawPolls(std::string request) : m_request(std::move(request)) {}

    Stretch run(double seconds) override
    {
        snmp::replaceRequestId(m_request, snmp::kLeastRequestId);
        std::vector<snmp::Datagram> batch;
        std::uint64_t answers = 0;
        std::uint64_t asked = 0;
        const double cpu = threadCpuUs();
        const auto begun = SteadyClock::now();
        const auto end = begun + std::chrono::duration<double>(seconds);
        auto lastAnswer = begun;
        while (SteadyClock::now() < end) {
            while (asked - answers + 64 <= snmp::SnmpPoller::kMostAnsweringInFlight) {
                batch.clear();
                for (std::uint64_t i = 0; i < 64; ++i) {
                    const auto printer = static_cast<std::uint32_t>((asked + i) % kPrinters);
                    batch.push_back(
                        {{addressOf(printer), kResponderPort},
                         {reinterpret_cast<const std::uint8_t*>(m_request.data()), m_request.size()}});
                }
                asked += m_port.send(snmp::Lane::Answering, batch.data(), batch.size());
            }
            const std::size_t got = m_port.receive().size();
            answers += got;
            if (got > 0) {
                lastAnswer = SteadyClock::now();
                continue;
            }
            pollfd descriptor{m_port.descriptor(), POLLIN, 0};
            if (::poll(&descriptor, 1, 1) == 0 &&
                SteadyClock::now() - lastAnswer > std::chrono::milliseconds(50)) {
                asked = answers; // some got lost
            }
        }
        const std::chrono::duration<double> took = SteadyClock::now() - begun;
        const auto polls = static_cast<double>(answers);
        return {(threadCpuUs() - cpu) / polls, polls / took.count()};
    }

private:
    std::string m_request;
    snmp::UdpPort m_port;
};

} // namespace

std::unique_ptr<EnginePolls> enginePolls()
{
    return std::make_unique<LibraryPolls>();
}

std::unique_ptr<PollBench> rawPolls(std::string request)
{
    return std::make_unique<RawPolls>(std::move(request));
}

Question fastQuestion(const std::string& recording)
{
    auto agent = kel::testing::RecordedAgent::fromFile(recording);
    snmp::PrinterSession session(snmp::Version::V2c);
    kel::testing::runRead(session, agent, engine::ReadKind::Identity);
    session.begin(engine::ReadKind::Fast);
    std::optional<snmp::Pdu> pdu = session.nextRequest();
    if (!pdu) {
        throw std::runtime_error("nothing is asked");
    }
    pdu->requestId = snmp::kLeastRequestId;
    snmp::Pdu answer = agent.answer(*pdu);
    answer.requestId = snmp::kLeastRequestId;
    Question question;
    question.request = snmp::encodeMessage({snmp::Version::V2c, "public", *pdu});
    question.variables = answer.varbinds.size();
    question.answerOctets = snmp::encodeMessage({snmp::Version::V2c, "public", answer}).size();
    return question;
}

} // namespace bench
