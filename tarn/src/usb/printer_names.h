#pragma once

#include <map>
#include <set>
#include <string>

#include "tarn/src/usb/printer_identity.h"

namespace tarn::usb {

// PrinterNames gives printers the names under which they are opened.
//
// Invariants
//  (1) A name is make, model and serial number; of printers that have these in common, those plugged in later
//      have " #2", " #3" ... behind them.
//  (2) No two printers that are plugged in have one name, and a name stays as long as its printer does.
//  (3) A printer that is plugged in again gets the name it had, unless another has that meanwhile: twins are
//      known by their sockets.
// Threading: one thread.
class PrinterNames final
{
public:
    // The printer of that identity in that socket is plugged in.
    std::string add(const PrinterIdentity& identity, const std::string& path);
    // Its name is free again.
    void remove(const std::string& name) { m_taken.erase(name); }

private:
    std::set<std::string> m_taken;
    // The name last given to what was called so in that socket. Bounded by what a user can plug in.
    std::map<std::pair<std::string, std::string>, std::string> m_remembered;
};

} // namespace tarn::usb
