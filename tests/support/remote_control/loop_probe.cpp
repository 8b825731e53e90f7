#include "tests/support/remote_control/loop_probe.h"

#include <QCoreApplication>
#include <QEvent>

#include <algorithm>

namespace {

using Clock = std::chrono::steady_clock;

constexpr QEvent::Type kProbeEvent = static_cast<QEvent::Type>(QEvent::User + 731);
constexpr auto kInterval = std::chrono::milliseconds(5);

class ProbeEvent final : public QEvent
{
public:
    ProbeEvent() : QEvent(kProbeEvent), posted(Clock::now()) {}
    const Clock::time_point posted;
};

} // namespace

LoopProbe::~LoopProbe()
{
    finish();
}

void LoopProbe::start()
{
    finish();
    m_delaysUs.clear();
    m_running = true;
    m_poster = std::thread([this] {
        while (m_running) {
            QCoreApplication::postEvent(this, new ProbeEvent, Qt::HighEventPriority);
            std::this_thread::sleep_for(kInterval);
        }
    });
}

std::vector<long> LoopProbe::finish()
{
    m_running = false;
    if (m_poster.joinable()) {
        m_poster.join();
    }
    std::sort(m_delaysUs.begin(), m_delaysUs.end());
    return m_delaysUs;
}

bool LoopProbe::event(QEvent* event)
{
    if (event->type() != kProbeEvent) {
        return QObject::event(event);
    }
    const auto waited = Clock::now() - static_cast<ProbeEvent*>(event)->posted;
    m_delaysUs.push_back(
        static_cast<long>(std::chrono::duration_cast<std::chrono::microseconds>(waited).count()));
    return true;
}
