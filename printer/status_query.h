#pragma once

#include <string>

#include "printer/printer_context.h"

namespace morvik::kel {

// Brings one printer's status up to date: opens it by context.printerName, reads state, serial number, status
// document and state message, closes it. What is not reported keeps its value.
// Returns 0 when the printer was opened and read; -1, context untouched, when the library is not there (any
// more) or the program is ending; -1 also when the library throws; else the code with which opening failed,
// and then context.state is 2.
// Threading: polling threads; holds the library's mutex for the whole sequence of calls.
int queryPrinterStatus(PrinterContext& context);

// The same for whoever asks again and again. applied: the status document that this very context took over
// last; it is not parsed again while the library hands out the same text, and kept up to date here.
int queryPrinterStatus(PrinterContext& context, std::string& applied);

} // namespace morvik::kel
