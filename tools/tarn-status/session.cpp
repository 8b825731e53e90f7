#include "tools/tarn-status/session.h"

#include <algorithm>
#include <chrono>
#include <optional>

#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/addresses.h"
#include "tools/tarn-status/changes/change_watch.h"
#include "tools/tarn-status/find/find_printers.h"
#include "tools/tarn-status/find/save_found.h"
#include "tools/tarn-status/options.h"
#include "tools/tarn-status/printer_access.h"
#include "tools/tarn-status/screen.h"
#include "tools/tarn-status/waiting.h"

namespace tarnstatus {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr char kClear[] = "\033[2J";

// A name that cannot be looked up stays in the list, without an address: it cannot be reached.
std::vector<NamedPrinter> namedOnes(const std::vector<std::string>& addresses)
{
    std::vector<NamedPrinter> printers;
    for (const std::string& address : addresses) {
        std::string ip = address;
        if (kindOfAddress(address) == AddressKind::HostName) {
            std::string why;
            ip = lookUp(address, why);
            if (ip.empty()) {
                complain(address + ": " + why);
            }
        }
        printers.push_back({address, ip});
    }
    return printers;
}

std::vector<NamedPrinter> printersToShow(PrinterAccess& access, const Options& options)
{
    if (options.find) {
        return findPrinters(access, options);
    }
    return options.listFile.empty() ? namedOnes(options.addresses) : printersOf(options.listFile);
}

// What another list has replaced stays beside it.
std::string hintAtPrevious(const std::string& listFile)
{
    const std::string previous = listFile + ".previous";
    try {
        const std::size_t count = printersOf(previous).size();
        return count == 0 ? "" : "; the list before it, with " + std::to_string(count) + ", is " + previous;
    } catch (const tools::FileError&) {
        return "";
    }
}

// What was looked for, and is not there.
void tellWhatIsMissing(const std::vector<Reading>& readings, const Options& options)
{
    const auto isAny = [&readings](NamedPrinter::Origin origin) {
        return std::any_of(readings.begin(), readings.end(),
                           [origin](const Reading& reading) { return reading.printer.origin == origin; });
    };
    if (options.find && !isAny(NamedPrinter::Origin::Named)) {
        complain("no printer found" + (options.network.empty() ? "" : " in " + options.network));
    }
    if (!options.listFile.empty() && !isAny(NamedPrinter::Origin::Named)) {
        complain("no printers in " + options.listFile + hintAtPrevious(options.listFile));
    }
    if (options.usb && !isAny(NamedPrinter::Origin::Usb)) {
        complain("no USB printer found");
    }
    if (options.cups && !isAny(NamedPrinter::Origin::Cups)) {
        complain("no queue of CUPS found");
    }
}

// Writes looks: one below the other, or on a terminal that is watched one in the place of the other.
class Printout final
{
public:
    explicit Printout(const Options& options)
        : m_terminal(terminalOfOutput()), m_language(languageOfEnvironment()), m_kind(*options.format),
          m_isInPlace(options.watch && m_kind.isForPeople && m_terminal.isClever)
    {
        FormatSettings settings;
        settings.colour = m_terminal.colour;
        settings.watching = options.watch;
        settings.language = m_language;
        settings.warning = options.warning;
        settings.critical = options.critical;
        m_format = m_kind.make(settings);
    }

    void print(Look look)
    {
        forgetResize();
        m_last = lookFor(m_kind, std::move(look));
        const std::string text = m_format->render(m_last);
        if (!m_isInPlace) {
            tools::writeOut(text);
            return;
        }
        const char* const more = say(m_language, "more lines", "行未显示");
        tools::writeOut((m_isFirst ? kClear : "") + frameOf(text, sizeOfOutput(), more));
        m_isFirst = false;
    }

    int exitStatus() const { return m_format->exitStatus(m_last); }

private:
    const Terminal m_terminal;
    const Language m_language;
    const FormatKind& m_kind;
    const bool m_isInPlace;
    std::unique_ptr<Format> m_format;
    Look m_last;
    bool m_isFirst = true;
};

Look lookOf(std::vector<Reading> readings)
{
    return {std::chrono::system_clock::now(), std::move(readings)};
}

} // namespace

Look lookOnce(const Options& options)
{
    catchSignals();
    PrinterAccess access({options.usb, options.cups});
    access.setPrinters(printersToShow(access, options));
    std::vector<Reading> readings = readWhenAnswered(access, options.timeout);
    tellWhatIsMissing(readings, options);
    return lookOf(std::move(readings));
}

int show(const Options& options)
{
    catchSignals();
    PrinterAccess access({options.usb, options.cups});
    access.setPrinters(printersToShow(access, options));
    Printout printout(options);
    const std::vector<Reading> readings = readWhenAnswered(access, options.timeout);
    tellWhatIsMissing(readings, options);
    printout.print(lookOf(readings));
    if (!options.saveFile.empty() && !isInterrupted()) {
        saveFound(readings, options.saveFile);
    }
    std::optional<ChangeWatch> changes;
    if (!options.changeCommand.empty()) {
        changes.emplace(options.changeCommand, readings);
    }
    for (auto next = SteadyClock::now(); options.watch && !isInterrupted();) {
        next = std::max(next + options.interval, SteadyClock::now());
        const bool wasResized = changes ? changes->sleepUntil(next, access) : sleepUntil(next);
        if (!isInterrupted()) {
            next = wasResized ? SteadyClock::now() : next;
            printout.print(lookOf(access.readAll()));
        }
    }
    return printout.exitStatus();
}

} // namespace tarnstatus
