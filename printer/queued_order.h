#pragma once

// Tells the thread sanitizer in what order a queued copy is made and taken; does nothing in any other build.
//
// A status crosses threads as the copy that Qt makes of a queued signal's argument, under the lock of the
// receiver's event queue. The sanitizer does not see that lock, since Debian's Qt is built without it. Said
// here, by the one type that crosses, nothing needs to be left unreported: all else in a slot is watched as
// everywhere.

#ifdef __SANITIZE_THREAD__
#include <sanitizer/tsan_interface.h>
#endif

namespace morvik::kel {

// The object is made: what its maker did up to here comes before what a taker of it does.
inline void markMade([[maybe_unused]] const void* object)
{
#ifdef __SANITIZE_THREAD__
    __tsan_release(const_cast<void*>(object));
#endif
}

inline void markTaken([[maybe_unused]] const void* object)
{
#ifdef __SANITIZE_THREAD__
    __tsan_acquire(const_cast<void*>(object));
#endif
}

} // namespace morvik::kel
