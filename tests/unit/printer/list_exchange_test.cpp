#include <gmock/gmock.h>

#include "printer/printer_documents.h"
#include "tests/unit/printer/tarn_fixture.h"

using namespace morvik::kel;
using kel_test::tarnControl;
using kel_test::TarnScript;
using ::testing::ElementsAre;
using ::testing::SizeIs;

namespace {

std::vector<PrinterContext> named(const std::string& name)
{
    PrinterContext context(false);
    context.printerName = name;
    return {context};
}

class RepeatedListExchange : public kel_test::LoadedTarnFixture
{
protected:
    // One exchange that is taken over in full.
    std::optional<std::vector<PrinterContext>> confirmed(const std::vector<PrinterContext>& list,
                                                         std::uint64_t revision)
    {
        auto answer = m_exchange.run(list, revision);
        m_exchange.confirm();
        return answer;
    }
    static void failWith(int result)
    {
        TarnScript script = tarnControl().script();
        script.setPrinterListResult = result;
        tarnControl().setScript(script);
    }

    ListExchange m_exchange;
};

TEST_F(RepeatedListExchange, AnUnchangedAnswerSaysNothingNew)
{
    const auto first = confirmed(named("office"), 1);
    ASSERT_TRUE(first);
    EXPECT_THAT(*first, SizeIs(1));
    EXPECT_EQ(first->front().printerName, "office");
    EXPECT_FALSE(confirmed(named("office"), 1));
}

TEST_F(RepeatedListExchange, TheLibraryIsAskedEachTimeAllTheSame)
{
    confirmed(named("office"), 1);
    tarnControl().clearCalls();
    confirmed(named("office"), 1);
    EXPECT_THAT(tarnControl().calls(),
                ElementsAre("tarn_setPrinterList", "tarn_getPrinterList", "tarn_freePrinterList"));
}

TEST_F(RepeatedListExchange, AnAnswerThatWasNotTakenOverComesAgain)
{
    m_exchange.run(named("office"), 1);
    const auto again = m_exchange.run(named("office"), 1);
    ASSERT_TRUE(again);
    EXPECT_THAT(*again, SizeIs(1));
}

TEST_F(RepeatedListExchange, AnotherRevisionIsSentAnew)
{
    confirmed(named("office"), 1);
    const auto changed = confirmed(named("hall"), 2);
    EXPECT_EQ(tarnControl().lastPrinterList().find("office"), std::string::npos);
    ASSERT_TRUE(changed);
    EXPECT_EQ(changed->front().printerName, "hall");
}

TEST_F(RepeatedListExchange, AFailureIsAnEmptyListAndTheNextAnswerIsNewAgain)
{
    confirmed(named("office"), 1);
    failWith(5);
    const auto failed = confirmed(named("office"), 1);
    ASSERT_TRUE(failed);
    EXPECT_THAT(*failed, SizeIs(0));
    failWith(0);
    const auto back = confirmed(named("office"), 1);
    ASSERT_TRUE(back);
    EXPECT_THAT(*back, SizeIs(1));
}

} // namespace
