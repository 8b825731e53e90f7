#include "tools/printer-sim/scenario.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tarn/src/base/files.h"
#include "tools/printer-sim/input_error.h"
#include "tools/printer-sim/load_printers.h"

namespace printersim {
namespace {

const Oid kMib = {1, 3, 6, 1, 2, 1};

std::optional<Value> ask(const std::string& json, const Oid& below, double seconds = 0,
                         std::uint32_t number = 1)
{
    Oid name = kMib;
    name.insert(name.end(), below.begin(), below.end());
    const Mib mib(rowsOf(parseScenario(json)));
    const Row* row = mib.find(name);
    return row != nullptr ? row->source({seconds, seconds + 100, number, 0x7F000009}) : std::nullopt;
}

std::string refusal(const std::string& json)
{
    try {
        parseScenario(json);
    } catch (const InputError& error) {
        return std::to_string(error.line()) + ": " + error.what();
    }
    return "accepted";
}

TEST(Scenario, AnEmptyOneIsAnIdlePrinter)
{
    EXPECT_EQ(ask("{}", {25, 3, 5, 1, 1, 1})->number, 3);
    EXPECT_EQ(ask("{}", {25, 3, 2, 1, 5, 1})->number, 2);
    EXPECT_EQ(ask("{}", {25, 3, 5, 1, 2, 1})->bytes, std::string(1, '\0'));
    EXPECT_EQ(ask("{}", {25, 3, 2, 1, 2, 1})->oid, (Oid{1, 3, 6, 1, 2, 1, 25, 3, 1, 5}));
}

TEST(Scenario, TextsNameThePrinter)
{
    const std::string json = R"({"model": "M1", "serial": "S{n:4}", "name": "at {address}"})";
    EXPECT_EQ(ask(json, {25, 3, 2, 1, 3, 1})->bytes, "M1");
    EXPECT_EQ(ask(json, {43, 5, 1, 1, 17, 1}, 0, 23)->bytes, "S0023");
    EXPECT_EQ(ask(json, {43, 5, 1, 1, 16, 1})->bytes, "at 127.0.0.9");
}

TEST(Scenario, TheMakerStandsOnceInTheDescription)
{
    const Oid sysDescr = {1, 1, 0};
    EXPECT_EQ(ask(R"({"manufacturer": "Orion", "model": "M1"})", sysDescr)->bytes, "Orion M1");
    EXPECT_EQ(ask(R"({"manufacturer": "Orion", "model": "Orion M1"})", sysDescr)->bytes, "Orion M1");
    EXPECT_EQ(ask(R"({"manufacturer": "Orion", "model": "Orionis"})", sysDescr)->bytes, "Orion Orionis");
}

TEST(Scenario, ErrorNamesBecomeBitsFromTheMostSignificantOn)
{
    EXPECT_EQ(ask(R"({"errors": ["noPaper"]})", {25, 3, 5, 1, 2, 1})->bytes, "\x40");
    EXPECT_EQ(ask(R"({"errors": ["lowPaper", "serviceRequested"]})", {25, 3, 5, 1, 2, 1})->bytes, "\x81");
    EXPECT_EQ(ask(R"({"errors": ["noPaper", "inputTrayEmpty"]})", {25, 3, 5, 1, 2, 1})->bytes, "\x40\x04");
    EXPECT_EQ(ask(R"({"errors": ["overduePreventMaint"]})", {25, 3, 5, 1, 2, 1})->bytes,
              std::string("\0\x02", 2));
}

TEST(Scenario, ValuesChangeAsTheSecondsPass)
{
    const std::string json = R"({"state": {"steps": [[0, "idle"], [20, "printing"]], "repeat": 60},
                                 "pages": {"start": 100, "perMinute": 60}})";
    EXPECT_EQ(ask(json, {25, 3, 5, 1, 1, 1}, 19)->number, 3);
    EXPECT_EQ(ask(json, {25, 3, 5, 1, 1, 1}, 20)->number, 4);
    EXPECT_EQ(ask(json, {25, 3, 5, 1, 1, 1}, 61)->number, 3);
    EXPECT_EQ(ask(json, {43, 10, 2, 1, 4, 1, 1}, 30)->number, 130);
    EXPECT_EQ(ask(json, {43, 10, 2, 1, 4, 1, 1}, 30)->type, ValueType::Counter32);
}

TEST(Scenario, ACounterBeginsAgainAt32Bits)
{
    EXPECT_EQ(ask(R"({"pages": {"start": 4294967295, "perMinute": 60}})", {43, 10, 2, 1, 4, 1, 1}, 2)->number,
              1);
}

TEST(Scenario, SuppliesOfOneColourShareItsColorant)
{
    const std::string json =
        R"({"supplies": [{"colour": "black"}, {"colour": "cyan"}, {"colour": "black"}, {}]})";
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 3, 1, 1})->number, 1);
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 3, 1, 2})->number, 2);
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 3, 1, 3})->number, 1);
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 3, 1, 4})->number, 0);
    EXPECT_EQ(ask(json, {43, 12, 1, 1, 4, 1, 2})->bytes, "cyan");
    EXPECT_FALSE(ask(json, {43, 12, 1, 1, 4, 1, 3}));
}

TEST(Scenario, LevelsMayBeWordsOfTheStandard)
{
    const std::string json =
        R"({"supplies": [{"level": "some"}, {"level": "unknown", "max": "unrestricted"}]})";
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 9, 1, 1})->number, -3);
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 9, 1, 2})->number, -2);
    EXPECT_EQ(ask(json, {43, 11, 1, 1, 8, 1, 2})->number, -1);
}

TEST(Scenario, AnAlertsRowIsThereWhileItIsActive)
{
    const std::string json = R"({"alerts": [{"severity": "critical", "group": "mediaPath", "code": 8,
        "description": "jam", "active": {"steps": [[0, false], [30, true], [40, false]], "repeat": 60}}]})";
    EXPECT_FALSE(ask(json, {43, 18, 1, 1, 7, 1, 1}, 29));
    EXPECT_EQ(ask(json, {43, 18, 1, 1, 7, 1, 1}, 30)->number, 8);
    EXPECT_EQ(ask(json, {43, 18, 1, 1, 2, 1, 1}, 39)->number, 3);
    EXPECT_EQ(ask(json, {43, 18, 1, 1, 8, 1, 1}, 39)->bytes, "jam");
    EXPECT_FALSE(ask(json, {43, 18, 1, 1, 7, 1, 1}, 40));
}

TEST(Scenario, AlertCountersMoveWithEveryAlertThatComes)
{
    const std::string json = R"({"alerts": [
        {"severity": "critical", "active": {"steps": [[0, false], [30, true], [40, false]], "repeat": 60}},
        {"severity": "warning"}]})";
    const Oid critical = {43, 5, 1, 1, 18, 1};
    const Oid all = {43, 5, 1, 1, 19, 1};
    EXPECT_EQ(ask(json, critical, 0)->number, 0);
    EXPECT_EQ(ask(json, all, 0)->number, 1);
    EXPECT_EQ(ask(json, critical, 95)->number, 2);
    EXPECT_EQ(ask(json, all, 95)->number, 3);
}

TEST(Scenario, TheDeviceIndexGoesIntoEveryRow)
{
    const Mib mib(
        rowsOf(parseScenario(R"({"deviceIndex": 87, "supplies": [{}], "trays": [{}], "alerts": [{}]})")));
    for (const Row& row : mib.rows()) {
        if (row.name[6] == 43) {
            EXPECT_EQ(row.name[11], 87U) << oidText(row.name);
        }
    }
    EXPECT_NE(mib.find({1, 3, 6, 1, 2, 1, 25, 3, 5, 1, 1, 87}), nullptr);
}

TEST(Scenario, ExtraLinesReplaceAndRemovedTablesAreGone)
{
    const std::string json =
        R"({"serial": "A", "supplies": [{"colour": "black"}], "remove": ["1.3.6.1.2.1.43.12"],
        "extra": ["1.3.6.1.2.1.43.5.1.1.17.1|4|B", "1.3.6.1.4.1.32473.9.0|2|5"]})";
    EXPECT_EQ(ask(json, {43, 5, 1, 1, 17, 1})->bytes, "B");
    EXPECT_FALSE(ask(json, {43, 12, 1, 1, 4, 1, 1}));
    EXPECT_NE(Mib(rowsOf(parseScenario(json))).find({1, 3, 6, 1, 4, 1, 32473, 9, 0}), nullptr);
}

TEST(Scenario, UpTimeIsTheOnePrinters)
{
    EXPECT_EQ(ask("{}", {1, 3, 0}, 5)->number, 10500);
    EXPECT_EQ(ask("{}", {1, 3, 0}, 5)->type, ValueType::TimeTicks);
}

TEST(Scenario, SaysWhichLineIsWrongAndWhy)
{
    EXPECT_EQ(refusal("{\n \"model\": 5\n}"), "2: \"model\" must be a text");
    EXPECT_EQ(refusal("{\n\n \"modell\": \"x\"}"), "3: unknown member \"modell\"");
    EXPECT_EQ(refusal("[]"), "1: an object is expected here");
    EXPECT_EQ(refusal("{\"state\":\n\"sleepy\"}"), "2: unknown name \"sleepy\"");
    EXPECT_EQ(refusal("{\"state\": 1.5}"),
              "1: a number, a name or an object that says how it changes is expected here");
    EXPECT_EQ(refusal("{\"state\": {\"steps\": []}}"), "1: at least one point is needed");
    EXPECT_EQ(refusal("{\"state\": {\"steps\": [[0, 1],\n[0, 2]]}}"),
              "2: the points must be in the order of their time");
    EXPECT_EQ(refusal("{\"state\": {\"steps\": [[-1, 1]]}}"),
              "1: seconds must be a number from 0 to 1000000000");
    EXPECT_EQ(refusal("{\"state\": {\"steps\": [5]}}"), "1: a point is [seconds, value]");
    EXPECT_EQ(refusal("{\"state\": {\"stepps\": 5}}"), "1: unknown member \"stepps\"");
    EXPECT_EQ(refusal("{\"pages\": {\"perMinute\": -1}}"),
              "1: \"perMinute\" must be a number from 0 to 1000000");
    EXPECT_EQ(refusal("{\"pages\": {\"start\": 1}}"), "1: \"perMinute\" must be a number from 0 to 1000000");
    EXPECT_EQ(refusal("{\"errors\": [5]}"), "1: a name is expected here");
    EXPECT_EQ(refusal("{\"supplies\": {}}"), "1: a list is expected here");
    EXPECT_EQ(refusal("{\"supplies\": [\n{\"kind\": 1}]}"), "2: unknown member \"kind\"");
    EXPECT_EQ(refusal("{\"maxMessageSize\": 10}"),
              "1: \"maxMessageSize\" must be a whole number from 64 to 65507");
    EXPECT_EQ(refusal("{\"v1Only\": 1}"), "1: \"v1Only\" must be true or false");
    EXPECT_EQ(refusal("{\"faults\": \"loss=200\"}"), "1: unknown fault \"loss=200\"");
    EXPECT_EQ(refusal("{\"remove\": [\"1.x\"]}"), "1: no object identifier");
    EXPECT_EQ(refusal("{\"extra\": [\n\n\"1.3|2|x\"]}"), "3: no number: \"x\"");
    EXPECT_EQ(refusal("{\"extra\": [5]}"), "1: a line OID|TAG|VALUE is expected here");
}

TEST(Scenario, BrokenJsonIsRefusedWithItsLine)
{
    EXPECT_EQ(refusal("{\n\"model\" \"x\"}").substr(0, 2), "2:");
    EXPECT_NE(refusal("{} junk"), "accepted");
    EXPECT_NE(refusal("{\"model\": \"a\", \"model\": \"b\"}"), "accepted");
    EXPECT_NE(refusal(""), "accepted");
    EXPECT_NE(refusal(std::string(5000, '[')), "accepted");
}

class ScenarioFiles : public testing::TestWithParam<std::string>
{
};

TEST_P(ScenarioFiles, LoadAndDescribeAPrinter)
{
    const auto file = tarn::readFile(GetParam(), 1 << 20);
    ASSERT_EQ(file.error, tarn::ReadError::None);
    FaultPlan faults;
    const auto kind = kindOf(GetParam(), file.text, faults);
    EXPECT_GT(kind->mib.rows().size(), 15U);
}

std::vector<std::string> filesInTestData()
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(KEL_TEST_DATA)) {
        const std::string ending = entry.path().extension();
        if (ending == ".json" || ending == ".snmprec") {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

INSTANTIATE_TEST_SUITE_P(TestData, ScenarioFiles, testing::ValuesIn(filesInTestData()), [](const auto& file) {
    std::string name = std::filesystem::path(file.param).stem();
    std::replace_if(
        name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); }, '_');
    return name;
});

} // namespace
} // namespace printersim
