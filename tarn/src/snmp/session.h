#pragma once

#include <memory>
#include <optional>

#include "tarn/src/device/device_status.h"
#include "tarn/src/device/kept_picture.h"
#include "tarn/src/snmp/codec.h"
#include "tarn/src/snmp/pdu.h"

namespace tarn::snmp {

// What is read in one conversation with a printer.
enum class ReadKind
{
    Identity, // who it is; also everything of Full: the first picture of a printer
    Full,     // every table that the picture needs
    Fast,     // one small PDU: state, error bits, levels, page counter, change counters, sysUpTime
};

// What a finished conversation says about the picture.
enum class ReadOutcome
{
    Unchanged, // same picture
    Changed,   // status() is a new picture
    NeedsFull, // a change counter moved, or a row appeared or went: read Full now
    Restarted, // sysUpTime went back: read Identity now
    Unusable,  // answered, but says nothing of a printer (no picture yet)
};

// Session is everything that SNMP knows of one printer, and what to ask it next. It knows no socket, no clock
// and no request id: the engine sends the requests, repeats them, and hands back the answers it accepted.
//
// Invariants
//  (1) A conversation ends after a bounded number of requests, whatever the answers are.
//  (2) status() is never half a conversation: it changes only when a conversation ends.
//  (3) Fast compares numbers; the picture is built again only when one of them moved.
// An Identity or Full that finds no printer objects where there were some before (an agent that still starts)
// keeps the picture and ends Unusable. begin(Full) and begin(Fast) before the first Identity do Identity.
// Threading: one thread (the engine's).
class Session
{
public:
    explicit Session(Version version);
    ~Session();
    Session(Session&&) noexcept;
    Session& operator=(Session&&) noexcept;

    // Starts a conversation; one under way is abandoned without a trace.
    void begin(ReadKind kind);
    // The next request of the conversation (requestId left 0), or nothing when it has ended.
    std::optional<Pdu> nextRequest();
    // Takes the accepted answer to the last request.
    void accept(const Pdu& response);
    // To be called at each time that the last request stays unanswered; misses: in a row, this one included.
    // True: nextRequest() asks for less in its place. False: it is to be repeated. See RequestSizing.
    bool noAnswer(unsigned misses);
    // Whether the last Fast conversation took one request and the next would begin with the same: between two
    // conversations. A Full one in between need not change that.
    bool asksTheSame() const;
    // For whoever has asked that again without beginning a conversation: takes the accepted answer, a
    // message's head, as a conversation of its own, outcome() included. published is the last picture. False,
    // and nothing changes, when the answer says more than that known numbers moved, or is malformed: the same
    // question begun, and the answer accepted, in the ordinary way finds out what.
    bool hearAgain(const MessageHead& message, const device::KeptPicture& published);
    // The outcome of the conversation that has just ended.
    ReadOutcome outcome() const;
    // The last whole picture; null before the first.
    std::shared_ptr<const device::DeviceStatus> status() const;
    // No conversation for a while: gives back the memory that only the next one needs. status() is made anew
    // for each caller from then on.
    void rest();

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace tarn::snmp
