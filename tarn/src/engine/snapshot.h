#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarn/src/device/packed_status.h"
#include "tarn/src/engine/source.h"

namespace tarn::engine {

// Snapshot is what the ABI hands out of one printer, already rendered. Immutable once shared.
struct Snapshot
{
    bool online = false;
    int state = 2;
    int totalPages = -1;
    std::uint64_t identity = 0;   // a digest of model, serial number and description; never 0 when rendered
    Source source = Source::None; // where the state came from, or would come
    FieldSources fieldSources{};
    std::string serialNumber;
    std::string stateMessage;
    std::string info;
    device::PackedStatus status;
};

// Renders the status of a printer that answers, all of which came from one source.
std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& status, Source source);
// The same where some fields came from others.
std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& status, Source source,
                                               const FieldSources& fieldSources);

// For each field that the status tells of: source; for the others None.
FieldSources fieldSourcesOf(const device::DeviceStatus& status, Source source);

// The same printer, which cannot be reached: state 2 and no message, everything else of the last good
// status.
std::shared_ptr<const Snapshot> offlineSnapshot(const Snapshot& last);

// The same of what it said in an earlier run; the way each field came is not known.
std::shared_ptr<const Snapshot> earlierSnapshot(const device::DeviceStatus& status, Source source);

// A printer that never answered in this run; status holds what is remembered of it, perhaps nothing.
std::shared_ptr<const Snapshot> unmetSnapshot(const device::DeviceStatus& status);

} // namespace tarn::engine
