#pragma once

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "tarn/src/base/mutex.h"

namespace tarn::ipp {

// Relay stands between libcups and its peers. libcups waits in its own way: ten seconds for a TLS handshake
// whatever it is asked, without end for a server that sends an octet now and then, and it hands out no
// descriptor that could be shut down meanwhile. So it connects to a port of ours on the loopback interface,
// and what goes through that is bounded: a deadline, a number of octets, and the owner's wish to end.
//
// A door stands open for less than a millisecond. Somebody else on this machine who finds it sooner than
// libcups gets a connection to the printer, which he could have had anyway, and the question fails.
//
// Invariants
//  (1) A link ends at its deadline, beyond its octets, when either side is gone, and when it is closed or
//      all are cut; libcups then reads the end of the connection.
//  (2) A door lets one connection in, and is shut before that is served.
//  (3) After open() only the relay's thread touches a link's descriptors.
// Threading: any thread; the relay has one of its own, begun by the first open().
class Relay final
{
public:
    using SteadyTime = std::chrono::steady_clock::time_point;

    enum class Ending
    {
        Open,     // it has not ended, or one of the two sides ended it
        Deadline, // cut
        TooMuch,  // cut: the peer sent more than it may
    };
    struct Door
    {
        std::uint16_t port = 0; // on 127.0.0.1; 0 when the system gives no descriptor or thread
        std::uint32_t id = 0;
    };

    Relay() = default;
    // Cuts everything and waits for the thread.
    ~Relay();
    Relay(const Relay&) = delete;
    Relay& operator=(const Relay&) = delete;

    // Takes over peer, a connected socket that does not block, from which at most that many octets may come.
    Door open(int peer, SteadyTime deadline, std::size_t mostOctets) TARN_EXCLUDES(m_mutex);
    // Ends the link, and tells how it ended.
    Ending close(std::uint32_t id) TARN_EXCLUDES(m_mutex);
    // Cuts all that are open, and whatever is opened later.
    void cutAll() TARN_EXCLUDES(m_mutex);

private:
    struct Link
    {
        std::uint32_t id = 0;
        int door = -1;  // listens
        int local = -1; // libcups
        int peer = -1;
        SteadyTime deadline;
        std::size_t octetsLeft = 0; // of the peer
        std::string toLocal;
        std::string toPeer;
        bool peerEnded = false;
        bool localTold = false; // that the peer has ended
        bool closed = false;    // by its owner
        bool over = false;
        Ending ending = Ending::Open;
    };

    bool startThread() TARN_REQUIRES(m_mutex);
    void signal() const TARN_REQUIRES(m_mutex);
    void loop() TARN_EXCLUDES(m_mutex);
    bool step(std::vector<pollfd>& descriptors) TARN_EXCLUDES(m_mutex);
    int watched(std::vector<pollfd>& descriptors) TARN_REQUIRES(m_mutex);
    void serve(Link& link, SteadyTime now) TARN_REQUIRES(m_mutex);
    static void letIn(Link& link);
    static void fromPeer(Link& link);
    static void fromLocal(Link& link);
    static void drain(int descriptor, std::string& octets, bool& gone);
    static void end(Link& link);

    Mutex m_mutex;
    std::vector<Link> m_links TARN_GUARDED_BY(m_mutex);
    std::uint32_t m_lastId TARN_GUARDED_BY(m_mutex) = 0;
    int m_wakeFd TARN_GUARDED_BY(m_mutex) = -1;
    bool m_cut TARN_GUARDED_BY(m_mutex) = false;
    bool m_stopping TARN_GUARDED_BY(m_mutex) = false;
    std::thread m_thread TARN_GUARDED_BY(m_mutex);
};

} // namespace tarn::ipp
