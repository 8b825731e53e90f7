// What comes of an answer that is missing, and when the socket is to blame.
#include "tarn/src/engine/conversation.h"

#include <gtest/gtest.h>

#include "tests/unit/tarn/engine/fake_dialogue.h"

namespace tarn::engine::test {
namespace {

using snmp::ReadKind;
using std::chrono::seconds;

constexpr TimePoint kStart{std::chrono::hours(1)};
constexpr ReadKind kSame = ReadKind::Full; // of what was asked, where it does not matter

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
            offline = silence.missed(sent, now);
        }
        return offline;
    }
    std::optional<ReadKind> anew(unsigned requests, Liveliness liveliness, bool becameOffline,
                                 ReadKind kind = kSame)
    {
        return anewAfter({kind, requests, liveliness, becameOffline}, silence, *dialogue, now);
    }

    TimePoint now = kStart;
    Silence silence;
    std::unique_ptr<Dialogue> dialogue = fakeDialogues()(snmp::Version::V2c);
};

TEST_F(AnswerThatIsMissing, HasItsQuestionRepeated)
{
    miss(1);
    EXPECT_FALSE(anew(1, Liveliness::Calm, false));
    EXPECT_FALSE(anew(5, Liveliness::Calm, false));
    EXPECT_FALSE(anew(5, Liveliness::NoPicture, false));
}

TEST_F(AnswerThatIsMissing, TwiceInTheMiddleIsAskedForLessOnce)
{
    dialogue->begin(ReadKind::Full);
    miss(2);
    EXPECT_FALSE(anew(1, Liveliness::Calm, false)) << "the first question is as small as can be";
    EXPECT_EQ(anew(2, Liveliness::Calm, false, ReadKind::Full), ReadKind::Full);
    EXPECT_FALSE(anew(2, Liveliness::Calm, false, ReadKind::Full)) << "there is no less";
}

TEST_F(AnswerThatIsMissing, OfAPrinterThatIsOfflineNowIsAskedForTheLeast)
{
    ASSERT_TRUE(miss(3));
    EXPECT_EQ(anew(4, Liveliness::Calm, true), ReadKind::Fast);
    EXPECT_EQ(anew(1, Liveliness::NoPicture, true), ReadKind::Identity);
    EXPECT_FALSE(anew(4, Liveliness::NoPicture, true)) << "a first meeting goes on where it was";
}

TEST_F(AnswerThatIsMissing, ForAMinuteEndsAFirstMeeting)
{
    ASSERT_TRUE(miss(3));
    now = silence.since() + seconds(59);
    EXPECT_FALSE(anew(4, Liveliness::NoPicture, false));
    now += seconds(1);
    EXPECT_EQ(anew(4, Liveliness::NoPicture, false), ReadKind::Identity);
    EXPECT_FALSE(anew(4, Liveliness::Calm, false)) << "who was met is known by what he said";
}

TEST_F(AnswerThatIsMissing, MakesTheSocketSuspectWhereNobodyAnswersSince)
{
    Reopening reopening;
    reopening.answered(kStart - seconds(1));
    reopening.reopened(kStart - Reopening::kGap);
    miss(2);
    EXPECT_FALSE(reopening.isDue(silence, now)) << "a loss, perhaps";
    ASSERT_TRUE(miss(1));
    EXPECT_TRUE(reopening.isDue(silence, now));
    reopening.answered(now);
    EXPECT_FALSE(reopening.isDue(silence, now)) << "another printer is heard";
}

TEST_F(AnswerThatIsMissing, HasTheSocketOpenedAnewNowAndThenOnly)
{
    Reopening reopening;
    ASSERT_TRUE(miss(3));
    reopening.reopened(now);
    EXPECT_FALSE(reopening.isDue(silence, now + Reopening::kGap - Milliseconds(1)));
    EXPECT_TRUE(reopening.isDue(silence, now + Reopening::kGap));
}

} // namespace
} // namespace tarn::engine::test
