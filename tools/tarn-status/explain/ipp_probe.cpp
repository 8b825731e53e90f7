#include "tools/tarn-status/explain/ipp_probe.h"

#include <poll.h>

#include "tarn/src/ipp/ipp_transport.h"
#include "tools/tarn-status/explain/udp_session.h"

namespace tarnstatus {

using tarn::engine::IppChoice;
using tarn::engine::IppSettings;
using tarn::ipp::IppAnswer;
using tarn::ipp::IppOutcome;
using tarn::ipp::IppRequest;
using tarn::ipp::IppTransport;
using tarn::ipp::RequestQueue;
using tarn::ipp::RequestRunner;

namespace {

// A request ends by itself; this is for a thread that does not come to its turn.
constexpr std::chrono::milliseconds kSpare{20000};

IppAnswer ask(RequestQueue& queue, std::uint32_t address, const IppSettings& settings)
{
    IppRequest request;
    request.address = address;
    request.settings = settings;
    const auto until = SteadyClock::now() + RequestRunner::kDeadline + kSpare;
    if (!queue.send(1, std::move(request))) {
        return {};
    }
    while (SteadyClock::now() < until) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - SteadyClock::now());
        pollfd watched{queue.descriptor(), POLLIN, 0};
        ::poll(&watched, 1, static_cast<int>(left.count()));
        for (tarn::ipp::FinishedRequest& finished : queue.takeFinished()) {
            return std::move(finished.answer);
        }
    }
    queue.cancel(1);
    return {};
}

ProbeOutcome outcomeOf(IppOutcome outcome)
{
    switch (outcome) {
    case IppOutcome::Answered:
        return ProbeOutcome::Printer;
    case IppOutcome::Silent:
        return ProbeOutcome::Silent;
    case IppOutcome::Refused:
        return ProbeOutcome::PortClosed;
    case IppOutcome::NoIpp:
        return ProbeOutcome::NoIpp;
    case IppOutcome::NoLibrary:
        return ProbeOutcome::NoLibrary;
    case IppOutcome::NotSent:
        break;
    }
    return ProbeOutcome::NoSocket;
}

// Whether it answers where it is not to be asked.
bool answersTheOtherWay(RequestQueue& queue, std::uint32_t address, IppSettings settings)
{
    settings.choice = settings.choice == IppChoice::Plain ? IppChoice::Tls : IppChoice::Plain;
    return ask(queue, address, settings).outcome == IppOutcome::Answered;
}

} // namespace

Finding askIpp(const Questions& questions)
{
    Finding finding{Probe::Ipp, ProbeOutcome::SwitchedOff};
    if (questions.ipp.choice == IppChoice::Off) {
        return finding;
    }
    const std::shared_ptr<IppTransport> transport = IppTransport::make();
    const std::unique_ptr<RequestQueue> queue = transport->newQueue();
    const auto begin = SteadyClock::now();
    const IppAnswer answer = ask(*queue, questions.address, questions.ipp);
    finding.took = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
    finding.outcome = outcomeOf(answer.outcome);
    if (answer.outcome == IppOutcome::Answered) {
        finding.outcome = answer.route.tls ? ProbeOutcome::PrinterByTls : ProbeOutcome::Printer;
        finding.detail =
            answer.printers.empty() ? "" : answer.printers.front().text("printer-make-and-model");
    } else if (answer.outcome == IppOutcome::NoIpp && questions.ipp.choice != IppChoice::Auto &&
               answersTheOtherWay(*queue, questions.address, questions.ipp)) {
        finding.outcome =
            questions.ipp.choice == IppChoice::Plain ? ProbeOutcome::TlsOnly : ProbeOutcome::PlainOnly;
    }
    return finding;
}

} // namespace tarnstatus
