#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <string>

namespace kel_test {

// Chaos draws the answers of a library that lies: nulls, long texts, invalid UTF-8, JSON of every wrong
// shape, negative and huge numbers, failures, exceptions, a thousand printers and then none.
class Chaos final
{
public:
    explicit Chaos(std::uint64_t seed) : m_random(seed) {}

    int result();                                            // mostly 0
    int state();                                             // any int
    std::optional<std::string> text();                       // nullopt: null
    std::optional<std::string> document();                   // what should have been a status document
    std::optional<std::string> list(const std::string& key); // what should have been an array of objects
    void maybeThrow();
    int delayMs();

private:
    int below(int bound);
    std::string garbage();
    std::string value();

    std::mt19937_64 m_random;
};

} // namespace kel_test
