#include "tests/unit/tarn/support/stalled_rename.h"

#include <fcntl.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>

namespace {

struct Stall
{
    std::mutex mutex;
    std::condition_variable changed;
    bool on = false;
    int victims = 0;
};

// Never destroyed: the process may exit while somebody is held up.
Stall& theStall()
{
    static Stall* const stall = new Stall;
    return *stall;
}

} // namespace

extern "C" __attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept
{
    Stall& stall = theStall();
    {
        std::unique_lock<std::mutex> lock(stall.mutex);
        ++stall.victims;
        stall.changed.notify_all();
        stall.changed.wait(lock, [&] { return !stall.on; });
        --stall.victims;
    }
    return ::renameat(AT_FDCWD, from, AT_FDCWD, to);
}

namespace tarn::test {

StalledRename::StalledRename()
{
    const std::lock_guard<std::mutex> lock(theStall().mutex);
    theStall().on = true;
}

bool StalledRename::awaitVictim() const
{
    std::unique_lock<std::mutex> lock(theStall().mutex);
    return theStall().changed.wait_for(lock, std::chrono::minutes(1), [] { return theStall().victims > 0; });
}

bool StalledRename::hasVictim() const
{
    const std::lock_guard<std::mutex> lock(theStall().mutex);
    return theStall().victims > 0;
}

void StalledRename::release()
{
    const std::lock_guard<std::mutex> lock(theStall().mutex);
    theStall().on = false;
    theStall().changed.notify_all();
}

} // namespace tarn::test
