#include "tools/tarn-status/changes/change_watch.h"

#include <algorithm>

#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/waiting.h"

namespace tarnstatus {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLookEvery{1000};
constexpr std::chrono::milliseconds kTendEvery{100};

} // namespace

ChangeWatch::ChangeWatch(const std::string& command, const std::vector<Reading>& first) : m_runner(command)
{
    m_detector.take(first, SteadyClock::now());
}

void ChangeWatch::look(const PrinterAccess& access)
{
    const auto now = SteadyClock::now();
    if (now < m_nextLook) {
        return;
    }
    m_nextLook = now + kLookEvery;
    for (const Change& change : m_detector.take(access.readAll(), now)) {
        m_runner.add(eventDocument(change.event, std::chrono::system_clock::now(), change.reading));
    }
}

bool ChangeWatch::sleepUntil(SteadyClock::time_point until, const PrinterAccess& access)
{
    bool wasResized = false;
    do {
        look(access);
        m_runner.tend();
        const auto next = m_runner.isIdle() ? m_nextLook : SteadyClock::now() + kTendEvery;
        wasResized = tarnstatus::sleepUntil(std::min({until, next, m_nextLook}));
    } while (!wasResized && !isInterrupted() && SteadyClock::now() < until);
    return wasResized;
}

} // namespace tarnstatus
