#include "tarn/src/ipp/http_loop.h"

#include <sys/epoll.h>

#include <algorithm>
#include <iterator>

#include "tarn/src/base/socket_pair.h"

namespace tarn::ipp {

namespace {

constexpr Milliseconds kLongestSleep{60000};

} // namespace

std::unique_ptr<HttpLoop> HttpLoop::open(const CurlLibrary& curl, const Clock& clock, int wakeFd)
{
    std::unique_ptr<HttpLoop> loop(new HttpLoop(curl, clock));
    return loop->listen(wakeFd) ? std::move(loop) : nullptr;
}

HttpLoop::HttpLoop(const CurlLibrary& curl, const Clock& clock) : m_curl(curl), m_clock(clock) {}

HttpLoop::~HttpLoop()
{
    if (m_multi != nullptr) {
        // Nobody waits any more. The library would tell of sockets that it has closed already, whose numbers another
        // thread may have by now.
        m_curl.setMulti(m_multi, CURLMOPT_SOCKETFUNCTION, static_cast<curl_socket_callback>(nullptr));
        for (const auto& item : m_running) {
            m_curl.remove(m_multi, item.first);
        }
        m_curl.deleteMulti(m_multi);
    }
}

bool HttpLoop::listen(int wakeFd)
{
    m_poll = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = -1; // no socket's
    if (::epoll_ctl(m_poll.get(), EPOLL_CTL_ADD, wakeFd, &event) != 0) {
        return false;
    }
    closePairOnExec([this] { m_multi = m_curl.newMulti(); });
    return m_multi != nullptr &&
           m_curl.setMulti(m_multi, CURLMOPT_SOCKETFUNCTION, &HttpLoop::watchSocket) == CURLM_OK &&
           m_curl.setMulti(m_multi, CURLMOPT_SOCKETDATA, this) == CURLM_OK &&
           m_curl.setMulti(m_multi, CURLMOPT_TIMERFUNCTION, &HttpLoop::setTimer) == CURLM_OK &&
           m_curl.setMulti(m_multi, CURLMOPT_TIMERDATA, this) == CURLM_OK;
}

bool HttpLoop::begin(HttpExchange& exchange, TimePoint deadline)
{
    if (!exchange.isReady()) {
        return false;
    }
    auto running = std::make_unique<Running>();
    running->exchange = &exchange;
    running->deadline = deadline;
    // First what takes memory, for the heap is not to keep what is thrown away; and to end takes none.
    m_ended.reserve(m_ended.size() + m_running.size() + 1);
    m_deadlines.makeRoomFor(m_running.size() + 1);
    const auto item = m_running.emplace(exchange.handle(), std::move(running)).first;
    m_deadlines.schedule(*item->second, std::min(deadline, m_clock.now() + kConnectPatience));
    if (m_curl.add(m_multi, exchange.handle()) == CURLM_OK) {
        return true;
    }
    drop(exchange);
    return false;
}

void HttpLoop::drop(HttpExchange& exchange)
{
    const auto found = m_running.find(exchange.handle());
    if (found != m_running.end()) {
        m_curl.remove(m_multi, exchange.handle());
        m_deadlines.remove(*found->second);
        m_running.erase(found);
    }
}

void HttpLoop::wait()
{
    epoll_event events[64];
    const int ready = ::epoll_wait(m_poll.get(), events, static_cast<int>(std::size(events)), timeoutMs());
    for (int i = 0; i < ready; ++i) {
        if (events[i].data.fd >= 0) {
            const std::uint32_t seen = events[i].events;
            act(events[i].data.fd, ((seen & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                                       ((seen & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                                       ((seen & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0));
        }
    }
    if (m_clock.now() >= m_due) {
        m_due = kNever; // the library says when it wants the next call
        act(CURL_SOCKET_TIMEOUT, 0);
    }
    takeMessages(); // what ended is not cut
    cutOverdue();
}

int HttpLoop::timeoutMs() const
{
    const TimePoint next = std::min(m_due, m_deadlines.nextDeadline());
    const Milliseconds left = next == kNever ? kLongestSleep : next - m_clock.now();
    return static_cast<int>(std::clamp(left, Milliseconds(0), kLongestSleep).count());
}

void HttpLoop::act(int descriptor, int events)
{
    int running = 0;
    m_curl.act(m_multi, descriptor, events, &running);
}

void HttpLoop::takeMessages()
{
    int left = 0;
    while (const CURLMsg* const message = m_curl.nextMessage(m_multi, &left)) {
        const auto found = m_running.find(message->easy_handle);
        if (message->msg == CURLMSG_DONE && found != m_running.end()) {
            HttpExchange& exchange = *found->second->exchange;
            m_ended.push_back({&exchange, exchange.resultOf(message->data.result)});
            drop(exchange); // message is gone with it
        }
    }
}

void HttpLoop::cutOverdue()
{
    const TimePoint now = m_clock.now();
    while (m_deadlines.nextDeadline() <= now) {
        Running& running = *m_deadlines.front();
        HttpExchange& exchange = *running.exchange;
        if (now < running.deadline && exchange.connected()) {
            m_deadlines.schedule(running, running.deadline);
            continue;
        }
        m_ended.push_back({&exchange, exchange.resultOfCut()});
        drop(exchange);
    }
}

std::vector<HttpLoop::Finished> HttpLoop::finished()
{
    std::vector<Finished> ended;
    ended.reserve(m_ended.size() + m_running.size());
    ended.swap(m_ended); // which keeps room for all that are under way
    return ended;
}

// Called by the library: what a socket of its own is to be watched for.
int HttpLoop::watchSocket(CURL* /*transfer*/, curl_socket_t descriptor, int what, void* self, void* /*known*/)
{
    const int poll = static_cast<HttpLoop*>(self)->m_poll.get();
    if (what == CURL_POLL_REMOVE) {
        // Closing it does not end that while a process forked off meanwhile has it, too. A number that is
        // another's by now is not in the epoll, and that it is not does no harm.
        ::epoll_ctl(poll, EPOLL_CTL_DEL, descriptor, nullptr);
        return 0;
    }
    epoll_event event{};
    event.events =
        ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0u) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0u);
    event.data.fd = descriptor;
    if (::epoll_ctl(poll, EPOLL_CTL_MOD, descriptor, &event) != 0) {
        ::epoll_ctl(poll, EPOLL_CTL_ADD, descriptor,
                    &event); // where it fails, the deadline ends the exchange
    }
    return 0;
}

int HttpLoop::setTimer(CURLM* /*multi*/, long timeoutMs, void* self)
{
    auto& loop = *static_cast<HttpLoop*>(self);
    // A millisecond later where it is not at once: both clocks cut off what is less than one.
    const Milliseconds wait(timeoutMs > 0 ? timeoutMs + 1 : 0);
    loop.m_due = timeoutMs < 0 ? kNever : loop.m_clock.now() + wait;
    return 0;
}

} // namespace tarn::ipp
