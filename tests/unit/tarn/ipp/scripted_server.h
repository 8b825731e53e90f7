#pragma once

// A TCP server on the loopback interface that does to each connection what the test says.

#include <arpa/inet.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarn::ipp::test {

class ScriptedServer final
{
public:
    // A connection, closed when the script returns.
    class Connection final
    {
    public:
        Connection(int fd, const std::atomic<bool>& over) : m_fd(fd), m_over(over) {}
        // False when the other side is gone or the test is over.
        bool send(const std::string& octets) const
        {
            return ::send(m_fd, octets.data(), octets.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(octets.size());
        }
        // Until the other side's system has what was sent.
        void untilDelivered() const
        {
            int left = 0;
            while (!m_over && ::ioctl(m_fd, SIOCOUTQ, &left) == 0 && left > 0) {
                ::usleep(1000);
            }
        }
        // What comes until there is a whole HTTP request, something that is none, or the end.
        std::string request() const
        {
            std::string got;
            char buffer[4096];
            while (!isWhole(got)) {
                if (!readable()) {
                    break;
                }
                const ssize_t count = ::recv(m_fd, buffer, sizeof buffer, 0);
                if (count <= 0) {
                    break;
                }
                got.append(buffer, static_cast<std::size_t>(count));
            }
            return got;
        }
        // Until the other side is gone or the test is over.
        void untilGone() const
        {
            char buffer[4096];
            while (readable() && ::recv(m_fd, buffer, sizeof buffer, 0) > 0) {
            }
        }
        void endOutput() const { ::shutdown(m_fd, SHUT_WR); }
        // Waits; false when the other side is gone or the test is over.
        bool wait(int ms) const
        {
            pollfd watched{m_fd, POLLRDHUP, 0};
            return ::poll(&watched, 1, ms) == 0 && !m_over;
        }

    private:
        bool readable() const
        {
            while (!m_over) {
                pollfd watched{m_fd, POLLIN, 0};
                if (::poll(&watched, 1, 50) > 0) {
                    return true;
                }
            }
            return false;
        }
        static bool isWhole(const std::string& got)
        {
            if (!got.empty() && got[0] != 'P') {
                return true;
            }
            const std::size_t end = got.find("\r\n\r\n");
            const std::size_t length = got.find("Content-Length: ");
            if (end == std::string::npos || length == std::string::npos) {
                return false;
            }
            return got.size() >= end + 4 + std::stoul(got.substr(length + 16, 10));
        }

        const int m_fd;
        const std::atomic<bool>& m_over;
    };
    using Script = std::function<void(const Connection&)>;

    // On a port that the system chooses.
    explicit ScriptedServer(Script script, std::uint32_t where = INADDR_LOOPBACK)
        : m_script(std::move(script)), m_door(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(where);
        socklen_t size = sizeof address;
        ::bind(m_door, reinterpret_cast<sockaddr*>(&address), size);
        ::listen(m_door, 1024);
        ::getsockname(m_door, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { serve(); });
    }
    // Behind a socket of that path.
    ScriptedServer(Script script, const std::string& path)
        : m_script(std::move(script)), m_door(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        ::bind(m_door, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(m_door, 16);
        m_thread = std::thread([this] { serve(); });
    }
    ~ScriptedServer()
    {
        m_over = true;
        m_thread.join();
        for (std::thread& thread : m_connections) {
            thread.join();
        }
        ::close(m_door);
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return m_port; }
    int accepted() const { return m_accepted; }
    int gone() const { return m_gone; } // connections whose script has ended

private:
    void serve()
    {
        while (!m_over) {
            pollfd watched{m_door, POLLIN, 0};
            if (::poll(&watched, 1, 20) <= 0) {
                continue;
            }
            const int fd = ::accept4(m_door, nullptr, nullptr, SOCK_CLOEXEC);
            ++m_accepted;
            m_connections.emplace_back([this, fd] {
                m_script(Connection(fd, m_over));
                ::close(fd);
                ++m_gone;
            });
        }
    }

    const Script m_script;
    const int m_door;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_over{false};
    std::atomic<int> m_accepted{0};
    std::atomic<int> m_gone{0};
    std::vector<std::thread> m_connections; // serve()'s, until it has ended
    std::thread m_thread;
};

// A port of the loopback interface where connections do not come about: its queue is full.
class FullPort final
{
public:
    explicit FullPort(std::uint32_t where = INADDR_LOOPBACK) : m_door(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(where);
        socklen_t size = sizeof address;
        ::bind(m_door, reinterpret_cast<sockaddr*>(&address), size);
        ::listen(m_door, 0);
        ::getsockname(m_door, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        for (int& guest : m_guests) {
            guest = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            ::connect(guest, reinterpret_cast<sockaddr*>(&address), size);
        }
    }
    ~FullPort()
    {
        for (const int guest : m_guests) {
            ::close(guest);
        }
        ::close(m_door);
    }
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;

    std::uint16_t port() const { return m_port; }

private:
    const int m_door;
    int m_guests[4] = {};
    std::uint16_t m_port = 0;
};

// "HTTP/1.1 <status>" with that body.
inline std::string httpAnswer(const std::string& status, const std::string& body = {},
                              const std::string& more = {})
{
    return "HTTP/1.1 " + status +
           "\r\nContent-Type: application/ipp\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           more + "\r\n" + body;
}

// The octets of an IPP response, one attribute at a time.
class IppOctets final
{
public:
    explicit IppOctets(unsigned status = 0, unsigned version = 0x0200)
    {
        two(version);
        two(status);
        two(0);
        two(1);
        m_octets += '\x01';
        value(0x47, "attributes-charset", "utf-8");
        value(0x48, "attributes-natural-language", "en");
    }
    IppOctets& printer()
    {
        m_octets += '\x04';
        return *this;
    }
    IppOctets& keyword(const std::string& name, const std::string& text) { return value(0x44, name, text); }
    IppOctets& text(const std::string& name, const std::string& text) { return value(0x41, name, text); }
    IppOctets& number(const std::string& name, unsigned number)
    {
        return value(0x21, name, std::string{'\0', '\0', '\0', static_cast<char>(number)});
    }
    IppOctets& value(unsigned tag, const std::string& name, const std::string& octets)
    {
        m_octets += static_cast<char>(tag);
        two(static_cast<unsigned>(name.size()));
        m_octets += name;
        two(static_cast<unsigned>(octets.size()));
        m_octets += octets;
        return *this;
    }
    std::string whole() const { return m_octets + '\x03'; }
    std::string cut() const { return m_octets; }

private:
    void two(unsigned number)
    {
        m_octets += static_cast<char>(number >> 8);
        m_octets += static_cast<char>(number);
    }

    std::string m_octets;
};

} // namespace tarn::ipp::test
