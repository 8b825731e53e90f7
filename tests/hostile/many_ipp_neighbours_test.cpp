// Good IPP printers beside hundreds that are slow, silent or absent, in a process that runs out of
// descriptors, and on a machine with other users: through libtarn.so.
#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <optional>
#include <thread>

#include "tests/hostile/bystander.h"
#include "tests/hostile/ipp_crowd.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"

namespace {

std::atomic<int> doors{0}; // sockets that the library's threads let others connect to

} // namespace

// The library finds this one first.
extern "C" int listen(int fd, int backlog) noexcept
{
    char name[16] = {};
    ::pthread_getname_np(::pthread_self(), name, sizeof name);
    doors += std::strncmp(name, "tarn", 4) == 0 ? 1 : 0;
    using Function = int(int, int);
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, "listen"))(fd, backlog);
}

namespace hostile {
namespace {

using kel_test::eventually;
using std::chrono::milliseconds;
using std::chrono::seconds;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint16_t kSnmpPort = 16452; // nobody answers there
constexpr std::uint16_t kIppPort = 16450;
constexpr std::uint16_t kGoodPort = 16454;
constexpr std::int64_t kMostAgeMs = 6000;

void limitDescriptors(rlim_t most)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = std::min(limit.rlim_max, most);
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
}

// Takes descriptors away.
class Hog final
{
public:
    Hog() = default;
    ~Hog() { leaveAll(); }
    Hog(const Hog&) = delete;
    Hog& operator=(const Hog&) = delete;

    // So many can still be had.
    void leave(int count)
    {
        for (int fd = 0; (fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) {
            m_taken.push_back(fd);
        }
        for (; count > 0; --count) {
            ::close(m_taken.back());
            m_taken.pop_back();
        }
    }
    void leaveAll()
    {
        for (const int fd : m_taken) {
            ::close(fd);
        }
        m_taken.clear();
    }

private:
    std::vector<int> m_taken;
};

std::vector<NamedPrinter> joined(std::initializer_list<std::vector<NamedPrinter>> parts)
{
    std::vector<NamedPrinter> all;
    for (const auto& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

// How long the library's threads wanted to run: the time that they had a processor, and that they waited for
// one, so that it does not matter how busy the machine is. Reads from descriptors that it already has.
class BusyTime final
{
public:
    BusyTime()
    {
        for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
            std::string name;
            std::getline(std::ifstream(task.path() / "comm"), name);
            if (name.compare(0, 4, "tarn") == 0) {
                m_stats.push_back(::open((task.path() / "schedstat").c_str(), O_RDONLY | O_CLOEXEC));
            }
        }
    }
    ~BusyTime()
    {
        for (const int fd : m_stats) {
            ::close(fd);
        }
    }
    BusyTime(const BusyTime&) = delete;
    BusyTime& operator=(const BusyTime&) = delete;

    std::size_t threads() const { return m_stats.size(); }
    // Of the busiest thread, since the last call.
    milliseconds most()
    {
        m_before.resize(m_stats.size());
        long long most = 0;
        for (std::size_t i = 0; i < m_stats.size(); ++i) {
            char text[128] = {};
            long long ran = 0;
            long long waited = 0;
            EXPECT_GT(::pread(m_stats[i], text, sizeof text - 1, 0), 0);
            EXPECT_EQ(std::sscanf(text, "%lld %lld", &ran, &waited), 2);
            most = std::max(most, ran + waited - m_before[i]);
            m_before[i] = ran + waited;
        }
        return milliseconds(most / 1000000);
    }

private:
    std::vector<int> m_stats;
    std::vector<long long> m_before;
};

class ManyIppNeighbours : public testing::Test
{
protected:
    // The good ones have a process of their own: it is the library that is not to be held up.
    IppCrowd crowd{kIppPort};
    IppCrowd theGood{kGoodPort};
};

// Nothing is remembered of a moment in which nothing could be begun. The first test, so that no library is
// loaded yet.
TEST_F(ManyIppNeighbours, MomentWithoutDescriptorsIsMadeUpFor)
{
    limitDescriptors(256);
    const auto good = IppCrowd::printers(IppCrowd::Good, 2);
    LibrarySession library(kSnmpPort, '{' + theGood.addresses(good) + '}');
    library.name(good);
    {
        Hog hog;
        hog.leave(0);
        std::this_thread::sleep_for(seconds(9));
        EXPECT_FALSE(library.see(good[0].name).online);
    }
    EXPECT_TRUE(eventually([&] { return library.see(good[0].name).online; }, seconds(90)));
}

// A port that stands open for a moment only is found by whoever looks for it.
TEST_F(ManyIppNeighbours, NobodyElseCanConnectToTheLibrary)
{
    const auto good = IppCrowd::printers(IppCrowd::Good, 1);
    LibrarySession library(kSnmpPort, '{' + theGood.addresses(good) + '}');
    library.name(good);
    ASSERT_TRUE(eventually([&] { return library.see(good[0].name).online; }));
    EXPECT_EQ(doors, 0);
}

TEST_F(ManyIppNeighbours, FiveHundredThatDoNotAnswerHoldNobodyBack)
{
    limitDescriptors(2048);
    const auto good = IppCrowd::printers(IppCrowd::Good, 5);
    const auto others =
        joined({IppCrowd::printers(IppCrowd::Absent, 150), IppCrowd::printers(IppCrowd::Slow, 250),
                IppCrowd::printers(IppCrowd::Silent, 100)});
    ASSERT_EQ(others.size(), 500u);
    Bystander bystander(kSnmpPort, '{' + theGood.addresses(good) + '}', good);
    LibrarySession library(kSnmpPort, '{' + crowd.addresses(others) + ',' + theGood.addresses(good) + '}');
    library.name(joined({others, good})); // the good ones last
    long threads = 0;
    std::optional<SteadyClock::time_point> end; // counts from the meeting
    const Course here = follow(library, good, others, [&] {
        end = end ? end : SteadyClock::now() + seconds(40);
        threads = std::max(threads, kel_test::ownThreads("tarn-ipp"));
        return SteadyClock::now() < *end;
    });
    const Course alone = bystander.ask();
    std::printf("met after %lld ms (%lld alone), oldest picture %lld ms (%lld alone), %ld thread(s)\n",
                static_cast<long long>(here.met.count()), static_cast<long long>(alone.met.count()),
                static_cast<long long>(here.worst.count()), static_cast<long long>(alone.worst.count()),
                threads);
    EXPECT_LE(here.met, std::max<milliseconds>(seconds(20), 4 * alone.met));
    EXPECT_GT(here.looks, 0u);
    EXPECT_LE(here.worst, std::max(milliseconds(kMostAgeMs), alone.worst * 3 / 2));
    EXPECT_EQ(threads, 1);
}

// With so few left that one step or another of a request finds none: no core is burnt, and all is well later.
TEST_F(ManyIppNeighbours, LibraryWithoutDescriptorsRestsAndComesBack)
{
    limitDescriptors(256);
    const auto good = IppCrowd::printers(IppCrowd::Good, 1);
    LibrarySession library(kSnmpPort, '{' + theGood.addresses(good) + '}');
    library.name(good);
    const auto see = [&] { return library.see(good[0].name); };
    ASSERT_TRUE(eventually([&] { return see().online; }));
    BusyTime busy;
    ASSERT_GE(busy.threads(), 2u);
    Hog hog;
    for (int left = 6; left >= 0; --left) {
        hog.leave(left);
        const auto begun = SteadyClock::now();
        busy.most();
        while (SteadyClock::now() - begun < milliseconds(4500)) { // it is asked once at least
            see();
            std::this_thread::sleep_for(milliseconds(100));
        }
        const auto wall = std::chrono::duration_cast<milliseconds>(SteadyClock::now() - begun);
        EXPECT_LT(busy.most(), wall / 2) << "with " << left << " left";
    }
    hog.leaveAll();
    EXPECT_TRUE(eventually([&] { return see().online && see().ageMs <= kMostAgeMs; }, seconds(120)));
}

} // namespace
} // namespace hostile
