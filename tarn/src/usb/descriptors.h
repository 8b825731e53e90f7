#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace tarn::usb {

// One setting of an interface through which a device prints: class 7, subclass 1 of the USB printer class.
struct PrinterInterface
{
    std::uint8_t configuration = 0;      // bConfigurationValue
    std::uint8_t configurationIndex = 0; // its place among the configurations
    std::uint8_t number = 0;             // bInterfaceNumber
    std::uint8_t alternate = 0;          // bAlternateSetting
    std::uint8_t protocol = 0;           // 1 unidirectional, 2 bidirectional, 3 IEEE 1284.4, 4 IPP over USB
};

struct Descriptors
{
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    std::vector<PrinterInterface> printers; // kMostInterfaces at most
};
constexpr std::size_t kMostInterfaces = 64;

// Walks the descriptors of a device as the system keeps them: the device's own, then those of each
// configuration. Nothing when they do not begin with a device's. What follows a descriptor that is cut off,
// or too short to be one, is not looked at.
std::optional<Descriptors> readDescriptors(std::string_view octets);

// The interface to ask: of the active configuration (0: of any), one that speaks the printer's own languages
// rather than IPP; null without any.
const PrinterInterface* printerInterface(const Descriptors& descriptors, std::uint8_t activeConfiguration);

} // namespace tarn::usb
