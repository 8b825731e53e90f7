#include "printer/printer_context.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

using morvik::kel::PrinterContext;

namespace {

const std::string withNul("front\0back", 10);

PrinterContext filled()
{
    PrinterContext context(true);
    context.uuid = "u";
    context.printerName = "n";
    context.manufacturer = "m";
    context.model = "o";
    context.description = "d";
    context.spareText = "s";
    context.serialNumber = "r";
    context.ip = "i";
    context.state = 1;
    context.spareCode = 2;
    context.stateMessage = "t";
    context.cToner = 3;
    context.mToner = 4;
    context.yToner = 5;
    context.kToner = 6;
    context.rToner = 7;
    context.totalPrint = 8;
    context.lessPaper = context.lackPaper = context.lessToner = context.lackToner = true;
    return context;
}

void expectFilled(const PrinterContext& context)
{
    EXPECT_EQ(context.uuid + context.printerName + context.manufacturer + context.model, "unmo");
    EXPECT_EQ(context.description + context.spareText + context.serialNumber + context.ip, "dsri");
    EXPECT_EQ(context.state, 1);
    EXPECT_EQ(context.spareCode, 2);
    EXPECT_EQ(context.stateMessage, "t");
    EXPECT_EQ(context.cToner, 3);
    EXPECT_EQ(context.mToner, 4);
    EXPECT_EQ(context.yToner, 5);
    EXPECT_EQ(context.kToner, 6);
    EXPECT_EQ(context.rToner, 7);
    EXPECT_EQ(context.totalPrint, 8);
    EXPECT_TRUE(context.lessPaper && context.lackPaper && context.lessToner && context.lackToner);
    EXPECT_TRUE(context.isUsbPrinter);
}

TEST(PrinterContext, StartsWithNothingReported)
{
    const PrinterContext context;
    EXPECT_EQ(context.uuid + context.printerName + context.manufacturer + context.model +
                  context.description + context.spareText + context.serialNumber + context.ip +
                  context.stateMessage,
              "");
    EXPECT_EQ(context.state, 0);
    EXPECT_EQ(context.spareCode, 0);
    for (const std::int32_t level : {context.cToner, context.mToner, context.yToner, context.kToner,
                                     context.rToner, context.totalPrint}) {
        EXPECT_EQ(level, -1);
    }
    EXPECT_FALSE(context.lessPaper || context.lackPaper || context.lessToner || context.lackToner);
    EXPECT_FALSE(context.isUsbPrinter);
    EXPECT_TRUE(PrinterContext(true).isUsbPrinter);
}

TEST(PrinterContext, CopyTakesEveryField)
{
    const PrinterContext source = filled();
    const PrinterContext copy(source); // NOLINT(performance-unnecessary-copy-initialization)
    expectFilled(copy);
}

TEST(PrinterContext, AssignmentTakesEveryField)
{
    PrinterContext target;
    target = filled();
    expectFilled(target);
}

TEST(PrinterContext, CopyEndsEachTextAtItsFirstNul)
{
    PrinterContext source;
    std::string PrinterContext::*const texts[] = {
        &PrinterContext::uuid,  &PrinterContext::printerName,  &PrinterContext::manufacturer,
        &PrinterContext::model, &PrinterContext::description,  &PrinterContext::spareText,
        &PrinterContext::ip,    &PrinterContext::serialNumber, &PrinterContext::stateMessage,
    };
    for (const auto text : texts) {
        source.*text = withNul;
    }
    const PrinterContext copy(source);
    PrinterContext assigned;
    assigned = source;
    for (const auto text : texts) {
        EXPECT_EQ(copy.*text, "front");
        EXPECT_EQ(assigned.*text, "front");
    }
}

TEST(PrinterContext, MoveIsACopyThatEndsTextsAtTheirFirstNul)
{
    PrinterContext source;
    source.printerName = withNul;
    const PrinterContext moved(std::move(source));
    EXPECT_EQ(moved.printerName, "front");
    EXPECT_EQ(source.printerName, withNul); // NOLINT(bugprone-use-after-move): there is no move
}

TEST(PrinterContext, SelfAssignmentLeavesItUnchanged)
{
    PrinterContext context = filled();
    context.printerName = withNul;
    const PrinterContext& same = context;
    context = same;
    EXPECT_EQ(context.printerName, withNul); // not even cut at its NUL
    context.printerName = "n";
    expectFilled(context);
}

TEST(PrinterContext, IsAPlainValue)
{
    static_assert(!std::is_polymorphic_v<PrinterContext>);
    static_assert(std::is_standard_layout_v<PrinterContext>);
    const PrinterContext context;
    EXPECT_EQ(&context.mToner - &context.cToner, 1);
    EXPECT_EQ(&context.yToner - &context.cToner, 2);
    EXPECT_EQ(&context.kToner - &context.cToner, 3);
    EXPECT_EQ(&context.rToner - &context.cToner, 4);
    EXPECT_EQ(&context.totalPrint - &context.cToner, 5);
}

} // namespace
