// What comes of an answer that is missing, and when the socket is to blame.
#include "tarn/src/snmp/poll/read_results.h"

#include <gtest/gtest.h>

#include "tests/unit/tarn/snmp/poll/fake_session.h"

namespace tarn::snmp::test {
namespace {

using engine::Liveliness;
using engine::Reachability;
using engine::ReadKind;
using std::chrono::seconds;

constexpr TimePoint kStart{std::chrono::hours(1)};

class AnswerThatIsMissing : public testing::Test
{
protected:
    // After so many misses, a second apart. True when the last one made the printer offline.
    bool miss(unsigned count)
    {
        bool offline = false;
        for (unsigned i = 0; i < count; ++i) {
            const TimePoint sent = now;
            now += seconds(3);
            offline = reachability.missed(sent, now);
        }
        return offline;
    }
    AfterMiss decide(unsigned requests, Liveliness liveliness, bool becameOffline)
    {
        return afterMiss({requests, liveliness, becameOffline}, reachability, *session, now);
    }
    // The session is in the middle of a read.
    void answerOne()
    {
        session->begin(ReadKind::Identity);
        session->accept(*session->nextRequest());
    }

    TimePoint now = kStart;
    Reachability reachability;
    std::unique_ptr<Session> session = fakeSessions()(Version::V2c);
};

TEST_F(AnswerThatIsMissing, HasItsQuestionRepeated)
{
    answerOne();
    miss(1);
    EXPECT_EQ(decide(1, Liveliness::Calm, false), AfterMiss::Repeat);
    EXPECT_EQ(decide(5, Liveliness::Calm, false), AfterMiss::Repeat);
    EXPECT_EQ(decide(5, Liveliness::NoStatus, false), AfterMiss::Repeat);
}

TEST_F(AnswerThatIsMissing, TwiceInTheMiddleIsAskedForLessOnce)
{
    session->begin(ReadKind::Identity);
    miss(2);
    EXPECT_EQ(decide(1, Liveliness::Calm, false), AfterMiss::Repeat) << "nothing says that anybody is there";
    answerOne();
    EXPECT_EQ(decide(2, Liveliness::Calm, false), AfterMiss::AskForLess);
    EXPECT_EQ(decide(2, Liveliness::Calm, false), AfterMiss::Repeat) << "there is no less";
}

TEST_F(AnswerThatIsMissing, OfAPrinterThatIsOfflineNowIsAskedForTheLeast)
{
    ASSERT_TRUE(miss(3));
    EXPECT_EQ(decide(4, Liveliness::Calm, true), AfterMiss::ReadFast);
    EXPECT_EQ(decide(1, Liveliness::NoStatus, true), AfterMiss::ReadIdentity);
    EXPECT_EQ(decide(4, Liveliness::NoStatus, true), AfterMiss::Repeat)
        << "a first meeting goes on where it was";
}

TEST_F(AnswerThatIsMissing, ForAMinuteEndsAFirstMeeting)
{
    ASSERT_TRUE(miss(3));
    now = reachability.since() + seconds(59);
    EXPECT_EQ(decide(4, Liveliness::NoStatus, false), AfterMiss::Repeat);
    now += seconds(1);
    EXPECT_EQ(decide(4, Liveliness::NoStatus, false), AfterMiss::ReadIdentity);
    EXPECT_EQ(decide(4, Liveliness::Calm, false), AfterMiss::Repeat)
        << "who was met is known by what he said";
}

TEST_F(AnswerThatIsMissing, MakesTheSocketSuspectWhereNobodyAnswersSince)
{
    Reopening reopening;
    reopening.answered(kStart - seconds(1));
    reopening.reopened(kStart - Reopening::kGap);
    miss(2);
    EXPECT_FALSE(reopening.isDue(reachability, now)) << "a loss, perhaps";
    ASSERT_TRUE(miss(1));
    EXPECT_TRUE(reopening.isDue(reachability, now));
    reopening.answered(now);
    EXPECT_FALSE(reopening.isDue(reachability, now)) << "another printer answers";
}

TEST_F(AnswerThatIsMissing, HasTheSocketOpenedAnewNowAndThenOnly)
{
    Reopening reopening;
    ASSERT_TRUE(miss(3));
    reopening.reopened(now);
    EXPECT_FALSE(reopening.isDue(reachability, now + Reopening::kGap - Milliseconds(1)));
    EXPECT_TRUE(reopening.isDue(reachability, now + Reopening::kGap));
}

} // namespace
} // namespace tarn::snmp::test
