#include "tools/tarn-status/history/forecast.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <random>

#include <gtest/gtest.h>

#include "tools/tarn-status/history/history_options.h"

namespace {

using namespace tarnstatus;

constexpr UnixTime kNow = 1800000000;

// A level that falls by so much a day, told every day.
std::vector<LevelPoint> falling(double from, double perDay, int days, UnixTime begin = kNow)
{
    std::vector<LevelPoint> points;
    for (int day = 0; day <= days; ++day) {
        points.push_back({begin + day * kDay, static_cast<int>(std::floor(from - perDay * day))});
    }
    return points;
}

TEST(Forecast, FollowsAnEvenUse)
{
    const auto forecast = forecastOf(falling(100, 1, 40), kNow + 40 * kDay);
    ASSERT_TRUE(forecast);
    EXPECT_EQ(forecast->percent, 60);
    EXPECT_NEAR(forecast->days, 60, 0.1);
    EXPECT_LT(forecast->soonest, forecast->days);
    EXPECT_GT(forecast->latest, forecast->days);
    EXPECT_LT(forecast->latest - forecast->soonest, 6);
}

TEST(Forecast, SaysNothingWhereTheDataDoNotAllowIt)
{
    EXPECT_FALSE(forecastOf({}, kNow));
    EXPECT_FALSE(forecastOf({{kNow, 50}}, kNow + 400 * kDay)) << "nothing was used";
    EXPECT_FALSE(forecastOf(falling(100, 10, 6), kNow + 6 * kDay)) << "not a week";
    EXPECT_FALSE(forecastOf(falling(100, 0.05, 40), kNow + 40 * kDay)) << "two per cent";
    // All of it on one day of a month.
    EXPECT_FALSE(forecastOf({{kNow, 100}, {kNow + 14 * kDay, 60}}, kNow + 28 * kDay));
}

TEST(Forecast, AReplacedCartridgeStartsAnew)
{
    std::vector<LevelPoint> points = falling(60, 2, 28);
    const std::vector<LevelPoint> fresh = falling(100, 1, 5, kNow + 29 * kDay);
    points.insert(points.end(), fresh.begin(), fresh.end());
    EXPECT_FALSE(forecastOf(points, kNow + 34 * kDay)) << "five days are too few";
    points.resize(29);
    const std::vector<LevelPoint> longer = falling(100, 1, 30, kNow + 29 * kDay);
    points.insert(points.end(), longer.begin(), longer.end());
    const auto forecast = forecastOf(points, kNow + 59 * kDay);
    ASSERT_TRUE(forecast);
    EXPECT_NEAR(forecast->days, 70, 0.1);
}

TEST(Forecast, ALevelThatWaversIsNoReplacement)
{
    std::vector<LevelPoint> points = falling(100, 1, 40);
    for (std::size_t i = 3; i < points.size(); i += 7) {
        points[i].percent += kReplacementRise - 2;
    }
    EXPECT_EQ(sinceReplacement(points).size(), points.size());
    points[20].percent = 90; // from 81
    EXPECT_EQ(sinceReplacement(points).size(), points.size());
    points[20].percent = 95;
    EXPECT_EQ(sinceReplacement(points).size(), points.size() - 20);
}

TEST(Forecast, WhatIsEmptyNeedsNone)
{
    const auto forecast = forecastOf({{kNow, 10}, {kNow + kDay, 0}}, kNow + kDay);
    ASSERT_TRUE(forecast);
    EXPECT_EQ(forecast->days, 0);
    EXPECT_EQ(forecast->percent, 0);
}

// The life of a cartridge in an office: pages in each of ten hours of a day, fewer or none on some days of
// the week, busy weeks and quiet ones.
struct Life
{
    std::vector<LevelPoint> points; // of the first four weeks
    double left = 0;                // days from then until it was empty
};

Life lifeOf(unsigned seed)
{
    std::mt19937 random(seed);
    const auto between = [&random](double least, double most) {
        return std::uniform_real_distribution<double>(least, most)(random);
    };
    const double perHour = between(0.04, 0.22);
    const double unevenness = between(0.5, 2.5);
    const double weekend = seed % 2 == 0 ? 1 : between(0, 0.4);
    const double weeks = seed % 3 == 0 ? 0.3 : 0;
    const int firstDay = static_cast<int>(between(0, 7));
    Life life;
    double level = 100;
    double ofWeek = 1;
    for (int hour = 0;; ++hour) {
        const int day = hour / 24;
        if (hour % (7 * 24) == 0) {
            ofWeek = between(1 - weeks, 1 + weeks);
        }
        if (hour % 24 >= 8 && hour % 24 < 18) {
            const double mean = perHour * ofWeek * ((day + firstDay) % 7 < 5 ? 1 : weekend);
            const double shape = 1 / (unevenness * unevenness);
            level -= mean > 0 ? std::gamma_distribution<double>(shape, mean / shape)(random) : 0;
        }
        if (level <= 0) {
            life.left = hour / 24.0 - 28;
            return life;
        }
        if (day < 28) {
            life.points.push_back({kNow + hour * 3600, static_cast<int>(std::floor(level))});
        }
    }
}

TEST(Forecast, HoldsForAHundredHistoriesAfterFourWeeks)
{
    std::vector<double> errors;
    int held = 0;
    for (unsigned seed = 1; seed <= 100; ++seed) {
        const Life life = lifeOf(seed);
        ASSERT_GT(life.left, 0) << seed;
        const auto forecast = forecastOf(life.points, kNow + 28 * kDay);
        ASSERT_TRUE(forecast) << seed;
        errors.push_back(std::abs(forecast->days - life.left) / life.left);
        held += forecast->soonest <= life.left && life.left <= forecast->latest ? 1 : 0;
    }
    std::nth_element(errors.begin(), errors.begin() + 50, errors.end());
    std::printf("median error %.1f %%, the interval holds %d of 100\n", errors[50] * 100, held);
    EXPECT_LT(errors[50], 0.15);
    EXPECT_GE(held, 70);
    EXPECT_LE(held, 90);
}

TEST(HistoryOptions, ATimeIsADateOrSoLongAgo)
{
    ::setenv("TZ", "UTC", 1); // elsewhere a day of these may have another hour
    ::tzset();
    EXPECT_EQ(sinceOf("90", kNow), kNow - 90 * kDay);
    EXPECT_EQ(sinceOf("2w", kNow), kNow - 14 * kDay);
    EXPECT_EQ(sinceOf("2026-11-02", kNow) - sinceOf("2026-11-01", kNow), kDay);
    for (const char* const wrong :
         {"", "0", "x", "5h", "-3", "2026-13-01", "2026-02-30", "2026-1-1x", "99999y", "d", "1 2"}) {
        EXPECT_THROW(sinceOf(wrong, kNow), tools::UsageError) << wrong;
    }
}

} // namespace
