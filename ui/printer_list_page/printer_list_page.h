#pragma once

#include <QIcon>
#include <QPointer>
#include <QWidget>

#include <optional>
#include <vector>

#include "printer/printer_context.h"
#include "printer/printer_exception.h"
#include "ui/printer_list_page/row_index.h"

class AddPrinterPage;
class QListWidgetItem;

namespace Ui {
class printerListPage;
}

// Signals and slots name the type unqualified: that is the name under which it crosses threads.
using morvik::kel::PrinterContext;

// PrinterListPage lists the monitored printers by name, each with a status icon, in the order they first
// appeared.
//
// Invariants
//  (1) The icon is green when the state message holds text and grey when it is empty; nothing else counts.
//  (2) A row's accessible description says what its icon shows; its name stays the printer's.
//  (3) Rows follow the registry at most one refresh late, later only where consecutive rows have to go.
// Threading: GUI thread only; statuses from the polling threads arrive queued, each its own copy.
// Cost: a status is O(1) and repaints only when the icon changes; a refresh that changes nothing touches no
// row.
class PrinterListPage final : public QWidget
{
    Q_OBJECT

public:
    explicit PrinterListPage(QWidget* parent = nullptr);
    ~PrinterListPage() override;

signals:
    void currentItemChanged(QString printerName);

public slots:
    void updatePrinterStatus(PrinterContext context);
    void refreshPrinterList();

private slots:
    void on_pbtnEditPrinterList_clicked();
    void on_listPrinter_currentItemChanged(QListWidgetItem* current, QListWidgetItem* previous);

private:
    [[nodiscard]] const QIcon& iconFor(const PrinterContext& context) const;
    void removeVanished(const std::vector<PrinterContext>& snapshot);
    void followSelection();
    void appendNew(const std::vector<PrinterContext>& snapshot);

    Ui::printerListPage* ui;           // owned
    QPointer<AddPrinterPage> m_editor; // the latest; an editor deletes itself on close
    QIcon m_green;
    QIcon m_grey;
    RowIndex m_rows;
    std::optional<morvik::kel::PrinterException> m_lastError; // how the last refresh ended
};
