#pragma once

#include <gtest/gtest.h>

#include "tarn/src/base/clock.h"

namespace tarn::test {

// How a simulated network ends: the poller watches nobody any more, and must then wait for nothing.
template <typename Poller, typename Targets>
void expectNothingPending(Poller& poller, const Targets& targets)
{
    for (const auto& target : targets) {
        poller.unwatch(*target);
    }
    EXPECT_EQ(poller.inFlight(), 0u) << "at the end";
    EXPECT_EQ(poller.nextDeadline(), kNever) << "at the end";
}

} // namespace tarn::test
