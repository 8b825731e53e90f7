#include "tarn/src/device/state_words.h"

#include <gtest/gtest.h>

namespace tarn::device {
namespace {

TEST(StateWordsTest, StatesInSeveralLanguages)
{
    EXPECT_EQ(stateTextOf("Ready"), StateText::Ready);
    EXPECT_EQ(stateTextOf("BEREIT"), StateText::Ready);
    EXPECT_EQ(stateTextOf("就绪"), StateText::Ready);
    EXPECT_EQ(stateTextOf("スリープ"), StateText::Sleep);
    EXPECT_EQ(stateTextOf("Warming up"), StateText::WarmUp);
    EXPECT_EQ(stateTextOf("none"), StateText::Ready);
}

TEST(StateWordsTest, DotsAndTheWayWordsAreJoinedDoNotCount)
{
    for (const char* text : {"Sleeping... ", "sleeping", "inPowerSave", "in-power-save", "IN_POWER_SAVE",
                             "Power  Saver mode!", "Sleep…"}) {
        EXPECT_EQ(stateTextOf(text), StateText::Sleep) << text;
    }
}

TEST(StateWordsTest, WhatIsMoreThanAStateIsNone)
{
    for (const char* text : {"", "...", "Ready: load A4", "Not ready", "Paper jam", "trayOpen", "\xFF"}) {
        EXPECT_EQ(stateTextOf(text), StateText::None) << text;
    }
}

} // namespace
} // namespace tarn::device
