// kel-launcher is what the desktop's menu starts: it runs the program beside it and ends as that ends. A
// second start of the program says on standard error alone that the first is still there, which nobody sees
// who clicked an icon; the launcher has kel-notice say it on the desktop.
//
// It lives as long as the program, and so is linked with nothing but the C++ runtime.

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <system_error>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kAlreadyRunning = 255;
constexpr int kCannotStart = 127;
constexpr std::initializer_list<int> kForwarded = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2};

std::string ownDirectory()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || length == static_cast<ssize_t>(sizeof path)) {
        throw std::system_error(errno, std::generic_category(), "/proc/self/exe");
    }
    const std::string whole(path, static_cast<std::size_t>(length));
    return whole.substr(0, whole.rfind('/'));
}

// SignalQueue keeps the signals that are to be forwarded, and that a child has ended, for waitFor() to take
// one by one.
class SignalQueue final
{
public:
    SignalQueue()
    {
        // Where the parent ignored it there would be no status to wait for.
        std::signal(SIGCHLD, SIG_DFL);
        sigemptyset(&m_taken);
        sigaddset(&m_taken, SIGCHLD);
        for (const int signal : kForwarded) {
            sigaddset(&m_taken, signal);
        }
        sigprocmask(SIG_BLOCK, &m_taken, &m_before);
    }

    // The signal mask that this process was started with.
    [[nodiscard]] const sigset_t& maskBefore() const { return m_before; }

    // The child's status, as waitpid() gives it; meanwhile it gets what we get.
    [[nodiscard]] int waitFor(pid_t child) const
    {
        int status = 0;
        // Looked at first: the signal of a child's end may have come and gone.
        while (waitpid(child, &status, WNOHANG) != child) {
            int signal = 0;
            if (sigwait(&m_taken, &signal) == 0 && signal != SIGCHLD) {
                kill(child, signal);
            }
        }
        return status;
    }

private:
    sigset_t m_taken;
    sigset_t m_before;
};

int run(const std::string& program, char** arguments, const SignalQueue& signals)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &signals.maskBefore());
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t child = 0;
    const int error = posix_spawn(&child, program.c_str(), nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), program);
    }
    return signals.waitFor(child);
}

// Ends this process by the signal that ended the program.
[[noreturn]] void endBy(int signal)
{
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    std::signal(signal, SIG_DFL);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    _exit(128 + signal); // one that does not end a process
}

} // namespace

int main(int /*argc*/, char** argv)
{
    int result = kCannotStart;
    try {
        const SignalQueue signals;
        const std::string directory = ownDirectory();
        const int status = run(directory + "/kel", argv, signals);
        if (WIFSIGNALED(status)) {
            endBy(WTERMSIG(status));
        }
        result = WEXITSTATUS(status);
        if (result == kAlreadyRunning) {
            run(directory + "/kel-notice", argv, signals);
        }
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "kel-launcher: %s\n", error.what());
    }
    return result;
}
