#pragma once

#include "tarn/src/base/descriptor.h"

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
    // False when the system gives no descriptor; it may do so later, and may be asked again. Once it has
    // succeeded it succeeds.
    [[nodiscard]] bool open();
    // -1 before open().
    int descriptor() const { return m_fd.get(); }
    void signal() const;
    void clear() const;

private:
    Descriptor m_fd;
};

} // namespace tarn
