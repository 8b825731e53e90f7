#pragma once

#include <cstdint>
#include <string>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// PackedStatus is a status packed into one string: a fifth of what it takes unpacked, for as long as nobody
// asks for it. Immutable.
class PackedStatus final
{
public:
    PackedStatus() = default; // of a status of which nothing is known
    explicit PackedStatus(const DeviceStatus& status);

    DeviceStatus unpacked() const;
    // The same, into a status whose memory is used again.
    void unpackInto(DeviceStatus& status) const;
    // Equal for equal statuses, and as good as never for different ones.
    std::uint64_t digest() const;

private:
    std::string m_bytes;
};

} // namespace tarn::device
