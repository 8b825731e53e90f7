#include "twheel/src/alarm.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace twheel {

namespace {

constexpr Nanoseconds kSecond = 1'000'000'000;

void check(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
}

} // namespace

Nanoseconds monotonicNow()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

Alarm::Descriptor::Descriptor(int result, const char* what) : number(result)
{
    check(result, what);
}

Alarm::Descriptor::~Descriptor()
{
    close(number);
}

Alarm::Alarm()
    : m_timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create"),
      m_calls(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE), "eventfd"),
      m_poll(epoll_create1(EPOLL_CLOEXEC), "epoll_create1")
{
    // Edge-triggered: each expiry is reported to one waiter, and nobody has to read the timer.
    watch(m_timer, EPOLLIN | EPOLLET);
    watch(m_calls, EPOLLIN);
}

void Alarm::watch(const Descriptor& descriptor, std::uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor.number;
    check(epoll_ctl(m_poll.number, EPOLL_CTL_ADD, descriptor.number, &event), "epoll_ctl");
}

void Alarm::set(Nanoseconds at)
{
    // All zero would disarm.
    const Nanoseconds time = std::max<Nanoseconds>(at, 1);
    itimerspec spec{};
    spec.it_value.tv_sec = time / kSecond;
    spec.it_value.tv_nsec = time % kSecond;
    timerfd_settime(m_timer.number, TFD_TIMER_ABSTIME, &spec, nullptr);
}

void Alarm::clear()
{
    const itimerspec spec{};
    timerfd_settime(m_timer.number, 0, &spec, nullptr);
}

void Alarm::call(int waiters)
{
    // One by one: each call wakes one waiter from here. A single one for all would have the first wake the
    // second, and so on.
    for (int i = 0; i < waiters; ++i) {
        eventfd_write(m_calls.number, 1);
    }
}

void Alarm::wait()
{
    for (;;) {
        epoll_event event{};
        const bool called = epoll_wait(m_poll.number, &event, 1, -1) == 1 && event.data.fd == m_calls.number;
        eventfd_t one = 0;
        // Another may have answered the call first.
        if (!called || eventfd_read(m_calls.number, &one) == 0) {
            return;
        }
    }
}

} // namespace twheel
