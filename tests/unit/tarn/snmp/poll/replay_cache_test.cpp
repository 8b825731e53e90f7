#include "tarn/src/snmp/poll/replay_cache.h"

#include <gtest/gtest.h>

#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp::test {
namespace {

std::string questionOf(std::int32_t id)
{
    Message message;
    message.community = "public";
    message.pdu.type = PduType::GetRequest;
    message.pdu.requestId = id;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 3, 0}, {}});
    return encodeMessage(message);
}

constexpr ReplyDigest kIdle{17, 5000};
constexpr ReplyDigest kIdleLater{17, 5200};
constexpr ReplyDigest kPrinting{18, 5200};

class AReplayCache : public ::testing::Test
{
protected:
    void SetUp() override { cache.remember(questionOf(kLeastRequestId + 9), kIdle, pool); }

    QuestionPool pool;
    ReplayCache cache;
};

TEST(AnEmptyReplayCache, KnowsNothing)
{
    const ReplayCache cache;
    EXPECT_FALSE(cache.isValid());
    EXPECT_FALSE(cache.isQuestion(questionOf(kLeastRequestId)));
    EXPECT_FALSE(cache.isQuestion(std::string()));
    EXPECT_FALSE(cache.matches(kIdle).same);
    EXPECT_FALSE(cache.matches(kIdle).restarted);
}

TEST_F(AReplayCache, AsksTheSameUnderAnotherId)
{
    ASSERT_TRUE(cache.isValid());
    std::string bytes = "what was sent before";
    cache.writeQuestion(0x7ABCDEF1, bytes);
    EXPECT_EQ(bytes, questionOf(0x7ABCDEF1));
    EXPECT_TRUE(cache.isQuestion(questionOf(kLeastRequestId)));
    EXPECT_FALSE(cache.isQuestion(questionOf(kLeastRequestId + 9)));
}

TEST_F(AReplayCache, SharesItsQuestion)
{
    ReplayCache other;
    other.remember(questionOf(kLeastRequestId + 77), kPrinting, pool);
    EXPECT_EQ(pool.size(), 1u);
    EXPECT_FALSE(other.matches(kIdle).same);
}

TEST_F(AReplayCache, MatchesWhatSaysTheSame)
{
    EXPECT_TRUE(cache.matches(kIdleLater).same);
    EXPECT_FALSE(cache.matches(kIdleLater).restarted);
    EXPECT_FALSE(cache.matches(kPrinting).same);
    EXPECT_FALSE(cache.matches({17, -1}).same); // sysUpTime is gone
}

TEST_F(AReplayCache, SeesARestartInWhatSaysTheSameAndInWhatDoesNot)
{
    EXPECT_TRUE(cache.matches({17, 4999}).restarted);
    EXPECT_TRUE(cache.matches({17, 4999}).same);
    EXPECT_TRUE(cache.matches({18, 0}).restarted);
    EXPECT_FALSE(cache.matches({17, 5000}).restarted);
    EXPECT_FALSE(cache.matches({17, -1}).restarted);
}

TEST_F(AReplayCache, HoldsTheNextAnswerAgainstTheLastOne)
{
    cache.remember(kIdleLater);
    EXPECT_TRUE(cache.matches({17, 5100}).restarted); // later than the first, earlier than the last
    cache.remember(kPrinting);
    EXPECT_FALSE(cache.matches(kIdleLater).same);
    EXPECT_TRUE(cache.matches(kPrinting).same);
    EXPECT_TRUE(cache.isValid());
}

TEST_F(AReplayCache, ForgetsTheAnswerButNotTheTime)
{
    cache.forgetAnswer();
    EXPECT_TRUE(cache.isValid());
    EXPECT_FALSE(cache.matches(kIdleLater).same);
    EXPECT_TRUE(cache.matches({17, 4999}).restarted);
}

TEST_F(AReplayCache, IsValidAgainWhenAQuestionIsRemembered)
{
    cache.invalidate();
    EXPECT_FALSE(cache.isValid());
    cache.remember(questionOf(kLeastRequestId), kIdle, pool);
    EXPECT_TRUE(cache.isValid());
}

TEST_F(AReplayCache, IsNotValidWithARequestWhoseIdCannotBeReplaced)
{
    cache.remember(questionOf(7), kPrinting, pool);
    EXPECT_FALSE(cache.isValid());
    EXPECT_FALSE(cache.isQuestion(questionOf(7)));
    EXPECT_TRUE(cache.matches(kPrinting).same);
    cache.remember("no message", kPrinting, pool);
    EXPECT_FALSE(cache.isValid());
}

} // namespace
} // namespace tarn::snmp::test
