#include "tarn/src/usb/libusb_bus.h"

#include <algorithm>
#include <optional>

namespace tarn::usb {

namespace {

using namespace std::chrono_literals;

constexpr unsigned kPatienceMs = 1000;
// How long libusb may take to say that the time is up, before the transfer is left to itself.
constexpr auto kGrace = 500ms;
constexpr auto kLookInterval = 2s; // without hot-plug events
constexpr std::uint8_t kFromInterface = static_cast<std::uint8_t>(LIBUSB_ENDPOINT_IN) |
                                        static_cast<std::uint8_t>(LIBUSB_REQUEST_TYPE_CLASS) |
                                        static_cast<std::uint8_t>(LIBUSB_RECIPIENT_INTERFACE);
constexpr std::size_t kMostPorts = 7; // USB 3.0, 8.9: the deepest a device can be

// "1-2.3"; nothing for a root hub.
std::optional<std::string> pathOf(const LibusbLibrary& usb, libusb_device* device)
{
    std::uint8_t ports[kMostPorts];
    const int count = usb.get_port_numbers(device, ports, kMostPorts);
    if (count <= 0) {
        return std::nullopt;
    }
    std::string path = std::to_string(usb.get_bus_number(device));
    for (int i = 0; i < count; ++i) {
        path += (i == 0 ? '-' : '.') + std::to_string(ports[i]);
    }
    return path;
}

Outcome outcomeOf(int error)
{
    switch (error) {
    case LIBUSB_ERROR_ACCESS:
        return Outcome::Denied;
    case LIBUSB_ERROR_BUSY:
        return Outcome::Busy;
    case LIBUSB_ERROR_NO_DEVICE:
    case LIBUSB_ERROR_NOT_FOUND:
        return Outcome::Gone;
    case LIBUSB_ERROR_PIPE:
        return Outcome::Stalled;
    case LIBUSB_ERROR_TIMEOUT:
        return Outcome::Silent;
    default:
        return Outcome::Failed;
    }
}

Outcome outcomeOf(libusb_transfer_status status)
{
    switch (status) {
    case LIBUSB_TRANSFER_COMPLETED:
        return Outcome::Answered;
    case LIBUSB_TRANSFER_TIMED_OUT:
        return Outcome::Silent;
    case LIBUSB_TRANSFER_STALL:
        return Outcome::Stalled;
    case LIBUSB_TRANSFER_NO_DEVICE:
    case LIBUSB_TRANSFER_CANCELLED:
        return Outcome::Gone;
    default:
        return Outcome::Failed;
    }
}

// The USB printer class 1.1, 4.2. GET_DEVICE_ID names the configuration's index and the setting of the
// interface.
void fillSetup(unsigned char* buffer, const PrinterInterface& interface, Question question, std::size_t size)
{
    const bool id = question == Question::DeviceId;
    const auto value = static_cast<std::uint16_t>(id ? interface.configurationIndex : 0);
    const auto index =
        static_cast<std::uint16_t>(id ? interface.number << 8 | interface.alternate : interface.number);
    libusb_fill_control_setup(buffer, kFromInterface, id ? 0 : 1, value, index,
                              static_cast<std::uint16_t>(size));
}

} // namespace

// Closes the device on every way out.
class LibusbBus::OpenDevice final
{
public:
    OpenDevice(const LibusbLibrary& usb, libusb_device* device) : m_usb(usb)
    {
        m_error = m_usb.open(device, &m_handle);
    }
    ~OpenDevice()
    {
        if (m_error == 0) {
            m_usb.close(m_handle);
        }
    }
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;
    int error() const { return m_error; }
    libusb_device_handle* get() const { return m_handle; }

private:
    const LibusbLibrary& m_usb;
    libusb_device_handle* m_handle = nullptr;
    int m_error = 0;
};

struct LibusbBus::Flight
{
    static constexpr std::size_t kLargest = 1023; // what everybody asks for: firmware was tested with it

    const LibusbLibrary& usb;
    libusb_transfer* transfer;
    int completed = 0;
    unsigned char buffer[LIBUSB_CONTROL_SETUP_SIZE + kLargest] = {};

    explicit Flight(const LibusbLibrary& library) : usb(library), transfer(library.alloc_transfer(0)) {}
    ~Flight() { usb.free_transfer(transfer); }
    Flight(const Flight&) = delete;
    Flight& operator=(const Flight&) = delete;

    static void LIBUSB_CALL landed(libusb_transfer* transfer)
    {
        static_cast<Flight*>(transfer->user_data)->completed = 1;
    }
};

std::unique_ptr<UsbBus> LibusbBus::open(std::string& why, const char* soname, Sysfs sysfs)
{
    auto library = std::make_unique<LibusbLibrary>(soname);
    if (!library->isUsable()) {
        why = library->complaint();
        return nullptr;
    }
    std::unique_ptr<LibusbBus> bus(new LibusbBus(std::move(library), std::move(sysfs)));
    return bus->begin(why) ? std::move(bus) : nullptr;
}

bool LibusbBus::begin(std::string& why)
{
    const int error = m_usb->init(&m_context);
    if (error != 0) {
        m_context = nullptr;
        why = "libusb does not start (" + std::to_string(error) + ")";
        return false;
    }
    m_hotplug = m_usb->has_capability(LIBUSB_CAP_HAS_HOTPLUG) != 0 &&
                m_usb->hotplug_register_callback(
                    m_context, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED | LIBUSB_HOTPLUG_EVENT_DEVICE_LEFT, 0,
                    LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY, LIBUSB_HOTPLUG_MATCH_ANY,
                    &LibusbBus::changed, this, nullptr) == 0;
    return true;
}

LibusbBus::~LibusbBus()
{
    if (m_context != nullptr) {
        releaseList();
        m_usb->exit(m_context);
    }
}

void LibusbBus::releaseList()
{
    m_devices.clear();
    if (m_list != nullptr) {
        m_usb->free_device_list(m_list, 1);
        m_list = nullptr;
    }
}

std::optional<std::vector<UsbDevice>> LibusbBus::devices()
{
    releaseList();
    m_changed = false;
    m_lookedAt = Clock::now();
    std::vector<UsbDevice> found;
    const ssize_t count = m_usb->get_device_list(m_context, &m_list);
    for (ssize_t i = 0; i < count; ++i) {
        const std::optional<std::string> path = pathOf(*m_usb, m_list[i]);
        std::optional<UsbDevice> device = path ? m_sysfs.printerAt(*path) : std::nullopt;
        if (device) {
            device->bus = m_usb->get_bus_number(m_list[i]);
            device->address = m_usb->get_device_address(m_list[i]);
            m_devices[{device->bus, device->address}] = m_list[i];
            found.push_back(std::move(*device));
        }
    }
    m_isUnknown = m_sysfs.lackedDescriptors() || count < 0;
    if (m_isUnknown) {
        return std::nullopt;
    }
    return found;
}

UsbAnswer LibusbBus::ask(const UsbDevice& device, Question question)
{
    const auto found = m_devices.find({device.bus, device.address});
    if (found == m_devices.end() || m_stopped) {
        return {Outcome::Gone, {}};
    }
    const OpenDevice open(*m_usb, found->second);
    if (open.error() != 0) {
        return {outcomeOf(open.error()), {}};
    }
    if (question == Question::PortStatus &&
        m_usb->kernel_driver_active(open.get(), device.interface.number) == 1) {
        return {Outcome::Busy, {}};
    }
    return transfer(open.get(), device, question);
}

UsbAnswer LibusbBus::transfer(libusb_device_handle* handle, const UsbDevice& device, Question question)
{
    auto flight = std::make_unique<Flight>(*m_usb);
    if (flight->transfer == nullptr) {
        return {Outcome::Failed, {}};
    }
    const std::size_t size = question == Question::DeviceId ? Flight::kLargest : 1;
    fillSetup(flight->buffer, device.interface, question, size);
    libusb_fill_control_transfer(flight->transfer, handle, flight->buffer, &Flight::landed, flight.get(),
                                 kPatienceMs);
    const int error = m_usb->submit_transfer(flight->transfer);
    if (error != 0) {
        return {outcomeOf(error), {}};
    }
    await(*flight);
    if (flight->completed == 0) {
        // Not even the cancelling came back. libusb may still write to it: it is never freed.
        static_cast<void>(flight.release());
        return {Outcome::Silent, {}};
    }
    const auto length = static_cast<std::size_t>(std::max(flight->transfer->actual_length, 0));
    const auto* const octets = reinterpret_cast<const char*>(flight->buffer) + LIBUSB_CONTROL_SETUP_SIZE;
    return {outcomeOf(flight->transfer->status), std::string(octets, std::min(length, size))};
}

// Until the transfer has ended, which stop() hastens; in any case not for ever.
void LibusbBus::await(Flight& flight)
{
    auto deadline = Clock::now() + std::chrono::milliseconds(kPatienceMs) + kGrace;
    bool cancelled = false;
    while (flight.completed == 0 && Clock::now() < deadline) {
        if (m_stopped && !cancelled) {
            cancelled = true;
            deadline = std::min(deadline, Clock::now() + kGrace);
            m_usb->cancel_transfer(flight.transfer);
        }
        handleEvents(deadline - Clock::now(), &flight.completed);
    }
}

void LibusbBus::handleEvents(Clock::duration longest, int* completed)
{
    const auto us =
        std::max<std::int64_t>(0, std::chrono::duration_cast<std::chrono::microseconds>(longest).count());
    timeval time{us / 1000000, us % 1000000};
    m_usb->handle_events_timeout_completed(m_context, &time, completed);
}

bool LibusbBus::waitForChange(Milliseconds longest)
{
    if (m_stopped) {
        return false;
    }
    Clock::duration time = longest;
    const bool isToLook = !m_hotplug || m_isUnknown;
    if (isToLook) {
        time = std::min<Clock::duration>(time, m_lookedAt + kLookInterval - Clock::now());
    }
    handleEvents(time, nullptr);
    return m_changed || (isToLook && Clock::now() >= m_lookedAt + kLookInterval);
}

int LIBUSB_CALL LibusbBus::changed(libusb_context* /*context*/, libusb_device* /*device*/,
                                   libusb_hotplug_event /*event*/, void* self)
{
    static_cast<LibusbBus*>(self)->m_changed = true; // called from where events are handled
    return 0;
}

void LibusbBus::interrupt()
{
    m_usb->interrupt_event_handler(m_context);
}

void LibusbBus::stop()
{
    m_stopped = true;
    interrupt();
}

} // namespace tarn::usb
