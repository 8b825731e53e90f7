#include "tools/tarn-status/changes/change_detector.h"

#include <gmock/gmock.h>

namespace {

using namespace tarnstatus;
using std::chrono::milliseconds;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;

Reading printer(const char* name, bool online = true, const char* flag = "")
{
    Reading reading;
    reading.printer = {name, "10.0.0.1"};
    reading.online = online;
    reading.info["lessToner"] = "0";
    reading.info[flag] = "1";
    return reading;
}

class ChangeDetectorTest : public testing::Test
{
protected:
    // What looks at these in that time, one a second, find.
    std::vector<std::string> looks(const std::vector<Reading>& readings, int count = 10)
    {
        std::vector<std::string> events;
        for (int i = 0; i < count; ++i) {
            m_now += seconds(1);
            for (const Change& change : m_detector.take(readings, m_now)) {
                events.push_back(change.reading.printer.name + " " + change.event);
            }
        }
        return events;
    }

    ChangeDetector m_detector;
    Debounced::Time m_now{};
};

TEST_F(ChangeDetectorTest, WhatTheFirstLookShowsIsNoChange)
{
    EXPECT_THAT(
        looks({printer("a", false), printer("b", true, "lessToner"), printer("c", true, "lackPaper")}),
        IsEmpty());
}

TEST_F(ChangeDetectorTest, WhatIsRememberedOfAnEarlierRunIsNoEdge)
{
    Reading remembered = printer("a", false, "lackPaper");
    remembered.isRemembered = true;
    EXPECT_THAT(looks({printer("a", false)}), IsEmpty());
    EXPECT_THAT(looks({remembered}, 100), IsEmpty()) << "as soon as the file was read";
    EXPECT_THAT(looks({printer("a", true, "lackPaper")}), ElementsAre("a back")) << "and it still is so";
}

TEST_F(ChangeDetectorTest, TellsEachEdgeOnce)
{
    looks({printer("a")});
    EXPECT_THAT(looks({printer("a", false)}, 100), ElementsAre("a offline"));
    EXPECT_THAT(looks({printer("a")}, 100), ElementsAre("a back"));
    EXPECT_THAT(looks({printer("a", true, "lackPaper")}), ElementsAre("a out-of-paper"));
    EXPECT_THAT(looks({printer("a", true, "lessToner")}), ElementsAre("a toner-low"));
    EXPECT_THAT(looks({printer("a", true, "lackToner")}), IsEmpty()) << "it was low before";
    EXPECT_THAT(looks({printer("a")}), IsEmpty()) << "what is mended is not told";
    EXPECT_THAT(looks({printer("a", true, "lackToner")}), ElementsAre("a toner-low"));
}

TEST_F(ChangeDetectorTest, WhatDoesNotHoldIsNoChange)
{
    looks({printer("a")});
    for (int i = 0; i < 10; ++i) {
        EXPECT_THAT(looks({printer("a", false)}, 5), IsEmpty());
        EXPECT_THAT(looks({printer("a")}, 1), IsEmpty());
    }
    EXPECT_THAT(looks({printer("a", false)}, 5), IsEmpty());
    EXPECT_THAT(looks({printer("a", false)}, 1), ElementsAre("a offline"))
        << "five seconds after the first doubt";
}

TEST_F(ChangeDetectorTest, OneLookIsNotEnoughHoweverLate)
{
    looks({printer("a")});
    m_now += seconds(3600);
    EXPECT_THAT(looks({printer("a", false)}, 1), IsEmpty());
}

TEST_F(ChangeDetectorTest, APrinterThatIsAwayKeepsItsPaperAndToner)
{
    looks({printer("a", true, "lackPaper")});
    EXPECT_THAT(looks({printer("a", false)}), ElementsAre("a offline"));
    EXPECT_THAT(looks({printer("a", true, "lackPaper")}), ElementsAre("a back"));
}

TEST_F(ChangeDetectorTest, WhatIsUnpluggedIsOffline)
{
    looks({printer("a"), printer("b")});
    EXPECT_THAT(looks({printer("a")}), ElementsAre("b offline"));
    EXPECT_THAT(looks({printer("a"), printer("b")}), ElementsAre("b back"));
}

TEST_F(ChangeDetectorTest, PrintersOfOneNameAreNotMixedUp)
{
    looks({printer("a"), printer("a")});
    EXPECT_THAT(looks({printer("a"), printer("a", false)}), ElementsAre("a offline"));
}

} // namespace
