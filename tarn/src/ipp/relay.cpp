#include "tarn/src/ipp/relay.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "tarn/src/base/worker_thread.h"

namespace tarn::ipp {

namespace {

constexpr std::size_t kBuffer = 64u << 10; // octets that wait for one side
constexpr int kLongestSleepMs = 60000;
constexpr int kAfterFailureMs = 100;

void closeAndForget(int& descriptor)
{
    if (descriptor >= 0) {
        ::close(descriptor);
        descriptor = -1;
    }
}

// A socket that waits for one connection to a port of the loopback interface.
int listenOnLoopback(std::uint16_t& port)
{
    int door = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (door >= 0 && ::bind(door, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
        ::listen(door, 1) == 0 && ::getsockname(door, reinterpret_cast<sockaddr*>(&address), &size) == 0) {
        port = ntohs(address.sin_port);
        return door;
    }
    closeAndForget(door);
    return -1;
}

bool isPassing(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

Relay::~Relay()
{
    std::thread thread;
    {
        const MutexLock lock(m_mutex);
        m_stopping = true;
        signal();
        thread.swap(m_thread);
    }
    if (thread.joinable()) {
        thread.join();
    }
    const MutexLock lock(m_mutex);
    for (Link& link : m_links) {
        end(link);
    }
    closeAndForget(m_wakeFd);
}

Relay::Door Relay::open(int peer, SteadyTime deadline, std::size_t mostOctets)
{
    const MutexLock lock(m_mutex);
    Door door;
    Link link;
    link.peer = peer;
    if (m_cut || !startThread() || (link.door = listenOnLoopback(door.port)) < 0) {
        end(link);
        return Door();
    }
    link.id = door.id = ++m_lastId;
    link.deadline = deadline;
    link.octetsLeft = mostOctets;
    m_links.push_back(std::move(link));
    signal();
    return door;
}

Relay::Ending Relay::close(std::uint32_t id)
{
    const MutexLock lock(m_mutex);
    for (Link& link : m_links) {
        if (link.id == id) {
            link.closed = true;
            signal();
            return link.ending;
        }
    }
    return Ending::Open;
}

void Relay::cutAll()
{
    const MutexLock lock(m_mutex);
    m_cut = true;
    signal();
}

bool Relay::startThread()
{
    if (m_thread.joinable()) {
        return true;
    }
    if (m_wakeFd < 0) {
        m_wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    }
    m_thread = m_wakeFd < 0 ? std::thread() : workerThread("tarn-ipp-relay", [this] { loop(); });
    return m_thread.joinable();
}

void Relay::signal() const
{
    const std::uint64_t one = 1;
    if (m_wakeFd >= 0) {
        [[maybe_unused]] const ssize_t written = ::write(m_wakeFd, &one, sizeof one);
    }
}

void Relay::loop()
{
    std::vector<pollfd> descriptors;
    for (bool goesOn = true; goesOn;) {
        try {
            goesOn = step(descriptors);
        } catch (const std::exception&) { // out of memory: the deadlines hold all the same
            ::poll(nullptr, 0, kAfterFailureMs);
        }
    }
}

// False when the thread is to end.
bool Relay::step(std::vector<pollfd>& descriptors)
{
    int timeoutMs = 0;
    {
        const MutexLock lock(m_mutex);
        if (m_stopping) {
            return false;
        }
        timeoutMs = watched(descriptors);
    }
    ::poll(descriptors.data(), descriptors.size(), timeoutMs);
    const MutexLock lock(m_mutex);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(m_wakeFd, &count, sizeof count);
    const SteadyTime now = std::chrono::steady_clock::now();
    for (Link& link : m_links) {
        serve(link, now);
    }
    m_links.erase(std::remove_if(m_links.begin(), m_links.end(),
                                 [](const Link& link) { return link.over && link.closed; }),
                  m_links.end());
    return true;
}

// Fills in what to wait for; returns for how long.
int Relay::watched(std::vector<pollfd>& descriptors)
{
    descriptors.assign(1, {m_wakeFd, POLLIN, 0});
    SteadyTime next = SteadyTime::max();
    for (const Link& link : m_links) {
        if (link.over) {
            continue;
        }
        next = std::min(next, link.deadline);
        const auto watch = [&descriptors](int descriptor, bool reads, bool writes) {
            const int events = (reads ? POLLIN : 0) | (writes ? POLLOUT : 0);
            if (descriptor >= 0 && events != 0) {
                descriptors.push_back({descriptor, static_cast<short>(events), 0});
            }
        };
        watch(link.door, true, false);
        watch(link.local, link.toPeer.size() < kBuffer, !link.toLocal.empty());
        watch(link.peer, !link.peerEnded && link.toLocal.size() < kBuffer, !link.toPeer.empty());
    }
    if (next == SteadyTime::max()) {
        return kLongestSleepMs;
    }
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(next - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::clamp<std::int64_t>(left, 0, kLongestSleepMs));
}

// Moves what can be moved. Which descriptors were ready is not looked at: none of them blocks.
void Relay::serve(Link& link, SteadyTime now)
{
    if (link.over) {
        return;
    }
    if (link.closed || m_cut) {
        end(link);
        return;
    }
    if (now >= link.deadline) {
        link.ending = Ending::Deadline;
        end(link);
        return;
    }
    letIn(link);
    if (link.local >= 0) {
        fromLocal(link);
    }
    if (!link.over) {
        fromPeer(link);
    }
}

void Relay::letIn(Link& link)
{
    if (link.door < 0) {
        return;
    }
    link.local = ::accept4(link.door, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (link.local >= 0) {
        const int on = 1; // what libcups and its peer write comes in small pieces
        ::setsockopt(link.local, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        closeAndForget(link.door);
    }
}

void Relay::fromLocal(Link& link)
{
    char octets[16384];
    if (link.toPeer.size() < kBuffer) {
        const ssize_t got = ::recv(link.local, octets, sizeof octets, 0);
        if (got == 0 || (got < 0 && !isPassing(errno))) {
            end(link); // libcups is done
            return;
        }
        link.toPeer.append(octets, got > 0 ? static_cast<std::size_t>(got) : 0);
    }
    bool gone = false;
    drain(link.peer, link.toPeer, gone);
    if (gone) {
        link.toPeer.clear(); // it may have answered before it went
    }
}

void Relay::fromPeer(Link& link)
{
    char octets[16384];
    if (!link.peerEnded && link.toLocal.size() < kBuffer) {
        const ssize_t got = ::recv(link.peer, octets, sizeof octets, 0);
        link.peerEnded = got == 0 || (got < 0 && !isPassing(errno));
        const std::size_t count = got > 0 ? static_cast<std::size_t>(got) : 0;
        if (count > link.octetsLeft) {
            link.ending = Ending::TooMuch;
            end(link);
            return;
        }
        link.octetsLeft -= count;
        link.toLocal.append(octets, count);
    }
    if (link.local < 0) {
        return;
    }
    bool gone = false;
    drain(link.local, link.toLocal, gone);
    if (gone) {
        end(link);
    } else if (link.peerEnded && link.toLocal.empty() && !link.localTold) {
        link.localTold = true;
        ::shutdown(link.local, SHUT_WR);
    }
}

void Relay::drain(int descriptor, std::string& octets, bool& gone)
{
    if (octets.empty()) {
        return;
    }
    const ssize_t sent = ::send(descriptor, octets.data(), octets.size(), MSG_NOSIGNAL);
    if (sent > 0) {
        octets.erase(0, static_cast<std::size_t>(sent));
    }
    gone = sent < 0 && !isPassing(errno);
}

void Relay::end(Link& link)
{
    link.over = true;
    closeAndForget(link.door);
    closeAndForget(link.local);
    closeAndForget(link.peer);
}

} // namespace tarn::ipp
