#pragma once

#include <string>
#include <vector>

#include "printer/printer_context.h"

namespace morvik::kel {

// Hands the network printers of the list to the library and takes back the list that the library knows, USB
// printers included. Empty when the library is not loaded or any step fails.
std::vector<PrinterContext> syncPrinterList(const std::vector<PrinterContext>& printers);

// The model names that the library supports, in its order; an element without "model" gives an empty name.
std::vector<std::string> getPrinterModels();

// The text that stands for the network printers of the list, in printers.json and towards the library:
// {"ip","manufacturer","model","printerName"} each, "null" where there is none, one line feed at the end.
std::string networkPrintersText(const std::vector<PrinterContext>& printers);

} // namespace morvik::kel
