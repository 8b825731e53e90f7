#include "tests/unit/twheel/scripted_alarm.h"

namespace twheel {

using testing::ScriptedAlarm;

Nanoseconds monotonicNow()
{
    return ScriptedAlarm::instance().now();
}

Alarm::Descriptor::Descriptor(int result, const char*) : number(result) {}
Alarm::Descriptor::~Descriptor() = default;

Alarm::Alarm() : m_timer(-1, ""), m_calls(-1, ""), m_poll(-1, "") {}

void Alarm::set(Nanoseconds at)
{
    ScriptedAlarm::instance().set(at);
}

void Alarm::clear()
{
    ScriptedAlarm::instance().set(ScriptedAlarm::kNotSet);
}

void Alarm::call(int waiters)
{
    ScriptedAlarm::instance().call(waiters);
}

void Alarm::wait()
{
    ScriptedAlarm::instance().wait();
}

namespace testing {

ScriptedAlarm& ScriptedAlarm::instance()
{
    static ScriptedAlarm alarm;
    return alarm;
}

void ScriptedAlarm::reset(Nanoseconds now)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_now = now;
    m_time = kNotSet;
    m_calls = 0;
    m_wakeUps = 0;
    m_callsMade = 0;
}

void ScriptedAlarm::pass(Nanoseconds time)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_now += time;
    m_changed.notify_all();
}

bool ScriptedAlarm::settle(int workers)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_changed.wait_for(
        lock, kPatience, [&] { return m_waiting + m_held == workers && (m_waiting == 0 || !mayWake()); });
}

Nanoseconds ScriptedAlarm::now()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_now;
}

Nanoseconds ScriptedAlarm::time()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_time;
}

int ScriptedAlarm::wakeUps()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_wakeUps;
}

int ScriptedAlarm::calls()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_callsMade;
}

void ScriptedAlarm::set(Nanoseconds at)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_time = at;
    m_changed.notify_all();
}

void ScriptedAlarm::call(int waiters)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_calls += waiters;
    m_callsMade += waiters;
    m_changed.notify_all();
}

void ScriptedAlarm::wait()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    ++m_waiting;
    m_changed.notify_all();
    m_changed.wait(lock, [&] { return mayWake(); });
    --m_waiting;
    ++m_wakeUps;
    if (m_calls > 0) {
        --m_calls;
    } else {
        m_time = kNotSet; // one expiry wakes one
    }
    m_changed.notify_all();
}

void Hold::pass()
{
    ScriptedAlarm& alarm = ScriptedAlarm::instance();
    std::unique_lock<std::mutex> lock(alarm.m_mutex);
    ++m_entered;
    if (m_open) {
        return;
    }
    ++m_held;
    ++alarm.m_held;
    alarm.m_changed.notify_all();
    alarm.m_changed.wait(lock, [&] { return m_open; });
}

void Hold::open()
{
    ScriptedAlarm& alarm = ScriptedAlarm::instance();
    const std::lock_guard<std::mutex> lock(alarm.m_mutex);
    m_open = true;
    alarm.m_held -= m_held;
    m_held = 0;
    alarm.m_changed.notify_all();
}

int Hold::entered()
{
    const std::lock_guard<std::mutex> lock(ScriptedAlarm::instance().m_mutex);
    return m_entered;
}

} // namespace testing
} // namespace twheel
