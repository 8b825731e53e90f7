#pragma once

#include <memory>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/target.h"

namespace tarn::engine {

// Told by a back-end, on the engine's thread, after target.snapshot() has changed or target.isMet() became
// true.
class BackendListener
{
public:
    virtual ~BackendListener() = default;
    virtual void targetChanged(Target& target) = 0;
};

// Backend is one way of reaching printers. It publishes snapshots into the targets that it watches and never
// blocks: one that must (a library that waits for its peer) does so in threads of its own and hands over its
// results in run().
//
// Invariants
//  (1) After unwatch() the back-end neither touches nor keeps the target.
//  (2) run() is called no later than nextDeadline(), and whenever descriptor() is readable.
// Threading: engine thread only.
class Backend
{
public:
    virtual ~Backend() = default;

    // As "enable_backends" spells it.
    virtual const char* name() const = 0;
    virtual void watch(std::shared_ptr<Target> target) = 0;
    virtual void unwatch(const Target& target) = 0;
    // The target was put aside as nobody opened it, and is opened again.
    virtual void wake(const Target& target) = 0;
    // The machine slept, or its network changed: what is under way is void.
    virtual void networkChanged() = 0;

    // Does everything that is due, without waiting.
    virtual void run() = 0;
    // kNever when only the descriptor matters.
    virtual TimePoint nextDeadline() const = 0;
    // Readable when run() has something to take; -1 for none. May change during run() and networkChanged().
    virtual int descriptor() const = 0;
};

} // namespace tarn::engine
