#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "tarn/src/device/device_status.h"
#include "tarn/src/device/packed_status.h"
#include "tarn/src/engine/read.h"
#include "tarn/src/snmp/wire/codec.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

// Session is everything that SNMP knows of one printer, and what to ask it next. It knows no socket, no clock
// and no request id: the engine sends the requests, repeats them, and hands back the answers it accepted.
// PrinterSession is the one that printers get.
//
// Invariants
//  (1) A read ends after a bounded number of requests, whatever the answers are.
//  (2) status() is never half a read: it changes only when a read ends.
// Threading: one thread (the engine's).
class Session
{
public:
    virtual ~Session() = default;

    // Starts a read; one under way is abandoned without a trace.
    virtual void begin(engine::ReadKind kind) = 0;
    // The next request of the read (requestId left 0), or nothing when it has ended.
    virtual std::optional<Pdu> nextRequest() = 0;
    // Takes the accepted answer to the last request.
    virtual void accept(const Pdu& response) = 0;
    // To be called at each time that the last request stays unanswered; misses: in a row, this one included.
    // True: nextRequest() asks for less in its place. False: it is to be repeated. See RequestSizing.
    virtual bool onTimeout(unsigned misses) = 0;
    // Whether the last Fast read took one request and the next would begin with the same: between two reads.
    // A Full one in between need not change that.
    virtual bool asksTheSame() const = 0;
    // For whoever has asked that again without beginning a read: takes the accepted answer, a message's head,
    // as a read of its own, outcome() included. published is the last status. False, and nothing changes,
    // when the answer says more than that known numbers moved, or is malformed: the same question begun, and
    // the answer accepted, in the ordinary way finds out what.
    virtual bool acceptReplay(const MessageHead& message, const device::PackedStatus& published) = 0;
    // The outcome of the read that has just ended.
    virtual engine::ReadOutcome outcome() const = 0;
    // The last whole status; null before the first.
    virtual std::shared_ptr<const device::DeviceStatus> status() const = 0;
    // No read for a while: gives back the memory that only the next one needs. status() is made anew for each
    // caller from then on.
    virtual void rest() = 0;
};

using SessionFactory = std::function<std::unique_ptr<Session>(Version)>;

// Makes PrinterSessions.
SessionFactory printerSessions();

} // namespace tarn::snmp
