#include "tarn/src/ipp/ipp_backends.h"

#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/cups_queues.h"
#include "tarn/src/ipp/ipp_poller.h"

namespace tarn::ipp {

namespace {

std::unique_ptr<Desk> deskWith(std::size_t threads)
{
    return std::make_unique<AskerPool>(std::make_unique<IppClient>(&CupsLibrary::system), threads);
}

} // namespace

std::unique_ptr<engine::Backend> makeIppPoller(const Clock& clock, Random& random,
                                               engine::BackendListener& listener)
{
    return std::make_unique<IppPoller>(clock, random, listener, deskWith(IppPoller::kMostInFlight));
}

std::unique_ptr<engine::Backend> makeCupsQueues(const Clock& clock, Random& /*random*/,
                                                engine::BackendListener& listener)
{
    return std::make_unique<CupsQueues>(clock, listener, deskWith(1));
}

} // namespace tarn::ipp
