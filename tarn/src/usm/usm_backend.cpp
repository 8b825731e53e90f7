#include "tarn/src/usm/usm_backend.h"

#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/usm_thread.h"
#include "tarn/src/usm/usm_transport.h"

namespace tarn::usm {

std::unique_ptr<engine::Backend> makeBackend(const Clock& clock, Random& random,
                                             engine::BackendListener& listener)
{
    auto thread = std::make_unique<UsmThread>(clock, NetSnmpLibrary::kSoname);
    return std::make_unique<snmp::SnmpPoller>(
        clock, random, std::make_unique<UsmTransport>(std::move(thread)), listener, snmp::printerSessions());
}

} // namespace tarn::usm
