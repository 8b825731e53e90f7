// The hot paths of the library, to be counted by callgrind. "tarn_instructions --instructions PATH" runs one
// and prints how often; what counts is in instruction_hooks.h, everything around it is not counted.
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/tarn_engine/answers.h"
#include "bench/tarn_engine/engine_rounds.h"
#include "bench/tarn_engine/instruction_hooks.h"
#include "bench/tarn_engine/responder.h"
#include "tarn/tarn.h"
#include "tests/hostile/library_session.h"

namespace {

using tarn::snmp::Datagram;

constexpr std::uint32_t kFewPrinters = 200;
constexpr std::size_t kBatch = 64;

// A network in memory. What is sent is answered by serve(), outside of what is counted.
class MemoryPort final : public tarn::snmp::DatagramPort
{
public:
    explicit MemoryPort(bench::Answers answers) : m_answers(std::move(answers))
    {
        m_sent.resize(tarn::snmp::SnmpPoller::kMostInFlight);
        m_batch.reserve(kBatch);
    }

    std::size_t send(tarn::snmp::Lane, const Datagram* batch, std::size_t count) override
    {
        for (std::size_t i = 0; i < count; ++i) {
            Letter& letter = m_sent[m_sentCount++];
            letter.peer = batch[i].peer;
            letter.bytes.assign(reinterpret_cast<const char*>(batch[i].bytes.data), batch[i].bytes.size);
        }
        return count;
    }
    const std::vector<Datagram>& receive() override
    {
        m_batch.clear();
        while (m_taken < m_arrived.size() && m_batch.size() < kBatch) {
            const Letter& letter = m_arrived[m_taken++];
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(letter.bytes.data());
            m_batch.push_back({letter.peer, {bytes, letter.bytes.size()}});
        }
        return m_batch;
    }
    bool reopen() override { return true; }
    int descriptor() const override { return -1; }

    void serve()
    {
        m_arrived.clear();
        m_taken = 0;
        for (std::size_t i = 0; i < m_sentCount; ++i) {
            const std::size_t printer = m_sent[i].peer.address - bench::kFirstAddress;
            m_arrived.push_back({m_sent[i].peer, m_answers.answerTo(m_sent[i].bytes, printer)});
        }
        m_sentCount = 0;
    }

private:
    struct Letter
    {
        tarn::engine::Endpoint peer;
        std::string bytes;
    };

    bench::Answers m_answers;
    std::vector<Letter> m_sent;
    std::size_t m_sentCount = 0;
    std::vector<Letter> m_arrived;
    std::size_t m_taken = 0;
    std::vector<Datagram> m_batch;
};

constexpr int kRounds = 10;

// A poller of printers whose level changes in so many per cent of the answers.
class Polled final
{
public:
    explicit Polled(unsigned changesPercent)
        : m_port(new MemoryPort(bench::Answers(KEL_BENCH_PRINTER, kFewPrinters, changesPercent))),
          m_engine(std::unique_ptr<MemoryPort>(m_port), kFewPrinters)
    {
        m_engine.onIdle([this] { m_port->serve(); });
        m_engine.meet();
    }

    bench::EngineRounds& engine() { return m_engine; }

private:
    MemoryPort* const m_port; // the engine's
    bench::EngineRounds m_engine;
};

std::uint64_t polls(unsigned changesPercent)
{
    Polled polled(changesPercent);
    polled.engine().poll(); // the first one makes the question that all others repeat
    polled.engine().count(bench::EngineRounds::Counted::Polls);
    for (int round = 0; round < kRounds; ++round) {
        polled.engine().poll();
    }
    return std::uint64_t{kFewPrinters} * kRounds;
}

std::uint64_t firstPolls()
{
    Polled polled(0);
    polled.engine().readTables();
    polled.engine().count(bench::EngineRounds::Counted::Polls);
    polled.engine().poll();
    return kFewPrinters;
}

std::uint64_t tables()
{
    Polled polled(0);
    polled.engine().count(bench::EngineRounds::Counted::Tables);
    polled.engine().readTables();
    return kFewPrinters;
}

std::uint64_t openToClose()
{
    static constexpr std::uint64_t kCalls = 1000;
    const bench::Responder responder(KEL_BENCH_PRINTER);
    const hostile::LibrarySession session(bench::kResponderPort);
    tarn_setPrinterList(R"([{"ip":"127.48.0.1","manufacturer":"Acme","model":"","printerName":"one"}])");
    for (int tenth = 0; bench::stateOf("one") == 2; ++tenth) {
        if (tenth == 300) {
            throw std::runtime_error("the printer does not answer");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    countedInstructions(
        [](void*) {
            for (std::uint64_t i = 0; i < kCalls; ++i) {
                bench::openToClose("one");
            }
        },
        nullptr);
    return kCalls;
}

std::uint64_t run(const std::string& path)
{
    if (path == "unchanged-poll") {
        return polls(0);
    }
    if (path == "changed-poll") {
        return polls(100);
    }
    if (path == "first-poll") {
        return firstPolls();
    }
    if (path == "tables") {
        return tables();
    }
    if (path == "open-to-close") {
        return openToClose();
    }
    throw std::runtime_error("unchanged-poll, changed-poll, first-poll, tables or open-to-close");
}

} // namespace

int main(int argc, char** argv)
{
    try {
        std::printf("%llu\n", static_cast<unsigned long long>(run(argc == 3 ? argv[2] : "")));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
