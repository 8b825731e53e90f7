// race_probe KIND: one data race of our own, made on purpose, in the places where our code meets code that
// the thread sanitizer cannot see; for the test of the suppressions. KIND "none" makes no race: statuses
// cross threads as queued copies, and nothing is to be reported of that.
#include <QApplication>
#include <QPaintEvent>
#include <QTimer>
#include <QWidget>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

#include "printer/printer_context.h"

using morvik::kel::PrinterContext;

namespace {

PrinterContext status()
{
    PrinterContext context;
    context.printerName = "a name that is too long for a string's own buffer";
    context.stateMessage = "another text of which each copy has memory of its own";
    context.kToner = 5;
    return context;
}

} // namespace

// Probe is what a worker and the event loop both touch. The worker waits until the loop has done so, by a
// flag that orders nothing, so that the two accesses never meet in time and no run misses the race.
class Probe final : public QWidget
{
    Q_OBJECT

public:
    explicit Probe(const char* kind) : m_kind(kind)
    {
        connect(this, &Probe::sent, this, &Probe::take);
        connect(this, &Probe::lent, this, &Probe::look);
        m_timer.setSingleShot(true);
        connect(&m_timer, &QTimer::timeout, this, [this] { onTimer(); });
    }

    // In the worker.
    void work()
    {
        const auto shared = std::make_shared<PrinterContext>(status());
        for (int turn = 0; turn < kCopies; ++turn) {
            emit sent(status());
        }
        emit lent(shared.get());
        while (!m_isTouched.load(std::memory_order_relaxed)) {
            std::this_thread::yield();
        }
        touchFromWorker(*shared);
        m_isDone = true;
        while (!m_isOver) {
            std::this_thread::yield();
        }
    }

    void startTimer() { m_timer.start(0); }

signals:
    void sent(PrinterContext context);
    void lent(const void* context);

private slots:
    [[gnu::noinline]] void take(PrinterContext context)
    {
        m_sum += context.kToner + static_cast<long>(context.stateMessage.size());
        if (is("slot")) {
            ++m_counter;
        }
    }

    [[gnu::noinline]] void look(const void* context)
    {
        if (is("lent")) {
            m_sum += static_cast<const PrinterContext*>(context)->kToner;
        }
        show(); // and so paintEvent and onTimer, in this order
    }

protected:
    [[gnu::noinline]] void paintEvent(QPaintEvent* /*event*/) override
    {
        if (is("paint")) {
            ++m_counter;
        }
        startTimer();
    }

private:
    static constexpr int kCopies = 20000; // some of which are taken before the loop has slept

    bool is(const char* kind) const { return std::strcmp(m_kind, kind) == 0; }

    [[gnu::noinline]] void onTimer()
    {
        if (is("timer")) {
            ++m_counter;
        }
        m_isTouched.store(true, std::memory_order_relaxed);
        if (m_isDone) {
            m_isOver = true;
            QCoreApplication::quit();
        } else {
            startTimer();
        }
    }

    [[gnu::noinline]] void touchFromWorker(PrinterContext& shared)
    {
        // Written without a look, which might take the place of the loop's in the sanitizer's short memory.
        (is("lent") ? shared.kToner : m_counter) = 7;
    }

    const char* const m_kind;
    QTimer m_timer;
    long m_sum = 0; // event loop only
    std::atomic<bool> m_isTouched{false};
    std::atomic<bool> m_isDone{false};
    std::atomic<bool> m_isOver{false};
    // Guarded by nothing, on purpose. In eight bytes of its own: the sanitizer remembers just the last few
    // accesses to each eight, and the flags above are looked at all the time.
    alignas(8) int m_counter = 0;
};

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    qRegisterMetaType<PrinterContext>("PrinterContext");
    Probe probe(argc > 1 ? argv[1] : "none");
    std::thread worker([&probe] { probe.work(); });
    const int result = QApplication::exec();
    worker.join();
    return result;
}

#include "race_probe.moc"
