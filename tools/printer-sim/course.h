#pragma once

#include <cstdint>
#include <vector>

namespace printersim {

// Course is a number that may change as time passes: constant, in steps, along a line, or counting up.
//
// Invariants
//  (1) at() depends on the seconds alone: the same second gives the same number.
//  (2) Before the first point the first value holds, after the last the last one, unless the course repeats.
struct Course
{
    enum class Kind : std::uint8_t
    {
        Constant, // points[0]
        Steps,    // each point's value holds until the next point
        Line,     // straight between the points
        Count,    // points[0] plus perMinute
    };
    struct Point
    {
        double seconds = 0;
        std::int64_t value = 0;
    };

    Kind kind = Kind::Constant;
    std::vector<Point> points;
    double repeatSeconds = 0; // 0: the course is run through once
    double perMinute = 0;

    static Course constant(std::int64_t value) { return {Kind::Constant, {{0, value}}, 0, 0}; }

    std::int64_t at(double seconds) const;
    // How often the value went from 0 to another one, the start counted when it is not 0. Steps only; a
    // constant has at most one.
    std::int64_t risesUntil(double seconds) const;
};

} // namespace printersim
