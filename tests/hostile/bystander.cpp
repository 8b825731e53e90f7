#include "tests/hostile/bystander.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <thread>

#include "tests/support/eventually.h"

namespace hostile {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

milliseconds oldest(const LibrarySession& library, const std::vector<NamedPrinter>& good)
{
    std::int64_t oldest = 0;
    for (const NamedPrinter& printer : good) {
        const Sight sight = library.see(printer.name);
        EXPECT_TRUE(sight.online) << printer.ip;
        oldest = std::max(oldest, sight.ageMs);
    }
    return milliseconds(oldest);
}

} // namespace

Course follow(const LibrarySession& library, const std::vector<NamedPrinter>& good,
              const std::vector<NamedPrinter>& others, const std::function<bool()>& goesOn)
{
    Course course;
    const auto begun = steady_clock::now();
    for (const NamedPrinter& printer : good) {
        EXPECT_TRUE(kel_test::eventually([&] { return library.see(printer.name).online; }));
    }
    course.met = std::chrono::duration_cast<milliseconds>(steady_clock::now() - begun);
    while (goesOn()) {
        for (const NamedPrinter& printer : others) {
            library.see(printer.name);
        }
        ++course.looks;
        course.worst = std::max(course.worst, oldest(library, good));
        std::this_thread::sleep_for(milliseconds(200));
    }
    return course;
}

Bystander::Bystander(std::uint16_t port, const std::string& addresses, const std::vector<NamedPrinter>& good)
{
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, m_ends), 0);
    m_process = ::fork();
    if (m_process == 0) {
        ::close(m_ends[0]);
        ::_exit(watch(port, addresses, good) ? 0 : 1);
    }
    ::close(m_ends[1]);
}

Bystander::~Bystander()
{
    ::close(m_ends[0]);
    if (m_process > 0) {
        ::waitpid(m_process, nullptr, 0);
    }
}

bool Bystander::watch(std::uint16_t port, const std::string& addresses,
                      const std::vector<NamedPrinter>& good) const
{
    LibrarySession library(port, addresses);
    library.name(good);
    pollfd asked{m_ends[1], POLLIN, 0};
    const Course course = follow(library, good, {}, [&] { return ::poll(&asked, 1, 0) == 0; });
    // A question that is left unread would reset the connection, and take the answer along.
    char question = 0;
    return ::read(m_ends[1], &question, sizeof question) == sizeof question &&
           ::send(m_ends[1], &course, sizeof course, MSG_NOSIGNAL) == sizeof course &&
           !testing::Test::HasFailure();
}

Course Bystander::ask()
{
    Course course;
    EXPECT_EQ(::send(m_ends[0], "?", 1, MSG_NOSIGNAL), 1);
    EXPECT_EQ(::read(m_ends[0], &course, sizeof course), static_cast<ssize_t>(sizeof course));
    int status = -1;
    EXPECT_EQ(::waitpid(m_process, &status, 0), m_process);
    EXPECT_EQ(status, 0) << "see the failures above";
    m_process = -1;
    return course;
}

} // namespace hostile
