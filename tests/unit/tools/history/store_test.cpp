#include "tools/tarn-status/history/store.h"

#include <sys/stat.h>

#include <fstream>

#include <gmock/gmock.h>

#include "tests/unit/tools/history/recorded.h"
#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"

namespace {

using namespace tarnstatus;
using Access = HistoryStore::Access;
using testing::HasSubstr;
using testing::Optional;

constexpr UnixTime kNow = 1800000000;
constexpr UnixTime kHour = 3600;
constexpr int kKeep = 730;

class HistoryStoreTest : public testing::Test
{
protected:
    void SetUp() override { m_store.emplace(m_directory.file(), Access::Record); }

    int record(const Reading& reading, UnixTime time, int keepDays = kKeep)
    {
        return m_store->record({reading}, time, keepDays);
    }

    std::int64_t inDatabase(const char* sql)
    {
        return Database(m_directory.file(), Database::Access::Read).integerOf(sql);
    }

    Directory m_directory;
    std::optional<HistoryStore> m_store;
};

TEST_F(HistoryStoreTest, RecordsWhereSomethingChangedOnly)
{
    record(readingOf("a", 100, {{"black", 50}}), kNow);
    record(readingOf("a", 100, {{"black", 50}}), kNow + kHour);
    record(readingOf("a", 101, {{"black", 50}}), kNow + 2 * kHour);
    record(readingOf("a", 101, {{"black", 49}}), kNow + 3 * kHour);
    record(readingOf("a", 101, {{"black", 49}}), kNow + 4 * kHour);
    const History history = onlyHistory(*m_store);
    ASSERT_EQ(history.entries.size(), 3U);
    EXPECT_EQ(history.entries[1].time, kNow + 2 * kHour);
    EXPECT_THAT(history.entries[1].pages, Optional(101));
    EXPECT_THAT(history.entries[2].levels[0], Optional(49));
    EXPECT_EQ(history.printer.seen, kNow + 4 * kHour);
}

TEST_F(HistoryStoreTest, KeepsUnknownAndZeroApart)
{
    record(readingOf("a", -1, {{"black", 0}, {"cyan", -1}}), kNow);
    record(readingOf("a", 0, {{"black", -1}, {"cyan", 0}}), kNow + 1);
    const History history = onlyHistory(*m_store);
    ASSERT_EQ(history.entries.size(), 2U);
    EXPECT_EQ(history.entries[0].pages, std::nullopt);
    EXPECT_THAT(history.entries[0].levels, testing::ElementsAre(Optional(0), std::nullopt));
    EXPECT_THAT(history.entries[1].pages, Optional(0));
    EXPECT_THAT(history.entries[1].levels, testing::ElementsAre(std::nullopt, Optional(0)));
}

TEST_F(HistoryStoreTest, DoesNotRecordWhatDidNotAnswer)
{
    Reading silent = readingOf("a", 5, {{"black", 50}});
    silent.online = false;
    EXPECT_EQ(record(silent, kNow), 0);
    EXPECT_TRUE(m_store->printers().empty());
    EXPECT_EQ(record(readingOf("a", 5, {{"black", 50}}), kNow), 1);
}

TEST_F(HistoryStoreTest, AnotherDeviceOfTheNameBeginsAHistoryOfItsOwn)
{
    record(readingOf("a", 100, {{"black", 50}}, "S1"), kNow);
    record(readingOf("a", 3, {{"black", 99}}, "S2"), kNow + 1);
    const auto printers = m_store->printers();
    ASSERT_EQ(printers.size(), 2U);
    EXPECT_EQ(printers[0].serial, "S2") << "the one seen last first";
    EXPECT_EQ(m_store->historyOf(printers[1]).entries.size(), 1U);
}

TEST_F(HistoryStoreTest, KnowsAPrinterWithoutItsSerialNumberAndAtAnotherAddress)
{
    record(readingOf("a", 100, {{"black", 50}}, ""), kNow);
    record(readingOf("a", 101, {{"black", 50}}, "S1"), kNow + 1); // it tells more
    record(readingOf("a", 102, {{"black", 50}}, ""), kNow + 2);   // and less again
    record(readingOf("a", 103, {{"black", 50}}, "S1", "10.0.0.9"), kNow + 3);
    EXPECT_EQ(onlyHistory(*m_store).entries.size(), 4U);
    EXPECT_EQ(m_store->printers()[0].ip, "10.0.0.9");
}

TEST_F(HistoryStoreTest, PrintersOfOneNameAndNoSerialNumberAreThoseOfTheirAddresses)
{
    EXPECT_EQ(m_store->record({readingOf("a", 1, {}, "", "10.0.0.1"), readingOf("a", 2, {}, "", "10.0.0.2")},
                              kNow, kKeep),
              2);
    EXPECT_EQ(m_store->printers().size(), 2U);
}

TEST_F(HistoryStoreTest, FollowsASupplyThroughOtherLists)
{
    record(readingOf("a", 1, {{"black", 50}, {"cyan", 60}}), kNow);
    record(readingOf("a", 2, {{"cyan", 59}, {"black", 49}, {"black", 80}}), kNow + 1);
    const History history = onlyHistory(*m_store);
    ASSERT_EQ(history.supplies.size(), 3U);
    EXPECT_THAT(history.entries[0].levels, testing::ElementsAre(Optional(50), Optional(60), std::nullopt));
    EXPECT_THAT(history.entries[1].levels, testing::ElementsAre(Optional(49), Optional(59), Optional(80)));
}

TEST_F(HistoryStoreTest, BeginsWithTheStateAtThatTime)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    record(readingOf("a", 2, {{"black", 49}}), kNow + 10 * kHour);
    const History history = onlyHistory(*m_store, kNow + 5 * kHour);
    ASSERT_EQ(history.entries.size(), 2U);
    EXPECT_EQ(history.entries[0].time, kNow + 5 * kHour);
    EXPECT_THAT(history.entries[0].pages, Optional(1));
}

TEST_F(HistoryStoreTest, RefusesALookBeforeTheLastOne)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    try {
        record(readingOf("a", 2, {{"black", 49}}), kNow - 1);
        ADD_FAILURE() << "recorded";
    } catch (const tools::WriteError& error) {
        EXPECT_THAT(error.what(), HasSubstr("the clock is at 2027-01-15T07:59:59Z, before the last entry"));
    }
    EXPECT_EQ(onlyHistory(*m_store).entries.size(), 1U);
    EXPECT_EQ(record(readingOf("a", 2, {{"black", 49}}), kNow), 1) << "the same second is none before";
    EXPECT_THAT(onlyHistory(*m_store).entries.back().pages, Optional(2));
}

TEST_F(HistoryStoreTest, RemovesWhatIsOlderThanItIsToBeKept)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    record(readingOf("gone", 1, {{"black", 50}}), kNow + 1);
    record(readingOf("a", 2, {{"black", 49}}), kNow + 20 * kDay, 30);
    record(readingOf("a", 3, {{"black", 48}}), kNow + 31 * kDay, 30);
    EXPECT_EQ(m_store->printers().size(), 2U) << "counted from the look before this";
    record(readingOf("a", 4, {{"black", 47}}), kNow + 32 * kDay, 30);
    const History history = onlyHistory(*m_store);
    EXPECT_EQ(history.printer.name, "a");
    EXPECT_EQ(history.entries.size(), 4U) << "what the first of them said held at that time";
    record(readingOf("a", 5, {{"black", 46}}), kNow + 51 * kDay, 30);
    record(readingOf("a", 6, {{"black", 45}}), kNow + 52 * kDay, 30);
    const History later = onlyHistory(*m_store);
    ASSERT_EQ(later.entries.size(), 5U);
    EXPECT_EQ(later.entries.front().time, kNow + 20 * kDay);
    EXPECT_EQ(inDatabase("SELECT count(*) FROM entry"), 5) << "none of the printer that is gone";
}

TEST_F(HistoryStoreTest, KeepsWhatStillHolds)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    record(readingOf("a", 1, {{"black", 50}}), kNow + 100 * kDay, 30);
    record(readingOf("a", 2, {{"black", 49}}), kNow + 101 * kDay, 30);
    const History history = onlyHistory(*m_store, kNow + 90 * kDay);
    ASSERT_EQ(history.entries.size(), 2U);
    EXPECT_EQ(history.entries[0].time, kNow + 90 * kDay);
    EXPECT_THAT(history.entries[0].levels[0], Optional(50));
}

TEST_F(HistoryStoreTest, ListsOfSuppliesGoWithTheirLastEntry)
{
    for (int day = 0; day < 40; ++day) {
        record(readingOf("a", day, {{"cartridge " + std::to_string(day), 50}}), kNow + day * kDay, 10);
    }
    EXPECT_EQ(inDatabase("SELECT count(*) FROM supplies"), inDatabase("SELECT count(*) FROM entry"));
    EXPECT_EQ(inDatabase("SELECT count(*) FROM entry"), 12) << "ten days before the look before, and both";
}

TEST_F(HistoryStoreTest, KnownSuppliesAreFollowedWhenThereAreTooManyOthers)
{
    for (int i = 0; i < 100; ++i) {
        record(readingOf("a", i, {{"new " + std::to_string(i), 10}, {"black", 100 - i}}), kNow + i);
    }
    const History history = onlyHistory(*m_store);
    EXPECT_EQ(history.supplies.size(), 64U);
    ASSERT_EQ(history.entries.size(), 100U);
    EXPECT_THAT(history.entries.front().levels[1], Optional(100));
    EXPECT_THAT(history.entries.back().levels[1], Optional(1));
}

TEST_F(HistoryStoreTest, FollowsASupplyWhoseDescriptionChanges)
{
    for (int i = 0; i < 100; ++i) {
        Reading reading = readingOf("a", i, {{"black", 100 - i}, {"black", 50}, {"", i}});
        reading.detail["supplies"][0]["description"] = "Toner S/N " + std::to_string(i);
        reading.detail["supplies"][2]["description"] = "Kit " + std::to_string(i % 2);
        record(reading, kNow + i);
    }
    const History history = onlyHistory(*m_store);
    ASSERT_EQ(history.supplies.size(), 4U) << "two of one colour, and two kits that are none's";
    EXPECT_EQ(history.supplies[0].description, "Toner S/N 99");
    EXPECT_THAT(history.entries.front().levels,
                testing::ElementsAre(Optional(100), Optional(50), Optional(0), std::nullopt));
    EXPECT_THAT(history.entries.back().levels,
                testing::ElementsAre(Optional(1), Optional(50), std::nullopt, Optional(99)));
}

TEST_F(HistoryStoreTest, AClockThatJumpsAheadForOnceRemovesNothing)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    record(readingOf("a", 2, {{"black", 49}}), kNow + 9000 * kDay, 30);
    EXPECT_EQ(onlyHistory(*m_store).entries.size(), 2U);
}

TEST_F(HistoryStoreTest, IsForItsOwnerOnly)
{
    struct stat info
    {
    };
    ASSERT_EQ(::stat(m_directory.file().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0600U);
    ASSERT_EQ(::stat(m_directory.file("state/tarn").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777U, 0700U);
}

TEST_F(HistoryStoreTest, StaysOverRestarts)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    m_store.emplace(m_directory.file(), Access::Record);
    record(readingOf("a", 1, {{"black", 50}}), kNow + 1);
    m_store.emplace(m_directory.file(), Access::Read);
    EXPECT_EQ(onlyHistory(*m_store).entries.size(), 1U);
    EXPECT_EQ(m_store->printers()[0].seen, kNow + 1);
}

TEST_F(HistoryStoreTest, LeavesWhatIsNotItsOwn)
{
    const std::string file = m_directory.file("other.db");
    Database(file, Database::Access::Create).execute("CREATE TABLE mail(id INTEGER)");
    EXPECT_THROW(HistoryStore(file, Access::Record), tools::FileError);
    EXPECT_EQ(Database(file, Database::Access::Read).integerOf("SELECT count(*) FROM sqlite_schema"), 1);
    EXPECT_THROW(HistoryStore(m_directory.file("none.db"), Access::Read), tools::FileError);
    EXPECT_FALSE(std::filesystem::exists(m_directory.file("none.db")));
}

TEST_F(HistoryStoreTest, RunsNothingThatAFileBringsWithIt)
{
    m_store.reset();
    Database(m_directory.file(), Database::Access::Read)
        .execute("CREATE TRIGGER t AFTER INSERT ON entry BEGIN DELETE FROM entry; END");
    EXPECT_THROW(HistoryStore(m_directory.file(), Access::Record), tools::FileError);
}

TEST_F(HistoryStoreTest, WhatIsWrongInARowIsNotKnown)
{
    record(readingOf("a", 1, {{"black", 50}}), kNow);
    m_store.reset();
    {
        Database database(m_directory.file(), Database::Access::Read);
        database.execute("UPDATE printer SET name = x'61ff1b5b', seen = 9223372036854775807");
        for (const char* const row : {"(1, 5, 1, -5, '101 x')", "(1, 6, 99, 'many', '50')",
                                      "(1, -7, 1, 1, '1')", "(1, 7, 1, 1e30, x'ff00')"}) {
            database.execute((std::string("INSERT INTO entry VALUES") + row).c_str());
        }
    }
    m_store.emplace(m_directory.file(), Access::Read);
    const History history = onlyHistory(*m_store);
    EXPECT_EQ(history.printer.name, "a? [");
    ASSERT_EQ(history.entries.size(), 4U) << "5, 6, 7 and the right one";
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(history.entries[i].pages, std::nullopt) << i;
        EXPECT_EQ(history.entries[i].levels[0], std::nullopt) << i;
    }
    EXPECT_THAT(history.entries[3].levels[0], Optional(50));
}

// Whatever byte of the file is another one: a history, or one clear error.
TEST_F(HistoryStoreTest, ADamagedFileIsToldOrRead)
{
    for (int i = 0; i < 200; ++i) {
        record(readingOf("a", i, {{"black", 100 - i / 2}}), kNow + i);
    }
    m_store.reset();
    std::ifstream stream(m_directory.file(), std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    int refused = 0;
    const std::size_t step = whole.size() / 100 + 1;
    for (std::size_t at = 0; at < whole.size(); at += at < 100 ? 1 : step) {
        std::string damaged = whole;
        damaged.replace(at, 4, 4, '\xff');
        std::ofstream(m_directory.file("damaged.db"), std::ios::binary) << damaged.substr(0, whole.size());
        try {
            HistoryStore store(m_directory.file("damaged.db"), Access::Record);
            for (const RecordedPrinter& printer : store.printers()) {
                store.historyOf(printer);
            }
            store.record({readingOf("a", 1, {{"black", 3}})}, kNow + 1000, kKeep);
        } catch (const tools::FileError& error) {
            EXPECT_THAT(error.what(), HasSubstr("damaged.db"));
            ++refused;
        } catch (const tools::WriteError& error) {
            EXPECT_THAT(error.what(), HasSubstr("damaged.db"));
            ++refused;
        }
    }
    EXPECT_GT(refused, 20);
}

} // namespace
