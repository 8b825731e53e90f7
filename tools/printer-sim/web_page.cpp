#include "tools/printer-sim/web_page.h"

#include <cmath>

namespace printersim {

namespace {

const Oid kDeviceDescr = {1, 3, 6, 1, 2, 1, 25, 3, 2, 1, 3};
const Oid kSerialNumber = {1, 3, 6, 1, 2, 1, 43, 5, 1, 1, 17};
const Oid kLifeCount = {1, 3, 6, 1, 2, 1, 43, 10, 2, 1, 4};
const Oid kSupplyDescription = {1, 3, 6, 1, 2, 1, 43, 11, 1, 1, 6};
const Oid kSupplyMax = {1, 3, 6, 1, 2, 1, 43, 11, 1, 1, 8};
const Oid kSupplyLevel = {1, 3, 6, 1, 2, 1, 43, 11, 1, 1, 9};
constexpr std::size_t kMostSupplies = 64;

std::string escaped(const std::string& text)
{
    std::string html;
    for (const char c : text) {
        if (c == '<') {
            html += "&lt;";
        } else if (c == '&') {
            html += "&amp;";
        } else if (c != '\0') {
            html += c;
        }
    }
    return html;
}

std::string textOf(const Value& value)
{
    return value.type == ValueType::OctetString ? escaped(value.bytes) : std::to_string(value.number);
}

std::string firstBelow(const Printer& printer, const Oid& column, double seconds)
{
    const auto found = printer.next(column, seconds);
    return found && startsWith(found->name, column) ? textOf(found->value) : "-";
}

// The same row's value of another column.
std::int64_t numberBeside(const Printer& printer, const Oid& name, const Oid& column, double seconds)
{
    Oid other = column;
    other.insert(other.end(), name.begin() + static_cast<std::ptrdiff_t>(column.size()), name.end());
    const auto value = printer.get(other, seconds);
    return value ? value->number : -2;
}

std::string supplyRows(const Printer& printer, double seconds)
{
    std::string html;
    Oid at = kSupplyDescription;
    for (std::size_t i = 0; i < kMostSupplies; ++i) {
        const auto found = printer.next(at, seconds);
        if (!found || !startsWith(found->name, kSupplyDescription)) {
            break;
        }
        at = found->name;
        const std::int64_t level = numberBeside(printer, at, kSupplyLevel, seconds);
        const std::int64_t max = numberBeside(printer, at, kSupplyMax, seconds);
        const std::string share = level >= 0 && max > 0
                                      ? std::to_string(std::llround(100.0 * static_cast<double>(level) /
                                                                    static_cast<double>(max))) +
                                            " %"
                                      : "?";
        html += "<tr><td>" + textOf(found->value) + "</td><td>" + share + "</td></tr>\n";
    }
    return html;
}

std::string withHead(const char* status, const std::string& body, bool withBody)
{
    return std::string("HTTP/1.0 ") + status +
           "\r\nContent-Type: text/html; charset=utf-8\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\nConnection: close\r\n\r\n" + (withBody ? body : std::string());
}

} // namespace

std::string webPage(const Printer& printer, double seconds)
{
    const std::string model = firstBelow(printer, kDeviceDescr, seconds);
    return "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>" + model +
           "</title></head><body>\n<h1>" + model + "</h1>\n<p>" + addressText(printer.address()) +
           "</p>\n<p>S/N " + firstBelow(printer, kSerialNumber, seconds) + "</p>\n<p>" +
           firstBelow(printer, kLifeCount, seconds) + " pages</p>\n<table>\n" + supplyRows(printer, seconds) +
           "</table>\n</body></html>\n";
}

std::string httpAnswer(const std::string& head, const Printer& printer, double seconds)
{
    const bool isHead = head.rfind("HEAD ", 0) == 0;
    if (!isHead && head.rfind("GET ", 0) != 0) {
        return withHead("405 Method Not Allowed", "<p>only GET</p>\n", true);
    }
    const std::size_t path = head.find(' ') + 1;
    if (head.substr(path, head.find_first_of(" \r\n", path) - path) != "/") {
        return withHead("404 Not Found", "<p>not here</p>\n", !isHead);
    }
    return withHead("200 OK", webPage(printer, seconds), !isHead);
}

} // namespace printersim
