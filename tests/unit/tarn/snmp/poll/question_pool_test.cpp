#include "tarn/src/snmp/poll/question_pool.h"

#include <gtest/gtest.h>

namespace tarn::snmp::test {
namespace {

TEST(QuestionPool, TheSameBytesAreKeptOnce)
{
    QuestionPool pool;
    const QuestionPool::Question first = pool.shared("toner?");
    EXPECT_EQ(pool.shared("toner?"), first);
    const QuestionPool::Question other = pool.shared("pages?");
    EXPECT_NE(other, first);
    EXPECT_EQ(*other, "pages?");
    EXPECT_EQ(pool.size(), 2u);
}

TEST(QuestionPool, WhatNobodyAsksAnyMoreIsForgotten)
{
    QuestionPool pool;
    const QuestionPool::Question kept = pool.shared("kept");
    for (int i = 0; i < 10000; ++i) {
        pool.shared("question " + std::to_string(i));
    }
    EXPECT_LT(pool.size(), 200u);
    EXPECT_EQ(pool.shared("kept"), kept);
}

TEST(QuestionPool, WhatIsAskedIsNeverForgotten)
{
    QuestionPool pool;
    std::vector<QuestionPool::Question> all;
    for (int i = 0; i < 1000; ++i) {
        all.push_back(pool.shared("question " + std::to_string(i)));
    }
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(pool.shared("question " + std::to_string(i)), all[static_cast<std::size_t>(i)]);
    }
}

} // namespace
} // namespace tarn::snmp::test
