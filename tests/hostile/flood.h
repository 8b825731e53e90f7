#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace hostile {

// A UDP socket at an address and port of our own; both in host byte order. Throws std::runtime_error.
int boundSocket(std::uint32_t address, std::uint16_t port);

// Flood sends datagrams to one port of this machine at a steady rate until its end, in a thread of its own.
// Ownership: borrows the sockets.
class Flood final
{
public:
    // The bodies in turn, each from the next of the sockets. address: where to, host byte order.
    Flood(std::uint32_t address, std::uint16_t port, std::vector<int> sockets,
          std::vector<std::string> bodies, unsigned perSecond);
    ~Flood() { stop(); }
    Flood(const Flood&) = delete;
    Flood& operator=(const Flood&) = delete;

    // Other bodies from now on.
    void send(std::vector<std::string> bodies);
    void stop();
    std::uint64_t sent() const { return m_sent.load(); }

private:
    std::shared_ptr<const std::vector<std::string>> bodies();
    void run();

    const std::uint32_t m_address;
    const std::uint16_t m_port;
    const std::vector<int> m_sockets;
    const unsigned m_perSecond;
    std::mutex m_mutex;
    std::shared_ptr<const std::vector<std::string>> m_bodies; // guarded by m_mutex
    std::atomic<std::uint64_t> m_sent{0};
    std::atomic<bool> m_stopping{false};
    std::thread m_thread; // last
};

} // namespace hostile
