// The scheduler's lock, where it is held for longer than anybody spins for it.
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/eventually.h"
#include "twheel/src/mutex.h"

namespace twheel::testing {
namespace {

// As the kernel has it: S for one that sleeps.
char stateOf(long thread)
{
    std::string stat;
    std::getline(std::ifstream("/proc/self/task/" + std::to_string(thread) + "/stat"), stat);
    const std::size_t name = stat.rfind(')');
    return name == std::string::npos || name + 2 >= stat.size() ? '?' : stat[name + 2];
}

TEST(Mutex, whoWaitsForLongSleepsAndIsWoken)
{
    Mutex mutex;
    std::atomic<long> waiter{0};
    std::atomic<bool> hasHadIt{false};
    mutex.lock();
    std::thread thread([&] {
        waiter = syscall(SYS_gettid);
        const MutexLock lock(mutex);
        hasHadIt = true;
    });
    EXPECT_TRUE(kel_test::eventually([&] { return waiter != 0 && stateOf(waiter) == 'S'; }));
    EXPECT_FALSE(hasHadIt);
    mutex.unlock();
    EXPECT_TRUE(kel_test::eventually([&] { return hasHadIt.load(); }));
    thread.join();
}

} // namespace
} // namespace twheel::testing
