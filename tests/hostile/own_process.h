#pragma once

#include <sys/types.h>

#include <cstdint>

// What this process costs, read from /proc.
namespace hostile {

// The library's thread; -1 while there is none.
pid_t engineThread();
// CPU time of a thread of this process so far.
std::int64_t cpuNanoseconds(pid_t thread);
std::int64_t residentBytes();

// A UDP socket of this process that listens at a port of the system's choice.
struct LocalSocket
{
    std::uint16_t port = 0;
    std::uint64_t drops = 0; // datagrams that found its buffer full
};
// The library's socket: the one of this process that is not bound to a port of 16400 to 16499; port 0 when it
// has not sent anything yet.
LocalSocket librarySocket();

} // namespace hostile
