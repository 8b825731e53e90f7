#pragma once

#include <QDialog>
#include <QList>
#include <QStringList>

#include <memory>
#include <vector>

#include "printer/printer_context.h"

using morvik::kel::PrinterContext;

namespace Ui {
class AddPrinterPage;
}

// AddPrinterPage is the modal editor of the list of network printers.
//
// Invariants
//  (1) The edits live in a private copy of the registry's list; only OK hands it back, whole and in order.
//  (2) USB printers stay in that copy, unseen and untouched, and their names count when a name is refused.
// Threading: GUI thread only.
// Ownership: owns its form; opened with Qt::WA_DeleteOnClose it deletes itself when closed.
class AddPrinterPage : public QDialog
{
    Q_OBJECT

public:
    explicit AddPrinterPage(QWidget* parent = nullptr);
    ~AddPrinterPage() override;

private slots:
    void on_pbtnAdd_clicked();
    void on_pbtnDel_clicked();
    // A store error leaves the slot as an exception, and the editor open.
    void on_pbtnOk_clicked();

protected:
    bool focusNextPrevChild(bool next) override;

private:
    void collectTabStops();
    void loadModels();
    void loadPrinters();
    // The whole model, where the box shows but the beginning of one as well.
    QString chosenModel() const;

    std::unique_ptr<Ui::AddPrinterPage> ui;
    QList<QWidget*> m_tabStops; // where Tab leads, in its order
    QStringList m_models;       // without duplicates, in the order first met
    std::vector<PrinterContext> m_printers;
};
