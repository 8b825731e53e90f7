#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <set>

namespace tarn::snmp::test {

// A first meeting takes three answers. answersToMeet(lost): how many it took where those of the requests,
// counted from 1, stayed unanswered.
template <typename AnswersToMeet>
void expectFirstMeetingsToGoOn(const AnswersToMeet& answersToMeet)
{
    EXPECT_EQ(answersToMeet({}), 3u);
    EXPECT_EQ(answersToMeet({2}), 3u);
    EXPECT_EQ(answersToMeet({2, 3}), 3u); // asked for less in its place
    EXPECT_EQ(answersToMeet({2, 3, 5, 6}), 3u);
    EXPECT_EQ(answersToMeet({2, 3, 5, 6, 7, 8}), 3u); // offline meanwhile
    std::set<std::size_t> forMinutes{2, 3};
    for (std::size_t i = 5; i < 22; ++i) {
        forMinutes.insert(i);
    }
    EXPECT_EQ(answersToMeet(forMinutes), 1u + 1u + 3u) << "it may be another one by now";
}

} // namespace tarn::snmp::test
