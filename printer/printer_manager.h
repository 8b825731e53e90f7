#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "printer/mutex.h"
#include "printer/printer_context.h"
#include "printer/printer_documents.h"
#include "printer/printer_store.h"

namespace morvik::kel {

class Printer;

// PrinterManager is the process-wide registry of monitored printers.
//
// Invariants
//  (1) Names are unique in the list; a name keeps the printer, and the context, that it came with.
//  (2) A printer that is dropped stays scheduled until the scheduler ends, as wanted; what it meets at the
//      end of the program is a closed gate (stopPolling) and an unloaded library, both of which turn it
//      away.
// Threading: the list-changing and library-using operations hold `mutex` throughout; start(), savePrinters()
// and getModels() may wait for the library, the getters never wait for a poll.
// Lock order: mutex -> (library) ; mutex -> m_listMutex -> (a printer's publish mutex).
class PrinterManager
{
public:
    static PrinterManager& instance();
    PrinterManager(const PrinterManager&) = delete;
    PrinterManager& operator=(const PrinterManager&) = delete;

    // Every Printer created afterwards receives a copy.
    void setCallback(std::function<void(PrinterContext)> newCallback);
    // Reloads printers.json, exchanges the list with the access library, reconciles the polled printers.
    // Throws what the file system throws (boost::filesystem::filesystem_error).
    void start();
    // Throws LibraryNotReady.
    std::vector<PrinterContext> getPrinters();
    // Throws PrinterNotFound.
    PrinterContext getPrinter(const std::string& printerName);
    // Writes the network printers of the list to printers.json; the next start() picks them up. Throws
    // boost::filesystem::filesystem_error when the file could not be written.
    void savePrinters(const std::vector<PrinterContext>& list);
    // Throws LibraryNotReady.
    std::vector<std::string> getModels();
    // Schedules one extra, immediate poll of every printer of that name.
    void refresh(const std::string& printerName);
    // Ends polling for good: returns when the polls in progress are over; none starts afterwards, and the
    // callback is not called any more. Before whatever the callback is bound to dies.
    void stopPolling();

private:
    friend struct PrinterManagerProbe; // tests build registries of their own

    using PrinterPtr = boost::shared_ptr<Printer>;

    PrinterManager();
    ~PrinterManager();
    bool addPrinter(const PrinterContext& context) KEL_REQUIRES(mutex);
    void dropVanished(const std::vector<PrinterContext>& known) KEL_REQUIRES(mutex);
    PrinterPtr find(const std::string& printerName);

    // Carried along, read and changed by nobody.
    [[maybe_unused]] bool m_spareFalse = false;
    [[maybe_unused]] bool m_spareTrue = true;
    [[maybe_unused]] std::int32_t m_spareOne = 1;
    bool libraryLoaded; // constant after construction
    Mutex mutex;
    std::function<void(PrinterContext)> callback; // the thread that starts the program only
    std::vector<PrinterPtr> printers KEL_GUARDED_BY(m_listMutex);

    PrinterStore m_store KEL_GUARDED_BY(mutex);
    ListExchange m_exchange KEL_GUARDED_BY(mutex);
    Mutex m_listMutex; // short: getPrinter() and refresh() look at the list without `mutex`
    std::unordered_map<std::string, PrinterPtr> m_byName KEL_GUARDED_BY(m_listMutex);
};

} // namespace morvik::kel
