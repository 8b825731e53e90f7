#include "tools/printer-sim/printer.h"

#include <gtest/gtest.h>

namespace printersim {
namespace {

Printer printerWith(std::vector<Row> rows)
{
    return Printer(
        std::make_shared<const PrinterKind>(PrinterKind{Mib(std::move(rows)), Course::constant(1), 0, false}),
        1, 0x7F000001);
}

Row row(Oid name, std::int64_t value)
{
    return {std::move(name), always(integer(value))};
}

// The names in the order that next() gives them.
std::vector<Oid> walk(const Printer& printer, double seconds = 0)
{
    std::vector<Oid> names;
    for (auto found = printer.next({0, 0}, seconds); found; found = printer.next(found->name, seconds)) {
        names.push_back(found->name);
    }
    return names;
}

TEST(Printer, AValueThatWasSetCoversItsRow)
{
    Printer printer = printerWith({row({1, 3, 1}, 1), row({1, 3, 2}, 2)});
    printer.set({1, 3, 1}, integer(10));
    EXPECT_EQ(printer.get({1, 3, 1}, 0)->number, 10);
    EXPECT_EQ(printer.next({1, 3}, 0)->value.number, 10);
    EXPECT_EQ(walk(printer), (std::vector<Oid>{{1, 3, 1}, {1, 3, 2}}));
}

TEST(Printer, RowsComeAndGoInTheirOrder)
{
    Printer printer = printerWith({row({1, 3, 1}, 1), row({1, 3, 3}, 3), row({1, 3, 5}, 5)});
    printer.set({1, 3, 4}, integer(4));
    printer.set({1, 3, 9}, integer(9));
    printer.set({1, 2}, integer(0));
    printer.unset({1, 3, 3});
    EXPECT_EQ(walk(printer), (std::vector<Oid>{{1, 2}, {1, 3, 1}, {1, 3, 4}, {1, 3, 5}, {1, 3, 9}}));
    EXPECT_FALSE(printer.get({1, 3, 3}, 0));
    printer.set({1, 3, 3}, integer(33));
    EXPECT_EQ(printer.get({1, 3, 3}, 0)->number, 33);
}

TEST(Printer, ARowThatIsNotThereYetIsSteppedOver)
{
    Printer printer =
        printerWith({row({1, 3, 1}, 1),
                     {{1, 3, 2},
                      [](const Moment& moment) {
                          return moment.seconds >= 5 ? std::optional<Value>(integer(2)) : std::nullopt;
                      }},
                     row({1, 3, 3}, 3)});
    EXPECT_EQ(walk(printer, 4), (std::vector<Oid>{{1, 3, 1}, {1, 3, 3}}));
    EXPECT_EQ(walk(printer, 5), (std::vector<Oid>{{1, 3, 1}, {1, 3, 2}, {1, 3, 3}}));
}

TEST(Printer, KnowsWhetherAnythingIsBelowAName)
{
    Printer printer = printerWith({row({1, 3, 1, 5}, 1)});
    EXPECT_TRUE(printer.hasBelow({1, 3, 1}, 0));
    EXPECT_FALSE(printer.hasBelow({1, 3, 0}, 0));
    EXPECT_FALSE(printer.hasBelow({1, 3, 1, 5}, 0));
}

TEST(Printer, SwitchedOnAgainItsUpTimeBeginsAnew)
{
    Printer printer =
        printerWith({{{1, 3, 1}, [](const Moment& moment) {
                          return std::optional<Value>(integer(static_cast<int>(moment.upSeconds)));
                      }}});
    EXPECT_EQ(printer.get({1, 3, 1}, 10)->number, 3610);
    printer.switchOff();
    EXPECT_FALSE(printer.isOnline(10));
    printer.switchOn(20);
    EXPECT_TRUE(printer.isOnline(20));
    EXPECT_EQ(printer.get({1, 3, 1}, 25)->number, 5);
}

} // namespace
} // namespace printersim
