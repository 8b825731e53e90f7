#pragma once

#include <QLabel>
#include <QPlainTextEdit>
#include <QProgressBar>

#include "tests/ui/panel_support.h"
#include "ui/monitor_page/monitor_page.h"

inline PrinterContext readyPrinter(const std::string& name)
{
    PrinterContext context(false);
    context.printerName = name;
    context.description = "description of " + name;
    context.model = "model of " + name;
    context.serialNumber = "SN1";
    context.ip = "192.168.1.20";
    context.state = 3;
    context.stateMessage = "就绪";
    context.kToner = 40;
    context.totalPrint = 1234;
    return context;
}

inline QString label(const MonitorPage& page, const char* name)
{
    return child<QLabel>(page, name)->text();
}

inline QString errorText(const MonitorPage& page)
{
    return child<QPlainTextEdit>(page, "pteErrorInfo")->toPlainText();
}

// The visible bars as "K 40 '碳粉余量 (K) : 40%'", in the order of the form.
inline QStringList bars(const MonitorPage& page)
{
    QStringList shown;
    for (const char* name :
         {"pbTonerBlack", "pbTonerCyan", "pbTonerMagenta", "pbTonerYellow", "pbTonerRed"}) {
        const auto* bar = child<QProgressBar>(page, name);
        if (bar->isVisibleTo(&page)) {
            shown << QStringLiteral("%1 %2").arg(bar->value()).arg(bar->format());
        }
    }
    return shown;
}

inline QString bar(const MonitorPage& page, const char* name)
{
    const auto* found = child<QProgressBar>(page, name);
    return QStringLiteral("%1 %2").arg(found->value()).arg(found->format());
}
