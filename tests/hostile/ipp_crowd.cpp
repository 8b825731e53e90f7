#include "tests/hostile/ipp_crowd.h"

#include <arpa/inet.h>
#include <csignal>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <iterator>
#include <map>
#include <stdexcept>

#include "tests/unit/tarn/ipp/scripted_server.h"

namespace hostile {

namespace {

constexpr int kDripMs = 500;
constexpr int kAddressesInARow = 250;

int listenAt(std::uint16_t port, int backlog)
{
    const int door = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int on = 1;
    ::setsockopt(door, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    if (::bind(door, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(door, backlog) != 0) {
        throw std::runtime_error("port " + std::to_string(port) + " is taken");
    }
    return door;
}

// What the process does, until it is ended.
class Crowd final
{
public:
    Crowd(int door) : m_door(door), m_poll(::epoll_create1(0)) { watch(door); }
    void serve()
    {
        for (;;) {
            epoll_event events[64];
            const int ready = ::epoll_wait(m_poll, events, static_cast<int>(std::size(events)), kDripMs);
            for (int i = 0; i < ready; ++i) {
                if (events[i].data.fd == m_door) {
                    letIn();
                } else {
                    hear(events[i].data.fd);
                }
            }
            drip();
        }
    }

private:
    struct Guest
    {
        std::uint32_t host = 0; // the printer's address
        std::string received;
        bool drips = false;
    };

    void watch(int fd) const
    {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        ::epoll_ctl(m_poll, EPOLL_CTL_ADD, fd, &event);
    }
    void letIn()
    {
        for (int fd = 0; (fd = ::accept4(m_door, nullptr, nullptr, SOCK_NONBLOCK)) >= 0;) {
            sockaddr_in self{};
            socklen_t size = sizeof self;
            ::getsockname(fd, reinterpret_cast<sockaddr*>(&self), &size);
            m_guests[fd].host = ntohl(self.sin_addr.s_addr);
            watch(fd);
        }
    }
    void leave(int fd)
    {
        ::close(fd);
        m_guests.erase(fd);
    }
    void hear(int fd)
    {
        Guest& guest = m_guests[fd];
        char octets[4096];
        const ssize_t got = ::recv(fd, octets, sizeof octets, 0);
        if (got <= 0) {
            leave(fd);
            return;
        }
        guest.received.append(octets, static_cast<std::size_t>(got));
        const std::size_t end = guest.received.find("\r\n\r\n");
        const std::size_t length = guest.received.find("Content-Length: ");
        const bool whole = end != std::string::npos && length != std::string::npos &&
                           guest.received.size() >= end + 4 + std::stoul(guest.received.substr(length + 16));
        if (whole && !guest.drips) {
            answer(fd, guest);
        }
    }
    void answer(int fd, Guest& guest)
    {
        const auto behaviour = static_cast<IppCrowd::Behaviour>((guest.host >> 8) & 0xFF);
        if (behaviour == IppCrowd::Silent) {
            return;
        }
        if (behaviour == IppCrowd::Slow && m_asked[guest.host]++ % 3 != 0) {
            guest.drips = true;
            say(fd, "HTTP/1.1 200 OK\r\nContent-Type: application/ipp\r\nContent-Length: 5000\r\n\r\n");
            return;
        }
        say(fd, tarn::ipp::test::httpAnswer("200 OK", tarn::ipp::test::IppOctets()
                                                          .printer()
                                                          .text("printer-make-and-model", "Lyra")
                                                          .number("printer-state", 3)
                                                          .whole()));
        leave(fd);
    }
    static void say(int fd, const std::string& text) { ::send(fd, text.data(), text.size(), MSG_NOSIGNAL); }
    void drip()
    {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        const long ms = now.tv_sec * 1000 + now.tv_nsec / 1000000;
        if (ms - m_dripped >= kDripMs) {
            m_dripped = ms;
            for (const auto& [fd, guest] : m_guests) {
                if (guest.drips) {
                    say(fd, "x");
                }
            }
        }
    }

    const int m_door;
    const int m_poll;
    std::map<int, Guest> m_guests;
    std::map<std::uint32_t, unsigned> m_asked;
    long m_dripped = 0;
};

// A listener without room: its queue of connections is full.
void fill(int door, std::uint16_t port)
{
    ::listen(door, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    for (int i = 0; i < 4; ++i) {
        const int guest = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        ::connect(guest, reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
}

} // namespace

IppCrowd::IppCrowd(std::uint16_t port) : m_port(port)
{
    const int door = listenAt(port, 1024);
    const int full = listenAt(static_cast<std::uint16_t>(port + 1), 0);
    m_process = ::fork();
    if (m_process == 0) {
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 4096);
        ::setrlimit(RLIMIT_NOFILE, &limit);
        fill(full, static_cast<std::uint16_t>(port + 1));
        Crowd(door).serve();
    }
    ::close(door);
    ::close(full);
    if (m_process < 0) {
        throw std::runtime_error("no process");
    }
}

IppCrowd::~IppCrowd()
{
    ::kill(m_process, SIGKILL);
    ::waitpid(m_process, nullptr, 0);
}

std::vector<NamedPrinter> IppCrowd::printers(Behaviour behaviour, int count)
{
    std::vector<NamedPrinter> printers;
    for (int i = 1; i <= std::min(count, kAddressesInARow); ++i) {
        const std::string ip = "127.44." + std::to_string(behaviour) + '.' + std::to_string(i);
        printers.push_back({"crowd-" + ip, ip});
    }
    return printers;
}

std::string IppCrowd::addresses(const std::vector<NamedPrinter>& printers) const
{
    const std::string absent = "127.44." + std::to_string(Absent) + '.';
    std::string text;
    for (const NamedPrinter& printer : printers) {
        const bool nobody = printer.ip.compare(0, absent.size(), absent) == 0;
        text += (text.empty() ? "\"" : ",\"") + printer.ip + R"(": {"ipp": "ipp", "ippPort": )" +
                std::to_string(m_port + (nobody ? 1 : 0)) + '}';
    }
    return text;
}

} // namespace hostile
