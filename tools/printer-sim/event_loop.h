#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

namespace printersim {

// EventLoop calls a handler when its descriptor can be read. A handler may add and remove descriptors, its
// own too. Threading: one thread.
class EventLoop final
{
public:
    using Handler = std::function<void()>;

    EventLoop();
    ~EventLoop();
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    void add(int descriptor, Handler handler);
    void remove(int descriptor);
    // Runs until stop(). Before each wait, beforeWait says after how many seconds to come back at the latest.
    void run(const std::function<std::optional<double>()>& beforeWait);
    void stop() { m_stopped = true; }

private:
    int m_epoll;
    bool m_stopped = false;
    std::unordered_map<int, std::shared_ptr<Handler>> m_handlers;
};

} // namespace printersim
