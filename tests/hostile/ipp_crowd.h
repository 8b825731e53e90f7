#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/hostile/library_session.h"

namespace hostile {

// IppCrowd is any number of IPP printers in a process of its own, at one port of all addresses 127.44.x.y of
// this machine. How one behaves says x.
//
// Threading: one thread. Ownership: owns the process.
class IppCrowd final
{
public:
    enum Behaviour
    {
        Good = 20,
        Slow = 21,   // answers one request in three; the others get an octet now and then
        Silent = 22, // takes the connection and says nothing
        Absent = 23, // the connection does not come about
    };

    // Ports port and port + 1. Begun while the process has one thread.
    explicit IppCrowd(std::uint16_t port);
    ~IppCrowd();
    IppCrowd(const IppCrowd&) = delete;
    IppCrowd& operator=(const IppCrowd&) = delete;

    // So many printers of that behaviour, from y = 1 on.
    static std::vector<NamedPrinter> printers(Behaviour behaviour, int count);
    // Their ports, as members of an object of the configuration file.
    std::string addresses(const std::vector<NamedPrinter>& printers) const;

private:
    const std::uint16_t m_port;
    pid_t m_process = -1;
};

} // namespace hostile
