// What ten thousand printers cost the GUI thread: the program's own window, registry and access library,
// without polling. The times are medians; the loops for callgrind are counted by bench/instructions.py.
#include <QApplication>
#include <QLabel>
#include <QListWidget>
#include <QMouseEvent>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/report.h"
#include "printer/printer_manager.h"
#include "printer/process_objects.h"
#include "twheel/task_scheduler.h"
#include "ui/main_window/main_window.h"
#include "ui/printer_list_page/printer_list_page.h"

static void registerResources()
{
    Q_INIT_RESOURCE(kel);
}

namespace {

namespace fs = std::filesystem;

// Everything that the program reads and writes, in a folder of this run's own.
struct PrivateFolder
{
    PrivateFolder()
    {
        registerResources();
        std::string pattern = fs::temp_directory_path() / "list_page_bench.XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("no private folder");
        }
        path = pattern;
        ::setenv("XDG_CACHE_HOME", (path / "cache").c_str(), 1);
        ::setenv("XDG_STATE_HOME", (path / "state").c_str(), 1);
        ::setenv("TARN_CONFIG", (path / "tarn.json").c_str(), 1);
        ::setenv("TARN_DIR", KEL_LIB_DIR, 1);
        ::setenv("QT_QPA_PLATFORM", "offscreen", 0);
    }
    ~PrivateFolder()
    {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    fs::path path;
};

const PrivateFolder privateFolder;

} // namespace

namespace morvik::kel {

twheel::TaskScheduler g_scheduler(10);
std::string g_printersPath = privateFolder.path / "Morvik/kel/printers.json";

} // namespace morvik::kel

namespace {

using morvik::kel::PrinterManager;
using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr int kRounds = 15;
constexpr double kFrameMs = 1000.0 / 60;

std::vector<PrinterContext> printersOf(int count)
{
    std::vector<PrinterContext> printers(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        PrinterContext& printer = printers[static_cast<std::size_t>(i)];
        printer.printerName = "printer " + std::to_string(i);
        printer.manufacturer = "MORVIK";
        printer.ip = "127.48." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1);
    }
    return printers;
}

// A status as a poll brings it, of a printer that answers or of one that does not.
PrinterContext statusOf(int printer, bool answers)
{
    PrinterContext status;
    status.printerName = "printer " + std::to_string(printer);
    status.description = "MORVIK Lasergrid 3100";
    status.model = "Lasergrid 3100";
    status.serialNumber = "SN" + std::to_string(printer);
    status.ip = "127.48.0.1";
    status.state = answers ? 3 : 2;
    status.stateMessage = answers ? "Ready" : "";
    status.kToner = printer % 101;
    status.totalPrint = printer;
    return status;
}

// CPU time of this thread, the GUI thread: what the machine's other work does not disturb.
template <typename Work>
double cpuMillisecondsOf(Work work)
{
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    };
    const double begun = now();
    work();
    return now() - begun;
}

template <typename Work>
double millisecondsOf(Work work)
{
    const auto begun = std::chrono::steady_clock::now();
    work();
    return Milliseconds(std::chrono::steady_clock::now() - begun).count();
}

// The program's window over a registry that knows so many printers and polls none.
class Program final
{
public:
    explicit Program(int printers) : m_count(printers)
    {
        PrinterManager& registry = PrinterManager::instance();
        registry.stopPolling();
        registry.savePrinters(printersOf(printers));
        registry.start();
        m_window.show();
        QApplication::processEvents();
        m_page = m_window.findChild<PrinterListPage*>();
        m_list = m_window.findChild<QListWidget*>(QStringLiteral("listPrinter"));
    }

    PrinterListPage& page() { return *m_page; }

    // The rows' way into the list, until they are drawn.
    double fill()
    {
        m_list->clear();
        QApplication::processEvents();
        const double took = millisecondsOf([this] {
            m_page->refreshPrinterList();
            QApplication::processEvents();
        });
        if (m_list->count() != m_count) {
            throw std::runtime_error("the list was not filled");
        }
        return took;
    }

    // A status that changes the icon of a row, until it is drawn.
    double changeIcon(int row, bool answers)
    {
        const auto before = m_list->item(row)->icon().cacheKey();
        const double took = cpuMillisecondsOf([&] {
            m_page->updatePrinterStatus(statusOf(row, answers));
            QApplication::processEvents();
        });
        if (m_list->item(row)->icon().cacheKey() == before) {
            throw std::runtime_error("the icon did not change");
        }
        return took;
    }

    // A click in the middle of the list, until the page shows that printer and is drawn.
    double click(int row)
    {
        QListWidgetItem* item = m_list->item(row);
        m_list->scrollToItem(item, QAbstractItemView::PositionAtCenter);
        QApplication::processEvents();
        const QPointF at = m_list->visualItemRect(item).center();
        QWidget* target = m_list->viewport();
        const double took = millisecondsOf([&] {
            QMouseEvent press(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
            QMouseEvent release(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(target, &press);
            QApplication::sendEvent(target, &release);
            QApplication::processEvents();
        });
        const QString ip = QString::fromStdString(printersOf(m_count)[static_cast<std::size_t>(row)].ip);
        if (!m_window.findChild<QLabel*>(QStringLiteral("lbPrinterIP"))->text().contains(ip)) {
            throw std::runtime_error("the click showed another printer");
        }
        return took;
    }

private:
    const int m_count;
    MainWindow m_window;
    PrinterListPage* m_page = nullptr;
    QListWidget* m_list = nullptr;
};

// The same rows in a list widget that nobody did anything to.
class PlainList final
{
public:
    explicit PlainList(int rows) : m_printers(printersOf(rows))
    {
        m_list.resize(400, 500);
        m_list.show();
        QApplication::processEvents();
    }

    double fill()
    {
        m_list.clear();
        QApplication::processEvents();
        return millisecondsOf([this] {
            for (const PrinterContext& printer : m_printers) {
                m_list.addItem(new QListWidgetItem(m_grey, QString::fromStdString(printer.printerName)));
            }
            QApplication::processEvents();
        });
    }

    double changeIcon(int row, bool answers)
    {
        return cpuMillisecondsOf([&] {
            m_list.item(row)->setIcon(answers ? m_green : m_grey);
            QApplication::processEvents();
        });
    }

private:
    const std::vector<PrinterContext> m_printers;
    const QIcon m_green{QStringLiteral(":/res/green.png")};
    const QIcon m_grey{QStringLiteral(":/res/grey.png")};
    QListWidget m_list;
};

} // namespace

// What callgrind counts: the statuses of several printers, or the same refresh again and again.
extern "C" __attribute__((noinline)) void countedInstructions(const std::function<void()>& work)
{
    work();
}

namespace {

std::vector<PrinterContext> statusesOf(int printers, bool answer)
{
    std::vector<PrinterContext> statuses;
    for (int i = 0; i < printers; ++i) {
        statuses.push_back(statusOf(i, answer));
    }
    return statuses;
}

void deliver(PrinterListPage& page, const std::vector<PrinterContext>& statuses)
{
    for (const PrinterContext& status : statuses) {
        page.updatePrinterStatus(status);
    }
}

// Prints how often the counted function went through the path.
int countInstructions(const std::string& path)
{
    constexpr int kRefreshes = 10;
    const bool isSmall = path == "status-1000" || path == "status-icon";
    const int printers = isSmall ? 1000 : 10000;
    Program program(printers);
    PrinterListPage& page = program.page();
    page.refreshPrinterList();
    const auto green = statusesOf(printers, true);
    if (path == "refresh") {
        page.refreshPrinterList();
        countedInstructions([&] {
            for (int i = 0; i < kRefreshes; ++i) {
                page.refreshPrinterList();
            }
        });
        std::printf("%d\n", kRefreshes);
        return 0;
    }
    // The names of the rows are read at the first status, once.
    if (path == "status-icon") {
        page.updatePrinterStatus(statusOf(0, false));
    } else if (path == "status" || isSmall) {
        deliver(page, green);
    } else {
        return 2;
    }
    countedInstructions([&] { deliver(page, green); });
    std::printf("%d\n", printers);
    return 0;
}

// In turn with the plain list, so that the machine's other work meets both.
void measureAgainstPlainList(bench::Report& report, Program& program, int printers)
{
    PlainList plain(printers);
    std::vector<double> fills;
    std::vector<double> plainFills;
    std::vector<double> changes;
    std::vector<double> plainChanges;
    for (int round = 0; round < kRounds; ++round) {
        fills.push_back(program.fill());
        plainFills.push_back(plain.fill());
    }
    deliver(program.page(), statusesOf(printers, false));
    QApplication::processEvents();
    for (int round = 0; round < 2 * kRounds; ++round) {
        const int row = round / 2;
        changes.push_back(program.changeIcon(row, round % 2 == 0));
        plainChanges.push_back(plain.changeIcon(row, round % 2 == 0));
    }
    const std::string of = ", " + std::to_string(printers) + " printers";
    report.add({"list filled and drawn" + of, bench::median(fills), "ms", 300, "plain list",
                bench::median(plainFills), 0.75});
    report.add({"one changed icon laid out and drawn" + of,
                bench::median(changes),
                "ms of CPU",
                {},
                "plain list",
                bench::median(plainChanges),
                0.25});
}

void measure(bench::Report& report, int printers)
{
    const std::string of = ", " + std::to_string(printers) + " printers";
    Program program(printers);
    measureAgainstPlainList(report, program, printers);
    std::vector<double> refreshes;
    std::vector<double> clicks;
    for (int round = 0; round < 4 * kRounds; ++round) {
        refreshes.push_back(cpuMillisecondsOf([&] { program.page().refreshPrinterList(); }));
    }
    for (int round = 0; round < 2 * kRounds; ++round) {
        clicks.push_back(program.click((round * 997 + 5) % printers));
    }
    report.add({"refresh with nothing changed" + of, bench::median(refreshes), "ms of CPU", 10, "", 0, {}});
    report.add({"click until the printer is shown" + of, bench::median(clicks), "ms", kFrameMs, "", 0, {}});
    report.add({"slowest of " + std::to_string(clicks.size()) + " clicks" + of,
                *std::max_element(clicks.begin(), clicks.end()),
                "ms",
                {},
                "",
                0,
                {}});
    for (const bool changes : {false, true}) {
        std::vector<double> each;
        for (int round = 0; round < kRounds; ++round) {
            const auto statuses = statusesOf(printers, !changes || round % 2 == 0);
            each.push_back(cpuMillisecondsOf([&] { deliver(program.page(), statuses); }) * 1000 / printers);
        }
        report.add({std::string(changes ? "status that changes its icon" : "status of the icon shown") + of,
                    bench::median(each),
                    "us of CPU",
                    {},
                    "",
                    0,
                    {}});
    }
}

} // namespace

int main(int argc, char** argv)
{
    const bool counts = argc == 3 && std::strcmp(argv[1], "--instructions") == 0;
    const auto options = counts ? bench::BenchOptions{} : bench::benchOptions(argc, argv, 0);
    if (!options) {
        return 2;
    }
    try {
        const QApplication application(argc, argv);
        if (counts) {
            return countInstructions(argv[2]);
        }
        bench::Report report;
        measure(report, 10000);
        return options->json.empty() || report.write(options->json) ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
