#pragma once

#include <stdexcept>

namespace tools {

// A file cannot be read, or is not what it should be; what() begins with its name.
class FileError final : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace tools
