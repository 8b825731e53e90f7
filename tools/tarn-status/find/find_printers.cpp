#include "tools/tarn-status/find/find_printers.h"

#include <algorithm>
#include <chrono>

#include "tools/tarn-status/addresses.h"
#include "tools/tarn-status/find/dns_sd.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/options.h"
#include "tools/tarn-status/waiting.h"

namespace tarnstatus {

namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr std::size_t kAskedAtOnce = 16; // addresses that are added at a time
constexpr Milliseconds kLook{50};

// Asks the hosts a few at a time, as a guest would, and keeps those that turn out to be printers.
std::vector<NamedPrinter> scan(PrinterAccess& access, const Options& options, DnsSd& dnsSd)
{
    const std::vector<std::string> hosts = hostsOf(options.network);
    std::vector<NamedPrinter> asked;
    for (std::size_t i = 0; i < hosts.size() && !isInterrupted(); ++i) {
        asked.push_back({hosts[i], hosts[i]});
        if (asked.size() % kAskedAtOnce == 0 || i + 1 == hosts.size()) {
            access.setPrinters(asked); // waits a moment for the new ones
            dnsSd.listen(Milliseconds(0));
        }
    }
    std::vector<NamedPrinter> found;
    for (const Reading& reading : readWhenAnswered(access, options.timeout)) {
        if (looksLikePrinter(reading)) {
            found.push_back(reading.printer);
        }
    }
    return found; // the others are not asked any more
}

// Most printers have answered within a second; what the daemon knows already comes at once.
void listenToTheEnd(DnsSd& dnsSd, Milliseconds timeout)
{
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (!dnsSd.isDone() && !isInterrupted() && std::chrono::steady_clock::now() < end) {
        dnsSd.listen(kLook);
    }
    if (!dnsSd.complaint().empty()) {
        complain("not listening to DNS-SD: " + dnsSd.complaint());
    }
}

NamedPrinter named(const Announcement& announced)
{
    NamedPrinter printer{announced.name.empty() ? announced.ip : announced.name, announced.ip};
    printer.model = announced.model;
    printer.location = announced.location;
    return printer;
}

} // namespace

std::vector<NamedPrinter> findPrinters(PrinterAccess& access, const Options& options)
{
    DnsSd dnsSd;
    access.useIpp(false); // connects to nobody of whom nothing is known
    const std::vector<NamedPrinter> scanned = scan(access, options, dnsSd);
    listenToTheEnd(dnsSd, options.timeout);
    access.useIpp(!dnsSd.printers().empty()); // that is what these announce
    std::vector<NamedPrinter> found;
    for (const Announcement& announced : dnsSd.printers()) {
        found.push_back(named(announced));
    }
    for (const NamedPrinter& printer : scanned) {
        if (std::none_of(found.begin(), found.end(),
                         [&printer](const NamedPrinter& known) { return known.ip == printer.ip; })) {
            found.push_back(printer);
        }
    }
    return found;
}

} // namespace tarnstatus
