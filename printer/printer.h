#pragma once

#include <boost/shared_ptr.hpp>

#include <functional>
#include <memory>
#include <string>

#include "printer/mutex.h"
#include "printer/printer_context.h"
#include "twheel/task_handle.h"
#include "twheel/twheel_runnable.h"

namespace morvik::kel {

// Printer is one monitored printer: what the scheduler runs.
//
// Invariants
//  (1) At most one poll is in progress; a tick that meets it does nothing.
//  (2) snapshot() is the context as the last finished poll left it, a failed one included; it never waits
//      for a poll.
// Threading: run() on the scheduler's workers, two at once included; snapshot() on any thread; the rest on
// the thread that owns the registry, setCallback() before the first run. Ownership: made with
// boost::make_shared; the registry and the scheduler each hold a reference. The cycle printer -> task ->
// printer ends with cancel(), or with the scheduler.
class Printer final : public twheel::TwheelRunnable
{
public:
    explicit Printer(const PrinterContext& initial);
    ~Printer() override;
    Printer(const Printer&) = delete;
    Printer& operator=(const Printer&) = delete;

    // One poll. Swallows PrinterException, lets everything else pass to the scheduler.
    void run() override;

    void setCallback(std::function<void(PrinterContext)> newCallback);
    void setTask(boost::shared_ptr<twheel::TaskHandle> newTask);
    void cancel();
    // Constant after construction.
    const std::string& printerName() const { return m_printerName; }
    std::shared_ptr<const PrinterContext> snapshot() const;

private:
    void poll() KEL_REQUIRES(mutex);
    std::shared_ptr<const PrinterContext> publish() KEL_REQUIRES(mutex);

    PrinterContext context KEL_GUARDED_BY(mutex);        // written by every poll, in place
    std::string m_appliedDocument KEL_GUARDED_BY(mutex); // the status document that context took over last
    std::function<void(PrinterContext)> callback;        // constant once scheduled
    boost::shared_ptr<twheel::TaskHandle> task;          // the registry's thread only
    Mutex mutex; // held for the whole of one poll, taken by try-lock only

    const std::string m_printerName;
    mutable Mutex m_publishMutex; // held for the length of a pointer's copy, never during a query
    std::shared_ptr<const PrinterContext> m_published KEL_GUARDED_BY(m_publishMutex);
};

} // namespace morvik::kel
