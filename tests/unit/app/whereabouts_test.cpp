#include "app/launcher/whereabouts.h"

#include <gtest/gtest.h>

namespace {

TEST(Whereabouts, OnesOwnProgramIsInTheTrayAndCanBeEndedWhereThereIsNone)
{
    const QString text = whereabouts(1234, QString());
    EXPECT_TRUE(text.contains(QStringLiteral("系统托盘")));
    EXPECT_TRUE(text.contains(QStringLiteral("“显示主界面”")));
    EXPECT_TRUE(text.contains(QStringLiteral(" kill 1234 ")));
}

TEST(Whereabouts, AnotherUsersProgramIsNamedByItsUserAndNotToBeEnded)
{
    const QString text = whereabouts(1234, QStringLiteral("%2"));
    EXPECT_TRUE(text.contains(QStringLiteral("用户 %2 正在使用 Kel（进程 1234）")));
    EXPECT_FALSE(text.contains(QStringLiteral("kill")));
    EXPECT_FALSE(text.contains(QStringLiteral("显示主界面")));
}

TEST(Whereabouts, AnUnknownProcessIsNotNamed)
{
    const QString text = whereabouts(0, QString());
    EXPECT_TRUE(text.contains(QStringLiteral("显示主界面")));
    EXPECT_FALSE(text.contains(QStringLiteral("kill")));
}

} // namespace
