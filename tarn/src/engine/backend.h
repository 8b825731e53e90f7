#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/target.h"

namespace tarn::engine {

// What printers are looked for, beyond those that are named.
enum class Discovery
{
    Usb,
    Cups,
};

// A printer that nobody named. Its target is made, and asked, by the back-end that found it.
struct DiscoveredPrinter
{
    std::string name; // under which it is opened; the same whenever it is met
    std::string manufacturer;
    std::string model;
    std::string description;
    std::string uuid;
    std::string ip;
    bool isUsb = false;
    std::shared_ptr<Target> target;
};

// Told by a back-end, on the engine's thread.
class BackendListener
{
public:
    virtual ~BackendListener() = default;
    // target.snapshot() has changed, or target.isMet() became true.
    virtual void targetChanged(Target& target) = 0;
    // These are now all the printers that the discovery finds, in the order in which they are to be listed.
    virtual void rosterChanged(Discovery discovery, std::vector<DiscoveredPrinter> roster) = 0;
};

// Backend is one way of reaching printers. It publishes snapshots into the targets that it watches and never
// blocks: one that must (a library that waits for its peer) does so in threads of its own and hands over its
// results in run().
//
// Invariants
//  (1) After unwatch() the back-end neither touches nor keeps the target.
//  (2) run() is called at nextDeadline(), and whenever descriptor() is readable; a few milliseconds later
//      where the engine is woken too often, unless hasBacklog().
// Threading: engine thread only.
class Backend
{
public:
    virtual ~Backend() = default;

    // Under which targets are handed to it. Back-ends may share one: each takes the targets that concern it.
    virtual const char* name() const = 0;
    virtual void watch(std::shared_ptr<Target> target) = 0;
    virtual void unwatch(const Target& target) = 0;
    // The target was suspended as nobody opened it, and is opened again.
    virtual void wake(const Target& target) = 0;
    // The machine slept, or its network changed: what is under way is void.
    virtual void networkChanged() = 0;
    // A target, perhaps one that is watched here, has a new snapshot, from this back-end or another.
    virtual void targetReported(Target& /*target*/) {}
    // Begins or ends to look for printers that nobody named; when it ends, the roster becomes empty.
    virtual void discover(Discovery /*discovery*/, bool /*on*/) {}

    // The engine's thread is about to end, and with it all calls but the destructor: tells threads of the
    // back-end's own to end, without waiting for them, so that they all end at once.
    virtual void endSoon() {}

    // Does everything that is due, without waiting.
    virtual void run() = 0;
    // kNever when only the descriptor matters.
    virtual TimePoint nextDeadline() const = 0;
    // Readable when run() has something to take; -1 for none. May change during run() and networkChanged().
    virtual int descriptor() const = 0;
    // Whether so much is under way that what arrives may not wait a few milliseconds: there is no room for
    // it.
    virtual bool hasBacklog() const { return false; }
};

} // namespace tarn::engine
