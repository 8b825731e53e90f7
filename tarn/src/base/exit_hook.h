#pragma once

#include <chrono>

#include "tarn/src/base/mutex.h"

namespace tarn {

// ExitHook is somebody with a thread inside a library that is ended by an exit handler of its own, as OpenSSL
// is: he is asked to get his thread out of it beforehand. A program may call tarn_destroy later than that,
// from the destructor of a static object.
//
// Invariants
//  (1) Exit handlers run in the reverse order of their registration, so whoever was registered before arm()
//      runs after the hooks; OpenSSL's is registered by arm() itself, wherever it is loaded by then.
//  (2) All hooks together take kPatience at most, and nothing in a forked child.
// Threading: any thread. Ownership: outlives nobody; the hooks that live are known by a list through them.
class ExitHook
{
public:
    static constexpr std::chrono::seconds kPatience{2};

    ExitHook();
    ExitHook(const ExitHook&) = delete;
    ExitHook& operator=(const ExitHook&) = delete;

    // To be called whenever the library has been loaded, before a thread enters it. False when the process is
    // exiting: no thread may enter.
    static bool arm();

protected:
    // Every hook ends with its owner, who says so before anything of his is gone.
    ~ExitHook();
    void leave();

private:
    // Gets the thread out, or gives up at that time. After that no thread may enter.
    virtual void processExits(std::chrono::steady_clock::time_point until) = 0;
    static void runAll();

    ExitHook* m_next = nullptr;
};

} // namespace tarn
