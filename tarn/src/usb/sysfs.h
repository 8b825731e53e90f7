#pragma once

#include <optional>
#include <string>
#include <utility>

#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb {

// What the kernel tells of USB devices in files that anybody may read.
//
// Threading: one thread.
class Sysfs final
{
public:
    static constexpr const char kDirectory[] = "/sys/bus/usb/devices";

    explicit Sysfs(std::string directory = kDirectory) : m_directory(std::move(directory)) {}

    // The device in that socket, without bus and address; nothing when it has no printer's interface, or
    // could not be read.
    std::optional<UsbDevice> printerAt(const std::string& path);

    // Whether something could not be read since the last call as no descriptor was to be had.
    bool lackedDescriptors() { return std::exchange(m_lackedDescriptors, false); }

private:
    std::string read(const std::string& file, std::size_t maxBytes);
    std::string text(const std::string& device, const char* attribute);

    const std::string m_directory;
    bool m_lackedDescriptors = false;
};

} // namespace tarn::usb
