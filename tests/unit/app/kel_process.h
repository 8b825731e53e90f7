#pragma once

#include <sys/types.h>

#include <map>
#include <string>

// One running `kel`, on the offscreen platform, with the remote control of tests/support/remote_control in
// it.
class KelProcess final
{
public:
    using Environment = std::map<std::string, std::string>; // an empty value unsets the variable

    // Starts the program; folder is its own: data, remote socket, output.
    KelProcess(const std::string& folder, const Environment& environment = {},
               const std::string& program = KEL_PROGRAM);
    // Kills it where it still runs.
    ~KelProcess();
    KelProcess(const KelProcess&) = delete;
    KelProcess& operator=(const KelProcess&) = delete;

    // Waits until the event loop answers. False when the program ended or stayed silent for too long.
    bool waitUntilRunning();
    // The answer to one command of the remote control; empty when there is none.
    std::string ask(const std::string& command);
    // 退出, as from a menu. False when nobody answered.
    bool quit();
    // Returns when the application object is gone, and its windows with it.
    void waitUntilApplicationIsGone();
    void kill(int signal) const;
    // The status as of waitpid. Waits; a program that has not ended after two minutes is aborted.
    int wait();
    // What it wrote so far, debug lines included.
    std::string output() const;
    pid_t pid() const { return m_pid; }

private:
    bool connect();

    std::string m_folder;
    pid_t m_pid = -1;
    int m_socket = -1;
};
