#include "tests/ui/fake_registry.h"

#include "printer/printer_manager.h"

void FakeRegistry::reset()
{
    *this = FakeRegistry();
}

FakeRegistry& fakeRegistry()
{
    static FakeRegistry registry;
    return registry;
}

namespace morvik::kel {

PrinterManager& PrinterManager::instance()
{
    // Room for a registry that is never built, since building one loads an access library: the operations
    // below touch none of its members.
    alignas(PrinterManager) static unsigned char room[sizeof(PrinterManager)];
    return *reinterpret_cast<PrinterManager*>(room);
}

void PrinterManager::setCallback(std::function<void(PrinterContext)>) {}

void PrinterManager::start()
{
    ++fakeRegistry().starts;
    if (fakeRegistry().onStart) {
        fakeRegistry().onStart();
    }
}

std::vector<PrinterContext> PrinterManager::getPrinters()
{
    if (fakeRegistry().printersFail) {
        throw LibraryNotReady;
    }
    return fakeRegistry().printers;
}

PrinterContext PrinterManager::getPrinter(const std::string& printerName)
{
    fakeRegistry().asked.push_back(printerName);
    if (fakeRegistry().printersFail) {
        throw LibraryNotReady;
    }
    for (const PrinterContext& printer : fakeRegistry().printers) {
        if (printer.printerName == printerName) {
            return printer;
        }
    }
    throw PrinterNotFound;
}

void PrinterManager::savePrinters(const std::vector<PrinterContext>& list)
{
    if (fakeRegistry().onSave) {
        fakeRegistry().onSave();
    }
    fakeRegistry().saved.push_back(list);
}

std::vector<std::string> PrinterManager::getModels()
{
    if (fakeRegistry().modelsFail) {
        throw LibraryNotReady;
    }
    return fakeRegistry().models;
}

void PrinterManager::refresh(const std::string& printerName)
{
    fakeRegistry().refreshed.push_back(printerName);
}

} // namespace morvik::kel
