#pragma once

#include <memory>

#include "tarn/src/base/random.h"
#include "tarn/src/engine/backend.h"

namespace tarn::ipp {

class IppTransport;

// The back-ends of this room over the given transport, which neither loads a library nor begins a thread
// before there is something to ask.
std::unique_ptr<engine::Backend> makeIppPoller(const Clock& clock, Random& random,
                                               engine::BackendListener& listener, IppTransport& transport);
std::unique_ptr<engine::Backend> makeCupsQueues(const Clock& clock, engine::BackendListener& listener,
                                                IppTransport& transport);

} // namespace tarn::ipp
