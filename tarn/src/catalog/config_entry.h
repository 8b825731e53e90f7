#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "tarn/src/catalog/config_complaints.h"
#include "tarn/src/engine/target.h"

namespace tarn::catalog {

// What the configuration says of an address, a network or of all: nothing where it says nothing.
struct ConfigEntry
{
    std::optional<std::uint16_t> port;
    std::optional<engine::VersionChoice> version;
    std::shared_ptr<const std::string> community;
    std::optional<engine::IppChoice> ipp;
    std::optional<std::uint16_t> ippPort;
    std::optional<std::string> ippPath;
    std::optional<std::string> user;

    // Takes what is missing from the wider one.
    void fillFrom(const ConfigEntry& wider);

    // Members that are unknown or wrong are complained about and left out, the others hold.
    static ConfigEntry read(const Json::Value& value, const std::vector<std::string>& where,
                            ConfigComplaints& complaints);
};

} // namespace tarn::catalog
