#include "tools/printer-sim/web_page.h"

#include <gtest/gtest.h>

#include "tools/printer-sim/scenario.h"

namespace printersim {
namespace {

Printer printerOf(const std::string& json)
{
    return Printer(std::make_shared<const PrinterKind>(
                       PrinterKind{Mib(rowsOf(parseScenario(json))), Course::constant(1), 0, false}),
                   1, 0x7F000007);
}

TEST(WebPage, ShowsWhatTheAgentReports)
{
    Printer printer = printerOf(R"({"model": "M & <1>", "serial": "S1", "pages": 77, "supplies": [
        {"description": "Black", "max": 200, "level": 50}, {"description": "Cyan", "level": "some"}]})");
    const std::string page = webPage(printer, 0);
    EXPECT_NE(page.find("<h1>M &amp; &lt;1></h1>"), std::string::npos);
    EXPECT_NE(page.find("<p>127.0.0.7</p>"), std::string::npos);
    EXPECT_NE(page.find("S/N S1"), std::string::npos);
    EXPECT_NE(page.find("77 pages"), std::string::npos);
    EXPECT_NE(page.find("<td>Black</td><td>25 %</td>"), std::string::npos);
    EXPECT_NE(page.find("<td>Cyan</td><td>?</td>"), std::string::npos);
    printer.set({1, 3, 6, 1, 2, 1, 43, 11, 1, 1, 9, 1, 1}, integer(100));
    EXPECT_NE(webPage(printer, 0).find("<td>Black</td><td>50 %</td>"), std::string::npos);
}

TEST(WebPage, IsServedAtTheRootOnly)
{
    const Printer printer = printerOf(R"({"model": "M1"})");
    const std::string page = webPage(printer, 0);
    const std::string got = httpAnswer("GET / HTTP/1.1\r\n\r\n", printer, 0);
    EXPECT_EQ(got.rfind("HTTP/1.0 200 OK\r\n", 0), 0U);
    EXPECT_NE(got.find("Content-Length: " + std::to_string(page.size()) + "\r\n"), std::string::npos);
    EXPECT_EQ(got.substr(got.find("\r\n\r\n") + 4), page);
    const std::string head = httpAnswer("HEAD / HTTP/1.1\r\n\r\n", printer, 0);
    EXPECT_EQ(head.substr(head.find("\r\n\r\n") + 4), "");
    EXPECT_EQ(httpAnswer("GET /x HTTP/1.1\r\n\r\n", printer, 0).rfind("HTTP/1.0 404", 0), 0U);
    EXPECT_EQ(httpAnswer("POST / HTTP/1.1\r\n\r\n", printer, 0).rfind("HTTP/1.0 405", 0), 0U);
    EXPECT_EQ(httpAnswer("GET\r\n\r\n", printer, 0).rfind("HTTP/1.0 405", 0), 0U);
}

} // namespace
} // namespace printersim
