#pragma once

#include <stdexcept>
#include <string>

namespace tools {

// Standard output does not take what is written; what() says why, for the user.
class WriteError final : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// To be called first. Whoever starts us with one of the three standard descriptors closed would have the
// first file or socket that is opened in its place, and our text written into that; so it fails instead.
void reserveStandardDescriptors();

// Writes all of it at once, without a buffer of ours. Throws WriteError.
void writeOut(const std::string& text);

} // namespace tools
