#pragma once

#include <memory>

#include "tarn/src/base/random.h"
#include "tarn/src/engine/backend.h"

namespace tarn::ipp {

// The back-ends of this room with the network behind them; neither loads libcups nor begins a thread before
// there is something to ask.
std::unique_ptr<engine::Backend> makeIppPoller(const Clock& clock, Random& random,
                                               engine::BackendListener& listener);
std::unique_ptr<engine::Backend> makeCupsQueues(const Clock& clock, Random& random,
                                                engine::BackendListener& listener);

} // namespace tarn::ipp
