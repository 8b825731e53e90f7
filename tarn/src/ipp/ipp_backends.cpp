#include "tarn/src/ipp/ipp_backends.h"

#include <sys/resource.h>

#include <algorithm>

#include "tarn/src/ipp/cups_queues.h"
#include "tarn/src/ipp/ipp_poller.h"
#include "tarn/src/ipp/ipp_transport.h"

namespace tarn::ipp {

namespace {

// A connection costs a descriptor, of which half stay the program's.
std::size_t mostInFlight()
{
    constexpr std::size_t kLeast = 8;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return kLeast;
    }
    return static_cast<std::size_t>(std::clamp<rlim_t>(limit.rlim_cur / 2, kLeast, IppPoller::kMostInFlight));
}

} // namespace

std::unique_ptr<engine::Backend> makeIppPoller(const Clock& clock, Random& random,
                                               engine::BackendListener& listener, IppTransport& transport)
{
    return std::make_unique<IppPoller>(clock, random, listener, transport.newQueue(), mostInFlight());
}

std::unique_ptr<engine::Backend> makeCupsQueues(const Clock& clock, engine::BackendListener& listener,
                                                IppTransport& transport)
{
    return std::make_unique<CupsQueues>(clock, listener, transport.newQueue());
}

} // namespace tarn::ipp
