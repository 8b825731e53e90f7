#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/hostile/library_session.h"

namespace hostile {

// How long it took until all of some printers were met, and the oldest status of one of them afterwards.
struct Course
{
    std::chrono::milliseconds met{0};
    std::chrono::milliseconds worst{0};
    std::size_t looks = 0; // at all of them, after the meeting
};

// Opens everybody all the time, as a program does, and looks at the good ones until that is over. One of them
// that is not online is a failure of the test.
Course follow(const LibrarySession& library, const std::vector<NamedPrinter>& good,
              const std::vector<NamedPrinter>& others, const std::function<bool()>& goesOn);

// Bystander is a program beside this one that watches the good printers alone: what it sees late, the machine
// made late, or the printers, and not those who do not answer.
//
// Threading: made while this process has one thread. Ownership: owns the process, which ends with it.
class Bystander final
{
public:
    // Arguments as LibrarySession has them.
    Bystander(std::uint16_t port, const std::string& addresses, const std::vector<NamedPrinter>& good);
    ~Bystander();
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;

    // What it has seen; once. That it lost sight of a printer is a failure of the test.
    Course ask();

private:
    bool watch(std::uint16_t port, const std::string& addresses, const std::vector<NamedPrinter>& good) const;

    int m_ends[2] = {-1, -1};
    pid_t m_process = -1;
};

} // namespace hostile
