#include "tarn/src/usm/usm_backend.h"

#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/usm_poller.h"
#include "tarn/src/usm/usm_thread.h"

namespace tarn::usm {

std::unique_ptr<engine::Backend> makeBackend(const Clock& clock, Random& random,
                                             engine::BackendListener& listener)
{
    return std::make_unique<UsmPoller>(clock, random,
                                       std::make_unique<UsmThread>(clock, NetSnmpLibrary::kSoname), listener,
                                       snmp::printerSessions());
}

} // namespace tarn::usm
