#include "printer/printer_manager.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "printer/poll_gate.h"
#include "printer/printer.h"
#include "printer/printer_exception.h"
#include "printer/process_objects.h"
#include "printer/tarn_library.h"
#include "twheel/task_scheduler.h"

namespace morvik::kel {

namespace {

// Milliseconds.
constexpr long kFirstPollDelay = 2000;
constexpr long kPollPeriod = 1000;

} // namespace

PrinterManager& PrinterManager::instance()
{
    static PrinterManager manager;
    return manager;
}

PrinterManager::PrinterManager() : libraryLoaded(false), m_store(g_printersPath)
{
    pollGate().open();
    libraryLoaded = loadTarnLibrary(tarnLibraryDir());
}

PrinterManager::~PrinterManager()
{
    // Whoever ends the program without stopPolling(), exit() included, comes through here.
    stopPolling();
    {
        const MutexLock lock(m_listMutex);
        for (const PrinterPtr& printer : printers) {
            printer->cancel();
        }
        m_byName.clear();
        printers.clear();
    }
    if (libraryLoaded) {
        unloadTarnLibrary();
    }
}

void PrinterManager::setCallback(std::function<void(PrinterContext)> newCallback)
{
    callback.swap(newCallback);
}

void PrinterManager::start()
{
    const MutexLock lock(mutex);
    const std::vector<PrinterContext>& stored = m_store.load();
    const std::optional<std::vector<PrinterContext>> known = m_exchange.run(stored, m_store.revision());
    if (!known) {
        return; // the list that the printers agree with already
    }
    dropVanished(*known);
    for (const PrinterContext& context : *known) {
        addPrinter(context);
    }
    m_exchange.confirm();
}

void PrinterManager::dropVanished(const std::vector<PrinterContext>& known)
{
    std::unordered_set<std::string_view> names;
    for (const PrinterContext& context : known) {
        names.insert(context.printerName);
    }
    std::vector<PrinterPtr> dropped; // released after the lock
    const MutexLock lock(m_listMutex);
    const auto isKnown = [&](const PrinterPtr& printer) { return names.count(printer->printerName()) != 0; };
    const auto firstDropped = std::stable_partition(printers.begin(), printers.end(), isKnown);
    dropped.assign(firstDropped, printers.end());
    printers.erase(firstDropped, printers.end());
    // kept on purpose: a dropped printer's task is not cancelled.
    for (const PrinterPtr& printer : dropped) {
        m_byName.erase(printer->printerName());
    }
}

bool PrinterManager::addPrinter(const PrinterContext& context)
{
    if (find(context.printerName)) {
        return false;
    }
    const PrinterPtr printer = boost::make_shared<Printer>(context);
    printer->setCallback(callback);
    printer->setTask(g_scheduler.schedule(kFirstPollDelay, kPollPeriod, printer));
    const MutexLock lock(m_listMutex);
    printers.push_back(printer);
    m_byName.emplace(printer->printerName(), printer);
    return true;
}

PrinterManager::PrinterPtr PrinterManager::find(const std::string& printerName)
{
    const MutexLock lock(m_listMutex);
    const auto found = m_byName.find(printerName);
    return found != m_byName.end() ? found->second : PrinterPtr();
}

std::vector<PrinterContext> PrinterManager::getPrinters()
{
    const MutexLock lock(mutex);
    if (!libraryLoaded) {
        throw LibraryNotReady;
    }
    const MutexLock listLock(m_listMutex);
    std::vector<PrinterContext> contexts;
    contexts.reserve(printers.size());
    for (const PrinterPtr& printer : printers) {
        contexts.push_back(*printer->snapshot());
    }
    return contexts;
}

PrinterContext PrinterManager::getPrinter(const std::string& printerName)
{
    const PrinterPtr printer = find(printerName);
    if (!printer) {
        throw PrinterNotFound;
    }
    return *printer->snapshot();
}

void PrinterManager::savePrinters(const std::vector<PrinterContext>& list)
{
    const MutexLock lock(mutex);
    // Texts end at their first NUL in a copy.
    const std::vector<PrinterContext> copy(list); // NOLINT(performance-unnecessary-copy-initialization)
    m_store.save(copy);
}

std::vector<std::string> PrinterManager::getModels()
{
    const MutexLock lock(mutex);
    if (!libraryLoaded) {
        throw LibraryNotReady;
    }
    return getPrinterModels();
}

void PrinterManager::refresh(const std::string& printerName)
{
    if (const PrinterPtr printer = find(printerName)) {
        g_scheduler.schedule(0, printer);
    }
}

void PrinterManager::stopPolling()
{
    pollGate().close();
}

} // namespace morvik::kel
