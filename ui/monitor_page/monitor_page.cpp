#include "ui/monitor_page/monitor_page.h"

#include <QDebug>
#include <QDesktopServices>
#include <QTextDocument>
#include <QUrl>

#include <utility>

#include "printer/printer_exception.h"
#include "printer/printer_manager.h"
#include "ui/shown_text/shown_text.h"
#include "ui_monitor_page.h"

using morvik::kel::PrinterException;
using morvik::kel::PrinterManager;

namespace {

constexpr int kOfflineState = 2;
constexpr int kMaxErrorLines = 1000;
constexpr char kItemSeparator = '-';

QString networkText(const QString& address)
{
    return QStringLiteral("网络连接(") + address + QLatin1Char(')');
}

QString connectionText(const PrinterContext& context)
{
    if (context.isUsbPrinter) {
        return QStringLiteral("USB连接");
    }
    return networkText(shownLine(context.ip));
}

QString stateText(const PrinterContext& context)
{
    const std::string& message = context.stateMessage;
    return QLatin1Char('[') + QString::number(context.state) + QLatin1Char(']') +
           shownLine(message.substr(0, message.find(kItemSeparator)));
}

QString paperText(const PrinterContext& context)
{
    if (context.lackPaper) {
        return QStringLiteral("缺纸");
    }
    return context.lessPaper ? QStringLiteral("纸张不足") : QStringLiteral("正常");
}

} // namespace

MonitorPage::MonitorPage(QWidget* parent) : QWidget(parent), ui(std::make_unique<Ui::MonitorPage>())
{
    ui->setupUi(this);
    // The longest address is always whole; what is longer has to do with the room there is.
    ui->lbPrinterIP->setText(networkText(QStringLiteral("255.255.255.255")));
    ui->lbPrinterIP->setMinimumWidth(ui->lbPrinterIP->sizeHint().width());
    ui->lbPrinterIP->clear();
    ui->pteErrorInfo->setReadOnly(true);
    ui->pteErrorInfo->setMaximumBlockCount(kMaxErrorLines);
    // kept on purpose: hints of a window on a page that stays a child of its pane.
    setWindowFlags(Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint);
    // kept on purpose: the stray closing brace, which Qt reports as a style sheet that it cannot parse.
    ui->pushButton_EWS->setStyleSheet(
        QStringLiteral("color: blue;border:0px groove gray; "
                       "text-decoration:underline;}QPushButton::disabled{color: gray;}"));
    ui->pbtnRefresh->setDefault(true);
}

MonitorPage::~MonitorPage() = default;

void MonitorPage::changeView(QString name)
{
    if (name == printerName) {
        return;
    }
    printerName = std::move(name);
    try {
        fillView(PrinterManager::instance().getPrinter(printerName.toStdString()));
    } catch (const PrinterException& e) {
        qDebug() << "tarner error:" << static_cast<int>(e);
    }
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the slot's signature, as queued calls find it
void MonitorPage::updateView(PrinterContext context)
{
    if (context.printerName == printerName.toStdString()) {
        fillView(context);
    }
}

void MonitorPage::on_pushButton_EWS_clicked()
{
    // kept on purpose: the address is read from the label; without brackets the whole text is taken.
    const QString shown = ui->lbPrinterIP->text();
    const int open = shown.indexOf(QLatin1Char('('));
    const int close = shown.indexOf(QLatin1Char(')'));
    QDesktopServices::openUrl(QUrl(QStringLiteral("http://") + shown.mid(open + 1, close - open - 1)));
}

void MonitorPage::on_pbtnRefresh_clicked()
{
    PrinterManager::instance().refresh(printerName.toStdString());
}

void MonitorPage::fillView(const PrinterContext& context)
{
    ui->lbPrinterModelDesc->setText(shownLine(context.description));
    ui->lbPrinterModel->setText(shownLine(context.model));
    ui->lbPrinterIP->setText(connectionText(context));
    if (context.state == kOfflineState) {
        fillOffline();
    } else {
        fillOnline(context);
    }
}

void MonitorPage::fillOffline()
{
    ui->lbID->setText(QString());
    setErrorInfo(QString());
    ui->lbPrinterState->setText(QStringLiteral("离线"));
    ui->tonerWidget->clearPageCount();
    showNoToner();
    ui->lbCartonState->setText(QString());
}

void MonitorPage::fillOnline(const PrinterContext& context)
{
    ui->lbID->setText(shownLine(context.serialNumber));
    setErrorInfo(shownItems(context.stateMessage, kMaxErrorLines));
    ui->lbPrinterState->setText(stateText(context));
    if (context.totalPrint > 0) {
        ui->tonerWidget->setPageCount(context.totalPrint);
    } else {
        ui->tonerWidget->clearPageCount();
    }
    ui->lbCartonState->setText(paperText(context));
    fillToner(context);
}

void MonitorPage::fillToner(const PrinterContext& context)
{
    TonerWidget* toner = ui->tonerWidget;
    if (context.rToner >= 0) {
        toner->setColorMode(QStringLiteral("redBlack"));
        toner->setRedToner(context.rToner, true);
        toner->setBlackToner(context.kToner, true);
    } else if (context.cToner < 0 && context.kToner < 0) {
        showNoToner();
    } else if (context.cToner < 0) {
        toner->setColorMode(QStringLiteral("blackWhite"));
        toner->setBlackToner(context.kToner, true);
    } else {
        toner->setColorMode(QStringLiteral("color"));
        toner->setCyanToner(context.cToner, true);
        toner->setMagentaToner(context.mToner, true);
        toner->setYellowToner(context.yToner, true);
        toner->setBlackToner(context.kToner, true);
    }
}

void MonitorPage::showNoToner()
{
    TonerWidget* toner = ui->tonerWidget;
    toner->setColorMode(QString());
    toner->setCyanToner(0, false);
    toner->setMagentaToner(0, false);
    toner->setYellowToner(0, false);
    toner->setBlackToner(0, false);
}

void MonitorPage::setErrorInfo(const QString& lines)
{
    // The text as the document holds it.
    const QString shown = ui->pteErrorInfo->document()->toRawText();
    if (QString(shown).replace(QChar::ParagraphSeparator, QLatin1Char('\n')) != lines) {
        ui->pteErrorInfo->setPlainText(lines);
    }
}
