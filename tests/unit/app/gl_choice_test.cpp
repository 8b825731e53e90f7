#include "app/gl_choice.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

constexpr const char* kVariable = "QT_XCB_GL_INTEGRATION";

std::string value()
{
    const char* const text = std::getenv(kVariable);
    return text != nullptr ? text : "unset";
}

TEST(NoGlStack, KeepsGlAwayWhileItLivesAndLeavesNoTrace)
{
    unsetenv(kVariable);
    {
        const NoGlStack noGl;
        EXPECT_EQ(value(), "none");
    }
    EXPECT_EQ(value(), "unset");
}

TEST(NoGlStack, RespectsTheUsersOwnChoice)
{
    setenv(kVariable, "xcb_egl", 1);
    {
        const NoGlStack noGl;
        EXPECT_EQ(value(), "xcb_egl");
    }
    EXPECT_EQ(value(), "xcb_egl");
}

TEST(NoGlStack, AnEmptyChoiceIsAChoice)
{
    setenv(kVariable, "", 1);
    {
        const NoGlStack noGl;
        EXPECT_EQ(value(), "");
    }
    EXPECT_EQ(value(), "");
}

} // namespace
