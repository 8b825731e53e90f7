#include "tools/printer-sim/web_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace printersim {

namespace {

constexpr std::size_t kMostConnections = 64;
constexpr std::size_t kMostHead = 8192;

std::uint32_t localAddress(int descriptor)
{
    sockaddr_in local{};
    socklen_t size = sizeof local;
    getsockname(descriptor, reinterpret_cast<sockaddr*>(&local), &size);
    return ntohl(local.sin_addr.s_addr);
}

} // namespace

WebServer::~WebServer()
{
    while (!m_connections.empty()) {
        hangUp(m_connections.begin()->first);
    }
    for (const int listener : m_listeners) {
        m_loop.remove(listener);
        close(listener);
    }
}

std::string WebServer::listenAt(std::uint32_t address, std::uint16_t port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        return std::strerror(errno);
    }
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (address == INADDR_ANY) { // the wildcard is meant for the loopback interface only
        constexpr char kLoopback[] = "lo";
        setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, kLoopback, sizeof kLoopback);
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(address);
    local.sin_port = htons(port);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 || listen(fd, 16) != 0) {
        std::string reason = std::strerror(errno);
        close(fd);
        return reason;
    }
    m_listeners.push_back(fd);
    m_loop.add(fd, [this, fd] { accept(fd); });
    return {};
}

void WebServer::accept(int listener)
{
    const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (connection < 0) {
        return;
    }
    if (m_connections.size() >= kMostConnections) {
        const auto oldest = std::min_element(
            m_connections.begin(), m_connections.end(),
            [](const auto& left, const auto& right) { return left.second.order < right.second.order; });
        hangUp(oldest->first);
    }
    m_connections[connection].order = ++m_accepted;
    m_loop.add(connection, [this, connection] { read(connection); });
}

void WebServer::read(int connection)
{
    std::array<char, 2048> buffer{};
    const ssize_t count = recv(connection, buffer.data(), buffer.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
        return;
    }
    if (count <= 0) {
        return hangUp(connection);
    }
    std::string& head = m_connections[connection].head;
    head.append(buffer.data(), static_cast<std::size_t>(count));
    if (head.find("\r\n\r\n") == std::string::npos) {
        if (head.size() > kMostHead) {
            hangUp(connection);
        }
        return;
    }
    // A page is a few hundred octets: it fits the socket's buffer in one go.
    if (const auto answer = m_pages(localAddress(connection), head)) {
        if (send(connection, answer->data(), answer->size(), MSG_NOSIGNAL) >= 0) {
            shutdown(connection, SHUT_WR);
        }
    }
    hangUp(connection);
}

void WebServer::hangUp(int connection)
{
    m_loop.remove(connection);
    m_connections.erase(connection);
    close(connection);
}

} // namespace printersim
