#include "tests/integration/device_matrix/ipp_responder.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "tests/integration/device_matrix/ipp_recording.h"

namespace matrix {

namespace {

// 127.42.a.b: a range that no other test listens on.
std::string addressOf(std::size_t index)
{
    return "127.42." + std::to_string(index / 250) + "." + std::to_string(index % 250 + 1);
}

int listenAt(const std::string& address, int port)
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<std::uint16_t>(port));
    inet_pton(AF_INET, address.c_str(), &where.sin_addr);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&where), sizeof where) != 0 || listen(fd, 16) != 0) {
        close(fd);
        throw std::runtime_error("cannot listen at " + address + ":" + std::to_string(port));
    }
    return fd;
}

// The body of the HTTP request that comes, whose length its header tells; empty when none comes in time.
std::string requestBody(int fd)
{
    constexpr int kPatienceMs = 5000;
    constexpr std::size_t kMostOctets = 1 << 20;
    std::string got;
    while (got.size() < kMostOctets) {
        const std::size_t header = got.find("\r\n\r\n");
        const std::size_t length = got.find("Content-Length: ");
        if (header != std::string::npos && length < header) {
            const std::size_t octets = std::strtoul(got.c_str() + length + 16, nullptr, 10);
            if (got.size() >= header + 4 + octets) {
                return got.substr(header + 4, octets);
            }
        }
        pollfd watched{fd, POLLIN, 0};
        char buffer[4096];
        const ssize_t count =
            poll(&watched, 1, kPatienceMs) > 0 ? recv(fd, buffer, sizeof buffer, 0) : ssize_t{0};
        if (count <= 0) {
            break;
        }
        got.append(buffer, static_cast<std::size_t>(count));
    }
    return std::string();
}

void sendAll(int fd, const std::string& octets)
{
    for (std::size_t at = 0; at < octets.size();) {
        const ssize_t sent = send(fd, octets.data() + at, octets.size() - at, MSG_NOSIGNAL);
        if (sent <= 0) {
            return;
        }
        at += static_cast<std::size_t>(sent);
    }
}

} // namespace

IppResponder::IppResponder(const std::string& directory, const std::vector<std::string>& devices, int port,
                           bool honours)
    : m_honours(honours)
{
    for (const std::string& device : devices) {
        m_served.push_back({device, addressOf(m_served.size()), "public", port});
        m_doors.push_back(
            {listenAt(m_served.back().address, port), readIppRecording(directory + "/" + device + ".ipp")});
    }
    m_thread = std::thread([this] { serve(); });
}

IppResponder::~IppResponder()
{
    m_over = true;
    m_thread.join();
    for (const Door& door : m_doors) {
        close(door.fd);
    }
}

// One connection after the other: the library keeps none open.
void IppResponder::serve()
{
    std::vector<pollfd> watched;
    for (const Door& door : m_doors) {
        watched.push_back({door.fd, POLLIN, 0});
    }
    while (!m_over) {
        constexpr int kLookMs = 50;
        if (poll(watched.data(), watched.size(), kLookMs) <= 0) {
            continue;
        }
        for (std::size_t i = 0; i < watched.size(); ++i) {
            if ((watched[i].revents & POLLIN) != 0) {
                const int fd = accept4(watched[i].fd, nullptr, nullptr, SOCK_CLOEXEC);
                answer(fd, m_doors[i].recording);
                close(fd);
            }
        }
    }
}

void IppResponder::answer(int fd, const std::string& recording) const
{
    const std::string request = requestBody(fd);
    if (request.empty()) {
        return;
    }
    const std::string body = answerTo(request, recording, m_honours);
    sendAll(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\nConnection: close\r\nContent-Length: " +
                    std::to_string(body.size()) + "\r\n\r\n" + body);
}

} // namespace matrix
