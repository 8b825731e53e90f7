// What a Fast reading says beside what is known: both ways through a Fast read decide by this.
#include "tarn/src/snmp/poll/fast_columns.h"

#include <gtest/gtest.h>

namespace tarn::snmp {
namespace {

using Id = ColumnId;

ColumnData numbers(std::vector<std::uint32_t> rows, std::vector<std::int64_t> values)
{
    ColumnData column;
    column.rows = std::move(rows);
    column.numbers = std::move(values);
    return column;
}

TEST(Restart, IsATimeThatWentBack)
{
    EXPECT_TRUE(isRestart(200, 199));
    EXPECT_FALSE(isRestart(200, 200));
    EXPECT_FALSE(isRestart(200, 201));
    EXPECT_FALSE(isRestart(std::nullopt, 1));
    EXPECT_FALSE(isRestart(200, std::nullopt));
}

TEST(FastChanges, OfTimeAreRestartsOrNone)
{
    const ColumnData known = numbers({0}, {200});
    EXPECT_EQ(changeIn(Id::SysUpTime, known, numbers({0}, {300})), FastChange::None);
    EXPECT_EQ(changeIn(Id::SysUpTime, known, numbers({0}, {100})), FastChange::Restart);
    EXPECT_EQ(changeIn(Id::SysUpTime, known, {}), FastChange::None);
    EXPECT_EQ(changeIn(Id::SysUpTime, {}, numbers({0}, {100})), FastChange::None);
}

TEST(FastChanges, OfStateAndLevelsAreNumbers)
{
    for (const Id id : {Id::HrPrinterStatus, Id::HrDeviceStatus, Id::PrtMarkerSuppliesLevel}) {
        EXPECT_EQ(changeIn(id, numbers({1}, {3}), numbers({1}, {3})), FastChange::None);
        EXPECT_EQ(changeIn(id, numbers({1}, {3}), numbers({1}, {4})), FastChange::Numbers);
    }
    EXPECT_EQ(changeIn(Id::HrPrinterStatus, numbers({1}, {3}), {}), FastChange::Numbers); // it went
    ColumnData bits;
    bits.rows = {1};
    bits.texts = {std::string("\x20")};
    ColumnData other = bits;
    other.texts = {std::string("\x40")};
    EXPECT_EQ(changeIn(Id::HrPrinterDetectedErrorState, bits, bits), FastChange::None);
    EXPECT_EQ(changeIn(Id::HrPrinterDetectedErrorState, bits, other), FastChange::Numbers);
}

TEST(FastChanges, OfRowsCountersAndAlertsHaveTheTablesRead)
{
    const ColumnData known = numbers({1, 2}, {50, 60});
    for (const Id id : kFastRows) {
        EXPECT_EQ(changeIn(id, known, numbers({1}, {50})), FastChange::Tables);
        EXPECT_EQ(changeIn(id, known, numbers({1, 3}, {50, 60})), FastChange::Tables);
        EXPECT_EQ(changeIn(id, known, numbers({1, 2}, {50, 61})), FastChange::Numbers);
    }
    for (const Id id : {Id::PrtGeneralConfigChanges, Id::PrtAlertCriticalEvents, Id::PrtAlertAllEvents,
                        Id::PrtAlertSeverityLevel}) {
        EXPECT_EQ(changeIn(id, known, numbers({1, 2}, {50, 61})), FastChange::Tables);
        EXPECT_EQ(changeIn(id, known, known), FastChange::None);
    }
}

TEST(FastChanges, AreOrderedByWhatIsToBeDone)
{
    EXPECT_LT(FastChange::None, FastChange::Numbers);
    EXPECT_LT(FastChange::Numbers, FastChange::Tables);
    EXPECT_LT(FastChange::Tables, FastChange::Restart);
}

} // namespace
} // namespace tarn::snmp
