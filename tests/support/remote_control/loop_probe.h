#pragma once

#include <QObject>

#include <atomic>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

// LoopProbe measures how long an event waits for the event loop of the thread that created it.
//
// Threading: a thread of its own posts one event every 5 ms while it runs; delivery is on the owner's thread.
// Delays are microseconds; they belong to the owner's thread alone.
class LoopProbe final : public QObject
{
    Q_OBJECT

public:
    LoopProbe() = default;
    ~LoopProbe() override;

    void start();
    // Ends the measurement: the delays met, ascending.
    std::vector<long> finish();

protected:
    bool event(QEvent* event) override;

private:
    std::vector<long> m_delaysUs; // owner's thread
    std::atomic<bool> m_running{false};
    std::thread m_poster;
};
