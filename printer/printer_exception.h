#pragma once

#include <cstdint>

namespace morvik::kel {

// The error type of the printer layer: thrown by value, caught by reference, without message text.
enum PrinterException : std::int32_t
{
    LibraryNotReady = 1, // the access library is not loaded
    PrinterNotFound = 2, // no printer of that name
};

} // namespace morvik::kel
