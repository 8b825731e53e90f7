#include "tarn/src/usm/usm_thread.h"

#include <poll.h>

#include <algorithm>
#include <cstdio>

#include "tarn/src/base/worker_thread.h"
#include "tarn/src/snmp/poll/udp_port.h"

namespace tarn::usm {

using engine::Endpoint;
using snmp::Datagram;

namespace {

// One round takes no more than so many batches, so that a flood cannot keep the orders waiting.
constexpr int kReceiveBatches = 4;
constexpr int kAfterFailure = 100; // ms
// So many reasons are kept of one address; whoever makes up more is not written about.
constexpr std::size_t kMostSaid = 8;

} // namespace

UsmThread::UsmThread(const Clock& clock, const char* soname) : m_clock(clock), m_soname(soname) {}

UsmThread::~UsmThread()
{
    leave();
    if (m_thread.joinable()) {
        {
            const MutexLock lock(m_mutex);
            m_destroying = true;
            m_changed.notifyAll();
        }
        m_orders.close();
        m_thread.join();
    }
}

// False when the system gives no thread or no descriptor now; the next question tries again.
bool UsmThread::start()
{
    if (m_thread.joinable()) {
        return true;
    }
    const MutexLock lock(m_mutex);
    if (!m_exiting && m_orders.open() && m_answers.open()) {
        m_thread = workerThread("tarn-usm", [this] { loop(); });
        m_running = m_thread.joinable();
    }
    return m_running;
}

// The thread ends Net-SNMP, and stays until it is joined: what libraries do at the end of a thread is not to
// happen beside what they do at the end of the process.
void UsmThread::processExits(std::chrono::steady_clock::time_point until)
{
    const MutexLock lock(m_mutex);
    m_exiting = true;
    if (m_running) {
        m_orders.close();
    }
    while (m_running && m_changed.waitUntil(m_mutex, until)) {
    }
}

void UsmThread::ask(UsmQuestion question)
{
    if (start()) {
        m_orders.put({Verb::Ask, std::move(question)});
    }
}

void UsmThread::forget(Endpoint endpoint)
{
    if (m_thread.joinable()) {
        UsmQuestion question;
        question.endpoint = endpoint;
        m_orders.put({Verb::Forget, std::move(question)});
    }
}

void UsmThread::reopen()
{
    if (m_thread.joinable()) {
        m_orders.put({Verb::Reopen, {}});
    }
}

std::vector<UsmAnswer> UsmThread::take()
{
    std::vector<UsmAnswer> answers;
    if (m_thread.joinable()) {
        m_answers.take(answers);
    }
    return answers;
}

// --- the thread ---

void UsmThread::loop()
{
    std::vector<Order> orders;
    while (m_orders.take(orders)) {
        try {
            work(orders);
            pollfd waits[] = {{m_orders.descriptor(), POLLIN, 0},
                              {m_port ? m_port->descriptor() : -1, POLLIN, 0}};
            ::poll(waits, 2, -1);
        } catch (const std::exception&) { // out of memory: the next round may find some
            ::poll(nullptr, 0, kAfterFailure);
        }
    }
    // Net-SNMP ends in the thread in which it lived.
    m_entries.clear();
    m_port.reset();
    m_codec.reset();
    const MutexLock lock(m_mutex);
    m_running = false;
    m_changed.notifyAll();
    while (m_exiting && !m_destroying) {
        m_changed.wait(m_mutex);
    }
}

void UsmThread::work(const std::vector<Order>& orders)
{
    if (!m_codec && m_clock.now() >= m_beginAt) {
        begin();
    }
    if (!m_codec) {
        return;
    }
    for (const Order& order : orders) {
        try {
            carryOut(order);
        } catch (const std::exception&) { // a question that got lost, as others do on the network
        }
    }
    receiveAll();
}

// Loads Net-SNMP and lets it read its snmp.conf, for which there must be descriptors.
void UsmThread::begin()
{
    m_beginAt = m_clock.now() + kTryAgain;
    auto port = std::make_unique<snmp::UdpPort>();
    {
        WakeupFd spare;
        if (port->descriptor() < 0 || !spare.open()) {
            return failToBegin("the system gives no descriptor");
        }
    }
    std::string why;
    std::unique_ptr<UsmCodec> codec = UsmCodec::start(m_soname.c_str(), why);
    if (!codec) {
        return failToBegin(why);
    }
    m_port = std::move(port);
    m_codec = std::move(codec);
}

void UsmThread::failToBegin(const std::string& why)
{
    if (!m_complained) {
        m_complained = true;
        std::fprintf(stderr, "tarn: printers that are to be asked in version 3 cannot be reached: %s\n",
                     why.c_str());
    }
}

void UsmThread::carryOut(const Order& order)
{
    switch (order.verb) {
    case Verb::Ask:
        speak(order.question);
        break;
    case Verb::Forget:
        m_entries.erase(order.question.endpoint);
        break;
    case Verb::Reopen:
        m_port->reopen();
        break;
    }
}

void UsmThread::speak(const UsmQuestion& question)
{
    Entry& entry = m_entries[question.endpoint];
    if (!entry.peer || entry.user != question.user) {
        const Keys& keys = keysOf(question.user);
        entry.peer = keys.keys ? std::make_unique<UsmPeer>(*m_codec, m_random, keys.keys) : nullptr;
        entry.user = question.user;
        if (!entry.peer) {
            return complain(entry, question.endpoint, keys.whyNot);
        }
    }
    follow(entry, question.endpoint, entry.peer->ask(question, m_clock.now()), question.lane);
}

const UsmThread::Keys& UsmThread::keysOf(const UserPtr& user)
{
    Keys& known = m_keys[user];
    const TimePoint now = m_clock.now();
    if (!known.keys && (known.whyNot.empty() || now - known.triedAt >= kTryAgain)) {
        known.triedAt = now;
        known.keys = m_codec->keysOf(*user, known.whyNot);
    }
    return known;
}

void UsmThread::receiveAll()
{
    for (int i = 0; i < kReceiveBatches; ++i) {
        const std::vector<Datagram>& batch = m_port->receive();
        if (batch.empty()) {
            return;
        }
        for (const Datagram& datagram : batch) {
            const auto found = m_entries.find(datagram.peer);
            if (found != m_entries.end() && found->second.peer) {
                follow(found->second, datagram.peer,
                       found->second.peer->receive(datagram.bytes, m_clock.now()), snmp::Lane::Answering);
            }
        }
    }
}

void UsmThread::follow(Entry& entry, const Endpoint& endpoint, UsmPeer::Step step, snmp::Lane lane)
{
    if (!step.send.empty()) {
        const Datagram datagram{endpoint,
                                {reinterpret_cast<const std::uint8_t*>(step.send.data()), step.send.size()}};
        m_port->send(lane, &datagram, 1); // without room it is lost, and repeated like any other
    }
    if (step.complaint != nullptr) {
        complain(entry, endpoint, step.complaint);
    }
    if (step.answer) {
        m_answers.put({endpoint, entry.peer->ticket(), std::move(*step.answer)});
    }
}

void UsmThread::complain(Entry& entry, const Endpoint& endpoint, const std::string& what)
{
    const TimePoint now = m_clock.now();
    const auto isSame = [&](const auto& one) { return one.first == what; };
    auto said = std::find_if(entry.said.begin(), entry.said.end(), isSame);
    if (said == entry.said.end()) {
        if (entry.said.size() >= kMostSaid) {
            return;
        }
        entry.said.emplace_back(what, now);
    } else if (now - said->second < kSaidAgain) {
        return;
    } else {
        said->second = now;
    }
    std::fprintf(stderr, "tarn: %s port %u, SNMPv3: %s\n", engine::formatIpv4(endpoint.address).c_str(),
                 endpoint.port, what.c_str());
}

} // namespace tarn::usm
