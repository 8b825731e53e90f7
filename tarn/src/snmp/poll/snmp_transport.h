#pragma once

#include <cstddef>
#include <memory>
#include <optional>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/target.h"
#include "tarn/src/snmp/poll/datagram_port.h"
#include "tarn/src/snmp/wire/message_head.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

struct SnmpPeer;

// SnmpLink is one printer as a transport knows it: the question that is open, as it goes over the network,
// and what may be asked again without being encoded or decoded. It is closed by being destroyed.
//
// Invariants
//  (1) At most one question is open; a reply to any other is none.
//  (2) A repetition is the same question again; late replies to the first one count, unless renumber() came
//      between.
// Threading: engine thread only.
class SnmpLink
{
public:
    SnmpLink() = default;
    virtual ~SnmpLink() = default;
    SnmpLink(const SnmpLink&) = delete;
    SnmpLink& operator=(const SnmpLink&) = delete;

    // This is the question now, in the peer's version (its request id does not matter). It goes out with SnmpTransport::send().
    virtual void ask(Pdu pdu) = 0;
    // What is sent from now on shall not be answered by who learnt the numbers of what was sent so far. False
    // when they have to stay as they are.
    virtual bool renumber() = 0;
    // No reply is wanted any more.
    virtual void close() = 0;
    // The reply that was taken last. Nothing when it turns out to be malformed: the question is still open.
    virtual std::optional<Pdu> decode() = 0;

    // --- asking again; a transport that always decodes has none of it ---

    // The last question and the reply that was taken last are all of a Fast read: it may be asked again.
    virtual void keep() {}
    // Asks what was kept; SnmpReply then says how the reply compares. False: nothing is kept.
    virtual bool askAgain() { return false; }
    // Whether this is the question that is kept.
    virtual bool isKept(Pdu /*pdu*/) const { return false; } // NOLINT(performance-unnecessary-value-param)
    // The question stays, but whatever is replied to it next counts as new.
    virtual void forgetReply() {}
    // It may not be asked again.
    virtual void forgetQuestion() {}
    // Nothing is asked for a while: gives back memory.
    virtual void rest() {}
};

// A reply to the question that is open at a peer's link; valid until the next one is taken.
struct SnmpReply
{
    SnmpPeer* peer = nullptr;
    bool isSame =
        false; // of askAgain(): it says what the last one said, but for the time since start, and is kept
    bool isRestart = false;               // of askAgain(): by that time
    const MessageHead* message = nullptr; // where it can be read without being decoded
};

// SnmpTransport is the seam between the poller, which knows when to ask whom what, and the ways in which
// SNMP goes over a network: versions 1 and 2c over datagrams of our own, version 3 over Net-SNMP.
//
// Threading: engine thread only. Ownership: outlives its links.
class SnmpTransport
{
public:
    static constexpr std::size_t kSendBatch = 64; // of which send() takes no more at a time

    virtual ~SnmpTransport() = default;

    // Whether such printers are asked over it.
    virtual bool carries(const engine::PrinterAddress& address) const = 0;
    // A link to the printer, in the place of one that leads to the same endpoint. The target and the peer
    // must outlive it. Null when nobody may ask there.
    virtual std::unique_ptr<SnmpLink> open(const engine::Target& target, SnmpPeer& peer) = 0;
    // Sends the questions of its links and says how many of them, from the front, were taken. Fewer than
    // count: no room, try again later.
    virtual std::size_t send(Lane lane, SnmpLink* const* batch, std::size_t count) = 0;
    // The next reply that has arrived. False when there is none left, or others have to have their turn
    // first.
    virtual bool take(SnmpReply& reply) = 0;
    // How many messages that answered nothing the last replies, up to take()'s false, came among.
    virtual std::size_t strays() const { return 0; }
    // The network changed, or may have: new sockets.
    virtual void reopen() = 0;
    // Readable when there is something to take; -1 for none.
    virtual int descriptor() const = 0;
};

} // namespace tarn::snmp
