#include "twheel/src/mutex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace twheel {

namespace {

// Some three microseconds: longer than any holder needs that is not itself kept from running.
constexpr int kSpins = 100;

void pause()
{
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#elif defined(__aarch64__)
    __asm__ __volatile__("yield");
#endif
}

// The kernel wants the address of a plain int; an atomic one has no other representation here.
void futex(std::atomic<int>& word, int operation, int value)
{
    static_assert(sizeof word == sizeof(int) && std::atomic<int>::is_always_lock_free);
    syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
}

} // namespace

void Mutex::lockContended()
{
    for (int spin = 0; spin < kSpins; ++spin) {
        int state = m_state.load(std::memory_order_relaxed);
        if (state == kFree && m_state.compare_exchange_weak(state, kHeld, std::memory_order_acquire,
                                                            std::memory_order_relaxed)) {
            return;
        }
        pause();
    }
    // Whoever comes from here cannot know whether others sleep, so the mutex stays marked until it is free.
    while (m_state.exchange(kHeldWithSleepers, std::memory_order_acquire) != kFree) {
        futex(m_state, FUTEX_WAIT, kHeldWithSleepers);
    }
}

void Mutex::wakeOne()
{
    futex(m_state, FUTEX_WAKE, 1);
}

} // namespace twheel
