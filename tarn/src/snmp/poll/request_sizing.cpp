#include "tarn/src/snmp/poll/request_sizing.h"

#include <algorithm>

namespace tarn::snmp {

namespace {

constexpr int kRequestsPerRead = 200;
constexpr int kSmallResults = 8;
constexpr unsigned kMissesToDoubt = 2;   // of a large request, unless it is on trial
constexpr std::uint8_t kLongestGap = 60; // whole readings: an hour's

// Bindings that the answer is asked to hold.
std::uint32_t sizeOf(const Pdu& request)
{
    const auto count = static_cast<std::uint32_t>(request.varbinds.size());
    if (request.type != PduType::GetBulkRequest) {
        return count;
    }
    const auto single = static_cast<std::uint32_t>(std::max(request.errorStatus, 0));
    const auto repetitions = static_cast<std::uint32_t>(std::max(request.errorIndex, 0));
    return count <= single ? count : single + (count - single) * repetitions;
}

} // namespace

void Retrial::failed()
{
    m_gap = m_gap == 0 ? 1 : std::min<std::uint8_t>(static_cast<std::uint8_t>(m_gap * 2), kLongestGap);
    m_left = m_gap;
}

RequestSizing::RequestSizing(Version version) : m_version(version)
{
    m_normal.bulk = version != Version::V1;
    apply();
}

bool RequestSizing::isSmall() const
{
    return m_large.isSuspended() || m_probe == Probe::Small || m_probe == Probe::SmallConfirm;
}

void RequestSizing::apply()
{
    const bool small = isSmall();
    m_limits.bulk = m_normal.bulk && !small;
    m_limits.maxResults = small ? std::min(m_normal.maxResults, kSmallResults) : m_normal.maxResults;
}

void RequestSizing::beginRead(bool wholeReading)
{
    if (wholeReading) {
        m_bulk.wholeReadingBegins();
        m_large.wholeReadingBegins();
    }
    if (m_probe != Probe::LargeAgain) {
        m_probe = Probe::None; // whatever was being found out, the read was given up for another reason
    }
    m_normal.bulk = m_version != Version::V1 && !m_bulk.isSuspended();
    m_limits.requestsLeft = kRequestsPerRead;
    m_answeredBulk = m_answeredLarge = false;
    m_askedBulk = m_askedLarge = false;
    apply();
}

void RequestSizing::asked(const Pdu& request)
{
    m_askedBulk = request.type == PduType::GetBulkRequest;
    m_askedLarge = m_askedBulk || request.varbinds.size() > kSmallResults;
    m_askedSize = sizeOf(request);
}

void RequestSizing::answered()
{
    m_answeredBulk = m_answeredBulk || m_askedBulk;
    m_answeredLarge = m_answeredLarge || m_askedLarge;
    if (!isSmall()) {
        if (m_normal.bulk && !m_limits.bulk) {
            m_bulk.failed();
        }
        m_normal = m_limits;
    }
    if (m_probe == Probe::Small) {
        m_probe = Probe::LargeAgain;
    } else if (m_probe == Probe::SmallConfirm) {
        m_large.failed();
        m_probe = Probe::None;
    } else if (m_askedSize >= m_unansweredSize) {
        m_probe = Probe::None; // it was the network
    }
    apply();
}

bool RequestSizing::unanswered(unsigned misses)
{
    if (m_probe == Probe::Small || m_probe == Probe::SmallConfirm) { // small ones, too: it went away
        m_probe = Probe::None;
        apply();
        return false;
    }
    const unsigned enough = m_large.isOnTrial() ? 1 : kMissesToDoubt;
    if (!m_askedLarge || misses != enough) {
        return false;
    }
    m_probe = m_probe == Probe::LargeAgain || m_large.isOnTrial() ? Probe::SmallConfirm : Probe::Small;
    m_unansweredSize = m_askedSize;
    apply();
    return true;
}

void RequestSizing::endRead(bool wholeReading)
{
    if (!wholeReading || m_probe != Probe::None) {
        return;
    }
    if (m_answeredLarge && m_large.isOnTrial()) {
        m_large.succeeded();
    }
    if (m_answeredBulk && m_bulk.isOnTrial()) {
        m_bulk.succeeded();
    }
}

} // namespace tarn::snmp
