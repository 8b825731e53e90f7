#include "tarn/src/ipp/ipp_transport.h"

#include "tarn/src/base/worker_thread.h"

namespace tarn::ipp {

namespace {

constexpr std::chrono::milliseconds kAfterFailure{100};

} // namespace

// The answers for one queue; to answer takes no memory.
class IppTransport::Mailbox final : public AnswerSink
{
public:
    // False when the system gives no descriptor.
    bool expect()
    {
        if (!m_answers.open()) {
            return false;
        }
        m_answers.expect();
        return true;
    }
    void expectLess(std::size_t count) { m_answers.expectLess(count); }
    void take(FinishedRequest finished) noexcept override { m_answers.putExpected(std::move(finished)); }
    std::vector<FinishedRequest> takeFinished()
    {
        std::vector<FinishedRequest> finished;
        m_answers.take(finished);
        return finished;
    }
    int descriptor() const { return m_answers.descriptor(); }

private:
    Inbox<FinishedRequest> m_answers; // open once something is expected
};

class IppTransport::Queue final : public RequestQueue
{
public:
    explicit Queue(std::shared_ptr<IppTransport> transport)
        : m_transport(std::move(transport)), m_mailbox(std::make_shared<Mailbox>())
    {
    }
    ~Queue() override { m_transport->post({m_mailbox, 0, std::nullopt}); }
    Queue(const Queue&) = delete;
    Queue& operator=(const Queue&) = delete;

    bool send(Ticket ticket, IppRequest request) override
    {
        try {
            if (!m_mailbox->expect()) {
                return false;
            }
        } catch (const std::exception&) { // out of memory
            return false;
        }
        const bool posted = m_transport->post({m_mailbox, ticket, std::move(request)});
        m_mailbox->expectLess(posted ? 0 : 1);
        return posted;
    }
    void cancel(Ticket ticket) override { m_transport->post({m_mailbox, ticket, std::nullopt}); }
    std::vector<FinishedRequest> takeFinished() override { return m_mailbox->takeFinished(); }
    int descriptor() const override { return m_mailbox->descriptor(); }

private:
    const std::shared_ptr<IppTransport> m_transport;
    const std::shared_ptr<Mailbox> m_mailbox;
};

std::shared_ptr<IppTransport> IppTransport::make(IppLibraries libraries)
{
    return std::shared_ptr<IppTransport>(new IppTransport(std::move(libraries)));
}

IppTransport::~IppTransport()
{
    leave();
    std::thread thread;
    {
        const MutexLock lock(m_mutex);
        m_ending = true;
        if (m_phase == Phase::Working) {
            m_phase = Phase::Leaving;
        }
        thread.swap(m_thread);
    }
    m_orders.close();
    m_changed.notifyAll();
    if (thread.joinable()) {
        thread.join();
    }
}

std::unique_ptr<RequestQueue> IppTransport::newQueue()
{
    return std::make_unique<Queue>(shared_from_this());
}

// False when there is no thread to be had, or no memory.
bool IppTransport::post(Order order)
{
    try {
        const MutexLock lock(m_mutex);
        if (m_phase != Phase::Working || (!order.request && !m_thread.joinable())) {
            return false;
        }
        return startThread() && m_orders.put(std::move(order));
    } catch (const std::exception&) { // out of memory
        return false;
    }
}

bool IppTransport::startThread()
{
    if (m_thread.joinable()) {
        return true;
    }
    if (m_orders.open()) {
        m_thread = workerThread("tarn-ipp", [this] { run(); });
    }
    return m_thread.joinable();
}

// The thread gets out of the libraries, and stays until the transport ends: what libraries do at the end of a
// thread is not to happen beside what they do at the end of the process.
void IppTransport::processExits(std::chrono::steady_clock::time_point until)
{
    const MutexLock lock(m_mutex);
    if (m_phase == Phase::Working) {
        m_phase = Phase::Leaving;
    }
    m_orders.close();
    while (m_thread.joinable() && m_phase != Phase::Left && m_changed.waitUntil(m_mutex, until)) {
    }
}

void IppTransport::run()
{
    {
        RequestRunner runner(m_libraries, m_clock, m_orders.descriptor());
        while (step(runner)) {
        }
    }
    const MutexLock lock(m_mutex);
    m_phase = Phase::Left;
    m_changed.notifyAll();
    while (!m_ending) {
        m_changed.wait(m_mutex);
    }
}

// False when the thread is to leave the libraries.
bool IppTransport::step(RequestRunner& runner)
{
    try {
        for (Order order; nextOrder(order);) {
            if (!order.request) {
                order.mailbox->expectLess(runner.cancel(*order.mailbox, order.ticket));
                continue;
            }
            try {
                runner.begin(order.mailbox, order.ticket, std::move(*order.request));
            } catch (const std::exception&) { // out of memory
                order.mailbox->take({order.ticket, IppAnswer()});
            }
        }
        if (m_orders.isClosed()) {
            return false;
        }
        runner.wait();
    } catch (const std::exception&) { // out of memory: nothing is lost, and the deadlines hold
        std::this_thread::sleep_for(kAfterFailure);
    }
    return true;
}

// False when there is none, or the thread has something else to do.
bool IppTransport::nextOrder(Order& order)
{
    if (m_next == m_taken.size()) {
        m_next = 0;
        m_orders.take(m_taken);
    }
    if (m_taken.empty() || m_orders.isClosed()) {
        return false;
    }
    order = std::move(m_taken[m_next++]);
    return true;
}

} // namespace tarn::ipp
