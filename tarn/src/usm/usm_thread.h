#pragma once

#include <memory>
#include <string>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/exit_hook.h"
#include "tarn/src/base/inbox.h"
#include "tarn/src/base/random.h"
#include "tarn/src/snmp/poll/datagram_port.h"
#include "tarn/src/usm/usm_peer.h"
#include "tarn/src/usm/usm_port.h"

namespace tarn::usm {

// UsmThread is the thread "tarn-usm", in which everything of Net-SNMP happens, and its socket. It begins with
// the first question; without one Net-SNMP is not even loaded. It waits for nobody: a message goes out, and
// what comes back is looked at when it is there.
//
// Invariants
//  (1) What comes in is held against the peer of its source address and port, and against nobody else.
//  (2) Nothing is said twice within kSaidAgain of one address for one reason, and never a password.
//  (3) Only success is remembered: without the library, a descriptor or keys, the next question after
//      kTryAgain tries again.
//  (4) When the process exits the thread leaves Net-SNMP, which uses OpenSSL, before that ends; nobody is
//  asked then.
// Threading: the functions of UsmPort by one thread. Ownership: borrows the clock; owns the rest.
class UsmThread final : public UsmPort, private ExitHook
{
public:
    static constexpr Milliseconds kSaidAgain{600000};
    static constexpr Milliseconds kTryAgain{5000};

    UsmThread(const Clock& clock, const char* soname);
    ~UsmThread() override;
    UsmThread(const UsmThread&) = delete;
    UsmThread& operator=(const UsmThread&) = delete;

    void ask(UsmQuestion question) override;
    void forget(engine::Endpoint endpoint) override;
    void reopen() override;
    std::vector<UsmAnswer> take() override;
    int descriptor() const override { return m_answers.descriptor(); }

private:
    using UserPtr = std::shared_ptr<const engine::UsmUser>;
    enum class Verb : std::uint8_t
    {
        Ask,
        Forget,
        Reopen,
    };
    struct Order
    {
        Verb verb = Verb::Ask;
        UsmQuestion question; // of Forget: its endpoint
    };
    struct Entry
    {
        UserPtr user;
        std::unique_ptr<UsmPeer> peer; // null: no keys for the user
        std::vector<std::pair<std::string, TimePoint>> said;
    };

    struct Keys
    {
        std::shared_ptr<const UsmKeys> keys;
        std::string whyNot;
        TimePoint triedAt{};
    };

    bool start() TARN_EXCLUDES(m_mutex);
    void processExits(std::chrono::steady_clock::time_point until) override TARN_EXCLUDES(m_mutex);
    void loop() TARN_EXCLUDES(m_mutex);
    void work(const std::vector<Order>& orders);
    void begin();
    void failToBegin(const std::string& why);
    void carryOut(const Order& order);
    void speak(const UsmQuestion& question);
    void receiveAll();
    void follow(Entry& entry, const engine::Endpoint& endpoint, UsmPeer::Step step, snmp::Lane lane);
    const Keys& keysOf(const UserPtr& user);
    void complain(Entry& entry, const engine::Endpoint& endpoint, const std::string& what);

    // constant after construction
    const Clock& m_clock;
    const std::string m_soname;

    // the asking thread's
    std::thread m_thread;

    // the thread's own
    SystemRandom m_random;
    std::unique_ptr<UsmCodec> m_codec;
    std::unique_ptr<snmp::DatagramPort> m_port;
    std::unordered_map<engine::Endpoint, Entry, engine::EndpointHash> m_entries;
    std::unordered_map<UserPtr, Keys> m_keys;
    TimePoint m_beginAt{};
    bool m_complained = false; // that it cannot begin

    Mutex m_mutex;
    CondVar m_changed;
    bool m_running TARN_GUARDED_BY(m_mutex) = false;
    bool m_exiting TARN_GUARDED_BY(m_mutex) = false;
    bool m_destroying TARN_GUARDED_BY(m_mutex) = false;

    Inbox<Order> m_orders;
    Inbox<UsmAnswer> m_answers;
};

} // namespace tarn::usm
