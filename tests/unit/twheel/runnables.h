#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

#include <boost/make_shared.hpp>

#include "twheel/task_scheduler.h"

namespace twheel::testing {

// How long a test waits for what must happen before it fails; nothing is ever waited for in vain when all is
// well.
constexpr std::chrono::seconds kPatience{60};

class FunctionRunnable final : public TwheelRunnable
{
public:
    explicit FunctionRunnable(std::function<void()> body) : m_body(std::move(body)) {}
    void run() override { m_body(); }

private:
    const std::function<void()> m_body;
};

inline boost::shared_ptr<TwheelRunnable> runnable(std::function<void()> body)
{
    return boost::make_shared<FunctionRunnable>(std::move(body));
}

// Cancelling does not wait for a run in progress, the end of the scheduler does: what runs touch is declared
// before the scheduler, here and in every test.

// A number that threads raise and others wait for.
class Counter final
{
public:
    void add()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_value;
        m_changed.notify_all();
    }
    [[nodiscard]] bool waitFor(int value)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_for(lock, kPatience, [&] { return m_value >= value; });
    }
    int value()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_value;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_value = 0;
};

// Holds runs until it is opened.
class Door final
{
public:
    void pass()
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_opened.wait(lock, [&] { return m_open; });
    }
    void open()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_opened.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_opened;
    bool m_open = false;
};

} // namespace twheel::testing
