#pragma once

#include <cstddef>
#include <vector>

#include "tarn/src/engine/endpoint.h"
#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp {

struct Datagram
{
    engine::Endpoint peer;
    ByteView bytes;
};

// Which printers' datagrams these are. Those of an address that may be dead can wait in the system for
// seconds, until nobody has said whose address it is; they must not fill the socket of those who answer.
enum class Lane : std::uint8_t
{
    Answering,
    Suspect, // silent since its last answer, or never met
};

// DatagramPort is the seam between the engine and the network: unconnected UDP sockets, or a test's.
// Threading: one thread, its owner's.
class DatagramPort
{
public:
    virtual ~DatagramPort() = default;

    // Sends from the front of the batch and says how many were taken. What the network refuses (no route, no
    // permission) counts as taken: it is lost like any other datagram. Fewer than count: no room, try again
    // later.
    virtual std::size_t send(Lane lane, const Datagram* batch, std::size_t count) = 0;
    // What has arrived for either lane, a batch at most; empty when nothing is left. The bytes are valid
    // until the next call. Datagrams that were cut for want of room are not among them.
    virtual const std::vector<Datagram>& receive() = 0;
    // New sockets, on new ports; what was on its way to the old ones is lost. False: the system gave none,
    // and the old ones stay.
    virtual bool reopen() = 0;
    // Readable when something has arrived; -1 when there is no socket. Another one after any other call,
    // perhaps.
    virtual int descriptor() const = 0;
};

} // namespace tarn::snmp
