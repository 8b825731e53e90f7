#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/descriptor.h"
#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/ipp/http_exchange.h"

namespace tarn::ipp {

// HttpLoop drives any number of exchanges at once, each until its end or its deadline. A wake-up costs what
// is ready, not what is under way.
//
// Invariants
//  (1) An exchange that was begun ends once: it is among finished(), or it is dropped.
//  (2) An exchange without a connection ends kConnectPatience after its begin, every one at its deadline.
// Threading: one thread. Ownership: borrows the library and the exchanges.
class HttpLoop final
{
public:
    static constexpr Milliseconds kConnectPatience{4000};

    struct Finished
    {
        HttpExchange* exchange = nullptr;
        Attempt attempt = Attempt::NotSent;
    };

    // wakeFd: ends wait() when it is readable. Null when the system gives no descriptor or memory.
    static std::unique_ptr<HttpLoop> open(const CurlLibrary& curl, const Clock& clock, int wakeFd);
    ~HttpLoop();
    HttpLoop(const HttpLoop&) = delete;
    HttpLoop& operator=(const HttpLoop&) = delete;

    // False when it cannot be begun.
    bool begin(HttpExchange& exchange, TimePoint deadline);
    // Ends it, with its connection.
    void drop(HttpExchange& exchange);
    // Waits for what is to be done next, and does it.
    void wait();
    // What ended since the last call.
    std::vector<Finished> finished();

private:
    struct Running
    {
        HttpExchange* exchange = nullptr;
        TimePoint deadline{};
        std::size_t heapSlot = engine::DeadlineHeap<Running>::kOutside; // DeadlineHeap's
    };

    HttpLoop(const CurlLibrary& curl, const Clock& clock);
    bool listen(int wakeFd);
    int timeoutMs() const;
    void act(int descriptor, int events);
    void takeMessages();
    void cutOverdue();

    static int watchSocket(CURL* transfer, curl_socket_t descriptor, int what, void* self, void* known);
    static int setTimer(CURLM* multi, long timeoutMs, void* self);

    const CurlLibrary& m_curl;
    const Clock& m_clock;
    CURLM* m_multi = nullptr;
    Descriptor m_poll;        // an epoll
    TimePoint m_due = kNever; // when the library wants to be called
    std::unordered_map<CURL*, std::unique_ptr<Running>> m_running;
    engine::DeadlineHeap<Running> m_deadlines;
    std::vector<Finished> m_ended; // with room for all that are running
};

} // namespace tarn::ipp
