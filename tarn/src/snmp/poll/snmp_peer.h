#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "tarn/src/engine/cadence.h"
#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/reachability.h"
#include "tarn/src/engine/target.h"
#include "tarn/src/snmp/poll/request_log.h"
#include "tarn/src/snmp/poll/session.h"
#include "tarn/src/snmp/poll/snmp_transport.h"

namespace tarn::snmp {

// Where a peer stands between two requests, or in one.
enum class Phase : std::uint8_t
{
    Suspended, // nobody opens it; in no queue, not in the heap
    Resting,   // until the next read begins at its deadline
    Waiting,   // its request waits for its turn, so that an idle printer sees few in a minute
    Queued,    // its request waits for room among those in flight
    InFlight,  // sent, and counted as in flight
    Lingering, // sent a while ago; an answer is still welcome until the request is repeated at the deadline
};

// How sure we are of the protocol version.
enum class VersionKnowledge : std::uint8_t
{
    Probing, // no answer yet: v2c and v1 in turn
    Trial,   // it answered v1 while we were guessing: is it still silent to v2c now that it is awake?
    Known,
};

// SnmpPeer is what the poller knows of one target.
//
// Invariants
//  (1) Phase Waiting to Lingering: a request waits for its answer or for its turn to be sent. It is the one
//      at the link. A read that is yet to begin has none.
//  (2) At most one request at a time: a repetition is the same again, but for the number of one to a printer
//      that is offline.
struct SnmpPeer
{
    // constant after construction
    std::shared_ptr<engine::Target> target;
    std::unique_ptr<SnmpLink> link;

    std::unique_ptr<Session> session;
    engine::Cadence cadence;
    engine::Reachability reachability;
    RequestLog log;
    TimePoint readStart{};
    TimePoint firstSent = kNever; // of the present request; kNever: it has not been on the network
    TimePoint lastSent{};
    TimePoint repeatAt{};
    std::size_t heapSlot = engine::DeadlineHeap<SnmpPeer>::kOutside; // DeadlineHeap's
    std::uint32_t ticket = 0;   // of its place in the queue; an older one is void
    std::uint16_t requests = 0; // of the read so far
    Version version = Version::V2c;
    VersionKnowledge knowledge = VersionKnowledge::Probing;
    engine::ReadKind kind = engine::ReadKind::Identity;
    Phase phase = Phase::Resting;
    engine::Liveliness liveliness = engine::Liveliness::NoStatus; // of the session's status
    bool yetToBegin = false; // Waiting or Queued, and its session is to begin the read when it is its turn
    bool isReplay =
        false; // the present request is the one that the link keeps, and the session does not know of it
    bool countsSuspect = false; // in flight on the account of those that may be dead
};

} // namespace tarn::snmp
