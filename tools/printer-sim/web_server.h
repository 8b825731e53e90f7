#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/printer-sim/event_loop.h"

namespace printersim {

// WebServer serves the printers' embedded pages: a listener for each address, or one for all of 127/8.
//
// Invariants
//  (1) At most 64 connections are open; the one that has waited longest makes room.
//  (2) A request's head is at most 8 KB; what is longer is hung up on.
// Threading: the loop's thread.
class WebServer final
{
public:
    // The whole answer to a request's head at an address (host byte order); nothing hangs up.
    using Pages = std::function<std::optional<std::string>(std::uint32_t address, const std::string& head)>;

    WebServer(EventLoop& loop, Pages pages) : m_loop(loop), m_pages(std::move(pages)) {}
    ~WebServer();
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    // The reason why the port could not be had; empty when it listens.
    std::string listenAt(std::uint32_t address, std::uint16_t port);

private:
    struct Connection
    {
        std::uint64_t order = 0;
        std::string head;
    };

    void accept(int listener);
    void read(int connection);
    void hangUp(int connection);

    EventLoop& m_loop;
    Pages m_pages;
    std::vector<int> m_listeners;
    std::unordered_map<int, Connection> m_connections;
    std::uint64_t m_accepted = 0;
};

} // namespace printersim
