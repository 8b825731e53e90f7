#include "tarn/src/snmp/poll/readers.h"

#include "tests/unit/tarn/snmp/fixtures.h"

namespace tarn::snmp {
namespace {

using kel::testing::integer;
using kel::testing::octets;
using kel::testing::RecordedAgent;

constexpr const char* kLevels = "1.3.6.1.2.1.43.11.1.1.9.1";
constexpr const char* kCapacities = "1.3.6.1.2.1.43.11.1.1.8.1";

RecordedAgent agentWithRows(std::uint32_t rows)
{
    RecordedAgent agent;
    for (std::uint32_t row = 1; row <= rows; ++row) {
        agent.setInteger(std::string(kLevels) + "." + std::to_string(row), row * 10);
        agent.setInteger(std::string(kCapacities) + "." + std::to_string(row), 1000);
    }
    agent.setText("1.3.6.1.2.1.43.18.1.1.8.1.1", "behind");
    return agent;
}

ColumnReader::Walk walkOf(ColumnId id, const char* prefix, std::uint16_t maxRows = 64)
{
    ColumnReader::Walk walk;
    walk.id = id;
    walk.prefix = parseOid(prefix);
    walk.maxRows = maxRows;
    return walk;
}

void addBoth(ColumnReader& reader, const std::vector<std::uint32_t>& expected = {}, bool askExpected = false)
{
    for (ColumnReader::Walk walk : {walkOf(ColumnId::PrtMarkerSuppliesMaxCapacity, kCapacities),
                                    walkOf(ColumnId::PrtMarkerSuppliesLevel, kLevels)}) {
        walk.expected = expected;
        walk.askExpected = askExpected;
        reader.add(walk);
    }
}

int run(ColumnReader& reader, RecordedAgent& agent)
{
    int requests = 0;
    while (std::optional<Pdu> pdu = reader.nextRequest()) {
        reader.accept(agent.answer(*pdu));
        ++requests;
    }
    return requests;
}

std::vector<std::int64_t> tens(std::uint32_t count)
{
    std::vector<std::int64_t> numbers;
    for (std::uint32_t row = 1; row <= count; ++row) {
        numbers.push_back(row * 10);
    }
    return numbers;
}

TEST(ColumnReader, ReadsColumnsSideBySide)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(12);
    addBoth(reader);
    EXPECT_LE(run(reader, agent), 3);
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).numbers, tens(12));
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesMaxCapacity).rows.size(), 12u);
}

TEST(ColumnReader, ReadsAKnownTableInOneAnswer)
{
    RecordedAgent agent = agentWithRows(6);
    for (const bool bulk : {true, false}) {
        RequestLimits limits;
        limits.bulk = bulk;
        agent.v1 = !bulk;
        ColumnReader reader(limits);
        addBoth(reader, {1, 2, 3, 4, 5, 6});
        EXPECT_EQ(run(reader, agent), 1) << bulk;
        EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).numbers, tens(6));
    }
}

TEST(ColumnReader, ContinuesAnswersThatTheAgentCut)
{
    for (const std::size_t size : {90, 130, 200, 484}) {
        RequestLimits limits;
        ColumnReader reader(limits);
        RecordedAgent agent = agentWithRows(20);
        agent.cutAtOctets = size;
        addBoth(reader);
        run(reader, agent);
        EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).numbers, tens(20)) << size;
        EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesMaxCapacity).rows.size(), 20u) << size;
        EXPECT_LE(agent.largestAnswer, size);
    }
}

TEST(ColumnReader, AsksForLessAfterTooBig)
{
    for (const bool bulk : {true, false}) {
        RequestLimits limits;
        limits.bulk = bulk;
        ColumnReader reader(limits);
        RecordedAgent agent = agentWithRows(9);
        agent.v1 = !bulk;
        agent.tooBigAbove = 3;
        addBoth(reader, {1, 2, 3, 4, 5, 6, 7, 8, 9});
        run(reader, agent);
        EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).numbers, tens(9));
        EXPECT_LE(limits.maxResults, 3); // and remembers it
    }
}

TEST(ColumnReader, GivesUpAnObjectThatIsTooBigAlone)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    addBoth(reader);
    int requests = 0;
    while (std::optional<Pdu> pdu = reader.nextRequest()) {
        Pdu error = *pdu;
        error.type = PduType::Response;
        error.errorStatus = static_cast<std::int32_t>(ErrorStatus::TooBig);
        error.errorIndex = 0;
        reader.accept(error);
        ASSERT_LT(++requests, 20);
    }
    EXPECT_TRUE(reader.take(ColumnId::PrtMarkerSuppliesLevel).empty());
}

TEST(ColumnReader, EndsColumnsOfAV1AgentAtItsLastObject)
{
    RequestLimits limits;
    limits.bulk = false;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(3);
    agent.erase("1.3.6.1.2.1.43.18.1.1.8.1.1"); // the levels are the last of the MIB
    agent.v1 = true;
    addBoth(reader, {1, 2, 3}, true);
    EXPECT_LE(run(reader, agent), 3);
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).numbers, tens(3));
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesMaxCapacity).rows.size(), 3u);
}

TEST(ColumnReader, LeavesOutAColumnThatFails)
{
    RequestLimits limits;
    limits.bulk = false;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(3);
    agent.v1 = true;
    agent.genErrOn = std::string(kLevels) + ".1";
    addBoth(reader);
    run(reader, agent);
    EXPECT_TRUE(reader.take(ColumnId::PrtMarkerSuppliesLevel).empty());
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesMaxCapacity).rows.size(), 3u);
}

TEST(ColumnReader, NoticesRowsThatWentAndCame)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(5);
    agent.erase(std::string(kLevels) + ".2");
    agent.setInteger(std::string(kLevels) + ".9", 90);
    addBoth(reader, {1, 2, 3, 4, 5}, true);
    run(reader, agent);
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).rows,
              (std::vector<std::uint32_t>{1, 3, 4, 5, 9}));
}

TEST(ColumnReader, TakesOnlyTheRowThatItWants)
{
    RequestLimits limits;
    RecordedAgent agent = agentWithRows(3);
    for (const std::uint32_t row : {0u, 2u, 7u}) {
        ColumnReader reader(limits);
        ColumnReader::Walk walk = walkOf(ColumnId::PrtMarkerSuppliesLevel, kLevels);
        walk.onlyRow = row;
        reader.add(walk);
        EXPECT_EQ(run(reader, agent), 1);
        const ColumnData data = reader.take(ColumnId::PrtMarkerSuppliesLevel);
        EXPECT_EQ(data.rows, row == 2 ? std::vector<std::uint32_t>{2} : std::vector<std::uint32_t>{}) << row;
    }
}

TEST(ColumnReader, IgnoresValuesOfAnotherKindAndDeeperNames)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(4);
    agent.setText(std::string(kLevels) + ".2", "forty");
    agent.setInteger(std::string(kLevels) + ".3.1", 5);
    addBoth(reader);
    run(reader, agent);
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).rows, (std::vector<std::uint32_t>{1, 3, 4}));
}

// Answers every question with the row that the function makes of it.
template <typename Answer>
int runAgainst(ColumnReader& reader, Answer answer)
{
    int requests = 0;
    while (std::optional<Pdu> pdu = reader.nextRequest()) {
        Pdu response;
        response.type = PduType::Response;
        std::vector<Varbind> cursors = pdu->varbinds;
        const int repetitions = pdu->type == PduType::GetBulkRequest ? std::max(pdu->errorIndex, 1) : 1;
        for (int i = 0; i < repetitions; ++i) {
            for (Varbind& cursor : cursors) {
                cursor = answer(cursor.name);
                response.varbinds.push_back(cursor);
            }
        }
        reader.accept(response);
        EXPECT_LT(++requests, 500);
        if (requests >= 500) {
            break;
        }
    }
    return requests;
}

TEST(ColumnReader, EndsEndlessWalks)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    addBoth(reader);
    runAgainst(reader, [](Oid name) {
        name.size() == 12 ? name.push_back(1) : static_cast<void>(++name.back());
        return Varbind{name, integer(1)};
    });
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).rows.size(), 64u);
}

TEST(ColumnReader, EndsDeepeningWalks)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    addBoth(reader);
    runAgainst(reader, [](Oid name) {
        name.push_back(1);
        return Varbind{name, integer(1)};
    });
    EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).rows.size(), 1u);
}

TEST(ColumnReader, EndsBackwardAndCircularWalks)
{
    for (const bool bulk : {true, false}) {
        RequestLimits limits;
        limits.bulk = bulk;
        ColumnReader reader(limits);
        addBoth(reader);
        const int requests = runAgainst(reader, [](const Oid& name) {
            Oid row(name.begin(), name.begin() + 12);
            row.push_back(name.size() == 12 ? 5 : (name.back() == 5 ? 7 : 5)); // 5, 7, 5, 7, ...
            return Varbind{row, integer(1)};
        });
        EXPECT_LE(requests, 4);
        EXPECT_EQ(reader.take(ColumnId::PrtMarkerSuppliesLevel).rows, (std::vector<std::uint32_t>{5, 7}));
    }
}

TEST(ColumnReader, SurvivesAnswersToOtherQuestions)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    addBoth(reader);
    const int requests = runAgainst(reader, [](const Oid&) {
        return Varbind{{1, 3, 6, 1, 9, 9}, integer(1)};
    });
    EXPECT_EQ(requests, 1);
    EXPECT_TRUE(reader.take(ColumnId::PrtMarkerSuppliesLevel).empty());
}

TEST(ColumnReader, SurvivesMoreBindingsThanItAskedFor)
{
    RequestLimits limits;
    ColumnReader reader(limits);
    addBoth(reader);
    const std::optional<Pdu> pdu = reader.nextRequest();
    ASSERT_TRUE(pdu);
    Pdu response;
    response.type = PduType::Response;
    for (std::uint32_t i = 1; i <= 900; ++i) {
        Oid name = parseOid(i % 2 != 0 ? kCapacities : kLevels);
        name.push_back((i + 1) / 2);
        response.varbinds.push_back({name, integer(i)});
    }
    reader.accept(response);
    reader.accept(response); // a second answer to the same request
    EXPECT_LE(reader.take(ColumnId::PrtMarkerSuppliesLevel).rows.size(), 24u);
}

TEST(ColumnReader, StopsWhenTheConversationHasUsedItsRequests)
{
    RequestLimits limits;
    limits.bulk = false;
    limits.requestsLeft = 4;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(50);
    addBoth(reader);
    EXPECT_EQ(run(reader, agent), 4);
}

std::vector<Oid> namesOf(std::initializer_list<const char*> oids)
{
    std::vector<Oid> names;
    for (const char* oid : oids) {
        names.push_back(parseOid(oid));
    }
    return names;
}

std::vector<Oid> namesIn(const Pdu& pdu)
{
    std::vector<Oid> names;
    for (const Varbind& varbind : pdu.varbinds) {
        names.push_back(varbind.name);
    }
    return names;
}

Pdu failureOf(const Pdu& request, std::int32_t index)
{
    Pdu error = request;
    error.type = PduType::Response;
    error.errorStatus = static_cast<std::int32_t>(ErrorStatus::GenErr);
    error.errorIndex = index;
    return error;
}

TEST(ColumnReader, GivesUpTheVeryColumnThatAnErrorNames)
{
    RequestLimits limits;
    limits.bulk = false;
    ColumnReader reader(limits);
    addBoth(reader);
    reader.accept(failureOf(*reader.nextRequest(), 1));
    EXPECT_EQ(namesIn(*reader.nextRequest()), namesOf({kLevels}));
    EXPECT_EQ(limits.maxResults, RequestLimits::kMostResults) << "it says nothing of sizes";
}

TEST(ColumnReader, GoesOnBehindTheRowThatCame)
{
    RequestLimits limits;
    limits.bulk = false;
    ColumnReader reader(limits);
    RecordedAgent agent = agentWithRows(3);
    ColumnReader::Walk walk = walkOf(ColumnId::PrtMarkerSuppliesLevel, kLevels);
    walk.expected = {1, 2, 3};
    reader.add(walk);
    const std::string levels = kLevels;
    const std::vector<Oid> rows =
        namesOf({(levels + ".1").c_str(), (levels + ".2").c_str(), (levels + ".3").c_str()});
    Pdu answer = agent.answer(*reader.nextRequest());
    answer.varbinds.resize(1); // cut
    reader.accept(answer);
    EXPECT_EQ(namesIn(*reader.nextRequest()), rows);
}

TEST(ObjectReader, AsksForFewerWhereAnErrorNamesNone)
{
    RequestLimits limits;
    ObjectReader reader(namesOf({"1.3.1", "1.3.2"}), limits);
    RecordedAgent agent;
    agent.setInteger("1.3.1", 11);
    agent.setInteger("1.3.2", 22);
    reader.accept(failureOf(*reader.nextRequest(), 0));
    int requests = 0;
    while (std::optional<Pdu> pdu = reader.nextRequest()) {
        EXPECT_EQ(pdu->varbinds.size(), 1u);
        reader.accept(agent.answer(*pdu));
        ++requests;
    }
    EXPECT_EQ(requests, 2);
    EXPECT_NE(reader.find(parseOid("1.3.1")), nullptr);
    EXPECT_NE(reader.find(parseOid("1.3.2")), nullptr);
}

TEST(ObjectReader, StopsWhenTheConversationHasUsedItsRequests)
{
    RequestLimits limits;
    limits.maxResults = 1;
    limits.requestsLeft = 2;
    ObjectReader reader(namesOf({"1.3.1", "1.3.2", "1.3.3"}), limits);
    RecordedAgent agent;
    int requests = 0;
    while (std::optional<Pdu> pdu = reader.nextRequest()) {
        reader.accept(agent.answer(*pdu));
        ++requests;
    }
    EXPECT_EQ(requests, 2);
}

TEST(ObjectReader, DropsTheObjectThatAV1AgentDoesNotHaveAndRepeats)
{
    RequestLimits limits;
    ObjectReader reader(namesOf({"1.3.1", "1.3.2", "1.3.3", "1.3.4"}), limits);
    RecordedAgent agent;
    agent.v1 = true;
    agent.setInteger("1.3.1", 11);
    agent.setInteger("1.3.4", 44);
    int requests = 0;
    while (std::optional<Pdu> pdu = reader.nextRequest()) {
        EXPECT_EQ(pdu->type, PduType::GetRequest);
        reader.accept(agent.answer(*pdu));
        ++requests;
    }
    EXPECT_EQ(requests, 3); // two missing ones, then the answer
    ASSERT_NE(reader.find(parseOid("1.3.1")), nullptr);
    EXPECT_EQ(reader.find(parseOid("1.3.1"))->number, 11);
    EXPECT_EQ(reader.find(parseOid("1.3.4"))->number, 44);
    EXPECT_EQ(reader.find(parseOid("1.3.2")), nullptr);
}

TEST(ObjectReader, ReadsAroundExceptionsInOneAnswer)
{
    RequestLimits limits;
    ObjectReader reader(namesOf({"1.3.1", "1.3.2"}), limits);
    RecordedAgent agent;
    agent.setInteger("1.3.2", 22);
    const std::optional<Pdu> pdu = reader.nextRequest();
    ASSERT_TRUE(pdu);
    reader.accept(agent.answer(*pdu));
    EXPECT_FALSE(reader.nextRequest());
    EXPECT_EQ(reader.find(parseOid("1.3.1")), nullptr);
    EXPECT_EQ(reader.find(parseOid("1.3.2"))->number, 22);
}

TEST(ObjectReader, EndsWhateverTheAgentAnswers)
{
    for (const std::int32_t status : {0, 1, 2, 5, 99}) {
        for (const std::int32_t index : {-1, 0, 1, 3, 77}) {
            RequestLimits limits;
            ObjectReader reader(namesOf({"1.3.1", "1.3.2", "1.3.3"}), limits);
            int requests = 0;
            while (reader.nextRequest()) {
                Pdu response;
                response.type = PduType::Response;
                response.errorStatus = status;
                response.errorIndex = index;
                response.varbinds = {{{1, 9, 9}, integer(1)}};
                reader.accept(response);
                ASSERT_LT(++requests, 10) << status << " " << index;
            }
        }
    }
}

TEST(Columns, StandInTheOrderOfTheirIdentifiers)
{
    for (std::size_t i = 0; i < kColumnCount; ++i) {
        EXPECT_EQ(static_cast<std::size_t>(specOf(static_cast<ColumnId>(i)).id), i);
        EXPECT_GT(parseOid(specOf(static_cast<ColumnId>(i)).oid).size(), 7u);
    }
}

TEST(Columns, KeepRowsAscendingAndTextsBounded)
{
    ColumnData data;
    EXPECT_TRUE(appendCell(data, ColumnKind::Text, 3, octets(std::string(5000, 'x'))));
    EXPECT_FALSE(appendCell(data, ColumnKind::Text, 3, octets("again")));
    EXPECT_FALSE(appendCell(data, ColumnKind::Text, 2, octets("back")));
    EXPECT_FALSE(appendCell(data, ColumnKind::Text, 4, integer(1)));
    EXPECT_EQ(data.textOf(3)->size(), 512u);
    EXPECT_EQ(data.textOf(4), nullptr);
    EXPECT_EQ(data.numberOf(3), std::nullopt);
}

TEST(Columns, ReadAndWriteDottedNames)
{
    EXPECT_EQ(parseOid("1.3.6"), (Oid{1, 3, 6}));
    EXPECT_EQ(dottedOid({1, 3, 4294967295u}), "1.3.4294967295");
    EXPECT_TRUE(hasPrefix({1, 3, 6}, {1, 3}));
    EXPECT_FALSE(hasPrefix({1, 3}, {1, 3, 6}));
    EXPECT_FALSE(hasPrefix({1, 4, 6}, {1, 3}));
}

} // namespace
} // namespace tarn::snmp
