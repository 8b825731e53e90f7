#pragma once

#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRandomGenerator>
#include <QtTest>

#include <algorithm>
#include <stdexcept>

#include "tests/ui/fake_registry.h"
#include "tests/ui/naive_printer_list.h"
#include "tests/ui/panel_support.h"
#include "ui/add_printer_page/add_printer_page.h"
#include "ui/printer_list_page/printer_list_page.h"

inline PrinterContext printer(const std::string& name, const char* stateMessage = "", int state = 3)
{
    PrinterContext context;
    context.printerName = name;
    context.stateMessage = stateMessage;
    context.state = state;
    return context;
}

inline QListWidget* listOf(const PrinterListPage& page)
{
    return child<QListWidget>(page, "listPrinter");
}

inline QStringList rows(const PrinterListPage& page)
{
    QStringList found;
    for (int row = 0; row < listOf(page)->count(); ++row) {
        found << listOf(page)->item(row)->text();
    }
    return found;
}

inline QList<AddPrinterPage*> editors()
{
    QList<AddPrinterPage*> found;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* editor = qobject_cast<AddPrinterPage*>(widget)) {
            found << editor;
        }
    }
    return found;
}
