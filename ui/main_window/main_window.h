#pragma once

#include <QMainWindow>

#include <optional>

#include "printer/printer_context.h"
#include "ui/about_dialog/about_dialog.h"
#include "ui/setting_page/setting_page.h"

class MonitorPage;
class PrinterListPage;
class QAction;
class QMenu;
class QSplitter;

namespace Ui {
class MainWindow;
}

// Signals and slots name the type unqualified: that is the name under which it crosses threads.
using morvik::kel::PrinterContext;

// MainWindow is the hub of the user interface: the printer list and the monitor page side by side, the tray
// icon, the two dialogs, and the one place where a status leaves the polling threads for the GUI thread.
//
// Invariants
//  (1) For one status the list page's slot runs before the monitor page's.
//  (2) Closing hides the window; the objects live on until it is destroyed.
// Threading: GUI thread only, except updatePrinterStatus(), which any thread may call.
// Ownership: owns everything it shows; the pages through the splitter.
class MainWindow final : public QMainWindow
{
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);
    ~MainWindow() override;

    // Where a window of that size goes to be centred on the first screen; nowhere when there is no screen.
    // kept on purpose: the screen's own origin is not added.
    [[nodiscard]] static std::optional<QPoint> centredPosition(const QList<QRect>& screenGeometries,
                                                               const QSize& windowSize);

signals:
    void sigUpdatePrinterStatus(PrinterContext context);
    // The pulse that makes the list page read the registry again; emitted by start-up's timer only.
    void sigUpdatePrinters();

public slots:
    void updatePrinterStatus(PrinterContext context);
    void showAboutDialog(bool checked = false);
    void showSettingDialog(bool checked = false);

private:
    void createActionsAndTray();
    QSplitter* createSplitter();
    void connectPages();
    void handleTrayAction(QAction* action);
    void showCentred();

    Ui::MainWindow* ui; // owned
    PrinterListPage* printerListPage = nullptr;
    MonitorPage* monitorPage = nullptr;
    AboutDialog m_aboutDialog;
    SettingPage m_settingPage;
};
