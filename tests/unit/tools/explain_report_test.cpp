#include "tools/tarn-status/explain/report.h"

#include <gtest/gtest.h>

namespace tarnstatus {
namespace {

TEST(ExplainReport, TableIsHeadedInTheLanguageOfItsRows)
{
    ReportContext context;
    EXPECT_EQ(headOf(context), "Way      Sent                                 Came                       Time\n");
    EXPECT_EQ(rowOf({Probe::Usb, ProbeOutcome::NoneAttached}, context),
              "USB      -                                    no printer attached\n");
    context.language = Language::Chinese;
    EXPECT_EQ(headOf(context), "方式     发送                                 结果                       用时\n");
}

} // namespace
} // namespace tarnstatus
