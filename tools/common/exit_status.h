#pragma once

namespace tools {

// What every tool ends with where it could not do its work at all; the numbers are those of sysexits.h,
// beyond what a tool says of printers.
inline constexpr int kWrongUsage = 64;
inline constexpr int kNoInput = 66;
inline constexpr int kWriteFailed = 74;

} // namespace tools
