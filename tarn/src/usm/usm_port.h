#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "tarn/src/engine/endpoint.h"
#include "tarn/src/engine/usm_user.h"
#include "tarn/src/snmp/poll/datagram_port.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::usm {

struct UsmQuestion
{
    engine::Endpoint endpoint;
    std::uint64_t ticket = 0; // the asker's
    std::shared_ptr<const engine::UsmUser> user;
    snmp::Pdu pdu;           // its request id does not matter
    bool isToAbsent = false; // of the question before, of the same ticket, no late answer is expected
    snmp::Lane lane = snmp::Lane::Answering;
};

struct UsmAnswer
{
    engine::Endpoint endpoint;
    std::uint64_t ticket = 0;
    snmp::Pdu pdu;
};

// UsmPort is the seam between the transport and whatever speaks SNMPv3 with the printers: a thread, or a
// test.
//
// A question is open until it is answered, replaced or forgotten; what is wrong with keys and names is
// silence to the asker. Threading: one thread (the engine's).
class UsmPort
{
public:
    virtual ~UsmPort() = default;
    // Asks; a question to the same endpoint with another ticket is replaced, one with the same is sent again.
    virtual void ask(UsmQuestion question) = 0;
    // Nobody will ask there for now: nothing about it is kept.
    virtual void forget(engine::Endpoint endpoint) = 0;
    // The network changed.
    virtual void reopen() = 0;
    // The answers that came since the last call.
    virtual std::vector<UsmAnswer> take() = 0;
    // Readable when there is something to take; -1 before the first question.
    virtual int descriptor() const = 0;
};

} // namespace tarn::usm
