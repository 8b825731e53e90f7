#pragma once

#include <cstdint>
#include <initializer_list>
#include <limits>
#include <string>
#include <utility>

#include <json/value.h>

#include "tools/printer-sim/course.h"
#include "tools/printer-sim/input_error.h"

namespace printersim {

// A word of a file and the number that the standard gives it.
using Name = std::pair<const char*, std::int64_t>;
using Names = std::initializer_list<Name>;

// JsonReader reads a JSON file member by member; everything unexpected is an InputError with its line.
// Comments are allowed, members twice in one object are not.
class JsonReader final
{
public:
    explicit JsonReader(std::string text);

    const Json::Value& root() const { return m_root; }
    [[noreturn]] void fail(const Json::Value& at, const std::string& what) const;
    std::size_t lineOf(const Json::Value& value) const;

    void expectObject(const Json::Value& value, std::initializer_list<const char*> members) const;
    void expectArray(const Json::Value& value) const;

    // The member, or the fallback where there is none.
    std::string text(const Json::Value& object, const char* member, const std::string& fallback) const;
    std::int64_t number(const Json::Value& object, const char* member, std::int64_t fallback,
                        std::int64_t least, std::int64_t most) const;
    bool flag(const Json::Value& object, const char* member, bool fallback) const;
    // One of the names, or a number that fits the standard's Integer32.
    std::int64_t choice(const Json::Value& object, const char* member, std::int64_t fallback,
                        const Names& names) const;

    // A number, one of the names, true or false, a list of names (their values or-ed), or an object that says
    // how it changes: {"steps": [[0, "idle"], [20, "printing"]], "repeat": 60}, {"line": [[0, 80], [600,
    // 0]]}, {"start": 1200, "perMinute": 30}. Times are seconds.
    Course course(const Json::Value& object, const char* member, std::int64_t fallback,
                  const Names& names) const;

private:
    std::int64_t scalar(const Json::Value& value, const Names& names) const;
    double seconds(const Json::Value& value) const;
    Course points(const Json::Value& value, const char* member, const Names& names) const;
    Course changing(const Json::Value& value, const Names& names) const;

    std::string m_text;
    Json::Value m_root;
};

} // namespace printersim
