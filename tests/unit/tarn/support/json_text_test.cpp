#include "tests/support/json_text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using kel::testing::isJson;

TEST(JsonText, TakesWhatIsJson)
{
    for (const char* text :
         {"{}", "[]", "0", "-0", "10.5e-3", "1E+2", "true", " null ", R"("")",
          R"(" \" \\ \/ \b\f\n\r\t \u00e4 é")", R"({"a": [1, {"b": "c"}, []], "d" : {} })"}) {
        EXPECT_TRUE(isJson(text)) << text;
    }
}

TEST(JsonText, TakesNothingElse)
{
    for (const char* text :
         {"",           " ",       "{",           "[1,]",      "[1 2]",  "{\"a\"}", "{\"a\":}", "{a:1}",
          "{\"a\":1,}", "01",      "-",           "1.",        ".5",     "1e",      "tru",      "\"",
          "\"\\\"",     "\"\\x\"", "\"\\u12g4\"", "\"\\u12\"", "\"\n\"", "{} {}",   "[}",       "'a'"}) {
        EXPECT_FALSE(isJson(text)) << text;
    }
    EXPECT_FALSE(isJson(std::string("\"\0\"", 3)));
    EXPECT_FALSE(isJson(std::string(100000, '[')));
}

} // namespace
