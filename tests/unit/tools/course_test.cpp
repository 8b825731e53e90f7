#include "tools/printer-sim/course.h"

#include <gtest/gtest.h>

namespace printersim {
namespace {

TEST(Course, AConstantStaysWhatItIs)
{
    EXPECT_EQ(Course::constant(7).at(0), 7);
    EXPECT_EQ(Course::constant(7).at(1e6), 7);
}

TEST(Course, AStepHoldsUntilTheNextOne)
{
    const Course course{Course::Kind::Steps, {{0, 3}, {10, 4}}, 0, 0};
    EXPECT_EQ(course.at(9.999), 3);
    EXPECT_EQ(course.at(10), 4);
    EXPECT_EQ(course.at(1000), 4);
}

TEST(Course, BeforeTheFirstPointItsValueHolds)
{
    const Course course{Course::Kind::Line, {{5, 100}, {15, 0}}, 0, 0};
    EXPECT_EQ(course.at(0), 100);
}

TEST(Course, ALineIsRoundedToTheNearestWholeNumber)
{
    const Course course{Course::Kind::Line, {{0, 80}, {600, 0}}, 0, 0};
    EXPECT_EQ(course.at(300), 40);
    EXPECT_EQ(course.at(3), 80);   // 79.6
    EXPECT_EQ(course.at(4.5), 79); // 79.4
    EXPECT_EQ(course.at(601), 0);
}

TEST(Course, ARepeatingCourseBeginsAgain)
{
    const Course course{Course::Kind::Steps, {{0, 3}, {40, 4}}, 60, 0};
    EXPECT_EQ(course.at(59.9), 4);
    EXPECT_EQ(course.at(60), 3);
    EXPECT_EQ(course.at(161), 4);
}

TEST(Course, ACountGrowsByWholeNumbers)
{
    const Course course{Course::Kind::Count, {{0, 1200}}, 0, 30};
    EXPECT_EQ(course.at(1.9), 1200);
    EXPECT_EQ(course.at(2), 1201);
    EXPECT_EQ(course.at(60), 1230);
}

TEST(Course, RisesAreCountedWhenAValueComes)
{
    const Course course{Course::Kind::Steps, {{0, 0}, {30, 1}, {40, 0}, {50, 1}}, 0, 0};
    EXPECT_EQ(course.risesUntil(29), 0);
    EXPECT_EQ(course.risesUntil(30), 1);
    EXPECT_EQ(course.risesUntil(45), 1);
    EXPECT_EQ(course.risesUntil(500), 2);
}

TEST(Course, RisesOfARepeatingCourseAddUp)
{
    const Course course{Course::Kind::Steps, {{0, 0}, {30, 1}, {40, 0}}, 60, 0};
    EXPECT_EQ(course.risesUntil(59), 1);
    EXPECT_EQ(course.risesUntil(89), 1);
    EXPECT_EQ(course.risesUntil(90), 2);
    EXPECT_EQ(course.risesUntil(600), 10);
}

TEST(Course, AValueThatStaysOverTheRepeatRisesOnce)
{
    const Course course{Course::Kind::Steps, {{0, 1}, {30, 2}}, 60, 0};
    EXPECT_EQ(course.risesUntil(600), 1);
}

TEST(Course, AConstantRisesAtTheStartOrNever)
{
    EXPECT_EQ(Course::constant(1).risesUntil(100), 1);
    EXPECT_EQ(Course::constant(0).risesUntil(100), 0);
}

} // namespace
} // namespace printersim
