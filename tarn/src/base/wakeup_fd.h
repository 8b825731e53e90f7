#pragma once

namespace tarn {

// WakeupFd is a descriptor that one thread sleeps on and any thread makes readable.
//
// Invariants
//  (1) descriptor() is readable from a signal() to the next clear(), however many signals there were.
//  (2) The descriptor is the same from the first open() that succeeds to the end of the object.
// Threading: open() before other threads see the object; signal() from any thread; clear() from the one that
// sleeps. No function waits.
class WakeupFd final
{
public:
    WakeupFd() = default;
    ~WakeupFd();
    WakeupFd(const WakeupFd&) = delete;
    WakeupFd& operator=(const WakeupFd&) = delete;

    // False when the system gives no descriptor; it may do so later, and may be asked again. Once it has
    // succeeded it succeeds.
    [[nodiscard]] bool open();
    // -1 before open().
    int descriptor() const { return m_fd; }
    void signal() const;
    void clear() const;

private:
    int m_fd = -1;
};

} // namespace tarn
