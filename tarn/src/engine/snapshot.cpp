#include "tarn/src/engine/snapshot.h"

#include <functional>
#include <limits>

#include "tarn/src/device/rendering.h"

namespace tarn::engine {

namespace {

constexpr int kUnreachable = 2;

// The ABI's counter is an int: a larger one stays at the largest.
int totalPages(const device::DeviceStatus& status)
{
    if (!status.totalPages || *status.totalPages < 0) {
        return -1;
    }
    constexpr std::int64_t kLargest = std::numeric_limits<int>::max();
    return static_cast<int>(*status.totalPages < kLargest ? *status.totalPages : kLargest);
}

std::uint64_t identityOf(const device::DeviceStatus& status)
{
    std::string text = status.model;
    text += '\0';
    text += status.serialNumber;
    text += '\0';
    text += status.description;
    return std::hash<std::string>()(text) | 1;
}

std::shared_ptr<Snapshot> render(const device::DeviceStatus& status)
{
    auto snapshot = std::make_shared<Snapshot>();
    snapshot->totalPages = totalPages(status);
    snapshot->identity = identityOf(status);
    snapshot->serialNumber = status.serialNumber;
    snapshot->info = device::infoDocument(status);
    snapshot->info.shrink_to_fit();
    snapshot->status = device::PackedStatus(status);
    return snapshot;
}

} // namespace

FieldSources fieldSourcesOf(const device::DeviceStatus& status, Source source)
{
    FieldSources sources{};
    for (std::size_t i = 0; i < sources.size(); ++i) {
        sources[i] = device::tells(status, static_cast<device::StatusField>(i)) ? source : Source::None;
    }
    return sources;
}

std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& status, Source source)
{
    return onlineSnapshot(status, source, fieldSourcesOf(status, source));
}

std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& status, Source source,
                                               const FieldSources& fieldSources)
{
    std::shared_ptr<Snapshot> snapshot = render(status);
    snapshot->online = true;
    snapshot->source = source;
    snapshot->fieldSources = fieldSources;
    snapshot->state = device::stateCode(status);
    snapshot->stateMessage = device::stateMessage(status);
    snapshot->stateMessage.shrink_to_fit();
    return snapshot;
}

std::shared_ptr<const Snapshot> offlineSnapshot(const Snapshot& last)
{
    auto snapshot = std::make_shared<Snapshot>(last);
    snapshot->online = false;
    snapshot->state = kUnreachable;
    snapshot->stateMessage.clear();
    return snapshot;
}

std::shared_ptr<const Snapshot> earlierSnapshot(const device::DeviceStatus& status, Source source)
{
    std::shared_ptr<Snapshot> snapshot = render(status);
    snapshot->state = kUnreachable;
    snapshot->source = source;
    return snapshot;
}

std::shared_ptr<const Snapshot> unmetSnapshot(const device::DeviceStatus& status)
{
    std::shared_ptr<Snapshot> snapshot = render(status);
    snapshot->state = kUnreachable;
    return snapshot;
}

} // namespace tarn::engine
