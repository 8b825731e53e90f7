#pragma once

#include <vector>

#include "tarn/src/engine/backend.h"

namespace tarn::test {

// Does nothing with what it is told.
class DeafListener : public engine::BackendListener
{
public:
    void targetChanged(engine::Target& /*target*/) override {}
    void rosterChanged(engine::Discovery /*discovery*/,
                       std::vector<engine::DiscoveredPrinter> /*roster*/) override
    {
    }
};

} // namespace tarn::test
