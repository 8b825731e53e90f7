// What the library is made of where it is not tested.
#include "tarn/src/api/library.h"
#include "tarn/src/ipp/ipp_backends.h"
#include "tarn/src/ipp/ipp_transport.h"
#include "tarn/src/snmp/poll/udp_port.h"
#include "tarn/src/usb/usb_backend.h"
#include "tarn/src/usm/usm_backend.h"

namespace tarn::api {

namespace {

// What asks over IPP shares one transport.
std::vector<Library::BackendMaker> backendsBesideSnmp()
{
    const auto transport = ipp::IppTransport::make();
    return {[transport](const Clock& clock, Random& random, engine::BackendListener& listener) {
                return ipp::makeIppPoller(clock, random, listener, *transport);
            },
            [transport](const Clock& clock, Random& /*random*/, engine::BackendListener& listener) {
                return ipp::makeCupsQueues(clock, listener, *transport);
            },
            [transport](const Clock& clock, Random& /*random*/, engine::BackendListener& listener) {
                return std::make_unique<usb::UsbBackend>(clock, listener,
                                                         usb::UsbBackend::realParts(transport));
            },
            usm::makeBackend};
}

} // namespace

Library::Parts Library::realParts()
{
    return {std::make_unique<BootClock>(),
            std::make_unique<SystemRandom>(),
            std::make_unique<snmp::UdpPort>(),
            snmp::printerSessions(),
            catalog::Config::load(),
            catalog::IdentityCache::defaultPath(),
            catalog::LastValues::defaultPath(),
            backendsBesideSnmp()};
}

} // namespace tarn::api
