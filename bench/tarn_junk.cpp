// What 100,000 junk datagrams a second at the library's socket cost it, beside the bare cost of receiving
// them: a loop of poll() and recvmmsg() over the same buffers that looks at nothing. Both sides in turn, in
// one run.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "bench/report.h"
#include "tarn/src/snmp/wire/codec.h"
#include "tests/hostile/flood.h"
#include "tests/hostile/library_session.h"
#include "tests/hostile/own_process.h"

namespace {

using namespace tarn::snmp;
using hostile::Flood;
using std::chrono::milliseconds;

constexpr std::uint32_t kLoopback = 0x7F000001;
constexpr std::uint32_t kPrinter = 0x7F2C0901; // 127.44.9.1: answers with junk only
constexpr std::uint16_t kPort = 16450;
constexpr unsigned kPerSecond = 100000;
constexpr int kRounds = 5;
constexpr double kMostRatio = 2;

// The receiving end of the library, without the library.
class BareReceiver final
{
public:
    BareReceiver() : m_socket(hostile::boundSocket(kLoopback, kPort + 9))
    {
        const int size = 1 << 20;
        setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        m_thread = std::thread([this] { run(); });
    }
    ~BareReceiver()
    {
        m_stopping = true;
        m_thread.join();
        close(m_socket);
    }
    BareReceiver(const BareReceiver&) = delete;
    BareReceiver& operator=(const BareReceiver&) = delete;

    static constexpr std::uint16_t port() { return kPort + 9; }
    std::int64_t cpu() const
    {
        while (m_id == 0) {
            std::this_thread::yield();
        }
        return hostile::cpuNanoseconds(m_id);
    }
    std::uint64_t received() const { return m_received; }

private:
    static constexpr std::size_t kBatch = 64;
    static constexpr std::size_t kLargest = 16384;

    void run()
    {
        m_id = static_cast<pid_t>(syscall(SYS_gettid));
        const std::unique_ptr<unsigned char[]> buffers(new unsigned char[kBatch * kLargest]);
        std::array<mmsghdr, kBatch> headers{};
        std::array<iovec, kBatch> vectors{};
        std::array<sockaddr_in, kBatch> senders{};
        while (!m_stopping) {
            pollfd readable{m_socket, POLLIN, 0};
            poll(&readable, 1, 50);
            int got = 0;
            do {
                for (std::size_t i = 0; i < kBatch; ++i) {
                    vectors[i] = {buffers.get() + i * kLargest, kLargest};
                    headers[i].msg_hdr = {};
                    headers[i].msg_hdr.msg_name = &senders[i];
                    headers[i].msg_hdr.msg_namelen = sizeof senders[i];
                    headers[i].msg_hdr.msg_iov = &vectors[i];
                    headers[i].msg_hdr.msg_iovlen = 1;
                }
                got = recvmmsg(m_socket, headers.data(), kBatch, MSG_DONTWAIT, nullptr);
                m_received += got > 0 ? static_cast<std::uint64_t>(got) : 0;
            } while (got > 0);
        }
    }

    const int m_socket;
    std::atomic<pid_t> m_id{0};
    std::atomic<std::uint64_t> m_received{0};
    std::atomic<bool> m_stopping{false};
    std::thread m_thread;
};

// A kind of junk: from which sockets, and what. learn: the id of the question that is open is known to the
// sender.
struct Junk
{
    const char* name;
    std::vector<int> sockets;
    std::vector<std::string> bodies;
    std::size_t bindings = 0;
};

Message answerWith(std::int32_t id, std::size_t bindings = 20)
{
    Message message;
    message.community = "public";
    message.pdu.type = PduType::Response;
    message.pdu.requestId = id;
    message.pdu.varbinds.assign(bindings, {{1, 3, 6, 1, 2, 1, 43, 11, 1, 1, 9, 1, 1}, {}});
    return message;
}

// To the latest question that lies in the printer's socket; empty when there is none.
std::string brokenAnswer(int socket, std::size_t bindings)
{
    std::array<std::uint8_t, 2048> buffer{};
    std::string bytes;
    for (;;) {
        const ssize_t count = recv(socket, buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count <= 0) {
            return bytes;
        }
        if (const auto question = decodeMessage({buffer.data(), static_cast<std::size_t>(count)})) {
            Message answer = answerWith(question->pdu.requestId, bindings);
            answer.version = question->version;
            bytes = encodeMessage(answer);
            bytes.back() = '\x05'; // the length of the last value, which has none
        }
    }
}

struct Cost
{
    double perDatagram = 0; // ns of CPU time
    double share = 0;       // of a core
};

Cost costOf(std::int64_t cpu, std::uint64_t datagrams, double seconds)
{
    return {static_cast<double>(cpu) / static_cast<double>(datagrams),
            static_cast<double>(cpu) / seconds / 1e7};
}

void floodFor(Flood& flood, Junk& junk, int seconds)
{
    for (int i = 0; i < seconds * 50; ++i) {
        if (junk.bindings > 0) {
            const std::string answer = brokenAnswer(junk.sockets.front(), junk.bindings);
            if (!answer.empty()) {
                junk.bodies = {answer};
                flood.send(junk.bodies);
            }
        }
        std::this_thread::sleep_for(milliseconds(20));
    }
}

Cost libraryCost(Junk& junk, int seconds)
{
    const pid_t thread = hostile::engineThread();
    const hostile::LocalSocket before = hostile::librarySocket();
    const std::int64_t cpu = hostile::cpuNanoseconds(thread);
    Flood flood(kLoopback, before.port, junk.sockets, junk.bodies, kPerSecond);
    floodFor(flood, junk, seconds);
    flood.stop();
    std::this_thread::sleep_for(milliseconds(100)); // what is still in the buffer
    const std::uint64_t received = flood.sent() - (hostile::librarySocket().drops - before.drops);
    return costOf(hostile::cpuNanoseconds(thread) - cpu, received, seconds);
}

Cost bareCost(Junk& junk, int seconds)
{
    const BareReceiver receiver;
    const std::int64_t cpu = receiver.cpu();
    Flood flood(kLoopback, BareReceiver::port(), junk.sockets, junk.bodies, kPerSecond);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    flood.stop();
    std::this_thread::sleep_for(milliseconds(100));
    return costOf(receiver.cpu() - cpu, receiver.received(), seconds);
}

void measure(bench::Report& figures, Junk& junk, int seconds)
{
    std::vector<double> ours, bare, shares;
    for (int round = 0; round < kRounds; ++round) {
        const Cost cost = libraryCost(junk, seconds);
        bare.push_back(bareCost(junk, seconds).perDatagram); // of the very same datagrams
        ours.push_back(cost.perDatagram);
        shares.push_back(cost.share);
    }
    figures.add({std::string("tarn_junk ") + junk.name,
                 bench::median(ours),
                 "ns of CPU a datagram",
                 {},
                 "recvmmsg alone",
                 bench::median(bare),
                 kMostRatio});
    std::printf("  %.1f %% of a core at %u a second\n", bench::median(shares), kPerSecond);
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = bench::benchOptions(argc, argv, 2);
    if (!options) {
        return 2;
    }
    const int printer = hostile::boundSocket(kPrinter, kPort);
    const int stranger = hostile::boundSocket(kPrinter + 1, kPort);
    const int otherPort = hostile::boundSocket(kPrinter, kPort + 1);
    std::vector<std::string> wrongIds;
    for (std::int32_t id = 1; id <= 64; ++id) {
        wrongIds.push_back(encodeMessage(answerWith(id * 7919)));
    }
    const std::string octets(40, '\x30');
    std::vector<Junk> kinds = {
        {"octets from strangers", {stranger}, {octets}},
        {"answers from strangers", {stranger}, wrongIds},
        {"answers from a printer's address, another port", {otherPort}, wrongIds},
        {"answers from a printer, wrong ids", {printer}, wrongIds},
        {"octets from a printer", {printer}, {octets}},
        {"1,400 octets from a printer", {printer}, {std::string(1400, '\x30')}},
        {"broken answers from a printer, right ids", {printer}, {octets}, 20},
        {"long broken answers from a printer, right ids", {printer}, {octets}, 60},
    };
    hostile::LibrarySession library(kPort);
    library.name({{"junk", "127.44.9.1"}});
    std::atomic<bool> stopping{false};
    std::thread opener([&] { // the printer is asked only while somebody opens it
        while (!stopping) {
            library.see("junk");
            std::this_thread::sleep_for(milliseconds(500));
        }
    });
    const std::int64_t memory = hostile::residentBytes();
    bench::Report figures;
    for (Junk& junk : kinds) {
        measure(figures, junk, options->seconds);
    }
    figures.add({"tarn_junk growth of memory",
                 static_cast<double>(hostile::residentBytes() - memory) / 1048576,
                 "MiB",
                 24,
                 {},
                 0,
                 {}});
    stopping = true;
    opener.join();
    if (!options->json.empty() && !figures.write(options->json)) {
        std::fprintf(stderr, "%s cannot be written\n", options->json.c_str());
        return 1;
    }
    return figures.isGood() ? 0 : 3; // measured, a bound was missed
}
