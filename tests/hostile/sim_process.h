#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace hostile {

// SimProcess is a running printer-sim with commands on its standard input.
//
// Invariants
//  (1) After construction it listens.
// Threading: one thread at a time. Ownership: the process ends with the object.
class SimProcess final
{
public:
    // Throws std::runtime_error when the program does not start.
    SimProcess(const std::string& program, const std::vector<std::string>& arguments);
    ~SimProcess();
    SimProcess(const SimProcess&) = delete;
    SimProcess& operator=(const SimProcess&) = delete;

    // Carries out one command; what follows "ok". Throws std::runtime_error for an error.
    std::string ask(const std::string& command);
    // Requests that came to an address so far.
    unsigned long requests(const std::string& address);

private:
    std::string readLine();
    void end();

    pid_t m_pid = -1;
    int m_in = -1;  // its standard input
    int m_out = -1; // its standard output
    std::string m_rest;
};

} // namespace hostile
