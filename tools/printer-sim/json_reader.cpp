#include "tools/printer-sim/json_reader.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

#include <json/reader.h>

namespace printersim {

namespace {

constexpr int kMaxDepth = 32;
constexpr double kMaxSeconds = 1e9;
constexpr std::int64_t kLeastInteger = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t kMostInteger = std::numeric_limits<std::uint32_t>::max();

// "* Line 3, Column 5\n  Syntax error: ..." as JsonCpp reports it.
[[noreturn]] void failFromReport(const std::string& report)
{
    constexpr const char* kLine = "* Line ";
    const std::size_t at = report.find(kLine);
    const std::size_t line =
        at == std::string::npos
            ? 0
            : std::strtoul(report.c_str() + at + std::char_traits<char>::length(kLine), nullptr, 10);
    const std::size_t start = report.find("\n  ");
    std::string what = start == std::string::npos ? report : report.substr(start + 3);
    what = what.substr(0, what.find('\n'));
    throw InputError(line, what);
}

} // namespace

JsonReader::JsonReader(std::string text) : m_text(std::move(text))
{
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    builder["allowComments"] = true;
    builder["stackLimit"] = kMaxDepth;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string report;
    bool parsed = false;
    try {
        parsed = reader->parse(m_text.data(), m_text.data() + m_text.size(), &m_root, &report);
    } catch (const std::exception& error) { // above the stack limit JsonCpp throws
        throw InputError(0, error.what());
    }
    if (!parsed) {
        failFromReport(report);
    }
}

std::size_t JsonReader::lineOf(const Json::Value& value) const
{
    const auto offset =
        std::clamp<std::ptrdiff_t>(value.getOffsetStart(), 0, static_cast<std::ptrdiff_t>(m_text.size()));
    return 1 + static_cast<std::size_t>(std::count(m_text.begin(), m_text.begin() + offset, '\n'));
}

void JsonReader::fail(const Json::Value& at, const std::string& what) const
{
    throw InputError(lineOf(at), what);
}

void JsonReader::expectObject(const Json::Value& value, std::initializer_list<const char*> members) const
{
    if (!value.isObject()) {
        fail(value, "an object is expected here");
    }
    for (auto member = value.begin(); member != value.end(); ++member) {
        const std::string name = member.name();
        if (std::find(members.begin(), members.end(), name) == members.end()) {
            fail(*member, "unknown member \"" + name + "\"");
        }
    }
}

void JsonReader::expectArray(const Json::Value& value) const
{
    if (!value.isArray()) {
        fail(value, "a list is expected here");
    }
}

std::string JsonReader::text(const Json::Value& object, const char* member, const std::string& fallback) const
{
    if (!object.isMember(member)) {
        return fallback;
    }
    if (!object[member].isString()) {
        fail(object[member], std::string("\"") + member + "\" must be a text");
    }
    return object[member].asString();
}

std::int64_t JsonReader::number(const Json::Value& object, const char* member, std::int64_t fallback,
                                std::int64_t least, std::int64_t most) const
{
    if (!object.isMember(member)) {
        return fallback;
    }
    const Json::Value& value = object[member];
    if (!value.isInt64() || value.asInt64() < least || value.asInt64() > most) {
        fail(value, std::string("\"") + member + "\" must be a whole number from " + std::to_string(least) +
                        " to " + std::to_string(most));
    }
    return value.asInt64();
}

bool JsonReader::flag(const Json::Value& object, const char* member, bool fallback) const
{
    if (!object.isMember(member)) {
        return fallback;
    }
    if (!object[member].isBool()) {
        fail(object[member], std::string("\"") + member + "\" must be true or false");
    }
    return object[member].asBool();
}

std::int64_t JsonReader::choice(const Json::Value& object, const char* member, std::int64_t fallback,
                                const Names& names) const
{
    return object.isMember(member) ? scalar(object[member], names) : fallback;
}

std::int64_t JsonReader::scalar(const Json::Value& value, const Names& names) const
{
    if (value.isBool()) {
        return value.asBool() ? 1 : 0;
    }
    if (value.isInt64() && value.asInt64() >= kLeastInteger && value.asInt64() <= kMostInteger) {
        return value.asInt64();
    }
    if (value.isArray()) {
        std::int64_t bits = 0;
        for (const Json::Value& element : value) {
            bits |=
                element.isString() ? scalar(element, names) : (fail(element, "a name is expected here"), 0);
        }
        return bits;
    }
    if (!value.isString()) {
        fail(value, "a number, a name or an object that says how it changes is expected here");
    }
    const std::string name = value.asString();
    const auto known = std::find_if(names.begin(), names.end(),
                                    [&name](const Name& candidate) { return name == candidate.first; });
    if (known == names.end()) {
        fail(value, "unknown name \"" + name + "\"");
    }
    return known->second;
}

double JsonReader::seconds(const Json::Value& value) const
{
    if (!value.isNumeric() || value.asDouble() < 0 || value.asDouble() > kMaxSeconds) {
        fail(value, "seconds must be a number from 0 to 1000000000");
    }
    return value.asDouble();
}

Course JsonReader::points(const Json::Value& value, const char* member, const Names& names) const
{
    Course course;
    expectArray(value[member]);
    for (const Json::Value& point : value[member]) {
        if (!point.isArray() || point.size() != 2) {
            fail(point, "a point is [seconds, value]");
        }
        const double moment = seconds(point[0]);
        if (!course.points.empty() && moment <= course.points.back().seconds) {
            fail(point, "the points must be in the order of their time");
        }
        course.points.push_back({moment, scalar(point[1], names)});
    }
    if (course.points.empty()) {
        fail(value[member], "at least one point is needed");
    }
    if (value.isMember("repeat")) {
        course.repeatSeconds = seconds(value["repeat"]);
    }
    return course;
}

Course JsonReader::changing(const Json::Value& value, const Names& names) const
{
    if (value.isMember("steps")) {
        expectObject(value, {"steps", "repeat"});
        Course course = points(value, "steps", names);
        course.kind = Course::Kind::Steps;
        return course;
    }
    if (value.isMember("line")) {
        expectObject(value, {"line", "repeat"});
        Course course = points(value, "line", names);
        course.kind = Course::Kind::Line;
        return course;
    }
    expectObject(value, {"start", "perMinute"});
    Course course = Course::constant(number(value, "start", 0, 0, kMostInteger));
    course.kind = Course::Kind::Count;
    const Json::Value& rate = value["perMinute"];
    if (!rate.isNumeric() || rate.asDouble() < 0 || rate.asDouble() > 1e6) {
        fail(value, "\"perMinute\" must be a number from 0 to 1000000");
    }
    course.perMinute = rate.asDouble();
    return course;
}

Course JsonReader::course(const Json::Value& object, const char* member, std::int64_t fallback,
                          const Names& names) const
{
    if (!object.isMember(member)) {
        return Course::constant(fallback);
    }
    const Json::Value& value = object[member];
    return value.isObject() ? changing(value, names) : Course::constant(scalar(value, names));
}

} // namespace printersim
