#include "tools/tarn-status/changes/command_runner.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/tarn-status/waiting.h"

namespace tarnstatus {

namespace {

// A file in memory: neither a program that reads nothing nor a long input can make us wait, or end us. -1:
// none.
int inputFile(const std::string& input)
{
    const int descriptor = ::memfd_create("event", MFD_CLOEXEC);
    for (std::size_t done = 0; descriptor != -1 && done < input.size();) {
        const ssize_t count = ::write(descriptor, input.data() + done, input.size() - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            const int error = errno;
            ::close(descriptor);
            errno = error;
            return -1;
        }
    }
    if (descriptor != -1) {
        ::lseek(descriptor, 0, SEEK_SET);
    }
    return descriptor;
}

// 0, or an error. The child's other descriptors are closed by their flag.
int spawn(pid_t& child, const std::string& command, int input)
{
    posix_spawn_file_actions_t actions;
    int error = ::posix_spawn_file_actions_init(&actions);
    if (error != 0) {
        return error;
    }
    error = ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    if (error == 0) {
        error = ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    }
    if (error == 0) {
        std::string name = command;
        char* const arguments[] = {name.data(), nullptr};
        // posix_spawnp() would give a file without "#!" to the shell.
        error = ::posix_spawn(&child, command.c_str(), &actions, nullptr, arguments, environ);
    }
    ::posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

void CommandRunner::add(std::string input)
{
    if (m_inputs.size() >= kMostWaiting) {
        if (!m_isFull) {
            complain(m_command + " is too slow: changes are left out");
        }
        m_isFull = true;
        return;
    }
    m_isFull = false;
    m_inputs.push_back(std::move(input));
}

void CommandRunner::tend()
{
    int status = 0;
    if (m_child != 0) {
        const pid_t ended = ::waitpid(m_child, &status, WNOHANG);
        if (ended == 0 || (ended == -1 && errno == EINTR)) {
            return;
        }
        if (ended == m_child) {
            tell(status);
        }
        m_child = 0;
    }
    if (!m_inputs.empty()) {
        start(m_inputs.front());
        m_inputs.pop_front();
    }
}

void CommandRunner::start(const std::string& input)
{
    const int file = inputFile(input);
    int error = file == -1 ? errno : spawn(m_child, m_command, file);
    if (file != -1) {
        ::close(file);
    }
    if (error != 0) {
        m_child = 0;
        complain(m_command + ": " + std::strerror(error));
    }
}

void CommandRunner::tell(int status) const
{
    if (WIFSIGNALED(status)) {
        complain(m_command + " was ended by signal " + std::to_string(WTERMSIG(status)));
    } else if (WIFEXITED(status) && WEXITSTATUS(status) != 0) {
        complain(m_command + " ended with status " + std::to_string(WEXITSTATUS(status)));
    }
}

} // namespace tarnstatus
