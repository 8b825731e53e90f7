#pragma once

#include <atomic>
#include <condition_variable>

#include "printer/mutex.h"

namespace morvik::kel {

// PollGate is what every poll passes on its way in and out, so that the program can end while printers are
// still scheduled: the window that the callback is bound to dies only when no poll can reach it any more.
//
// Invariants
//  (1) Once close() has returned, no poll is in progress and none starts until open().
//  (2) A poll that entered before close() leaves undisturbed; close() waits for it.
// Threading: any thread; close() must not be called from inside a poll.
class PollGate final
{
public:
    // One poll's way through the gate. False: the gate is closed, do nothing.
    class Pass final
    {
    public:
        explicit Pass(PollGate& gate) : m_gate(gate), m_entered(gate.enter()) {}
        ~Pass()
        {
            if (m_entered) {
                m_gate.leave();
            }
        }
        Pass(const Pass&) = delete;
        Pass& operator=(const Pass&) = delete;
        explicit operator bool() const { return m_entered; }

    private:
        PollGate& m_gate;
        const bool m_entered;
    };

    void open();
    void close();
    // Whether close() has begun: a poll that waited for its turn looks again before it calls the library.
    // Acquire and release: what its closer did before is seen by who is turned back.
    bool isClosing() const { return m_closing.load(std::memory_order_acquire); }
    // Polls in progress.
    long inside();

private:
    bool enter();
    void leave();

    std::atomic<bool> m_closing{false}; // written under m_mutex, read anywhere
    Mutex m_mutex;
    long m_inside KEL_GUARDED_BY(m_mutex) = 0;
    std::condition_variable_any m_left; // m_inside fell to 0
};

// The program's one gate. It is never destroyed: workers may still look at it while statics are dying.
PollGate& pollGate();

} // namespace morvik::kel
