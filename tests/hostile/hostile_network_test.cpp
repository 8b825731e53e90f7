// Liars and floods at the socket of libtarn.so itself.
#include <gtest/gtest.h>

#include <unistd.h>

#include <chrono>
#include <memory>
#include <thread>

#include "tarn/src/snmp/wire/codec.h"
#include "tests/hostile/flood.h"
#include "tests/hostile/hostile_agent.h"
#include "tests/hostile/neighbourhood.h"
#include "tests/hostile/own_process.h"
#include "tests/support/eventually.h"

namespace hostile {
namespace {

using kel_test::eventually;
using std::chrono::milliseconds;
using std::chrono::seconds;
using From = HostileAgent::From;
using Occasion = HostileAgent::Occasion;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 16420;
constexpr std::uint32_t kAgent = 0x7F2C0401; // 127.44.4.1
constexpr const char* kScenario = R"({"model": "TRUTH", "serial": "TRUTH-1", "pages": 4711,
    "supplies": [{"type": "toner", "colour": "black", "description": "Black Toner", "level": 55}],
    "trays": [{"name": "Tray 1", "level": 300}]})";
constexpr std::size_t kLargestPayload = 65507; // of a UDP datagram

std::string encoded(const tarn::snmp::Message& message)
{
    return tarn::snmp::encodeMessage(message);
}

void pause(milliseconds time)
{
    std::this_thread::sleep_for(time);
}

struct Trick
{
    const char* name;
    HostileAgent::Script script; // lies; the truth follows by itself
};

void sendCutAtEveryByte(const Occasion& occasion)
{
    const std::string lie = encoded(lieOf(occasion.truth));
    for (std::size_t length = 0; length < lie.size(); ++length) {
        occasion.send(lie.substr(0, length));
        if (length % 64 == 63) {
            pause(milliseconds(1)); // no more than what fits a small receive buffer
        }
    }
}

void sendWithOtherHead(const Occasion& occasion)
{
    tarn::snmp::Message lie = lieOf(occasion.truth);
    lie.pdu.requestId ^= 1;
    occasion.send(encoded(lie));
    lie.pdu.requestId = -lie.pdu.requestId;
    occasion.send(encoded(lie));
    lie = lieOf(occasion.truth);
    lie.community = "Public";
    occasion.send(encoded(lie));
    lie = lieOf(occasion.truth);
    lie.version = lie.version == tarn::snmp::Version::V1 ? tarn::snmp::Version::V2c : tarn::snmp::Version::V1;
    occasion.send(encoded(lie));
    lie = lieOf(occasion.truth);
    lie.pdu.type = tarn::snmp::PduType::GetRequest;
    occasion.send(encoded(lie));
}

// A whole and right head, and bindings that fill the largest datagram there is.
void sendLargest(const Occasion& occasion)
{
    tarn::snmp::Message lie = lieOf(occasion.truth);
    lie.pdu.varbinds.front().value.type = tarn::snmp::ValueType::OctetString;
    lie.pdu.varbinds.front().value.bytes.assign(64000, 'L');
    std::string bytes = encoded(lie);
    bytes.resize(kLargestPayload, '\0');
    occasion.send(bytes);
}

// Nine thousand bindings of the smallest kind, 0.0 = NULL, under a right head.
void sendNineThousandBindings(const Occasion& occasion)
{
    tarn::snmp::Message lie = lieOf(occasion.truth);
    lie.pdu.varbinds.assign(9000, {{0, 0}, {}});
    occasion.send(encoded(lie));
    lie.pdu.varbinds.assign(1500, {{0, 0}, {}}); // and as many as fit a buffer that takes 16 KiB
    occasion.send(encoded(lie));
}

// The truth: each counts once, and nobody is asked more for it.
void sendManyTimes(const Occasion& occasion)
{
    for (int i = 0; i < 50; ++i) {
        occasion.send(occasion.truth);
    }
}

HostileAgent::Script replayer()
{
    return [earlier = std::vector<std::string>()](const Occasion& occasion) mutable {
        for (const std::string& lie : earlier) {
            occasion.send(lie);
        }
        earlier.push_back(encoded(lieOf(occasion.truth)));
    };
}

const std::vector<Trick>& tricks()
{
    static const std::vector<Trick> all = {
        {"forged port", [](const Occasion& o) { o.send(encoded(lieOf(o.truth)), From::AnotherPort); }},
        {"forged address", [](const Occasion& o) { o.send(encoded(lieOf(o.truth)), From::AnotherAddress); }},
        {"another head", sendWithOtherHead},
        {"replay", replayer()},
        {"cut at every byte", sendCutAtEveryByte},
        {"the largest datagram", sendLargest},
        {"nine thousand bindings", sendNineThousandBindings},
        {"fifty duplicates", sendManyTimes},
    };
    return all;
}

// One agent for each trick, all at once.
TEST(HostileNetwork, NoLieIsBelievedAndTheTruthBehindItIs)
{
    std::vector<std::unique_ptr<HostileAgent>> agents;
    std::vector<NamedPrinter> printers;
    for (const Trick& trick : tricks()) {
        const auto address = kAgent + 2 * static_cast<std::uint32_t>(agents.size());
        agents.push_back(
            std::make_unique<HostileAgent>(address, kPort, kScenario, [&trick](const Occasion& o) {
                trick.script(o);
                pause(milliseconds(2)); // the lie is there first
                o.send(o.truth);
            }));
        printers.push_back({trick.name, "127.44.4." + std::to_string(address & 0xFF)});
    }
    LibrarySession library(kPort);
    library.name(printers);
    // A first status takes several requests, each of which is lied to; then one more poll.
    std::vector<unsigned> asked;
    for (std::size_t i = 0; i < agents.size(); ++i) {
        ASSERT_TRUE(eventually([&] { return library.see(printers[i].name).online; }, seconds(10)))
            << printers[i].name;
        asked.push_back(agents[i]->requests());
        EXPECT_GE(asked.back(), 3u) << printers[i].name;
        EXPECT_LE(asked.back(), 12u) << printers[i].name;
    }
    const auto askedAgain = [&] {
        for (std::size_t i = 0; i < agents.size(); ++i) {
            const Sight sight = library.see(printers[i].name);
            EXPECT_EQ(sight.model, "TRUTH") << printers[i].name;
            EXPECT_EQ(sight.info.find("LIE"), std::string::npos) << printers[i].name << sight.info;
            if (agents[i]->requests() == asked[i] || sight.ageMs > 3000) {
                return false;
            }
        }
        return true;
    };
    EXPECT_TRUE(eventually(askedAgain, seconds(12)));
    for (const NamedPrinter& printer : printers) {
        EXPECT_EQ(library.see(printer.name).pages, 4711) << printer.name;
        EXPECT_EQ(library.see(printer.name).serial, "TRUTH-1") << printer.name;
    }
    for (std::size_t i = 0; i < agents.size(); ++i) {
        EXPECT_LE(agents[i]->requests(), asked[i] + 12u) << printers[i].name; // lies buy no further questions
    }
}

// Junk at the library's own socket, 100,000 datagrams a second of it, in every shape and from everywhere.
class FloodedLibrary : public testing::Test
{
protected:
    static constexpr unsigned kPerSecond = 100000;
    // Bytes: what 64 buffers of 16 KiB and a heap may take; the sanitizers keep for a while what was freed.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    static constexpr std::int64_t kMostGrowth = 600 << 20;
#else
    static constexpr std::int64_t kMostGrowth = 24 << 20;
#endif

    void SetUp() override
    {
        library.name(neighbours.good());
        for (const NamedPrinter& printer : neighbours.good()) {
            ASSERT_TRUE(eventually([&] { return library.see(printer.name).online; }, seconds(5)));
        }
        ASSERT_NE(librarySocket().port, 0);
    }

    // The good ones are watched while the flood goes on for so long, and where it flows slowly until it was one.
    void flood(const std::vector<int>& sockets, const std::vector<std::string>& bodies, seconds time)
    {
        const std::int64_t before = residentBytes();
        Flood junk(0x7F000001, librarySocket().port, sockets, bodies, kPerSecond);
        const auto enough = static_cast<std::uint64_t>(time.count()) * kPerSecond / 4;
        const auto begun = SteadyClock::now();
        while (SteadyClock::now() - begun < time || junk.sent() < enough) {
            for (const NamedPrinter& printer : neighbours.good()) {
                const Sight sight = library.see(printer.name);
                ASSERT_TRUE(sight.online) << printer.ip;
                ASSERT_LE(sight.ageMs, Neighbourhood::kMostAgeMs) << printer.ip;
                oldest = std::max(oldest, sight.ageMs);
            }
            pause(milliseconds(50));
        }
        junk.stop();
        RecordProperty("sent", std::to_string(junk.sent()));
        RecordProperty("oldest_ms", static_cast<int>(oldest));
        EXPECT_LE(residentBytes() - before, kMostGrowth);
        for (const int socket : sockets) {
            close(socket);
        }
    }

    Neighbourhood neighbours{KEL_PRINTER_SIM, KEL_TEST_DATA "/colour.json", "127.44.5", kPort};
    LibrarySession library{kPort};
    std::int64_t oldest = 0;
};

TEST_F(FloodedLibrary, StrangersRubbishDoesNotAgeTheGoodOnes)
{
    std::vector<std::string> rubbish{"", std::string(1, '\x30'), std::string(1400, '\x30'),
                                     std::string(40, '\xff')};
    flood({boundSocket(kAgent, 16430), boundSocket(kAgent + 1, 16431)}, rubbish, seconds(7));
}

TEST_F(FloodedLibrary, WellFormedAnswersFromAPrintersAddressDoNotAgeTheGoodOnes)
{
    // From the good ones' own addresses, another port, and with ids that nobody asked.
    tarn::snmp::Message message;
    message.community = "public";
    message.pdu.type = tarn::snmp::PduType::Response;
    message.pdu.varbinds.assign(20, {{1, 3, 6, 1, 2, 1, 43, 11, 1, 1, 9, 1, 1}, {}});
    std::vector<std::string> answers;
    for (std::int32_t id = 1; id <= 64; ++id) {
        message.pdu.requestId = id * 7919;
        answers.push_back(encoded(message));
    }
    flood({boundSocket(0x7F2C0501, 16431), boundSocket(0x7F2C0502, 16431)}, answers, seconds(7));
}

} // namespace
} // namespace hostile
