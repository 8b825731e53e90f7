#pragma once

#include <QString>
#include <QWidget>

#include <memory>

#include "printer/printer_context.h"

// The slots' signatures carry the unqualified name, under which the type is registered for queued delivery.
using morvik::kel::PrinterContext;

namespace Ui {
class MonitorPage;
}

// MonitorPage shows the identity and last status of the one printer selected in the list.
//
// Invariants
//  (1) Only status of the printer called printerName is drawn; the name changes through changeView alone.
//  (2) An update that repeats what is shown touches no widget, so a reader's selection and scroll position
//      in the error text outlive the poll.
// Threading: GUI thread only; status from the polling threads arrives as queued calls with their own copy.
// Ownership: owns its form.
class MonitorPage : public QWidget
{
    Q_OBJECT

public:
    explicit MonitorPage(QWidget* parent = nullptr);
    ~MonitorPage() override;

public slots:
    // Shows another printer from what the registry knows of it now; the shown one again is no change.
    void changeView(QString printerName);
    // Draws the context if it is the shown printer's.
    void updateView(PrinterContext context);

private slots:
    void on_pushButton_EWS_clicked();
    void on_pbtnRefresh_clicked();

private:
    void fillView(const PrinterContext& context);
    void fillOffline();
    void fillOnline(const PrinterContext& context);
    void fillToner(const PrinterContext& context);
    void showNoToner();
    void setErrorInfo(const QString& lines);

    std::unique_ptr<Ui::MonitorPage> ui;
    QString printerName; // the printer shown; empty at first
};
