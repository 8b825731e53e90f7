#pragma once

#include <cstdint>
#include <string>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// KeptPicture is a picture packed into one string: a fifth of what it takes unpacked, for as long as nobody
// asks for it. Immutable.
class KeptPicture final
{
public:
    KeptPicture() = default; // of a picture of which nothing is known
    explicit KeptPicture(const DeviceStatus& picture);

    DeviceStatus unpacked() const;
    // The same, into a picture whose memory is used again.
    void unpackInto(DeviceStatus& picture) const;
    // Equal for equal pictures, and as good as never for different ones.
    std::uint64_t digest() const;

private:
    std::string m_bytes;
};

} // namespace tarn::device
