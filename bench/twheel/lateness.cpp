#include "bench/twheel/lateness.h"

#include <chrono>
#include <ctime>
#include <thread>

namespace bench {

std::int64_t monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

double stampsPerNs()
{
    static const double rate = [] {
        const std::int64_t stampBegin = stamp();
        const std::int64_t begin = monotonicNs();
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        const std::int64_t stampEnd = stamp();
        return double(stampEnd - stampBegin) / double(monotonicNs() - begin);
    }();
    return rate;
}

Lateness::Lateness() : m_usPerStamp(1 / (stampsPerNs() * 1000))
{
    for (auto& share : m_shares) {
        share = std::make_unique<Share>();
    }
}

void Lateness::begin()
{
    for (const auto& share : m_shares) {
        for (auto& bin : share->bins) {
            bin.store(0, std::memory_order_relaxed);
        }
    }
    m_lost = 0;
}

std::int64_t Lateness::runs() const
{
    std::int64_t sum = 0;
    for (const auto& share : m_shares) {
        for (const auto& bin : share->bins) {
            sum += bin.load(std::memory_order_relaxed);
        }
    }
    return sum;
}

double Lateness::percentile(double part) const
{
    const double wanted = double(runs()) * part;
    double sum = 0;
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        for (const auto& share : m_shares) {
            sum += share->bins[bin].load(std::memory_order_relaxed);
        }
        if (sum >= wanted) {
            return double(bin) + 1;
        }
    }
    return double(kBins);
}

} // namespace bench
