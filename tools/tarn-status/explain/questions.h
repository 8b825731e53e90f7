#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "tarn/src/catalog/config.h"
#include "tools/tarn-status/explain/explain.h"

namespace tarnstatus {

// How one printer is asked: as the configuration file says, but for what the command line says otherwise.
struct Questions
{
    std::uint32_t address = 0; // host byte order
    std::uint16_t port = 161;
    std::string community;
    tarn::engine::VersionChoice version = tarn::engine::VersionChoice::Auto;
    std::shared_ptr<const tarn::engine::UsmUser> user; // null: none that may be used
    tarn::engine::IppSettings ipp;
    std::chrono::milliseconds patience{6000}; // a question of SNMP may take a third of it

    bool isVersion3() const { return version == tarn::engine::VersionChoice::V3; }
    // How long one question may take.
    std::chrono::milliseconds slice() const { return patience / 3; }
};

Questions questionsFor(std::uint32_t address, const ExplainOptions& options,
                       const tarn::catalog::Config& config);

} // namespace tarnstatus
