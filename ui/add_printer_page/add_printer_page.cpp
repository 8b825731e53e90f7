#include "ui/add_printer_page/add_printer_page.h"

#include <QDebug>
#include <QLineEdit>
#include <QListWidgetItem>
#include <QSet>

#include <algorithm>

#include "printer/printer_exception.h"
#include "printer/printer_manager.h"
#include "ui/shown_text/presence_text.h"
#include "ui/shown_text/shown_line_delegate.h"
#include "ui/shown_text/shown_text.h"
#include "ui_add_printer_page.h"

using morvik::kel::PrinterException;
using morvik::kel::PrinterManager;

namespace {

template <typename Printers>
auto findByName(Printers& printers, const QString& name)
{
    const std::string utf8 = name.toStdString();
    return std::find_if(printers.begin(), printers.end(),
                        [&utf8](const PrinterContext& printer) { return printer.printerName == utf8; });
}

} // namespace

AddPrinterPage::AddPrinterPage(QWidget* parent) : QDialog(parent), ui(std::make_unique<Ui::AddPrinterPage>())
{
    ui->setupUi(this);
    setWindowTitle(tr("添加打印机"));
    collectTabStops();
    ui->listPrinter->setItemDelegate(new ShownLineDelegate(ui->listPrinter));
    try {
        loadModels();
        loadPrinters();
    } catch (const PrinterException& e) {
        // kept on purpose: the text's own blank and the stream's make two.
        qDebug() << "tarner failed: " << static_cast<int>(e);
    }
}

AddPrinterPage::~AddPrinterPage() = default;

void AddPrinterPage::collectTabStops()
{
    m_tabStops = {ui->listPrinter, ui->cmbModel, ui->ledtName};
    for (QLineEdit* octet : ui->ledtIP->findChildren<QLineEdit*>()) {
        m_tabStops.append(octet);
    }
    m_tabStops += {ui->pbtnAdd, ui->pbtnDel, ui->pbtnOk};
}

// The form knows the address as one field, and its octets come after all others: Tab would leave the last of
// them for the list and never meet the buttons.
bool AddPrinterPage::focusNextPrevChild(bool next)
{
    const int at = m_tabStops.indexOf(focusWidget());
    if (at < 0) {
        return QDialog::focusNextPrevChild(next);
    }
    const int count = m_tabStops.size();
    QWidget* to = m_tabStops.at((at + (next ? 1 : count - 1)) % count);
    if (ui->ledtIP->isAncestorOf(to) && !ui->ledtIP->isAncestorOf(focusWidget())) {
        to = ui->ledtIP; // which hands the focus to its first octet, from either side
    }
    to->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    return true;
}

void AddPrinterPage::loadModels()
{
    QStringList shown;
    QSet<QString> known;
    for (const std::string& utf8 : PrinterManager::instance().getModels()) {
        const QString model = QString::fromStdString(utf8);
        if (!known.contains(model)) {
            known.insert(model);
            m_models.append(model);
            shown.append(shownRow(model));
        }
    }
    ui->cmbModel->addItems(shown);
    for (int row = 0; row < shown.size(); ++row) {
        if (shown.at(row) != m_models.at(row)) {
            ui->cmbModel->setItemData(row, m_models.at(row));
            // Nor does the editor become as wide as such a text.
            ui->cmbModel->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        }
    }
}

QString AddPrinterPage::chosenModel() const
{
    const QVariant whole = ui->cmbModel->currentData();
    return whole.isValid() ? whole.toString() : ui->cmbModel->currentText();
}

void AddPrinterPage::loadPrinters()
{
    m_printers = PrinterManager::instance().getPrinters();
    for (const PrinterContext& printer : m_printers) {
        if (!printer.isUsbPrinter) {
            auto* item = new QListWidgetItem(QString::fromStdString(printer.printerName), ui->listPrinter);
            item->setData(Qt::AccessibleDescriptionRole, presenceText(!printer.stateMessage.empty()));
        }
    }
}

void AddPrinterPage::on_pbtnAdd_clicked()
{
    const QString name = ui->ledtName->text();
    const QString ip = ui->ledtIP->text();
    if (name.isEmpty() || ip.isEmpty() || findByName(m_printers, name) != m_printers.end()) {
        return;
    }
    PrinterContext printer(false);
    printer.printerName = name.toStdString();
    printer.manufacturer = "MORVIK";
    printer.model = chosenModel().toStdString();
    printer.ip = ip.toStdString();
    m_printers.push_back(printer); // the copy ends each text at its first NUL
    ui->listPrinter->addItem(name);
}

void AddPrinterPage::on_pbtnDel_clicked()
{
    if (ui->listPrinter->currentRow() < 0) {
        return;
    }
    QListWidgetItem* item = ui->listPrinter->currentItem();
    const auto found = findByName(m_printers, item->text());
    if (found != m_printers.end()) {
        m_printers.erase(found);
    }
    ui->listPrinter->setItemWidget(item, nullptr);
    delete item;
}

void AddPrinterPage::on_pbtnOk_clicked()
{
    PrinterManager::instance().savePrinters(m_printers);
    close();
}
