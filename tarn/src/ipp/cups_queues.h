#pragma once

#include <map>
#include <memory>

#include "tarn/src/engine/backend.h"
#include "tarn/src/ipp/ipp_request.h"

namespace tarn::ipp {

// CupsQueues is the back-end that finds the queues of CUPS and reports what the scheduler says of them. It
// asks one scheduler, never a printer, and never starts one.
//
// Invariants
//  (1) A queue that stays keeps its target.
//  (2) A scheduler that does not answer twice in a row has no queues.
// Threading: engine thread only. Ownership: owns the queue of requests; borrows clock and listener, which
// must outlive it.
class CupsQueues final : public engine::Backend
{
public:
    static constexpr Milliseconds kInterval{10000};

    CupsQueues(const Clock& clock, engine::BackendListener& listener, std::unique_ptr<RequestQueue> requests);

    const char* name() const override { return "cups"; }
    void watch(std::shared_ptr<engine::Target> /*target*/) override {}
    void unwatch(const engine::Target& /*target*/) override {}
    void wake(const engine::Target& /*target*/) override {}
    void networkChanged() override {}
    void discover(engine::Discovery discovery, bool on) override;
    void run() override;
    TimePoint nextDeadline() const override { return m_due; }
    int descriptor() const override { return m_requests->descriptor(); }

private:
    void take(const std::vector<IppAttributes>& queues);
    void report(engine::Target& target, const IppAttributes& queue) const;
    void publish(std::vector<engine::DiscoveredPrinter> roster);

    // constant after construction
    const Clock& m_clock;
    engine::BackendListener& m_listener;
    const std::unique_ptr<RequestQueue> m_requests;

    std::map<std::string, std::shared_ptr<engine::Target>> m_targets; // by queue
    std::vector<engine::DiscoveredPrinter> m_roster;
    TimePoint m_due = kNever;
    Ticket m_ticket = 0;
    unsigned m_failures = 0; // in a row
    bool m_on = false;
};

} // namespace tarn::ipp
