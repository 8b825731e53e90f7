#include "tools/printer-sim/event_loop.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <stdexcept>

namespace printersim {

EventLoop::EventLoop() : m_epoll(epoll_create1(EPOLL_CLOEXEC))
{
    if (m_epoll < 0) {
        throw std::runtime_error("no epoll instance");
    }
}

EventLoop::~EventLoop()
{
    close(m_epoll);
}

void EventLoop::add(int descriptor, Handler handler)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = descriptor;
    if (epoll_ctl(m_epoll, EPOLL_CTL_ADD, descriptor, &event) != 0) {
        throw std::runtime_error("a descriptor that cannot be waited for");
    }
    m_handlers[descriptor] = std::make_shared<Handler>(std::move(handler));
}

void EventLoop::remove(int descriptor)
{
    epoll_ctl(m_epoll, EPOLL_CTL_DEL, descriptor, nullptr);
    m_handlers.erase(descriptor);
}

void EventLoop::run(const std::function<std::optional<double>()>& beforeWait)
{
    constexpr double kLongestMs = 60000;
    std::array<epoll_event, 64> events{};
    while (!m_stopped) {
        const auto seconds = beforeWait();
        const double ms = seconds ? std::clamp(std::ceil(*seconds * 1000), 0.0, kLongestMs) : kLongestMs;
        const int count =
            epoll_wait(m_epoll, events.data(), static_cast<int>(events.size()), static_cast<int>(ms));
        if (count < 0 && errno != EINTR) {
            throw std::runtime_error("epoll_wait failed");
        }
        for (int i = 0; i < count && !m_stopped; ++i) {
            const auto at = m_handlers.find(events[static_cast<std::size_t>(i)].data.fd);
            if (at == m_handlers.end()) { // removed by a handler of this round
                continue;
            }
            const std::shared_ptr<Handler> handler = at->second;
            (*handler)();
        }
    }
}

} // namespace printersim
