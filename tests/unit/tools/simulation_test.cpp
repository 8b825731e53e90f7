#include "tools/printer-sim/simulation.h"

#include <gtest/gtest.h>

namespace printersim {
namespace {

const Oid kName = {1, 3, 6, 1, 1, 0};
constexpr std::uint32_t kAddress = 0x7F000001;

std::vector<Printer> onePrinter(const FaultPlan& faults)
{
    std::vector<Printer> printers;
    printers.emplace_back(std::make_shared<const PrinterKind>(PrinterKind{
                              Mib({{kName, always(octets("hello"))}}), Course::constant(1), 0, false}),
                          1, kAddress);
    printers.back().faults = faults;
    return printers;
}

std::string requestBytes()
{
    tarn::snmp::Message message;
    message.community = "public";
    message.pdu.requestId = 1000;
    message.pdu.varbinds.push_back({kName, {}});
    return tarn::snmp::encodeMessage(message);
}

std::optional<tarn::snmp::Message> decode(const std::string& bytes)
{
    return tarn::snmp::decodeMessage({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

class Way
{
public:
    explicit Way(const FaultPlan& faults, std::uint32_t seed = 1) : simulation(onePrinter(faults), {}, seed)
    {
    }

    std::vector<Outgoing> ask(double seconds = 0, std::uint32_t address = kAddress)
    {
        const std::string bytes = requestBytes();
        std::vector<Outgoing> out;
        simulation.take({{reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, address, {}},
                        seconds, out);
        return out;
    }

    Simulation simulation;
};

TEST(Simulation, AnswersForItsAddressesOnly)
{
    Way way({});
    ASSERT_EQ(way.ask().size(), 1U);
    EXPECT_EQ(way.ask()[0].local, kAddress);
    EXPECT_EQ(way.ask()[0].origin, Origin::Printer);
    EXPECT_TRUE(way.ask(0, kAddress + 1).empty());
}

TEST(Simulation, APrinterThatIsOffIsCountedButSilent)
{
    Way way({});
    way.ask();
    way.simulation.find(kAddress)->switchOff();
    EXPECT_TRUE(way.ask().empty());
    EXPECT_EQ(way.simulation.counters(kAddress).requests, 2U);
    EXPECT_EQ(way.simulation.counters(kAddress).answers, 1U);
}

TEST(Simulation, LossLosesItsShare)
{
    FaultPlan faults;
    faults.loss = 30;
    Way way(faults);
    int answered = 0;
    for (int i = 0; i < 1000; ++i) {
        answered += static_cast<int>(way.ask().size());
    }
    EXPECT_GT(answered, 600);
    EXPECT_LT(answered, 800);
}

TEST(Simulation, TheSameSeedGivesTheSameFaults)
{
    FaultPlan faults;
    faults.loss = 50;
    Way first(faults, 9);
    Way second(faults, 9);
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(first.ask().size(), second.ask().size());
    }
}

TEST(Simulation, ADuplicateComesTwice)
{
    FaultPlan faults;
    faults.duplicate = 100;
    const auto out = Way(faults).ask();
    ASSERT_EQ(out.size(), 2U);
    EXPECT_EQ(out[0].bytes, out[1].bytes);
}

TEST(Simulation, AWrongIdIsAllThatIsWrong)
{
    FaultPlan faults;
    faults.wrongId = 100;
    const auto reply = decode(Way(faults).ask()[0].bytes);
    ASSERT_TRUE(reply);
    EXPECT_EQ(reply->pdu.requestId, 1001);
    EXPECT_EQ(reply->pdu.varbinds[0].value.bytes, "hello");
}

TEST(Simulation, ATruncatedAnswerIsABeginningOfTheAnswer)
{
    const std::string whole = Way({}).ask()[0].bytes;
    FaultPlan faults;
    faults.truncate = 100;
    Way way(faults);
    for (int i = 0; i < 50; ++i) {
        const std::string cut = way.ask()[0].bytes;
        EXPECT_LT(cut.size(), whole.size());
        EXPECT_EQ(cut, whole.substr(0, cut.size()));
    }
}

TEST(Simulation, GarbageIsNotTheAnswer)
{
    FaultPlan faults;
    faults.garbage = 100;
    Way way(faults);
    for (int i = 0; i < 50; ++i) {
        EXPECT_FALSE(decode(way.ask()[0].bytes));
    }
}

TEST(Simulation, AWrongSourceLeavesTheAnswerAsItIs)
{
    FaultPlan faults;
    faults.wrongPort = 100;
    EXPECT_EQ(Way(faults).ask()[0].origin, Origin::WrongPort);
    EXPECT_EQ(Way(faults).ask()[0].bytes, Way({}).ask()[0].bytes);
    faults = {};
    faults.wrongAddress = 100;
    EXPECT_EQ(Way(faults).ask()[0].origin, Origin::WrongAddress);
}

TEST(Simulation, ADelayedAnswerComesWhenItIsDue)
{
    FaultPlan faults;
    faults.delayLeastMs = 20;
    faults.delayMostMs = 50;
    Way way(faults);
    EXPECT_TRUE(way.ask(10).empty());
    ASSERT_TRUE(way.simulation.nextDue());
    EXPECT_GE(*way.simulation.nextDue(), 10.02);
    EXPECT_LE(*way.simulation.nextDue(), 10.05);
    std::vector<Outgoing> out;
    way.simulation.due(10.019, out);
    EXPECT_TRUE(out.empty());
    way.simulation.due(*way.simulation.nextDue(), out); // at that very moment
    EXPECT_EQ(out.size(), 1U);
    EXPECT_FALSE(way.simulation.nextDue());
}

TEST(Faults, AreReadFromTheirList)
{
    FaultPlan plan;
    EXPECT_EQ(
        parseFaults(
            "loss=10,duplicate=1,garbage=2,truncate=3,wrong-id=4,wrong-port=5,wrong-address=6,delay=7..8",
            plan),
        "");
    EXPECT_EQ(plan.loss, 10U);
    EXPECT_EQ(plan.duplicate, 1U);
    EXPECT_EQ(plan.garbage, 2U);
    EXPECT_EQ(plan.truncate, 3U);
    EXPECT_EQ(plan.wrongId, 4U);
    EXPECT_EQ(plan.wrongPort, 5U);
    EXPECT_EQ(plan.wrongAddress, 6U);
    EXPECT_EQ(plan.delayLeastMs, 7U);
    EXPECT_EQ(plan.delayMostMs, 8U);
    EXPECT_EQ(parseFaults("delay=9", plan), "");
    EXPECT_EQ(plan.delayMostMs, 9U);
    EXPECT_EQ(parseFaults("", plan), "");
}

TEST(Faults, WhatIsWrongComesBack)
{
    FaultPlan plan;
    for (const char* text : {"loss", "loss=", "loss=101", "loss=x", "losses=1", "delay=5..4", "delay=5..",
                             "delay=..5", "delay=60001"}) {
        EXPECT_EQ(parseFaults(std::string("duplicate=1,") + text, plan), text);
    }
    EXPECT_EQ(parseFaults(",loss=1", plan), ",loss=1");
}

} // namespace
} // namespace printersim
