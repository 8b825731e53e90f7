#pragma once

namespace bench {

struct AbiFigures
{
    bool complete = false;
    double bytesPerPrinter = 0;
    double openToCloseUs = 0;
    double openToCloseTwoThreadsUs = 0; // CPU of each call while two threads call
    double setAndGetMs = 0;
};

// In a process of its own, so that its memory is the library's alone.
AbiFigures measureAbi();

} // namespace bench
