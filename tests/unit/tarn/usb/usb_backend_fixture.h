#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tarn/src/usb/usb_backend.h"
#include "tests/support/eventually.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/simulated_time.h"
#include "tests/unit/tarn/usb/scripted_bus.h"

namespace tarn::usb::test {

using tarn::test::SimulatedClock;

class Listener final : public engine::BackendListener
{
public:
    void targetChanged(engine::Target& /*target*/) override
    {
        if (changeFailures > 0) {
            --changeFailures;
            throw std::bad_alloc();
        }
        ++changes;
    }
    void rosterChanged(engine::Discovery discovery, std::vector<engine::DiscoveredPrinter> printers) override
    {
        EXPECT_EQ(discovery, engine::Discovery::Usb);
        if (failures > 0) {
            --failures;
            throw std::bad_alloc();
        }
        roster = std::move(printers);
        ++rosters;
    }

    std::vector<engine::DiscoveredPrinter> roster;
    unsigned changes = 0;
    unsigned rosters = 0;
    unsigned failures = 0; // of rosters, that are still to come
    unsigned changeFailures = 0;
};

// The requests over IPP, which the test answers.
struct QueueContents
{
    std::vector<std::pair<std::uint32_t, ipp::IppRequest>> given;
    std::vector<ipp::FinishedRequest> finished;
    bool full = false; // no request is taken
};

class ScriptedQueue final : public ipp::RequestQueue
{
public:
    explicit ScriptedQueue(QueueContents& contents) : m_contents(contents) {}
    bool send(ipp::Ticket ticket, ipp::IppRequest request) override
    {
        if (m_contents.full) {
            return false;
        }
        m_contents.given.emplace_back(ticket, std::move(request));
        return true;
    }
    void cancel(ipp::Ticket /*ticket*/) override {}
    std::vector<ipp::FinishedRequest> takeFinished() override
    {
        return std::exchange(m_contents.finished, {});
    }
    int descriptor() const override { return -1; }

private:
    QueueContents& m_contents;
};

class UsbBackendTest : public testing::Test
{
protected:
    // Lets the backend take what the inventory hands over, as the engine would.
    template <typename Condition>
    bool runUntil(Condition condition)
    {
        return kel_test::eventually([&] {
            m_backend->run();
            return condition();
        });
    }
    bool awaitRoster(std::size_t size)
    {
        return runUntil([&] { return m_listener.roster.size() == size; });
    }
    void open(std::size_t index) { m_listener.roster[index].target->markOpened(m_clock.now()); }

    SimulatedClock m_clock;
    Listener m_listener;
    ScriptedPorts m_ports;
    QueueContents m_requests;
    const tarn::test::ScratchDirectory m_directory;
    std::unique_ptr<UsbBackend> m_backend = std::make_unique<UsbBackend>(
        m_clock, m_listener,
        UsbBackend::Parts{[this](std::string&) { return std::make_unique<ScriptedBus>(m_ports); },
                          [this] { return std::make_unique<ScriptedQueue>(m_requests); },
                          m_directory.path("")});
};

inline const std::string kId = "MFG:Acme;MDL:Jet;SN:A1;DES:A jet;UUID:u;";

} // namespace tarn::usb::test
