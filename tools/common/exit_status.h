#pragma once

namespace tools {

// What every tool ends with where it could not do its work at all; the numbers are those of sysexits.h,
// beyond what a tool says of printers.
enum FailureStatus : int
{
    kWrongUsage = 64,
    kNoInput = 66,
    kWriteFailed = 74,
};

} // namespace tools
