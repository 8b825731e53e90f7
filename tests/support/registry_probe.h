#pragma once

#include <memory>
#include <vector>

#include "printer/printer_manager.h"

namespace morvik::kel {

// Lets a test build and destroy registries of its own, beside the process-wide one (not at the same time:
// there is one table of entry points), and look at what they hold.
struct PrinterManagerProbe
{
    struct Destroy
    {
        void operator()(PrinterManager* manager) const { delete manager; }
    };
    using Owned = std::unique_ptr<PrinterManager, Destroy>;

    static Owned create() { return Owned(new PrinterManager); }
    static std::vector<boost::shared_ptr<Printer>> printers(PrinterManager& manager)
    {
        const MutexLock lock(manager.m_listMutex);
        return manager.printers;
    }
    static Mutex& registryMutex(PrinterManager& manager) KEL_NO_THREAD_SAFETY_ANALYSIS
    {
        return manager.mutex;
    }
};

} // namespace morvik::kel
