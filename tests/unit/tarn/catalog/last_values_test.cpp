#include "tarn/src/catalog/last_values.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <thread>

#include "tarn/src/base/files.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/catalog/last_values_file.h"
#include "tarn/src/catalog/status_json.h"
#include "tests/support/eventually.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::catalog {
namespace {

using device::DeviceStatus;
using engine::Source;
using kel_test::eventually;

constexpr UnixTime kNow = 1'700'000'000;

DeviceStatus statusCalled(const std::string& model)
{
    DeviceStatus status;
    status.model = model;
    return status;
}

LastValue valueOf(UnixTime time, const DeviceStatus& status)
{
    return {time, Source::Snmp, device::PackedStatus(status)};
}

void take(LastValues& values, std::uint32_t address, LastValue value)
{
    values.take({{address, std::move(value)}}, kNow);
}

std::string modelAt(const LastValues& values, std::uint32_t address)
{
    const LastValue* const value = values.find(address);
    return value != nullptr ? value->status.unpacked().model : "none";
}

LastValues parsed(const std::string& text, std::string* complaint = nullptr)
{
    LastValues values;
    std::string said;
    EXPECT_TRUE(values.parse(text, said));
    if (complaint != nullptr) {
        *complaint = said;
    } else {
        EXPECT_EQ(said, "");
    }
    return values;
}

DeviceStatus comeBack(const DeviceStatus& status)
{
    const std::optional<Json::Value> value = parseJson(statusText(status), 1u << 20);
    EXPECT_TRUE(value.has_value()) << statusText(status);
    return statusOf(value.value_or(Json::Value()));
}

TEST(StatusText, HoldsTheWholeStatus)
{
    DeviceStatus status;
    status.model = "Laser \"5\"\\";
    status.serialNumber = std::string("with\0nul", 8);
    status.description = "彩色\n二";
    status.location = "三楼";
    status.powerSave = status.needsAttention = true;
    status.paperLow = status.paperOut = status.tonerLow = status.tonerOut = true;
    status.totalPages = std::numeric_limits<std::int64_t>::max();
    status.supplies.push_back({device::SupplyKind::Waste, device::SupplyColor::Other, true, "wasteToner",
                               "light cyan", "Box", device::LevelKind::Percent, 100});
    status.supplies.emplace_back();
    status.trays.push_back({"Tray 1", device::LevelKind::Some, 7, -3,
                            std::numeric_limits<std::int64_t>::min(), "sheets", false, true});
    status.trays.emplace_back();
    status.alerts.push_back({-1, "jam", "卡纸", device::Severity::Critical, "Tray 1"});
    EXPECT_EQ(comeBack(status), status);
    EXPECT_EQ(statusText(status).find('\n'), std::string::npos);
    EXPECT_EQ(statusText(DeviceStatus()), "{}");
    status.totalPages = 0; // is not unknown
    EXPECT_EQ(comeBack(status), status);
}

TEST(StatusText, HasAWordForEachValueOfEachEnumeration)
{
    for (int i = 0; i < 9; ++i) {
        DeviceStatus status;
        status.activity = static_cast<device::Activity>(std::min(i, 4));
        status.supplies.emplace_back().kind = static_cast<device::SupplyKind>(i);
        status.supplies.back().color = static_cast<device::SupplyColor>(std::min(i, 7));
        status.trays.emplace_back().levelKind = static_cast<device::LevelKind>(std::min(i, 3));
        status.alerts.emplace_back().severity = static_cast<device::Severity>(std::min(i, 2));
        EXPECT_EQ(comeBack(status), status) << i;
    }
}

TEST(StatusText, WhatIsNotOfItsKindIsLeftOut)
{
    const auto statusIn = [](const char* text) { return statusOf(*parseJson(text, 1000)); };
    for (const char* odd :
         {"[]", "5", R"({"model":5,"activity":"dancing","pages":"7","powerSave":1})",
          R"({"pages":-2,"supplies":{},"trays":"x","alerts":[5,[]]})", R"({"pages":1e300})"}) {
        EXPECT_EQ(statusIn(odd), DeviceStatus()) << odd;
    }
    const DeviceStatus levels =
        statusIn(R"({"supplies":[{"percent":101},{"percent":-5}],"model":"caf\u00e9"})");
    EXPECT_EQ(levels.supplies.at(0).percent, 100);
    EXPECT_EQ(levels.supplies.at(1).percent, 0);
    EXPECT_EQ(levels.model, "café");
    EXPECT_EQ(statusIn("{\"model\":\"caf\xE9\"}").model, "café");
}

TEST(LastValues, ComeBackFromTheirText)
{
    LastValues values;
    take(values, 0x0A000001, {kNow - 5, Source::Ipp, device::PackedStatus(statusCalled("a"))});
    take(values, 0x0A000002, valueOf(kNow - 500, statusCalled("b")));
    const LastValues again = parsed(values.text());
    ASSERT_NE(again.find(0x0A000001), nullptr);
    EXPECT_EQ(again.find(0x0A000001)->time, kNow - 5);
    EXPECT_EQ(again.find(0x0A000001)->source, Source::Ipp);
    EXPECT_EQ(modelAt(again, 0x0A000001), "a");
    EXPECT_EQ(modelAt(again, 0x0A000002), "b");
    EXPECT_EQ(again.text(), values.text());
    EXPECT_EQ(LastValues().text(), again.text().substr(0, again.text().find('\n') + 1));
    EXPECT_EQ(parsed(LastValues().text()).size(), 0u);
}

TEST(LastValues, TheNewerOfTwoStaysWhicheverComesFirst)
{
    LastValues values;
    take(values, 1, valueOf(kNow - 10, statusCalled("new")));
    take(values, 1, valueOf(kNow - 20, statusCalled("old")));
    EXPECT_EQ(modelAt(values, 1), "new");
    take(values, 1, valueOf(kNow - 10, statusCalled("same time")));
    EXPECT_EQ(modelAt(values, 1), "same time");
    values.forget(1);
    EXPECT_EQ(values.find(1), nullptr);
}

TEST(LastValues, ThoseOfATimeToComeKeepItAndGiveWay)
{
    const std::string text = [] {
        LastValues values;
        values.take({{1, valueOf(kNow + 5000, statusCalled("from the future"))}}, kNow + 9000);
        return values.text();
    }();
    LastValues values = parsed(text);
    EXPECT_EQ(values.find(1)->time, kNow + 5000); // it is this clock that may be wrong
    take(values, 1, valueOf(kNow - 100, statusCalled("present")));
    EXPECT_EQ(modelAt(values, 1), "present");
    take(values, 2, valueOf(kNow + 1, statusCalled("ahead")));
    EXPECT_EQ(values.find(2)->time, kNow);
    take(values, 3, valueOf(-7, statusCalled("before 1970")));
    EXPECT_EQ(values.find(3)->time, 0);
}

TEST(LastValues, AreOfAsManyPrintersAsTheBoundAllowsThoseThatAnsweredLast)
{
    std::map<std::uint32_t, LastValue> many;
    for (std::uint32_t i = 1; i <= LastValues::kMostPrinters + 100; ++i) {
        many[i] = valueOf(kNow - i, statusCalled("x"));
    }
    LastValues values;
    values.take(std::move(many), kNow);
    EXPECT_EQ(values.size(), LastValues::kMostPrinters);
    EXPECT_NE(values.find(1), nullptr);
    EXPECT_EQ(values.find(LastValues::kMostPrinters + 1), nullptr);

    std::string text = LastValues().text(); // a file that somebody else has written
    for (std::uint32_t i = 0; i < LastValues::kMostPrinters + 100; ++i) {
        text += R"({"address":"10.0.)" + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                R"(","time":5,"status":{}})" + "\n";
    }
    EXPECT_EQ(parsed(text).size(), LastValues::kMostPrinters);
}

TEST(LastValues, TextHasAtMostSoManyOctetsAndIsReadAgain)
{
    LastValues values;
    std::map<std::uint32_t, LastValue> many;
    for (std::uint32_t i = 1; i <= 200; ++i) {
        many[i] = valueOf(kNow - i, statusCalled(std::string(30'000, 'x')));
    }
    many[1000] = valueOf(kNow, statusCalled(std::string(LastValues::kLargestLine, 'y')));
    values.take(std::move(many), kNow);
    const std::string text = values.text();
    EXPECT_LE(text.size(), LastValues::kLargestText);
    EXPECT_GT(text.size(), LastValues::kLargestText - 40'000);
    const LastValues again = parsed(text);
    EXPECT_NE(again.find(1), nullptr);
    EXPECT_EQ(again.find(200), nullptr);
    EXPECT_EQ(again.find(1000), nullptr); // more than one may say
}

TEST(LastValues, ALineThatIsDamagedCostsItselfAndIsNamed)
{
    const std::string head = LastValues().text();
    const std::string good = R"({"address":"10.0.0.1","time":5,"source":"sm","status":{"model":"a"}})";
    for (const char* bad :
         {"", "{", "5", "[]", R"({"address":"10.0.0.300","time":5,"status":{}})", R"({"time":5,"status":{}})",
          R"({"address":"10.0.0.2","time":-1,"status":{}})",
          R"({"address":"10.0.0.2","time":"5","status":{}})",
          R"({"address":"10.0.0.2","time":1.5,"status":{}})",
          R"({"address":"10.0.0.2","time":5,"status":[]})", R"({"address":"10.0.0.2","time":5})"}) {
        std::string complaint;
        const LastValues values = parsed(head + bad + "\n" + good + "\n", &complaint);
        EXPECT_EQ(complaint, "line 2 says nothing of a printer") << bad;
        EXPECT_EQ(values.size(), 1u) << bad;
        EXPECT_EQ(modelAt(values, 0x0A000001), "a") << bad;
    }
    EXPECT_EQ(modelAt(parsed(head + good), 0x0A000001), "a"); // the last end of a line may be missing
}

TEST(LastValues, AnotherFileIsNone)
{
    for (const std::string& text :
         {std::string(), std::string("text"), std::string("\0\0", 2), std::string("{\"format\":0}\n"),
          std::string("{\"format\":\"1\"}\n"), std::string(100'000, '['),
          LastValues().text() + std::string(LastValues::kLargestText, '\n')}) {
        std::string complaint;
        EXPECT_EQ(parsed(text, &complaint).size(), 0u);
        EXPECT_EQ(complaint, "is no list of last values") << text.substr(0, 40);
    }
}

TEST(LastValues, AreKeptInTheStateDirectory)
{
    const test::ScopedVariable home("HOME", "/home/someone");
    const test::ScopedVariable none("XDG_STATE_HOME", nullptr);
    EXPECT_EQ(LastValues::defaultPath(), "/home/someone/.local/state/tarn/last-values.jsonl");
    const test::ScopedVariable state("XDG_STATE_HOME", "/var/state");
    EXPECT_EQ(LastValues::defaultPath(), "/var/state/tarn/last-values.jsonl");
    const test::ScopedVariable homeless("HOME", nullptr);
    const test::ScopedVariable relative("XDG_STATE_HOME", "state");
    EXPECT_EQ(LastValues::defaultPath(), "");
}

// A file of last values, and its keeper.
class KeptValues final
{
public:
    explicit KeptValues(const std::string& path) : m_file(m_keeper, path) {}
    LastValuesFile* operator->() { return &m_file; }
    void stop() { EXPECT_TRUE(m_keeper.stop(std::chrono::steady_clock::now() + std::chrono::minutes(1))); }

private:
    FileKeeper m_keeper;
    LastValuesFile m_file;
};

class LastValuesFileTest : public testing::Test
{
protected:
    // What one life of a process adds.
    void save(std::uint32_t address, const std::string& model, std::set<std::uint32_t> forgotten = {}) const
    {
        KeptValues file(path);
        EXPECT_TRUE(file->save({{address, Milliseconds(0), said(model)}}, std::move(forgotten)));
        file.stop();
    }
    static std::shared_ptr<const engine::Snapshot> said(const std::string& model)
    {
        return engine::onlineSnapshot(statusCalled(model), Source::Snmp);
    }
    LastValues inFile() const { return parsed(scratch.read("state/tarn/last-values.jsonl")); }
    // Nothing when it is not there, which it is not at once.
    static std::optional<RememberedValue> awaited(KeptValues& file, std::uint32_t address, TimePoint now)
    {
        std::optional<RememberedValue> value;
        eventually([&] { return (value = file->find(address, now)).has_value(); });
        return value;
    }
    static unsigned modeOf(const std::string& path)
    {
        struct stat info
        {
        };
        EXPECT_EQ(::stat(path.c_str(), &info), 0);
        return info.st_mode & 07777;
    }

    const test::ScratchDirectory scratch;
    const std::string path = scratch.path("state/tarn/last-values.jsonl");
};

TEST_F(LastValuesFileTest, ASavedValueIsFoundInTheNextLifeAndGrowsOlder)
{
    save(1, "laser");
    KeptValues next(path);
    const TimePoint begin{Milliseconds(5000)};
    const std::optional<RememberedValue> value = awaited(next, 1, begin);
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->status.unpacked().model, "laser");
    EXPECT_EQ(value->source, Source::Snmp);
    EXPECT_GE(value->age.count(), 0);
    const std::optional<RememberedValue> later = next->find(1, begin + Milliseconds(60000));
    EXPECT_EQ(later->age - value->age, Milliseconds(60000));
    EXPECT_FALSE(next->find(2, begin).has_value());
}

TEST_F(LastValuesFileTest, OnlyTheUserCanReadIt)
{
    save(1, "laser");
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(modeOf(scratch.path("state/tarn")), 0700u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scratch.path("state/tarn")), {}), 1);
}

TEST_F(LastValuesFileTest, WhatOthersHaveAddedSinceStaysAndWhoIsForgottenGoes)
{
    KeptValues first(path);
    EXPECT_FALSE(first->find(1, TimePoint()).has_value());
    save(2, "of another process");
    EXPECT_TRUE(first->save({{1, Milliseconds(0), said("own")}}, {}));
    first.stop();
    EXPECT_EQ(modelAt(inFile(), 1), "own");
    EXPECT_EQ(modelAt(inFile(), 2), "of another process");
    save(3, "third", {1});
    EXPECT_EQ(modelAt(inFile(), 1), "none");
    EXPECT_EQ(modelAt(inFile(), 2), "of another process");
}

TEST_F(LastValuesFileTest, WhoIsForgottenGoesThoughTheNextSaveComesBeforeThatIsWritten)
{
    save(1, "laser");
    KeptValues file(path);
    {
        const FileTurn turn(path);
        EXPECT_TRUE(file->save({{2, Milliseconds(0), said("waits for its turn")}}, {}));
        EXPECT_TRUE(file->save({{2, Milliseconds(0), said("never written")}}, {1}));
        EXPECT_TRUE(file->save({{2, Milliseconds(0), said("last")}}, {}));
    }
    file.stop();
    EXPECT_EQ(modelAt(inFile(), 1), "none");
    EXPECT_EQ(modelAt(inFile(), 2), "last");
}

TEST_F(LastValuesFileTest, AFileFromTheFutureIsNeverOfANegativeAge)
{
    scratch.write("state/tarn/last-values.jsonl",
                  LastValues().text() +
                      R"({"address":"0.0.0.1","time":99999999999,"source":"sm","status":{}})");
    KeptValues file(path);
    const std::optional<RememberedValue> value = awaited(file, 1, TimePoint());
    ASSERT_TRUE(value.has_value());
    EXPECT_EQ(value->age.count(), 0);
}

TEST_F(LastValuesFileTest, DatesOutliveAClockThatIsBehindForAWhile)
{
    LastValues ahead;
    ahead.take({{1, valueOf(kNow + 1'000'000'000, statusCalled("off"))}}, kNow + 1'000'000'000);
    scratch.write("state/tarn/last-values.jsonl", ahead.text());
    save(2, "answers");
    EXPECT_EQ(inFile().find(1)->time, kNow + 1'000'000'000);
}

TEST_F(LastValuesFileTest, OneOfSomebodyElseIsReadAndNotReplaced)
{
    if (::geteuid() != 0) {
        GTEST_SKIP() << "only root can give a file away";
    }
    LastValues theirs;
    take(theirs, 1, valueOf(5, statusCalled("theirs")));
    scratch.write("state/tarn/last-values.jsonl", theirs.text());
    ASSERT_EQ(::chown(path.c_str(), 65534, 65534), 0);
    save(2, "ours");
    struct stat file = {};
    ASSERT_EQ(::stat(path.c_str(), &file), 0);
    EXPECT_EQ(file.st_uid, 65534u);
    EXPECT_EQ(scratch.read("state/tarn/last-values.jsonl"), theirs.text());
    KeptValues reader(path);
    EXPECT_TRUE(awaited(reader, 1, TimePoint()).has_value());
}

TEST_F(LastValuesFileTest, ADamagedOneCostsOneLineAndIsReplacedByWhatIsUnderstood)
{
    scratch.write("state/tarn/last-values.jsonl",
                  LastValues().text() + "cut {\n" +
                      R"({"address":"0.0.0.2","time":5,"source":"sm","status":{"model":"old"}})" + "\n");
    testing::internal::CaptureStderr();
    {
        KeptValues file(path);
        EXPECT_EQ(awaited(file, 2, TimePoint())->status.unpacked().model, "old");
        EXPECT_TRUE(file->save({{1, Milliseconds(0), said("new")}}, {}));
        file.stop();
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarn: " + path + ": line 2 says nothing of a printer\n");
    EXPECT_EQ(modelAt(inFile(), 1), "new");
    EXPECT_EQ(modelAt(inFile(), 2), "old");
}

TEST_F(LastValuesFileTest, OneThatCannotBeReadIsLeftAlone)
{
    std::filesystem::create_directories(path);
    testing::internal::CaptureStderr();
    save(1, "laser");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarn: " + path + ": cannot be read: no last values of printers are kept\n");
    EXPECT_TRUE(std::filesystem::is_directory(path));
    scratch.write("huge", std::string(1, 'x'));
    std::filesystem::remove(path);
    std::filesystem::rename(scratch.path("huge"), path);
    std::filesystem::resize_file(path, (64u << 20) + 1);
    testing::internal::CaptureStderr();
    save(1, "laser");
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(std::filesystem::file_size(path), (64u << 20) + 1);
}

TEST_F(LastValuesFileTest, OneThatCannotBeReadForTheMomentIsNeitherReplacedNorComplainedOf)
{
    save(1, "laser");
    const std::string before = scratch.read("state/tarn/last-values.jsonl");
    testing::internal::CaptureStderr();
    {
        KeptValues file(path);
        {
            const test::NoDescriptors none;
            EXPECT_TRUE(file->save({{2, Milliseconds(0), said("not now")}}, {}));
            file.stop();
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(scratch.read("state/tarn/last-values.jsonl"), before);
}

TEST_F(LastValuesFileTest, OneOfALaterVersionIsLeftAlone)
{
    const std::string theirs = "{\"format\":2}\n{\"printers\":\"otherwise\"}\n";
    scratch.write("state/tarn/last-values.jsonl", theirs);
    testing::internal::CaptureStderr();
    save(1, "laser");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarn: " + path + ": is of a later version: no last values of printers are kept\n");
    EXPECT_EQ(scratch.read("state/tarn/last-values.jsonl"), theirs);
}

TEST_F(LastValuesFileTest, WithoutAPlaceNothingIsKept)
{
    KeptValues file("");
    EXPECT_FALSE(file->find(1, TimePoint()).has_value());
    EXPECT_TRUE(file->save({{1, Milliseconds(0), said("x")}}, {}));
}

TEST_F(LastValuesFileTest, AProcessThatHangsInItsTurnHoldsNobodyUpForLong)
{
    const FileTurn turn(path);
    save(1, "laser");
    EXPECT_EQ(modelAt(inFile(), 1), "laser");
}

// Two that write at once: each reads what the other has written.
TEST_F(LastValuesFileTest, OfTurnsAtAFileThereIsOneAtATime)
{
    std::atomic<bool> isOver{false};
    std::optional<FileTurn> turn(std::in_place, path);
    bool wasOver = false;
    std::thread other([&] {
        const FileTurn second(path, std::chrono::minutes(1));
        wasOver = isOver;
    });
    std::this_thread::sleep_for(Milliseconds(50)); // or it may come second by chance
    isOver = true;
    turn.reset();
    other.join();
    EXPECT_TRUE(wasOver);
}

// Whoever is killed while he writes leaves the old text or the new one.
TEST_F(LastValuesFileTest, IsWholeWhenItsWriterWasKilled)
{
    LastValues few;
    take(few, 1, valueOf(kNow, statusCalled("few")));
    LastValues many;
    for (std::uint32_t i = 1; i <= 20; ++i) {
        take(many, i, valueOf(kNow, statusCalled(std::string(30'000, 'x'))));
    }
    const std::string texts[] = {few.text(), many.text()};
    ASSERT_TRUE(replaceFile(path, texts[0]));
    for (int round = 0; round < 20; ++round) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (unsigned i = 1;; ++i) {
                replaceFile(path, texts[i % 2]);
            }
        }
        std::this_thread::sleep_for(Milliseconds(2 + round));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        const std::string left = scratch.read("state/tarn/last-values.jsonl");
        ASSERT_TRUE(left == texts[0] || left == texts[1]) << left.size() << " octets";
    }
    save(2, "next"); // tidies up
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(scratch.path("state/tarn")), {}), 1);
}

} // namespace
} // namespace tarn::catalog
