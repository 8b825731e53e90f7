#pragma once

#include <optional>
#include <string>

#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb {

// What the kernel tells of USB devices in files that anybody may read.
//
// Threading: one thread.
class Sysfs final
{
public:
    explicit Sysfs(std::string directory = "/sys/bus/usb/devices") : m_directory(std::move(directory)) {}

    // The device in that socket, without bus and address; nothing when it has no printer's interface.
    std::optional<UsbDevice> printerAt(const std::string& path) const;

private:
    std::string text(const std::string& device, const char* attribute) const;

    const std::string m_directory;
};

} // namespace tarn::usb
