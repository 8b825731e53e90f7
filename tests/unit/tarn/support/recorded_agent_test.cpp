#include "tests/support/recorded_agent.h"

#include <gtest/gtest.h>

#include <limits>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/wire/codec.h"

namespace {

using kel::testing::RecordedAgent;
using namespace tarn::snmp;

std::size_t encodedSizeOf(const Pdu& pdu)
{
    Message message;
    message.community = "public";
    message.pdu = pdu;
    return encodeMessage(message).size();
}

// Of all types, with numbers at both sides of every length.
std::vector<Value> manyValues()
{
    std::vector<Value> values;
    for (int type = 0; type <= static_cast<int>(ValueType::EndOfMibView); ++type) {
        Value value;
        value.type = static_cast<ValueType>(type);
        value.bytes = std::string(static_cast<std::size_t>(type) * 40, 'x');
        value.oid = Oid{2, 999, 0, 127, 128, 16383, 16384, 0xFFFFFFFF};
        values.push_back(value);
        value.bytes.clear();
        value.oid = Oid(static_cast<std::size_t>(type % 3), 1);
        for (const std::int64_t number :
             {0x7FLL, 0x80LL, 0xFFLL, 0x7FFFLL, 0x8000LL, 0x7FFFFFFFLL, 0x80000000LL}) {
            for (const std::int64_t sign : {-1, 1}) {
                value.number = sign * number;
                values.push_back(value);
            }
        }
        value.number = std::numeric_limits<std::int64_t>::min();
        values.push_back(value);
    }
    return values;
}

TEST(RecordedAgent, KnowsTheSizeOfAnAnswerWithoutWritingIt)
{
    RecordedAgent agent;
    Pdu all;
    all.requestId = 0x12345678;
    for (const Value& value : manyValues()) {
        const Oid name = {1, 3, 6, 1, static_cast<std::uint32_t>(all.varbinds.size() * 50)};
        agent.set(name, value);
        Pdu request;
        request.varbinds.push_back({name, {}});
        agent.largestAnswer = 0;
        const Pdu answer = agent.answer(request);
        EXPECT_EQ(agent.largestAnswer, encodedSizeOf(answer))
            << static_cast<int>(value.type) << " " << value.number;
        all.varbinds.push_back({name, {}});
    }
    agent.largestAnswer = 0;
    const Pdu answer = agent.answer(all);
    ASSERT_EQ(answer.varbinds.size(), all.varbinds.size());
    EXPECT_EQ(agent.largestAnswer, encodedSizeOf(answer));
}

TEST(RecordedAgent, RepeatsEachColumnUntilNothingIsLeft)
{
    RecordedAgent agent;
    agent.set(Oid{1, 3, 1}, kel::testing::integer(1));
    agent.set(Oid{1, 3, 2}, kel::testing::integer(2));
    Pdu request;
    request.type = PduType::GetBulkRequest;
    request.errorIndex = 5; // repetitions
    request.varbinds = {{Oid{1, 3}, {}}, {Oid{1, 3, 1}, {}}};
    const Pdu answer = agent.answer(request);
    std::vector<std::string> names;
    for (const Varbind& bind : answer.varbinds) {
        names.push_back(dottedOid(bind.name) + (bind.value.type == ValueType::EndOfMibView ? " end" : ""));
    }
    const std::vector<std::string> wanted = {"1.3.1",     "1.3.2",     "1.3.2",
                                             "1.3.2 end", "1.3.2 end", "1.3.2 end"};
    EXPECT_EQ(names, wanted);
}

} // namespace
