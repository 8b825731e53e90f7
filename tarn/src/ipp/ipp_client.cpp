#include "tarn/src/ipp/ipp_client.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>

#include "tarn/src/engine/endpoint.h"
#include "tarn/src/ipp/cups_library.h"

namespace tarn::ipp {

using engine::IppChoice;
using SteadyClock = std::chrono::steady_clock;

namespace {

const char* const usualPaths[] = {"/ipp/print", "/ipp", "/"};

// RFC 8011 4.1.8
constexpr int kSuccessEnd = 0x0100;
constexpr int kNotFound = 0x0406;
constexpr int kVersionNotSupported = 0x0503;

// What one attempt by one route came to.
enum class Attempt
{
    Answered,
    Silent,
    Refused,
    Stopped,
    OtherPath,    // something of HTTP is there, but no printer on this path
    OtherVersion, // a printer that wants IPP 1.1
    OtherScheme,  // it does not talk, or not as long as it is not encrypted
    TooLong,      // over the deadline, or beyond the octets
};

struct Exchange
{
    Attempt attempt = Attempt::OtherScheme;
    std::string body;
};

// Where CUPS says that its scheduler is. False for one that has a name: looking that up could take any time.
bool toScheduler(const CupsLibrary& cups, IppQuestion& question)
{
    const char* const said = cups.schedulerName();
    const std::string server = said != nullptr ? said : "";
    if (!server.empty() && server.front() == '/') {
        question.socketPath = server;
        return true;
    }
    const std::optional<std::uint32_t> address =
        engine::parseIpv4(server == "localhost" ? "127.0.0.1" : server);
    const int port = cups.schedulerPort();
    question.address = address.value_or(0);
    question.settings.port = static_cast<std::uint16_t>(port);
    return address && port > 0 && port <= 65535;
}

} // namespace

// One question on its way.
class IppClient::Asking final
{
public:
    Asking(IppClient& client, const CupsLibrary& cups, const IppQuestion& question)
        : m_client(client), m_cups(cups), m_question(question), m_deadline(SteadyClock::now() + kDeadline)
    {
    }

    IppAnswer ask();

private:
    Attempt tryScheme(bool tls);
    Attempt tryRoute(IppRoute route);
    Attempt exchange(const IppRoute& route, std::string& body);
    Exchange overConnection(int peer, const IppRoute& route);
    Exchange talk(http_t* http, const IppRoute& route) const;
    Attempt readBody(http_t* http, std::string& body) const;
    int connectPeer(Attempt& failure) const;
    int waitForConnection(int peer) const;

    const char* pathOf(const IppRoute& route) const
    {
        return m_question.settings.path.empty() ? usualPaths[route.path] : m_question.settings.path.c_str();
    }
    int msLeft() const
    {
        const auto left = std::chrono::duration_cast<Milliseconds>(m_deadline - SteadyClock::now()).count();
        return static_cast<int>(std::max<std::int64_t>(left, 0));
    }
    std::size_t mostOctets() const
    {
        return m_question.operation == IppOperation::Queues ? kLargestQueues : kLargestAnswer;
    }

    IppClient& m_client;
    const CupsLibrary& m_cups;
    const IppQuestion& m_question;
    const SteadyClock::time_point m_deadline;
    IppAnswer m_answer;
};

IppClient::IppClient(Source source)
    : m_source(std::move(source)), m_stopFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

IppClient::~IppClient()
{
    if (m_stopFd >= 0) {
        ::close(m_stopFd);
    }
}

void IppClient::stop()
{
    m_stopped = true;
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_stopFd, &one, sizeof one);
    m_relay.cutAll();
}

IppAnswer IppClient::ask(const IppQuestion& question)
{
    IppAnswer answer;
    const CupsLibrary* const cups = m_stopped ? nullptr : m_source();
    if (m_stopped || cups == nullptr) {
        answer.outcome = m_stopped ? IppOutcome::Stopped : IppOutcome::NoLibrary;
        return answer;
    }
    IppQuestion asked = question;
    if (asked.operation == IppOperation::Queues && !toScheduler(*cups, asked)) {
        return answer;
    }
    answer = Asking(*this, *cups, asked).ask();
    if (m_stopped) {
        answer.outcome = IppOutcome::Stopped;
    }
    return answer;
}

IppAnswer IppClient::Asking::ask()
{
    const IppChoice choice = m_question.settings.choice;
    Attempt last = Attempt::OtherScheme;
    if (m_question.route.known) {
        last = tryRoute(m_question.route);
    }
    const bool goesOn =
        last == Attempt::OtherPath || last == Attempt::OtherScheme || last == Attempt::OtherVersion;
    if (goesOn && choice != IppChoice::Tls) {
        last = tryScheme(false);
    }
    if ((choice == IppChoice::Tls && goesOn) || (choice == IppChoice::Auto && last == Attempt::OtherScheme)) {
        last = tryScheme(true);
    }
    switch (last) {
    case Attempt::Answered:
        m_answer.outcome = IppOutcome::Answered;
        break;
    case Attempt::Silent:
        m_answer.outcome = IppOutcome::Silent;
        break;
    case Attempt::Refused:
        m_answer.outcome = IppOutcome::Refused;
        break;
    default:
        m_answer.outcome = IppOutcome::NoIpp;
        break;
    }
    return std::move(m_answer);
}

Attempt IppClient::Asking::tryScheme(bool tls)
{
    const bool one = !m_question.settings.path.empty() || m_question.operation == IppOperation::Queues;
    const std::size_t paths = one ? 1 : std::size(usualPaths);
    Attempt last = Attempt::OtherScheme;
    for (std::size_t path = 0; path < paths; ++path) {
        IppRoute route{true, tls, false, static_cast<std::uint8_t>(path)};
        last = tryRoute(route);
        if (last == Attempt::OtherVersion) {
            route.version11 = true;
            last = tryRoute(route);
        }
        if (last != Attempt::OtherPath && last != Attempt::OtherVersion) {
            break;
        }
    }
    return last;
}

Attempt IppClient::Asking::tryRoute(IppRoute route)
{
    std::string body;
    const Attempt attempt = exchange(route, body);
    if (attempt != Attempt::Answered) {
        return attempt;
    }
    std::optional<IppReply> reply = decodeIpp(m_cups, body);
    if (!reply) {
        return Attempt::OtherPath;
    }
    if (reply->statusCode == kVersionNotSupported && !route.version11) {
        return Attempt::OtherVersion;
    }
    const bool queues = m_question.operation == IppOperation::Queues;
    const bool told = !reply->printers.empty() && !reply->printers.front().empty();
    // A scheduler without queues says "not found".
    const bool usable = queues ? reply->statusCode < kSuccessEnd || reply->statusCode == kNotFound : told;
    if (!usable) {
        return Attempt::OtherPath;
    }
    m_answer.route = route;
    m_answer.printers = std::move(reply->printers);
    return Attempt::Answered;
}

Attempt IppClient::Asking::exchange(const IppRoute& route, std::string& body)
{
    if (msLeft() == 0) {
        return Attempt::TooLong;
    }
    Attempt failure = Attempt::Silent;
    const int peer = connectPeer(failure);
    if (peer < 0) {
        return failure;
    }
    Exchange done = overConnection(peer, route);
    body = std::move(done.body);
    return done.attempt;
}

// A connected socket that does not block, or -1 and why not.
int IppClient::Asking::connectPeer(Attempt& failure) const
{
    sockaddr_storage storage{};
    socklen_t size = 0;
    if (m_question.socketPath.empty()) {
        auto& address = reinterpret_cast<sockaddr_in&>(storage);
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(m_question.address);
        address.sin_port = htons(m_question.settings.port);
        size = sizeof address;
    } else {
        auto& address = reinterpret_cast<sockaddr_un&>(storage);
        address.sun_family = AF_UNIX;
        if (m_question.socketPath.size() >= sizeof address.sun_path) {
            return -1;
        }
        std::memcpy(address.sun_path, m_question.socketPath.data(), m_question.socketPath.size());
        size = sizeof address;
    }
    const int peer = ::socket(storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (peer < 0) {
        return -1;
    }
    int error = ::connect(peer, reinterpret_cast<const sockaddr*>(&storage), size) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        error = waitForConnection(peer);
    }
    if (error == 0) {
        const int on = 1;
        ::setsockopt(peer, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        return peer;
    }
    ::close(peer);
    failure = m_client.m_stopped      ? Attempt::Stopped
              : error == ECONNREFUSED ? Attempt::Refused
                                      : Attempt::Silent;
    return -1;
}

// Returns the error of the connection.
int IppClient::Asking::waitForConnection(int peer) const
{
    pollfd descriptors[] = {{peer, POLLOUT, 0}, {m_client.m_stopFd, POLLIN, 0}};
    const int patience = std::min(msLeft(), static_cast<int>(kConnectPatience.count()));
    const int ready = ::poll(descriptors, std::size(descriptors), patience);
    if (ready <= 0 || descriptors[0].revents == 0) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(peer, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

Exchange IppClient::Asking::overConnection(int peer, const IppRoute& route)
{
    Exchange done;
    // More than the answer may have, for headers and encryption.
    const Relay::Door door = m_client.m_relay.open(peer, m_deadline, mostOctets() + mostOctets() / 16);
    if (door.port == 0) {
        done.attempt = m_client.m_stopped ? Attempt::Stopped : Attempt::Silent;
        return done;
    }
    http_addrlist_t list{};
    list.addr.ipv4.sin_family = AF_INET;
    list.addr.ipv4.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    list.addr.ipv4.sin_port = htons(door.port);
    const std::string host =
        m_question.socketPath.empty() ? engine::formatIpv4(m_question.address) : std::string("localhost");
    // libcups encrypts whatever it is asked for with port 443: the port of the list counts.
    http_t* const http =
        m_cups.connect(host.c_str(), 631, &list, AF_INET,
                       route.tls ? HTTP_ENCRYPTION_ALWAYS : HTTP_ENCRYPTION_NEVER, 1, msLeft() + 1, nullptr);
    if (http != nullptr) {
        done = talk(http, route);
    }
    // Before libcups closes its end: it would wait for the farewell of a peer that may give none.
    const Relay::Ending ending = m_client.m_relay.close(door.id);
    if (http != nullptr) {
        m_cups.close(http);
    }
    if (ending != Relay::Ending::Open) {
        done.attempt = Attempt::TooLong;
    } else if (m_client.m_stopped) {
        done.attempt = Attempt::Stopped;
    }
    return done;
}

Exchange IppClient::Asking::talk(http_t* http, const IppRoute& route) const
{
    Exchange done;
    const std::string host = engine::formatIpv4(m_question.address);
    const std::string port = std::to_string(m_question.settings.port);
    const std::string uri = (route.tls ? "ipps://" : "ipp://") + host + ':' + port + pathOf(route);
    const std::string request = encodeIpp(m_cups, m_question.operation, uri, route.version11);
    m_cups.setTimeout(http, static_cast<double>(msLeft() + 1) / 1000, nullptr, nullptr);
    m_cups.clearFields(http);
    // The "Host:" that a printer may insist on is made of this address, which is that of the relay.
    if (http_addr_t* const shown = m_cups.peerAddress(http); shown != nullptr && m_question.address != 0) {
        shown->ipv4.sin_addr.s_addr = htonl(m_question.address);
        shown->ipv4.sin_port = htons(m_question.settings.port);
    }
    m_cups.setField(http, HTTP_FIELD_CONTENT_TYPE, "application/ipp");
    m_cups.setLength(http, request.size());
    const char* const path = m_question.operation == IppOperation::Queues ? "/" : pathOf(route);
    if (request.empty() || m_cups.post(http, path) != 0 ||
        m_cups.write(http, request.data(), request.size()) != static_cast<ssize_t>(request.size()) ||
        m_cups.flushWrite(http) < 0) {
        return done;
    }
    http_status_t status = HTTP_STATUS_CONTINUE;
    while (status == HTTP_STATUS_CONTINUE) { // bounded by the relay
        status = m_cups.update(http);
    }
    if (status == HTTP_STATUS_OK) {
        done.attempt = readBody(http, done.body);
    } else if (status == HTTP_STATUS_ERROR || status == HTTP_STATUS_UPGRADE_REQUIRED ||
               (status >= 300 && status < 400)) {
        // No HTTP, or not without encryption, which is what a redirection from here most often means.
        done.attempt = Attempt::OtherScheme;
    } else {
        done.attempt = Attempt::OtherPath;
    }
    return done;
}

Attempt IppClient::Asking::readBody(http_t* http, std::string& body) const
{
    char octets[16384];
    for (;;) {
        const ssize_t got = m_cups.read(http, octets, sizeof octets);
        if (got <= 0) {
            // What is cut off is seen by whoever decodes it.
            return Attempt::Answered;
        }
        body.append(octets, static_cast<std::size_t>(got));
        if (body.size() > mostOctets()) {
            return Attempt::TooLong; // it was packed
        }
    }
}

} // namespace tarn::ipp
