#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarn/src/engine/target.h"
#include "tarn/src/ipp/ipp_attributes.h"

namespace tarn::ipp {

// How a printer was reached, to be tried first the next time.
struct IppRoute
{
    bool known = false;
    bool tls = false;
    bool version11 = false;
    std::uint8_t path = 0; // which of the usual ones
};

struct IppRequest
{
    std::uint32_t address = 0; // host byte order
    engine::IppSettings settings;
    IppRoute route;
    IppOperation operation = IppOperation::PrinterAttributes;
};

enum class IppOutcome
{
    Answered,  // printers says what; perhaps nothing
    Silent,    // no connection came about
    Refused,   // it was refused
    NoIpp,     // connected, and then no answer that could be used, or none in time
    NoLibrary, // nobody was asked: a library is missing
    NotSent,   // nobody was asked: this process has no descriptor or memory at present
};

struct IppAnswer
{
    IppOutcome outcome = IppOutcome::NotSent;
    IppRoute route; // when Answered
    std::vector<IppAttributes> printers;
};

// A caller's name for a request of its own. Counted up, it never comes back in the life of a process; 0 is none.
using Ticket = std::uint64_t;

struct FinishedRequest
{
    Ticket ticket = 0;
    IppAnswer answer;
};

// RequestQueue is where a back-end leaves requests, and fetches what came of them. It never waits for a peer.
class RequestQueue
{
public:
    virtual ~RequestQueue() = default;
    // False when the system gives no descriptor or thread: the request is not taken, and may be sent later.
    // ticket: the caller's name for it, not 0, which is not under way yet.
    [[nodiscard]] virtual bool send(Ticket ticket, IppRequest request) = 0;
    // Ends a request that nobody waits for any more; nothing happens when it has ended. An answer that came
    // already may still be fetched.
    virtual void cancel(Ticket ticket) = 0;
    // What finished since the last call, in no order.
    virtual std::vector<FinishedRequest> takeFinished() = 0;
    // Readable when there is something finished; -1 before the first request was taken.
    virtual int descriptor() const = 0;
};

} // namespace tarn::ipp
