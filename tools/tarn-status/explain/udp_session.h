#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "tools/tarn-status/explain/finding.h"

namespace tarnstatus {

using SteadyClock = std::chrono::steady_clock;

// UdpSession is a socket that is connected to one port of one printer, so that the kernel tells when the
// port is closed or there is no route, and lets nobody else's datagrams in.
//
// Threading: one thread.
class UdpSession final
{
public:
    UdpSession(std::uint32_t address, std::uint16_t port); // host byte order
    ~UdpSession();
    UdpSession(const UdpSession&) = delete;
    UdpSession& operator=(const UdpSession&) = delete;

    // ProbeOutcome::Found, or why there is no socket or no route.
    ProbeOutcome state() const { return m_state; }
    // The address that packets leave from, dotted.
    std::string ownAddress() const;

    // Sends the message, again every second, until isAnswer() takes a datagram: that is ProbeOutcome::Found; or until
    // the time is up, which is Silent, or Garbage when others came; or until an error tells why. An empty
    // message is not sent: one that came late is still taken.
    ProbeOutcome exchange(const std::string& message, const std::function<bool(const std::string&)>& isAnswer,
                          SteadyClock::time_point until);

private:
    // Waits for one datagram. ProbeOutcome::Silent: none until then.
    ProbeOutcome receive(std::string& datagram, SteadyClock::time_point until) const;
    // What a call that failed so came to.
    ProbeOutcome failure(int error) const;

    int m_socket = -1;
    ProbeOutcome m_state = ProbeOutcome::NoSocket;
};

} // namespace tarnstatus
