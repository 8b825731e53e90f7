#include "tarn/src/engine/snapshot.h"

#include <functional>
#include <limits>

#include "tarn/src/device/rendering.h"

namespace tarn::engine {

namespace {

constexpr int kUnreachable = 2;

// The ABI's counter is an int: a larger one stays at the largest.
int totalPages(const device::DeviceStatus& picture)
{
    if (!picture.totalPages || *picture.totalPages < 0) {
        return -1;
    }
    constexpr std::int64_t largest = std::numeric_limits<int>::max();
    return static_cast<int>(*picture.totalPages < largest ? *picture.totalPages : largest);
}

std::uint64_t identityOf(const device::DeviceStatus& picture)
{
    std::string text = picture.model;
    text += '\0';
    text += picture.serialNumber;
    text += '\0';
    text += picture.description;
    return std::hash<std::string>()(text) | 1;
}

std::shared_ptr<Snapshot> render(const device::DeviceStatus& picture)
{
    auto snapshot = std::make_shared<Snapshot>();
    snapshot->totalPages = totalPages(picture);
    snapshot->identity = identityOf(picture);
    snapshot->serialNumber = picture.serialNumber;
    snapshot->info = device::infoDocument(picture);
    snapshot->info.shrink_to_fit();
    snapshot->picture = device::KeptPicture(picture);
    return snapshot;
}

} // namespace

FieldWays fieldWaysOf(const device::DeviceStatus& picture, Way way)
{
    FieldWays ways{};
    for (std::size_t i = 0; i < ways.size(); ++i) {
        ways[i] = device::tells(picture, static_cast<device::PictureField>(i)) ? way : Way::None;
    }
    return ways;
}

std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& picture, Way way)
{
    return onlineSnapshot(picture, way, fieldWaysOf(picture, way));
}

std::shared_ptr<const Snapshot> onlineSnapshot(const device::DeviceStatus& picture, Way way,
                                               const FieldWays& fieldWays)
{
    std::shared_ptr<Snapshot> snapshot = render(picture);
    snapshot->online = true;
    snapshot->way = way;
    snapshot->fieldWays = fieldWays;
    snapshot->state = device::stateCode(picture);
    snapshot->stateMessage = device::stateMessage(picture);
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

std::shared_ptr<const Snapshot> earlierSnapshot(const device::DeviceStatus& picture, Way way)
{
    std::shared_ptr<Snapshot> snapshot = render(picture);
    snapshot->state = kUnreachable;
    snapshot->way = way;
    return snapshot;
}

std::shared_ptr<const Snapshot> unmetSnapshot(const device::DeviceStatus& picture)
{
    std::shared_ptr<Snapshot> snapshot = render(picture);
    snapshot->state = kUnreachable;
    return snapshot;
}

} // namespace tarn::engine
