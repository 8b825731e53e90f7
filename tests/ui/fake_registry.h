#pragma once

#include <functional>
#include <string>
#include <vector>

#include "printer/printer_context.h"
#include "printer/printer_exception.h"

// FakeRegistry is what PrinterManager answers from in a test program that links `fake_registry`: the linker
// then takes its definitions instead of the real registry's. It records what the user interface asks for.
struct FakeRegistry
{
    std::vector<morvik::kel::PrinterContext> printers; // what getPrinters and getPrinter know
    std::vector<std::string> models;
    bool modelsFail = false;       // getModels throws LibraryNotReady
    bool printersFail = false;     // getPrinters and getPrinter throw LibraryNotReady
    std::function<void()> onStart; // runs in every start; may throw
    std::function<void()> onSave;  // runs before a save is recorded; may throw

    std::vector<std::string> asked;     // names given to getPrinter
    std::vector<std::string> refreshed; // names given to refresh
    int starts = 0;
    std::vector<std::vector<morvik::kel::PrinterContext>> saved;

    // Back to an empty registry whose library is loaded.
    void reset();
};

FakeRegistry& fakeRegistry();
