#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarn/src/device/kept_picture.h"
#include "tarn/src/engine/way.h"

namespace tarn::engine {

// Snapshot is what the ABI hands out of one printer, already rendered. Immutable once shared.
struct Snapshot
{
    bool online = false;
    int state = 2;
    int totalPages = -1;
    std::uint64_t identity = 0; // a digest of model, serial number and description; never 0 when rendered
    Way way = Way::None;        // the way the state came, or would come
    FieldWays fieldWays{};
    std::string serialNumber;
    std::string stateMessage;
    std::string info;
    device::KeptPicture picture;
};

// Renders the picture of a printer that answers, all of which came by one way.
std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& picture, Way way);
// The same where some fields came by others.
std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& picture, Way way,
                                               const FieldWays& fieldWays);

// For each field that the picture tells of: way; for the others None.
FieldWays fieldWaysOf(const device::DeviceStatus& picture, Way way);

// The same printer, which cannot be reached: state 2 and no message, everything else of the last good
// picture.
std::shared_ptr<const Snapshot> offlineSnapshot(const Snapshot& last);

// The same of what it said in an earlier run; the way each field came is not known.
std::shared_ptr<const Snapshot> earlierSnapshot(const device::DeviceStatus& picture, Way way);

// A printer that never answered in this run; picture holds what is remembered of it, perhaps nothing.
std::shared_ptr<const Snapshot> unmetSnapshot(const device::DeviceStatus& picture);

} // namespace tarn::engine
