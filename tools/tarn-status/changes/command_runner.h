#pragma once

#include <sys/types.h>

#include <deque>
#include <string>

namespace tarnstatus {

// CommandRunner runs a program once for each input, in their order and one at a time. It is started as it is,
// without a shell and without arguments; its standard output is our standard error, so that it cannot get
// between what we write.
//
// Invariants
//  (1) At most one program of ours runs; nobody waits for it.
//  (2) At most kMostWaiting inputs wait; what is too much is left out, and told once each time.
// Threading: one thread, which is the only one to wait for children.
class CommandRunner final
{
public:
    static constexpr std::size_t kMostWaiting = 10000;

    explicit CommandRunner(std::string command) : m_command(std::move(command)) {}

    void add(std::string input);
    // Looks whether the program has ended, and starts the next one.
    void tend();
    bool isIdle() const { return m_child == 0 && m_inputs.empty(); }

private:
    void start(const std::string& input);
    void tell(int status) const;

    const std::string m_command;
    std::deque<std::string> m_inputs;
    pid_t m_child = 0;
    bool m_isFull = false;
};

} // namespace tarnstatus
