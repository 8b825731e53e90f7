#pragma once

#include <memory>

#include "tarn/src/engine/backend.h"

namespace tarn {
class Random;
}

namespace tarn::usm {

// The back-end "sm" for printers that are asked in version 3, over Net-SNMP: the poller with another
// transport.
std::unique_ptr<engine::Backend> makeBackend(const Clock& clock, Random& random,
                                             engine::BackendListener& listener);

} // namespace tarn::usm
