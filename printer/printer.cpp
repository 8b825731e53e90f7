#include "printer/printer.h"

#include <utility>

#include "printer/poll_gate.h"
#include "printer/printer_exception.h"
#include "printer/status_query.h"

namespace morvik::kel {

Printer::Printer(const PrinterContext& initial)
    : context(initial), m_printerName(context.printerName),
      m_published(std::make_shared<const PrinterContext>(initial))
{
}

Printer::~Printer()
{
    cancel();
}

void Printer::setCallback(std::function<void(PrinterContext)> newCallback)
{
    callback = std::move(newCallback);
}

void Printer::setTask(boost::shared_ptr<twheel::TaskHandle> newTask)
{
    task.swap(newTask);
}

void Printer::cancel()
{
    if (!task) {
        return;
    }
    task->cancel();
    task.reset();
}

std::shared_ptr<const PrinterContext> Printer::snapshot() const
{
    const MutexLock lock(m_publishMutex);
    return m_published;
}

void Printer::run()
{
    const PollGate::Pass pass(pollGate());
    if (!pass || !mutex.try_lock()) {
        return;
    }
    const MutexLock lock(mutex, std::adopt_lock);
    try {
        poll();
    } catch (const PrinterException&) { // the poll simply ends
    }
}

void Printer::poll()
{
    const int result = queryPrinterStatus(context, m_appliedDocument);
    const std::shared_ptr<const PrinterContext> copy = publish();
    if (result == 0 && callback) {
        callback(*copy); // takes a copy of the copy: the receiver shares nothing with this thread
    }
}

std::shared_ptr<const PrinterContext> Printer::publish()
{
    std::shared_ptr<const PrinterContext> fresh = std::make_shared<const PrinterContext>(context);
    std::shared_ptr<const PrinterContext> copy = fresh;
    const MutexLock lock(m_publishMutex);
    m_published.swap(fresh);
    return copy;
}

} // namespace morvik::kel
