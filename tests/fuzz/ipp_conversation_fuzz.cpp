#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <string>
#include <utility>

#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/curl_library.h"
#include "tarn/src/ipp/request_runner.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/ipp_checks.h"
#include "tests/unit/tarn/ipp/scripted_server.h"
#include "tests/unit/tarn/support/simulated_time.h"

// A whole conversation over HTTP and IPP: requests, the search for the route, libcurl and libcups, with a
// printer on the loopback interface that does to each connection what the input says. Behind the input's end
// it answers as it should, and must be read.
namespace {

using namespace tarn;
using ipp::test::IppOctets;
using kel_fuzz::Input;
using kel_fuzz::require;

std::string goodBody()
{
    return IppOctets().printer().text("printer-make-and-model", "Lyra").number("printer-state", 3).whole();
}

std::string http(const std::string& head, const std::string& body)
{
    return "HTTP/1.1 " + head +
           "\r\nContent-Type: application/ipp\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

std::string chunked(const std::string& body, std::size_t size)
{
    std::string out = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    static const char digits[] = "0123456789ABCDEF";
    for (std::size_t at = 0; at < body.size(); at += size) {
        const std::string piece = body.substr(at, size);
        out += digits[piece.size() >> 4 & 15];
        out += digits[piece.size() & 15];
        out += "\r\n" + piece + "\r\n";
    }
    return out + "0\r\n\r\n";
}

// The printer's end: one listener, and what it says to each connection as soon as something was asked.
class Printer final
{
public:
    // Each at another address, so that ports do not run out while connections of before linger.
    Printer(Input& input, std::uint32_t address)
        : m_input(input), m_door(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0))
    {
        sockaddr_in place{};
        place.sin_family = AF_INET;
        place.sin_addr.s_addr = htonl(address);
        socklen_t size = sizeof place;
        require(::bind(m_door, reinterpret_cast<sockaddr*>(&place), size) == 0 && ::listen(m_door, 16) == 0);
        ::getsockname(m_door, reinterpret_cast<sockaddr*>(&place), &size);
        m_port = ntohs(place.sin_port);
    }
    ~Printer()
    {
        for (const Connection& each : m_connections) {
            ::close(each.fd);
        }
        ::close(m_door);
    }
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;

    std::uint16_t port() const { return m_port; }
    unsigned connections() const { return m_accepted; }

    // Whether anything happened.
    bool turn()
    {
        bool busy = false;
        for (int fd = ::accept4(m_door, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC); fd >= 0;
             fd = ::accept4(m_door, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) {
            ++m_accepted;
            m_connections.push_back({fd, {}, {}, false});
            busy = true;
        }
        for (auto at = m_connections.begin(); at != m_connections.end();) {
            const bool goesOn = serve(*at, busy);
            if (!goesOn) {
                ::close(at->fd);
            }
            at = goesOn ? std::next(at) : m_connections.erase(at);
        }
        return busy;
    }

private:
    struct Connection
    {
        int fd;
        std::deque<std::string> pieces; // that are still to be said
        std::string received;
        bool isOver; // closed behind the last piece
    };

    bool serve(Connection& connection, bool& busy)
    {
        char octets[4096];
        const ssize_t count = ::recv(connection.fd, octets, sizeof octets, 0);
        if (count == 0 || (count < 0 && errno != EAGAIN)) {
            busy = true;
            return false;
        }
        if (count > 0) {
            busy = true;
            const bool isFirst = connection.received.empty();
            connection.received.append(octets, static_cast<std::size_t>(count));
            if (isFirst) {
                decide(connection);
            }
        }
        if (connection.received.empty() || connection.pieces.empty()) {
            return !connection.isOver;
        }
        busy = true;
        const std::string piece = std::move(connection.pieces.front());
        connection.pieces.pop_front();
        return ::send(connection.fd, piece.data(), piece.size(), MSG_NOSIGNAL) ==
                   static_cast<ssize_t>(piece.size()) &&
               !(connection.pieces.empty() && connection.isOver);
    }

    void decide(Connection& connection)
    {
        const bool isHonest = m_input.empty();
        const std::uint8_t how = m_input.octet();
        connection.isOver = (how & 0x10) != 0;
        std::string said = isHonest ? http("200 OK", goodBody()) : saying(how);
        if ((how & 0x20) != 0 && !said.empty()) {
            const std::size_t where = (m_input.octet() * 256U + m_input.octet()) % said.size();
            said[where] = static_cast<char>(said[where] ^ m_input.octet());
        }
        if ((how & 0x40) != 0) {
            said.resize(said.size() * m_input.octet() / 256);
        }
        const std::size_t size =
            (how & 0x80) != 0 ? std::max<std::size_t>(m_input.octet() + 1U, said.size() / 64) : said.size();
        for (std::size_t at = 0; at < said.size(); at += size) {
            connection.pieces.push_back(said.substr(at, size));
        }
    }

    std::string saying(std::uint8_t how)
    {
        switch (how & 15) {
        case 0:
            return http("200 OK", goodBody());
        case 1:
            return {}; // nothing, for as long as it is waited for
        case 2:
            return m_input.octets(m_input.octet());
        case 3:
            return http("200 OK", m_input.octets(m_input.octet()));
        case 4: {
            static const char* const heads[] = {"426 Upgrade Required",
                                                "301 Moved\r\nLocation: /x",
                                                "401 Unauthorized\r\nWWW-Authenticate: Basic",
                                                "404 Not Found",
                                                "500 Oops",
                                                "100 Continue",
                                                "204 No Content",
                                                "200"};
            return http(heads[m_input.octet() & 7], goodBody());
        }
        case 5:
            return chunked(goodBody(), m_input.octet() % 200 + 1U);
        case 6:
            return chunked(m_input.octets(m_input.octet()), m_input.octet() % 200 + 1U);
        case 7: // a printer of version 1.1
            return http("200 OK", IppOctets(0x0503, 0x0101).whole());
        case 8:
            return http("200 OK", IppOctets(m_input.octet() * 256U + m_input.octet()).printer().whole());
        case 9: { // attributes that the input makes up
            IppOctets octets;
            octets.printer();
            while (const std::uint8_t number = m_input.octet()) {
                const std::uint8_t tag = m_input.octet();
                const char* const name = ipp::kWantedAttributes[number % ipp::kWantedAttributes.size()];
                octets.value(tag, (number & 0x80) != 0 ? "" : name, m_input.octets(m_input.octet()));
            }
            return http("200 OK", octets.whole());
        }
        case 10: // a body without an announced end
            return "HTTP/1.0 200 OK\r\n\r\n" + goodBody();
        case 11:
            return "HTTP/1.1 200 OK\r\nContent-Length: 99999999\r\n\r\n" + goodBody();
        case 12:
            return "HTTP/1.1 200 OK\r\nContent-Encoding: gzip\r\nContent-Length: 40\r\n\r\n" +
                   m_input.octets(40);
        case 13: // headers without end
            return "HTTP/1.1 200 OK\r\n" + std::string(m_input.octet() * 400U, 'h');
        case 14: // much
            return http("200 OK", std::string(m_input.octet() * 8000U, '\x04'));
        default: // as TLS might begin
            return "\x16\x03\x03" + m_input.octets(m_input.octet());
        }
    }

    Input& m_input;
    const int m_door;
    std::uint16_t m_port = 0;
    unsigned m_accepted = 0;
    std::list<Connection> m_connections;
};

class Sink final : public ipp::AnswerSink
{
public:
    void take(ipp::FinishedRequest finished) noexcept override
    {
        require(!isFinished && finished.ticket == 7);
        isFinished = true;
        answer = std::move(finished.answer);
    }
    bool isFinished = false;
    ipp::IppAnswer answer;
};

struct World
{
    World()
    {
        ::signal(SIGPIPE, SIG_IGN);
        require(ipp::CupsLibrary::system() != nullptr && ipp::CurlLibrary::system() != nullptr);
    }
    const int wakeFd = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
};

class Conversation final
{
public:
    Conversation(const World& world, Input& input, std::uint32_t address)
        : m_wakeFd(world.wakeFd), m_input(input), m_address(address), m_printer(input, address),
          m_runner(ipp::IppLibraries::system(), m_clock, world.wakeFd)
    {
    }

    void converse()
    {
        for (int requests = 0; requests < 4 && !m_input.empty(); ++requests) {
            const std::uint8_t how = m_input.octet();
            ask(how);
        }
        while (!m_input.empty()) {
            m_input.octet();
        }
        m_route = {};
        ask(0);
        require(m_last.outcome == ipp::IppOutcome::Answered && m_last.printers.size() == 1);
        require(m_last.printers[0].text("printer-make-and-model") == "Lyra");
    }

private:
    // One request to its end, which comes whatever the printer does.
    void ask(std::uint8_t how)
    {
        const auto sink = std::make_shared<Sink>();
        ipp::IppRequest request;
        request.address = m_address;
        request.settings.port = m_printer.port();
        request.settings.choice = (how & 3) == 1   ? engine::IppChoice::Auto
                                  : (how & 3) == 2 ? engine::IppChoice::Tls
                                                   : engine::IppChoice::Plain;
        request.route = (how & 4) != 0 ? m_route : ipp::IppRoute();
        const unsigned before = m_printer.connections();
        const TimePoint begun = m_clock.now();
        m_runner.begin(sink, 7, std::move(request));
        const bool isHonest = m_input.empty();
        int idle = 0;
        while (!sink->isFinished) {
            const bool busy = turn();
            idle = busy ? 0 : idle + 1;
            if (isHonest && !busy) { // the system may take its time to carry it
                ::usleep(1000);
                m_clock.pass(Milliseconds(1));
            } else if (idle > 3) { // the printer says nothing more
                if ((how & 8) != 0) {
                    require(m_runner.cancel(*sink, 7) == 1);
                    break;
                }
                m_clock.pass(Milliseconds(1000));
                idle = 0;
            }
            require(m_clock.now() - begun <= ipp::RequestRunner::kDeadline + Milliseconds(2000));
        }
        require(m_printer.connections() - before <= 13);
        m_last = sink->answer;
        require(m_last.outcome != ipp::IppOutcome::NoLibrary);
        if (m_last.outcome == ipp::IppOutcome::Answered && sink->isFinished) {
            m_route = m_last.route;
            require(m_route.known && !m_last.printers.empty());
            for (const ipp::IppAttributes& printer : m_last.printers) {
                checkIppStatus(printer);
            }
        }
        require(m_runner.cancel(*sink, 0) == 0);
    }

    // Whether the printer had something to do; the runner takes what is there and does not wait.
    bool turn()
    {
        ::eventfd_write(m_wakeFd, 1);
        m_runner.wait();
        eventfd_t count = 0;
        ::eventfd_read(m_wakeFd, &count);
        return m_printer.turn();
    }

    const int m_wakeFd;
    Input& m_input;
    const std::uint32_t m_address;
    test::SimulatedClock m_clock;
    Printer m_printer;
    ipp::RequestRunner m_runner;
    ipp::IppRoute m_route;
    ipp::IppAnswer m_last;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const World world;
    static std::uint32_t last = static_cast<std::uint32_t>(::getpid()) << 8 & 0xFFFF00;
    last = (last + 1) & 0xFFFFFF;
    Input input(data, std::min<std::size_t>(size, 4096));
    Conversation conversation(world, input, 0x7F000000 | std::max(last & 0xFFFFFE, 2U));
    conversation.converse();
    return 0;
}
