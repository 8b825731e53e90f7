#include "tarn/src/usb/sysfs.h"

#include <cstdlib>

#include "tarn/src/base/files.h"
#include "tarn/src/base/wakeup_fd.h"
#include "tarn/src/device/device_id.h"
#include "tarn/src/device/utf8.h"

namespace tarn::usb {

namespace {

constexpr std::size_t kLargestDescriptors = 65536;
constexpr std::size_t kLargestText = 1024; // a string descriptor holds 126 characters

} // namespace

std::string Sysfs::read(const std::string& file, std::size_t maxBytes)
{
    FileText text = readFile(m_directory + '/' + file, maxBytes);
    if (text.error == ReadError::Unreadable && !WakeupFd().open()) {
        m_lackedDescriptors = true;
    }
    return std::move(text.text);
}

std::string Sysfs::text(const std::string& device, const char* attribute)
{
    return device::tidyText(read(device + '/' + attribute, kLargestText));
}

std::optional<UsbDevice> Sysfs::printerAt(const std::string& path)
{
    const std::string octets = read(path + "/descriptors", kLargestDescriptors);
    const std::optional<Descriptors> descriptors = readDescriptors(octets);
    if (!descriptors || descriptors->printers.empty()) {
        return std::nullopt;
    }
    const long active = std::strtol(text(path, "bConfigurationValue").c_str(), nullptr, 10);
    const auto configuration = static_cast<std::uint8_t>(active > 0 && active < 256 ? active : 0);
    const PrinterInterface* interface = printerInterface(*descriptors, configuration);
    if (interface == nullptr) {
        return std::nullopt;
    }
    UsbDevice device;
    device.path = path;
    device.vendor = descriptors->vendor;
    device.product = descriptors->product;
    device.interface = *interface;
    device.manufacturerText = text(path, "manufacturer");
    device.productText = text(path, "product");
    device.serialText = text(path, "serial");
    const std::string node =
        path + ':' + std::to_string(interface->configuration) + '.' + std::to_string(interface->number);
    device.systemId = read(node + "/ieee1284_id", device::DeviceId::kLargest);
    return device;
}

} // namespace tarn::usb
