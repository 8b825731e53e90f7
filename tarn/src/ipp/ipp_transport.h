#pragma once

#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include "tarn/src/base/exit_hook.h"
#include "tarn/src/base/inbox.h"
#include "tarn/src/base/mutex.h"
#include "tarn/src/ipp/request_runner.h"

namespace tarn::ipp {

// IppTransport carries all requests over IPP, in one thread, and hands the answers to the queues that they
// came through.
//
// Invariants
//  (1) Every request that was taken ends once, as RequestRunner says, unless it is cancelled or its queue is
//      gone.
//  (2) There is no thread before the first request; where the system gives none, the next request tries
//      again.
//  (3) When the process exits, the thread leaves the libraries before they are ended.
// Threading: any thread. Ownership: shared by its queues; the last one ends it, within milliseconds
// unless libcups is reading its files in ~/.cups: they are waited for without a bound.
class IppTransport final : public std::enable_shared_from_this<IppTransport>, private ExitHook
{
public:
    static std::shared_ptr<IppTransport> make(IppLibraries libraries = IppLibraries::system());
    ~IppTransport();
    IppTransport(const IppTransport&) = delete;
    IppTransport& operator=(const IppTransport&) = delete;

    std::unique_ptr<RequestQueue> newQueue();

private:
    class Mailbox;
    class Queue;
    // What the thread is told. Without a request: to cancel.
    struct Order
    {
        std::shared_ptr<Mailbox> mailbox;
        Ticket ticket = 0;
        std::optional<IppRequest> request;
    };
    enum class Phase
    {
        Working,
        Leaving, // the thread is to leave the libraries
        Left,
    };

    explicit IppTransport(IppLibraries libraries) : m_libraries(std::move(libraries)) {}

    bool post(Order order) TARN_EXCLUDES(m_mutex);
    bool startThread() TARN_REQUIRES(m_mutex);
    void processExits(std::chrono::steady_clock::time_point until) override TARN_EXCLUDES(m_mutex);

    void run() TARN_EXCLUDES(m_mutex);
    bool step(RequestRunner& runner);
    bool nextOrder(Order& order);

    const IppLibraries m_libraries;
    const BootClock m_clock;

    Mutex m_mutex;
    CondVar m_changed; // m_phase or m_ending
    std::thread m_thread TARN_GUARDED_BY(m_mutex);
    Phase m_phase TARN_GUARDED_BY(m_mutex) = Phase::Working;
    bool m_ending TARN_GUARDED_BY(m_mutex) = false; // the thread is to end

    Inbox<Order> m_orders; // open before the thread begins; closed: it is to leave the libraries

    // the thread's own
    std::vector<Order> m_taken;
    std::size_t m_next = 0; // of them
};

} // namespace tarn::ipp
