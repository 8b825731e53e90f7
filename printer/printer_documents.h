#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "printer/printer_context.h"

namespace morvik::kel {

// Hands the network printers of the list to the library and takes back the list that the library knows, USB
// printers included. Empty when the library is not loaded or any step fails.
std::vector<PrinterContext> syncPrinterList(const std::vector<PrinterContext>& printers);

// ListExchange is the same exchange for whoever repeats it every two seconds: what has not changed is neither
// rendered nor parsed again. The library is asked each time all the same.
//
// Threading: one thread at a time.
class ListExchange final
{
public:
    // Nothing when the library answered with the very text that was confirmed last; else what syncPrinterList
    // gives. revision: of `printers`; the same number means the same list.
    std::optional<std::vector<PrinterContext>> run(const std::vector<PrinterContext>& printers,
                                                   std::uint64_t revision);
    // The last answer has been taken over in full: the same text again says nothing new.
    void confirm();

private:
    std::uint64_t m_revision = 0; // of m_sent; 0: nothing rendered yet
    std::string m_sent;
    std::optional<std::string> m_received; // the last answer's text
    bool m_confirmed = false;
};

// The model names that the library supports, in its order; an element without "model" gives an empty name.
std::vector<std::string> getPrinterModels();

// The text that stands for the network printers of the list, in printers.json and towards the library:
// {"ip","manufacturer","model","printerName"} each, "null" where there is none, one line feed at the end.
std::string networkPrintersText(const std::vector<PrinterContext>& printers);

} // namespace morvik::kel
