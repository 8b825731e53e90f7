#pragma once

#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tarn/src/ipp/http_loop.h"
#include "tarn/src/ipp/ipp_request.h"

namespace tarn::ipp {

struct CupsLibrary;

// Where the libraries come from, asked when they are needed, until they are there.
struct IppLibraries
{
    std::function<const CupsLibrary*()> cups;
    std::function<const CurlLibrary*()> curl;

    static IppLibraries system();
};

// Somebody who waits for answers.
class AnswerSink
{
public:
    virtual ~AnswerSink() = default;
    virtual void take(FinishedRequest finished) noexcept = 0;
};

// RequestRunner asks printers: it encodes requests, tries the routes of each, one after the other, and
// decodes what comes.
//
// Invariants
//  (1) A request that was begun ends once, after kDeadline at the latest, whatever the peer does; or it is
//      cancelled.
//  (2) An answer has at most kLargestAnswer octets, packed or not.
//  (3) Nothing is loaded before the first request.
// Threading: one thread, whose SIGPIPE is blocked. Ownership: borrows clock and wakeFd.
class RequestRunner final
{
public:
    static constexpr Milliseconds kDeadline{10000};
    static constexpr std::size_t kLargestAnswer = 1u << 20;
    static constexpr std::size_t kLargestQueues = 8u << 20; // of the scheduler of this machine

    // wakeFd: ends wait() when it is readable.
    RequestRunner(IppLibraries libraries, const Clock& clock, int wakeFd);
    ~RequestRunner();
    RequestRunner(const RequestRunner&) = delete;
    RequestRunner& operator=(const RequestRunner&) = delete;

    // Throws before the request is begun, or not at all.
    void begin(std::shared_ptr<AnswerSink> sink, Ticket ticket, IppRequest request);
    // Ticket 0: all of the sink's. Returns how many there were.
    std::size_t cancel(const AnswerSink& sink, Ticket ticket);
    // Waits for what is to be done next, and does it.
    void wait();

private:
    struct Running;

    bool openLoop(IppOutcome& failure);
    // Where CUPS says that its scheduler is. False for one that has a name: looking that up could take any
    // time.
    bool toScheduler(Running& running) const;
    void tryNextRoute(Running& running);
    bool beginExchange(Running& running, const IppRoute& route);
    void exchangeEnded(Running& running, Attempt attempt);
    Attempt readAnswer(Running& running) const;
    void finish(Running& running, IppOutcome outcome);

    const IppLibraries m_libraries;
    const Clock& m_clock;
    const int m_wakeFd;

    const CupsLibrary* m_cups = nullptr;
    const CurlLibrary* m_curl = nullptr;
    std::unique_ptr<HttpLoop> m_loop; // once it could be opened
    std::unordered_map<Running*, std::unique_ptr<Running>> m_running;
    std::unordered_map<const HttpExchange*, Running*> m_exchanges;
};

} // namespace tarn::ipp
