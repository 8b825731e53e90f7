// The scheduler in a process where calls fail for lack of memory, descriptors or threads: each in turn, once
// for each call stack, and from then on. The caller is told by an exception, nothing ends, nothing is left
// behind, and afterwards all is as before.
#include <dlfcn.h>

#include <new>
#include <system_error>

#include <gtest/gtest.h>

#include "tests/support/eventually.h"
#include "tests/support/failing_calls.h"
#include "tests/support/open_descriptors.h"
#include "tests/support/own_threads.h"
#include "tests/unit/twheel/runnables.h"

namespace twheel::testing {
namespace {

using kel_test::eventually;
using kel_test::FailingCalls;
using kel_test::openDescriptors;

constexpr int kWorkers = 3;
constexpr int kTasks = 20;

// A scheduler's life; how often it was refused something.
int live()
{
    int refused = 0;
    Counter runs;
    Counter scheduledInside;
    int expected = 0;
    try {
        const auto task = runnable([&] { runs.add(); }); // outlives the last run
        TaskScheduler scheduler(kWorkers);
        const auto trySchedule = [&](long delay, long period, const boost::shared_ptr<TwheelRunnable>& what) {
            try {
                const auto handle = scheduler.schedule(delay, period, what);
                ++expected;
                return handle;
            } catch (const std::bad_alloc&) {
                ++refused;
                return boost::shared_ptr<TaskHandle>();
            }
        };
        for (int i = 0; i < kTasks; ++i) {
            trySchedule(i % 3, 0, task);
        }
        EXPECT_TRUE(runs.waitFor(expected));
        EXPECT_EQ(runs.value(), expected) << "what was refused ran";
        const auto periodic = trySchedule(0, 1, task);
        if (periodic != nullptr) {
            EXPECT_TRUE(runs.waitFor(expected + 3));
            periodic->cancel();
        }
        // An exception that leaves a run ends that run and nothing else.
        const auto inside = runnable([&] {
            scheduledInside.add();
            scheduler.schedule(0, task);
            scheduledInside.add();
        });
        if (trySchedule(0, 0, inside) != nullptr) {
            EXPECT_TRUE(scheduledInside.waitFor(1));
        }
    } catch (const std::bad_alloc&) {
        ++refused;
    } catch (const std::system_error&) {
        ++refused;
    }
    return refused;
}

TEST(Scarcity, eachCallFailsInTurnAndAllIsAsBefore)
{
    FailingCalls::watch(dlsym(RTLD_DEFAULT, "_ZN6twheel10TaskHandleD1Ev"));
    const auto isAtRest = [] { return eventually([] { return kel_test::ownThreads("twheel") == 0; }); };
    live(); // what stays for the next life
    ASSERT_TRUE(isAtRest());
    const int descriptors = openDescriptors();

    FailingCalls::record();
    EXPECT_EQ(live(), 0);
    FailingCalls::end();
    const auto stacks = FailingCalls::recorded();
    ASSERT_GE(stacks.size(), 4u); // under a sanitizer only allocations are among them
    int refused = 0;
    unsigned long failures = 0;
    for (const FailingCalls::Stack stack : stacks) {
        for (int call = 0; call < 2 * kWorkers; ++call) { // the second worker may fail, and the third
            FailingCalls::fail(stack, call >= kWorkers, call % kWorkers);
            refused += live();
            FailingCalls::end();
            failures += FailingCalls::failures();
            EXPECT_TRUE(isAtRest());
            EXPECT_EQ(openDescriptors(), descriptors);
            EXPECT_EQ(live(), 0) << "as before";
        }
    }
    std::printf("%zu calls, %lu failures, %d times refused\n", stacks.size(), failures, refused);
    EXPECT_GE(failures, stacks.size());
    EXPECT_GT(refused, 0);
}

} // namespace
} // namespace twheel::testing
