#include "tarn/src/snmp/mib/packed_tables.h"

#include <gtest/gtest.h>

#include <iostream>
#include <limits>
#include <random>
#include <utility>

namespace tarn::snmp {
namespace {

void expectSame(const Reading& left, const Reading& right)
{
    for (std::size_t i = 0; i < kColumnCount; ++i) {
        const auto id = static_cast<ColumnId>(i);
        EXPECT_EQ(left.tables[id], right.tables[id]) << i;
    }
    EXPECT_EQ(left.vendor.serialNumber, right.vendor.serialNumber);
    EXPECT_EQ(left.vendor.model, right.vendor.model);
    EXPECT_EQ(left.vendor.totalPages, right.vendor.totalPages);
}

TEST(PackedTables, NothingKeptIsNothingRead)
{
    expectSame(PackedTables().reading(), Reading());
}

TEST(PackedTables, YieldsEveryColumnThatItWasGiven)
{
    Reading reading;
    reading.vendor = {"SER1", "Model", 0};
    for (std::size_t i = 0; i < kColumnCount; ++i) {
        ColumnData& column = reading.tables[static_cast<ColumnId>(i)];
        column.rows = {0, 1, 127, 128, std::numeric_limits<std::uint32_t>::max()};
        if (i % 2 == 0) {
            column.numbers = {0, -1, static_cast<std::int64_t>(i), std::numeric_limits<std::int64_t>::min(),
                              std::numeric_limits<std::int64_t>::max()};
        } else {
            column.texts = {"", std::string(1, '\0'), "text", std::string(200, 'x'), std::to_string(i)};
        }
    }
    PackedTables kept;
    kept.keep(reading);
    expectSame(kept.reading(), reading);
    kept.keep(Reading()); // the last one rules
    expectSame(kept.reading(), Reading());
}

TEST(PackedTables, YieldsAnyReadingAgain)
{
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << "\n";
    std::mt19937_64 random(seed);
    for (int round = 0; round < 300; ++round) {
        Reading reading;
        if (random() % 2 == 0) {
            reading.vendor.totalPages = static_cast<std::int64_t>(random());
        }
        reading.vendor.model.assign(random() % 40, 'm');
        for (std::size_t touched = random() % kColumnCount; touched > 0; --touched) {
            ColumnData& column = reading.tables[static_cast<ColumnId>(random() % kColumnCount)];
            column = ColumnData();
            std::uint32_t row = 0;
            for (std::size_t rows = random() % 5; rows > 0; --rows) {
                row += 1 + static_cast<std::uint32_t>(random() % 100000);
                column.rows.push_back(row);
                column.numbers.push_back(static_cast<std::int64_t>(random() >> (random() % 64)));
            }
        }
        PackedTables kept;
        kept.keep(reading);
        expectSame(kept.reading(), reading);
    }
}

TEST(PrinterTables, AColumnNeverTouchedIsEmpty)
{
    PrinterTables tables;
    EXPECT_TRUE(std::as_const(tables)[ColumnId::SysDescr].empty());
    tables[ColumnId::PrtAlertDescription].rows = {3};
    tables[ColumnId::SysDescr].rows = {4};
    EXPECT_EQ(std::as_const(tables)[ColumnId::PrtAlertDescription].rows.front(), 3u);
    EXPECT_EQ(std::as_const(tables)[ColumnId::SysDescr].rows.front(), 4u);
    EXPECT_TRUE(std::as_const(tables)[ColumnId::SysUpTime].empty());
}

TEST(PrinterTables, ClearedOnesAreAsIfNeverTouched)
{
    PrinterTables tables;
    tables[ColumnId::SysDescr].rows = {4};
    tables.clear();
    EXPECT_EQ(tables.touched(), 0u);
    EXPECT_TRUE(std::as_const(tables)[ColumnId::SysDescr].empty());
    tables[ColumnId::SysUpTime].rows = {5};
    EXPECT_TRUE(std::as_const(tables)[ColumnId::SysDescr].empty());
    EXPECT_EQ(std::as_const(tables)[ColumnId::SysUpTime].rows.front(), 5u);
}

} // namespace
} // namespace tarn::snmp
