#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/snmp/poll/udp_transport.h"

// What the ports of tests are made of.
namespace tarn::test {

// A datagram on its way to the poller.
struct Delivery
{
    engine::Endpoint from;
    std::string body;
};

// Deliveries holds what is on its way, and what was taken last.
class Deliveries final
{
public:
    static constexpr std::size_t kBatch = 64;

    void add(TimePoint arrival, Delivery delivery) { m_onTheirWay.emplace(arrival, std::move(delivery)); }
    // All that is on its way is lost.
    void lose() { m_onTheirWay.clear(); }
    TimePoint nextArrival() const { return m_onTheirWay.empty() ? kNever : m_onTheirWay.begin()->first; }
    // What has arrived, at most kBatch, each in memory of its exact size, for the sanitizer; valid until the next call.
    const std::vector<snmp::Datagram>& take(TimePoint now)
    {
        m_bodies.clear();
        m_taken.clear();
        while (nextArrival() <= now && m_bodies.size() < kBatch) {
            const std::string& body = m_onTheirWay.begin()->second.body;
            m_bodies.emplace_back(body.begin(), body.end());
            m_taken.push_back(
                {m_onTheirWay.begin()->second.from, {m_bodies.back().data(), m_bodies.back().size()}});
            m_onTheirWay.erase(m_onTheirWay.begin());
        }
        return m_taken;
    }

private:
    std::multimap<TimePoint, Delivery> m_onTheirWay;
    std::vector<std::vector<std::uint8_t>> m_bodies;
    std::vector<snmp::Datagram> m_taken;
};

// No network at all.
class SilentPort final : public snmp::DatagramPort
{
public:
    std::size_t send(snmp::Lane /*lane*/, const snmp::Datagram* /*batch*/, std::size_t count) override
    {
        return count;
    }
    const std::vector<snmp::Datagram>& receive() override { return m_nothing; }
    bool reopen() override { return false; }
    int descriptor() const override { return -1; }

private:
    std::vector<snmp::Datagram> m_nothing;
};

} // namespace tarn::test
