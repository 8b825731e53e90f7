#pragma once

#include <string>

#include "tools/printer-sim/printer.h"

namespace printersim {

// The printer's embedded page: model, serial number, page counter and supplies, as its agent reports them.
std::string webPage(const Printer& printer, double seconds);

// The whole HTTP/1.0 answer to a request's head: the page for GET and HEAD of "/", otherwise an error.
std::string httpAnswer(const std::string& head, const Printer& printer, double seconds);

} // namespace printersim
