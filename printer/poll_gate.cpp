#include "printer/poll_gate.h"

namespace morvik::kel {

void PollGate::open()
{
    const MutexLock lock(m_mutex);
    m_closing.store(false, std::memory_order_release);
}

void PollGate::close()
{
    const MutexLock lock(m_mutex);
    m_closing.store(true, std::memory_order_release);
    while (m_inside > 0) {
        m_left.wait(m_mutex);
    }
}

long PollGate::inside()
{
    const MutexLock lock(m_mutex);
    return m_inside;
}

bool PollGate::enter()
{
    const MutexLock lock(m_mutex);
    if (isClosing()) {
        return false;
    }
    ++m_inside;
    return true;
}

void PollGate::leave()
{
    const MutexLock lock(m_mutex);
    if (--m_inside == 0) {
        m_left.notify_all();
    }
}

PollGate& pollGate()
{
    static PollGate* const gate = new PollGate;
    return *gate;
}

} // namespace morvik::kel
