#pragma once

#include <cstddef>
#include <vector>

#include "tarn/src/engine/endpoint.h"
#include "tarn/src/snmp/codec.h"

namespace tarn::engine {

struct Datagram
{
    Endpoint peer;
    snmp::ByteView bytes;
};

// DatagramPort is the seam between the engine and the network: one unconnected UDP socket, or a test's.
// Threading: engine thread only.
class DatagramPort
{
public:
    virtual ~DatagramPort() = default;

    // Sends from the front of the batch and says how many were taken. What the network refuses (no route, no
    // permission) counts as taken: it is lost like any other datagram. Fewer than count: no room, try again
    // later.
    virtual std::size_t send(const Datagram* batch, std::size_t count) = 0;
    // What has arrived, a batch at most; empty when nothing is left. The bytes are valid until the next call.
    // Datagrams that were cut for want of room are not among them.
    virtual const std::vector<Datagram>& receive() = 0;
    // A new socket, on a new port; what was on its way to the old one is lost. False: no socket, sends are
    // lost.
    virtual bool reopen() = 0;
    // -1 when there is no socket.
    virtual int descriptor() const = 0;
};

} // namespace tarn::engine
