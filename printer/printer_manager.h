#pragma once

#include <boost/shared_ptr.hpp>

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "printer/printer_context.h"

namespace morvik::kel {

class Printer;

// PrinterManager is the process-wide registry of monitored printers.
class PrinterManager
{
public:
    static PrinterManager& instance();
    PrinterManager(const PrinterManager&) = delete;
    PrinterManager& operator=(const PrinterManager&) = delete;

    // Every Printer created afterwards receives a copy.
    void setCallback(std::function<void(PrinterContext)> callback);
    // Reloads printers.json, exchanges the list with the access library, reconciles the polled printers.
    void start();
    // Throws LibraryNotReady.
    std::vector<PrinterContext> getPrinters();
    // Throws PrinterNotFound.
    PrinterContext getPrinter(const std::string& printerName);
    // Writes the network printers of the list to printers.json; the next start() picks them up.
    void savePrinters(const std::vector<PrinterContext>& list);
    // Throws LibraryNotReady.
    std::vector<std::string> getModels();
    // Schedules one extra, immediate poll of every printer of that name.
    void refresh(const std::string& printerName);

private:
    PrinterManager();
    ~PrinterManager();
    bool addPrinter(const PrinterContext& context);
};

} // namespace morvik::kel
