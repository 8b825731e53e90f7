#pragma once

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tarn::test {

// No thread can be made for as long as it lives. The superuser is not limited: the process becomes somebody
// else's, for good, so that this is for processes of a test's own.
class NoThreads final
{
public:
    NoThreads()
    {
        constexpr uid_t kNobody = 65534;
        [[maybe_unused]] const bool isOther = ::getuid() != 0 || ::setresuid(kNobody, kNobody, kNobody) == 0;
        ::getrlimit(RLIMIT_NPROC, &m_before);
        rlimit none = m_before;
        none.rlim_cur = 0;
        ::setrlimit(RLIMIT_NPROC, &none);
    }
    ~NoThreads() { ::setrlimit(RLIMIT_NPROC, &m_before); }
    NoThreads(const NoThreads&) = delete;
    NoThreads& operator=(const NoThreads&) = delete;

    // Not for a superuser who cannot become anybody else. Threads are counted as processes are.
    static bool isPossible()
    {
        const pid_t child = ::fork();
        if (child == 0) {
            const NoThreads none;
            const pid_t other = ::fork();
            ::_exit(other < 0 ? 0 : 1);
        }
        int status = 0;
        return ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

private:
    rlimit m_before{};
};

} // namespace tarn::test
