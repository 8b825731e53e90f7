#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/target.h"
#include "tarn/src/ipp/ipp_attributes.h"
#include "tarn/src/ipp/relay.h"

namespace tarn::ipp {

struct CupsLibrary;

// How a printer was reached, to be tried first the next time.
struct IppRoute
{
    bool known = false;
    bool tls = false;
    bool version11 = false;
    std::uint8_t path = 0; // which of the usual ones
};

struct IppQuestion
{
    std::uint32_t address = 0; // host byte order
    engine::IppSettings settings;
    IppRoute route;
    IppOperation operation = IppOperation::PrinterAttributes;
    std::string socketPath; // not empty: that socket of this machine instead of the address
};

enum class IppOutcome
{
    Answered, // printers says what; perhaps nothing
    Silent,   // no connection came about
    Refused,  // it was refused
    NoIpp,    // connected, and then no answer that could be used, or none in time
    NoLibrary,
    Stopped,
};

struct IppAnswer
{
    IppOutcome outcome = IppOutcome::Silent;
    IppRoute route; // when Answered
    std::vector<IppAttributes> printers;
};

// Asker is the seam between those who want to know and the network.
class IppAsker
{
public:
    virtual ~IppAsker() = default;
    // Asks once and waits for the answer. Any number of threads at once.
    virtual IppAnswer ask(const IppQuestion& question) = 0;
    // Every question, present and future, ends with Stopped.
    virtual void stop() = 0;
};

// IppClient asks printers over IPP.
//
// Invariants
//  (1) A question takes at most kDeadline, whatever the peer does, and after stop() a few milliseconds.
//      Only the asking thread waits for the peer.
//  (2) At most kLargestAnswer octets are taken, unpacked or not.
//  (3) Nobody else is connected to: redirections are not followed, names not resolved.
//  (4) No connection outlives its question.
// Certificates are not verified: printers sign their own.
// Threading: any thread that has SIGPIPE blocked, as those of workerThread() have: libcups may write to a
// connection that is gone.
class IppClient final : public IppAsker
{
public:
    static constexpr Milliseconds kDeadline{10000};
    static constexpr Milliseconds kConnectPatience{4000};
    static constexpr std::size_t kLargestAnswer = 1u << 20;
    static constexpr std::size_t kLargestQueues = 8u << 20; // of the scheduler of this machine

    // Where the library comes from, asked when it is first needed.
    using Source = std::function<const CupsLibrary*()>;
    explicit IppClient(Source source);
    ~IppClient() override;
    IppClient(const IppClient&) = delete;
    IppClient& operator=(const IppClient&) = delete;

    IppAnswer ask(const IppQuestion& question) override;
    void stop() override;

private:
    class Asking;

    // constant after construction
    const Source m_source;
    int m_stopFd = -1; // readable once stopped

    std::atomic<bool> m_stopped{false};
    Relay m_relay;
};

} // namespace tarn::ipp
