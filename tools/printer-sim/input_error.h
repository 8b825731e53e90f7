#pragma once

#include <stdexcept>
#include <string>

namespace printersim {

// What is wrong with an input file, and where.
class InputError : public std::runtime_error
{
public:
    InputError(std::size_t line, const std::string& what) : std::runtime_error(what), m_line(line) {}
    std::size_t line() const { return m_line; } // from 1; 0: the file as a whole

private:
    std::size_t m_line;
};

} // namespace printersim
