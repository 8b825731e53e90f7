#include "tests/hostile/flood.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <stdexcept>

namespace hostile {

namespace {

constexpr std::size_t kBatch = 32;
constexpr std::chrono::milliseconds kMostBehind{5};

sockaddr_in socketAddress(std::uint32_t address, std::uint16_t port)
{
    sockaddr_in out{};
    out.sin_family = AF_INET;
    out.sin_addr.s_addr = htonl(address);
    out.sin_port = htons(port);
    return out;
}

} // namespace

int boundSocket(std::uint32_t address, std::uint16_t port)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in where = socketAddress(address, port);
    if (descriptor < 0 || bind(descriptor, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0) {
        close(descriptor);
        throw std::runtime_error("port " + std::to_string(port) + " cannot be had");
    }
    return descriptor;
}

Flood::Flood(std::uint32_t address, std::uint16_t port, std::vector<int> sockets,
             std::vector<std::string> bodies, unsigned perSecond)
    : m_address(address), m_port(port), m_sockets(std::move(sockets)), m_perSecond(perSecond),
      m_bodies(std::make_shared<const std::vector<std::string>>(std::move(bodies))),
      m_thread([this] { run(); })
{
}

void Flood::send(std::vector<std::string> bodies)
{
    auto fresh = std::make_shared<const std::vector<std::string>>(std::move(bodies));
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_bodies = std::move(fresh);
}

std::shared_ptr<const std::vector<std::string>> Flood::bodies()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_bodies;
}

void Flood::stop()
{
    m_stopping = true;
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void Flood::run()
{
    using Clock = std::chrono::steady_clock;
    sockaddr_in to = socketAddress(m_address, m_port);
    std::array<mmsghdr, kBatch> headers{};
    std::array<iovec, kBatch> vectors{};
    const auto gap = std::chrono::nanoseconds(kBatch * 1000000000 / m_perSecond);
    auto due = Clock::now();
    std::uint64_t sent = 0;
    for (std::size_t turn = 0; !m_stopping; ++turn) {
        const std::shared_ptr<const std::vector<std::string>> now = bodies();
        for (std::size_t i = 0; i < kBatch; ++i) {
            const std::string& body = (*now)[(sent + i) % now->size()];
            vectors[i] = {const_cast<char*>(body.data()), body.size()};
            headers[i].msg_hdr.msg_name = &to;
            headers[i].msg_hdr.msg_namelen = sizeof to;
            headers[i].msg_hdr.msg_iov = &vectors[i];
            headers[i].msg_hdr.msg_iovlen = 1;
        }
        const int took = sendmmsg(m_sockets[turn % m_sockets.size()], headers.data(), kBatch, 0);
        sent += took > 0 ? static_cast<std::uint64_t>(took) : 0;
        m_sent = sent;
        // Behind, because somebody else had the processor: it does not catch up in one great burst.
        due = std::max(due + gap, Clock::now() - kMostBehind);
        std::this_thread::sleep_until(due);
    }
}

} // namespace hostile
