#include "ui/main_window/main_window.h"

#include <QAction>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QSplitter>
#include <QSystemTrayIcon>

#include "ui/monitor_page/monitor_page.h"
#include "ui/printer_list_page/printer_list_page.h"
#include "ui_main_window.h"

namespace {

QString displayName()
{
    return QStringLiteral("Kel 打印机管理工具");
}

} // namespace

MainWindow::MainWindow(QWidget* parent) : QMainWindow(parent), ui(new Ui::MainWindow)
{
    ui->setupUi(this);
    createActionsAndTray();
    setWindowFlags(windowFlags() & ~Qt::WindowMaximizeButtonHint);

    QSplitter* splitter = createSplitter();
    printerListPage = new PrinterListPage(splitter);
    monitorPage = new MonitorPage(splitter);
    connectPages();
    setCentralWidget(splitter);
    setWindowTitle(displayName());
    splitter->show();
}

MainWindow::~MainWindow()
{
    delete ui;
}

void MainWindow::createActionsAndTray()
{
    // The same three actions serve the menu bar and the tray menu. There is no "设置" action on purpose.
    auto* showAction = new QAction(QStringLiteral("显示主界面"), this);
    auto* aboutAction = new QAction(QStringLiteral("关于"), this);
    auto* quitAction = new QAction(QStringLiteral("退出"), this);

    auto* fileMenu = new QMenu(QStringLiteral("文件"), this);
    fileMenu->addAction(quitAction);
    ui->menuBar->addMenu(fileMenu);
    ui->menuBar->addAction(aboutAction);

    auto* trayMenu = new QMenu(this);
    trayMenu->addAction(showAction);
    trayMenu->addAction(aboutAction);
    trayMenu->addAction(quitAction);
    // A menu reports every trigger of an action that it holds, so this one connection serves the menu bar
    // too.
    connect(
        trayMenu, &QMenu::triggered, trayMenu, [this](QAction* action) { handleTrayAction(action); },
        Qt::DirectConnection);

    auto* trayIcon = new QSystemTrayIcon(this);
    trayIcon->setIcon(QIcon(QStringLiteral(":/res/start.png")));
    trayIcon->setToolTip(displayName());
    trayIcon->setContextMenu(trayMenu);
    trayIcon->setVisible(true);
}

QSplitter* MainWindow::createSplitter()
{
    auto* splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setFrameShadow(QFrame::Raised);
    splitter->setChildrenCollapsible(false);
    splitter->setOpaqueResize(true);
    // kept on purpose: the splitter has no children yet, so none of the four stretch factors has an effect.
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 2);
    splitter->setHandleWidth(1);
    splitter->setStyleSheet(QStringLiteral("QSplitter::handle{background-color:  gray}"));
    splitter->setStretchFactor(0, 0);
    splitter->setStretchFactor(1, 0);
    splitter->setWindowTitle(tr("分割窗口"));
    return splitter;
}

void MainWindow::connectPages()
{
    connect(printerListPage, &PrinterListPage::currentItemChanged, monitorPage, &MonitorPage::changeView);
    connect(this, &MainWindow::sigUpdatePrinterStatus, printerListPage,
            &PrinterListPage::updatePrinterStatus);
    connect(this, &MainWindow::sigUpdatePrinterStatus, monitorPage, &MonitorPage::updateView);
    connect(this, &MainWindow::sigUpdatePrinters, printerListPage, &PrinterListPage::refreshPrinterList);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the slot's signature, as callbacks bind it
void MainWindow::updatePrinterStatus(PrinterContext context)
{
    emit sigUpdatePrinterStatus(PrinterContext(context));
}

void MainWindow::showAboutDialog(bool /*checked*/)
{
    m_aboutDialog.setTexts(displayName(), QStringLiteral("版本号：2.0.0-1+0"),
                           QStringLiteral("版权所有 © 2026 Kel 项目"));
    m_aboutDialog.show();
}

void MainWindow::showSettingDialog(bool /*checked*/)
{
    m_settingPage.resetToDefaults();
    m_settingPage.show();
}

std::optional<QPoint> MainWindow::centredPosition(const QList<QRect>& screenGeometries,
                                                  const QSize& windowSize)
{
    if (screenGeometries.isEmpty()) {
        return std::nullopt;
    }
    const QSize screen = screenGeometries.first().size();
    return QPoint((screen.width() - windowSize.width()) / 2, (screen.height() - windowSize.height()) / 2);
}

void MainWindow::handleTrayAction(QAction* action)
{
    // Independent tests, each on the text as it is by then.
    if (action->text() == QStringLiteral("显示主界面") && !isVisible()) {
        showCentred();
    }
    if (action->text() == QStringLiteral("设置")) {
        showSettingDialog();
    }
    if (action->text() == QStringLiteral("关于")) {
        showAboutDialog();
    }
    if (action->text() == QStringLiteral("退出")) {
        QCoreApplication::quit();
    }
}

void MainWindow::showCentred()
{
    QList<QRect> geometries;
    for (const QScreen* screen : QGuiApplication::screens()) {
        geometries.append(screen->geometry());
    }
    if (const auto position = centredPosition(geometries, size())) {
        move(*position);
    }
    show();
}
