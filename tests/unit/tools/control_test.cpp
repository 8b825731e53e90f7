#include "tools/printer-sim/control.h"

#include <gtest/gtest.h>

namespace printersim {
namespace {

const Oid kName = {1, 3, 6, 1, 1, 0};

class Control : public testing::Test
{
protected:
    static std::vector<Printer> twoPrinters()
    {
        const auto kind = std::make_shared<const PrinterKind>(
            PrinterKind{Mib({{kName, always(integer(1))}}), Course::constant(1), 0, false});
        std::vector<Printer> printers;
        printers.emplace_back(kind, 1, 0x7F000001);
        printers.emplace_back(kind, 2, 0x7F000002);
        return printers;
    }

    std::string run(const std::string& line) { return runCommand(line, m_simulation, 5); }
    std::int64_t valueAt(std::uint32_t address) { return m_simulation.find(address)->get(kName, 5)->number; }

    Simulation m_simulation{twoPrinters(), {}, 1};
};

TEST_F(Control, SetsOnePrintersValue)
{
    EXPECT_EQ(run("set 127.0.0.2 1.3.6.1.1.0|2|7"), "ok");
    EXPECT_EQ(valueAt(0x7F000002), 7);
    EXPECT_EQ(valueAt(0x7F000001), 1);
}

TEST_F(Control, SetsAllPrintersAtOnce)
{
    EXPECT_EQ(run("set all 1.3.6.1.1.0|2|7"), "ok");
    EXPECT_EQ(valueAt(0x7F000001), 7);
    EXPECT_EQ(valueAt(0x7F000002), 7);
}

TEST_F(Control, TakesARowAwayAndAddsOne)
{
    EXPECT_EQ(run("unset 127.0.0.1 1.3.6.1.1.0"), "ok");
    EXPECT_FALSE(m_simulation.find(0x7F000001)->get(kName, 5));
    EXPECT_EQ(run("set 127.0.0.1 1.3.6.1.9.0|4|two words | and a bar"), "ok");
    EXPECT_EQ(m_simulation.find(0x7F000001)->get({1, 3, 6, 1, 9, 0}, 5)->bytes, "two words | and a bar");
}

TEST_F(Control, SwitchesOffAndOn)
{
    EXPECT_EQ(run("off 127.0.0.1"), "ok");
    EXPECT_FALSE(m_simulation.find(0x7F000001)->isOnline(5));
    EXPECT_EQ(run("on 127.0.0.1"), "ok");
    EXPECT_TRUE(m_simulation.find(0x7F000001)->isOnline(5));
}

TEST_F(Control, SetsAndEndsFaults)
{
    EXPECT_EQ(run("faults 127.0.0.1 loss=40,delay=3"), "ok");
    EXPECT_EQ(m_simulation.find(0x7F000001)->faults.loss, 40U);
    EXPECT_EQ(run("faults 127.0.0.1 none"), "ok");
    EXPECT_FALSE(m_simulation.find(0x7F000001)->faults.any());
}

TEST_F(Control, TellsTheCounters)
{
    EXPECT_EQ(run("count 127.0.0.1"), "ok requests=0 answers=0");
}

TEST_F(Control, SaysWhatWasWrong)
{
    EXPECT_EQ(run("set 127.0.0.9 1.3|2|7"), "error: no printer at \"127.0.0.9\"");
    EXPECT_EQ(run("set"), "error: no printer at \"\"");
    EXPECT_EQ(run("count all"), "error: no printer at \"all\"");
    EXPECT_EQ(run("set 127.0.0.1 1.3|2|x"), "error: no number: \"x\"");
    EXPECT_EQ(run("unset 127.0.0.1 x"), "error: no object identifier");
    EXPECT_EQ(run("faults 127.0.0.1 fire=1"), "error: unknown fault fire=1");
    EXPECT_EQ(run("explode 127.0.0.1"), "error: unknown command explode");
    EXPECT_EQ(valueAt(0x7F000001), 1);
}

} // namespace
} // namespace printersim
