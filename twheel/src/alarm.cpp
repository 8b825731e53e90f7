#include "twheel/src/alarm.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace twheel {

namespace {

constexpr Nanoseconds kSecond = 1'000'000'000;

int checked(int result, const char* what)
{
    if (result < 0) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

} // namespace

Nanoseconds monotonicNow()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kSecond + now.tv_nsec;
}

Alarm::Alarm()
    : m_timer(checked(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd_create"))
{
    m_poll = epoll_create1(EPOLL_CLOEXEC);
    // Edge-triggered: each expiry is reported to one waiter, and nobody has to read the timer.
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    if (m_poll < 0 || epoll_ctl(m_poll, EPOLL_CTL_ADD, m_timer, &event) < 0) {
        const int error = errno;
        if (m_poll >= 0) {
            close(m_poll);
        }
        close(m_timer);
        throw std::system_error(error, std::generic_category(), "epoll");
    }
}

Alarm::~Alarm()
{
    close(m_poll);
    close(m_timer);
}

void Alarm::set(Nanoseconds at)
{
    // All zero would disarm.
    const Nanoseconds time = std::max<Nanoseconds>(at, 1);
    itimerspec spec{};
    spec.it_value.tv_sec = time / kSecond;
    spec.it_value.tv_nsec = time % kSecond;
    timerfd_settime(m_timer, TFD_TIMER_ABSTIME, &spec, nullptr);
}

void Alarm::clear()
{
    const itimerspec spec{};
    timerfd_settime(m_timer, 0, &spec, nullptr);
}

void Alarm::wait()
{
    epoll_event event{};
    epoll_wait(m_poll, &event, 1, -1);
}

} // namespace twheel
