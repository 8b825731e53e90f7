#include "tarn/src/usb/descriptors.h"

namespace tarn::usb {

namespace {

// USB 2.0, tables 9-5, 9-8, 9-10 and 9-12.
constexpr std::uint8_t kDevice = 1;
constexpr std::uint8_t kConfiguration = 2;
constexpr std::uint8_t kInterface = 4;
constexpr std::size_t kDeviceLength = 18;
constexpr std::size_t kConfigurationLength = 9;
constexpr std::size_t kInterfaceLength = 9;
constexpr std::uint8_t kPrinterClass = 7;
constexpr std::uint8_t kPrinterSubclass = 1;

std::uint8_t octet(std::string_view octets, std::size_t at)
{
    return static_cast<std::uint8_t>(octets[at]);
}

std::uint16_t word(std::string_view octets, std::size_t at)
{
    return static_cast<std::uint16_t>(octet(octets, at) | octet(octets, at + 1) << 8);
}

// Smaller is better.
int rank(const PrinterInterface& printer)
{
    switch (printer.protocol) {
    case 2:
        return 0;
    case 3:
        return 1;
    case 1:
        return 2;
    default:
        return 3;
    }
}

// The configuration within which a walk is.
struct Place
{
    std::uint8_t value = 0;
    unsigned met = 0;
};

void take(std::string_view descriptor, Place& place, Descriptors& out)
{
    const std::uint8_t type = octet(descriptor, 1);
    if (type == kConfiguration && descriptor.size() >= kConfigurationLength) {
        place.value = octet(descriptor, 5);
        ++place.met;
    } else if (type == kInterface && descriptor.size() >= kInterfaceLength && place.met > 0 &&
               octet(descriptor, 5) == kPrinterClass && octet(descriptor, 6) == kPrinterSubclass &&
               out.printers.size() < kMostInterfaces) {
        out.printers.push_back({place.value, static_cast<std::uint8_t>(place.met - 1), octet(descriptor, 2),
                                octet(descriptor, 3), octet(descriptor, 7)});
    }
}

} // namespace

std::optional<Descriptors> readDescriptors(std::string_view octets)
{
    if (octets.size() < kDeviceLength || octet(octets, 0) < kDeviceLength || octet(octets, 1) != kDevice) {
        return std::nullopt;
    }
    Descriptors out;
    out.vendor = word(octets, 8);
    out.product = word(octets, 10);
    Place place;
    while (octets.size() >= 2) {
        const std::size_t length = octet(octets, 0);
        if (length < 2 || length > octets.size()) {
            break;
        }
        take(octets.substr(0, length), place, out);
        octets.remove_prefix(length);
    }
    return out;
}

const PrinterInterface* printerInterface(const Descriptors& descriptors, std::uint8_t activeConfiguration)
{
    const PrinterInterface* best = nullptr;
    for (const PrinterInterface& printer : descriptors.printers) {
        if (activeConfiguration != 0 && printer.configuration != activeConfiguration) {
            continue;
        }
        if (best == nullptr || rank(printer) < rank(*best)) {
            best = &printer;
        }
    }
    return best;
}

} // namespace tarn::usb
