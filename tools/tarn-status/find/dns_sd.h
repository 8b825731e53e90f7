#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/tarn-status/find/announcement.h"

namespace tarnstatus {

// DnsSd listens for printers that announce themselves in the local network, through Avahi's daemon. Where its
// library is missing or its daemon does not run, there are none, and complaint() says why.
//
// Threading: one thread; nothing happens outside of listen().
class DnsSd final
{
public:
    DnsSd();
    ~DnsSd();
    DnsSd(const DnsSd&) = delete;
    DnsSd& operator=(const DnsSd&) = delete;

    // Takes what has come, and what comes in that time; returns early when the program is interrupted.
    void listen(std::chrono::milliseconds time);
    // Whether the daemon has told of all that it knows; true as well when nothing more will come.
    bool isDone() const;

    // Printers with an IPv4 address that is no loopback one, each once, in the order of their coming.
    const std::vector<Announcement>& printers() const;
    const std::string& complaint() const;

private:
    class Listener;
    std::unique_ptr<Listener> m_listener; // the library calls back with its address
};

} // namespace tarnstatus
