#include "ui/printer_list_page/printer_list_page.h"

#include <QDebug>
#include <QListWidgetItem>
#include <QMutex>
#include <QSet>

#include <mutex>

#include "printer/printer_exception.h"
#include "printer/printer_manager.h"
#include "ui/add_printer_page/add_printer_page.h"
#include "ui/shown_text/presence_text.h"
#include "ui/shown_text/shown_line_delegate.h"
#include "ui_printer_list_page.h"

using morvik::kel::PrinterException;
using morvik::kel::PrinterManager;

namespace {

constexpr int kNameRole = Qt::UserRole + 1;

// Held for the whole of one refresh, taken by try-lock only: a refresh that re-enters itself through the
// event loop is skipped. A QMutex, because trying a std::mutex that the same thread holds is undefined.
QBasicMutex g_refreshMutex;

// A row that says what its lamp shows to who does not see it. Read off the icon, so that a status still
// changes one thing of a row.
class PrinterRow final : public QListWidgetItem
{
public:
    PrinterRow(const QIcon& lamp, const QString& name, qint64 greenKey)
        : QListWidgetItem(lamp, name), m_greenKey(greenKey)
    {
    }

    QVariant data(int role) const override
    {
        return role == Qt::AccessibleDescriptionRole ? presenceText(icon().cacheKey() == m_greenKey)
                                                     : QListWidgetItem::data(role);
    }

private:
    const qint64 m_greenKey;
};

} // namespace

PrinterListPage::PrinterListPage(QWidget* parent)
    : QWidget(parent), ui(new Ui::printerListPage), m_green(QStringLiteral(":/res/green.png")),
      m_grey(QStringLiteral(":/res/grey.png"))
{
    ui->setupUi(this);
    ui->listPrinter->setItemDelegate(new ShownLineDelegate(ui->listPrinter));
    m_rows.watch(ui->listPrinter);
    connect(ui->listPrinter, &QListWidget::itemSelectionChanged, this, &PrinterListPage::followSelection);
    ui->listPrinter->setFocus(); // where the window's keys go first
}

PrinterListPage::~PrinterListPage()
{
    delete ui;
}

const QIcon& PrinterListPage::iconFor(const PrinterContext& context) const
{
    // kept on purpose: neither the state nor any other field takes part.
    return context.stateMessage.empty() ? m_grey : m_green;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the slot's signature, as queued calls find it
void PrinterListPage::updatePrinterStatus(PrinterContext context)
{
    const QIcon& icon = iconFor(context);
    for (int row = m_rows.first(context.printerName); row != RowIndex::kNone; row = m_rows.next(row)) {
        QListWidgetItem* item = m_rows.item(row);
        if (item->icon().cacheKey() != icon.cacheKey()) {
            item->setIcon(icon);
        }
    }
}

void PrinterListPage::refreshPrinterList()
{
    const std::unique_lock<QBasicMutex> lock(g_refreshMutex, std::try_to_lock);
    if (!lock.owns_lock()) {
        return;
    }
    std::vector<PrinterContext> snapshot;
    try {
        PrinterManager::instance().start();
        snapshot = PrinterManager::instance().getPrinters();
        m_lastError.reset();
    } catch (const PrinterException& error) {
        // Every two seconds the same would be written again.
        if (m_lastError != error) {
            qDebug() << "tarner error:" << static_cast<int>(error);
        }
        m_lastError = error;
        return;
    }
    if (!m_rows.areExactly(snapshot)) {
        removeVanished(snapshot);
        appendNew(snapshot);
    }
    if (ui->listPrinter->currentRow() < 0) {
        ui->listPrinter->setCurrentRow(0);
    }
}

void PrinterListPage::removeVanished(const std::vector<PrinterContext>& snapshot)
{
    QSet<QString> names;
    names.reserve(static_cast<int>(snapshot.size()));
    for (const PrinterContext& context : snapshot) {
        names.insert(QString::fromStdString(context.printerName));
    }
    // kept on purpose: the row that moves up into a freed place is not looked at before the next refresh.
    for (int row = 0; row < ui->listPrinter->count(); ++row) {
        QListWidgetItem* item = ui->listPrinter->item(row);
        if (!names.contains(item->text())) {
            ui->listPrinter->removeItemWidget(item);
            delete item;
        }
    }
}

void PrinterListPage::appendNew(const std::vector<PrinterContext>& snapshot)
{
    QSet<QString> shown;
    shown.reserve(ui->listPrinter->count());
    for (int row = 0; row < ui->listPrinter->count(); ++row) {
        shown.insert(ui->listPrinter->item(row)->text());
    }
    for (const PrinterContext& context : snapshot) {
        const QString name = QString::fromStdString(context.printerName);
        if (shown.contains(name)) {
            continue;
        }
        auto* item = new PrinterRow(iconFor(context), name, m_green.cacheKey());
        item->setData(kNameRole, name);
        ui->listPrinter->addItem(item);
        shown.insert(name);
    }
}

// Keys and mouse make a row the current one; a screen reader's action on a row only selects it.
void PrinterListPage::followSelection()
{
    const QList<QListWidgetItem*> selected = ui->listPrinter->selectedItems();
    if (!selected.isEmpty() && selected.first() != ui->listPrinter->currentItem()) {
        ui->listPrinter->setCurrentItem(selected.first());
    }
}

void PrinterListPage::on_pbtnEditPrinterList_clicked()
{
    m_editor = new AddPrinterPage(nullptr);
    m_editor->setAttribute(Qt::WA_DeleteOnClose);
    m_editor->show();
}

void PrinterListPage::on_listPrinter_currentItemChanged(QListWidgetItem* current,
                                                        QListWidgetItem* /*previous*/)
{
    if (current != nullptr) {
        emit currentItemChanged(current->data(kNameRole).toString());
    }
}
