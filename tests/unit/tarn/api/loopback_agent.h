#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "tarn/src/base/mutex.h"

namespace tarn::test {

// An agent on a real socket of 127/8: answers every request with one text, as FakeSession reads it. Its port
// is chosen by the system.
class LoopbackAgent final
{
public:
    LoopbackAgent(const std::string& ip, std::string says);
    ~LoopbackAgent();
    LoopbackAgent(const LoopbackAgent&) = delete;
    LoopbackAgent& operator=(const LoopbackAgent&) = delete;

    std::uint16_t port() const { return m_port; }
    void say(std::string text);
    std::size_t requests() const { return m_requests; }

private:
    void serve();
    void answer();
    std::string text();

    int m_fd = -1;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_stopping{false};
    std::atomic<std::size_t> m_requests{0};
    Mutex m_mutex;
    std::string m_says TARN_GUARDED_BY(m_mutex);
    std::thread m_thread;
};

} // namespace tarn::test
