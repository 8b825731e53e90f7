#pragma once

#include <QAbstractButton>
#include <QFontDatabase>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMenuBar>
#include <QScreen>
#include <QSplitter>
#include <QStatusBar>
#include <QSystemTrayIcon>
#include <QtTest>

#include <memory>
#include <thread>

#include "tests/ui/fake_registry.h"
#include "tests/ui/panel_support.h"
#include "ui/main_window/main_window.h"
#include "ui/monitor_page/monitor_page.h"
#include "ui/printer_list_page/printer_list_page.h"

inline PrinterContext printer(const char* name, const char* stateMessage = "", int state = 3)
{
    PrinterContext context;
    context.printerName = name;
    context.stateMessage = stateMessage;
    context.state = state;
    return context;
}

inline QMenu* trayMenu(const MainWindow& window)
{
    return window.findChild<QSystemTrayIcon*>()->contextMenu();
}

inline QAction* actionNamed(const QList<QAction*>& actions, const QString& text)
{
    for (QAction* action : actions) {
        if (action->text() == text) {
            return action;
        }
    }
    QTest::qFail(qPrintable(text), __FILE__, __LINE__);
    return nullptr;
}

inline QAction* trayAction(const MainWindow& window, const QString& text)
{
    return actionNamed(trayMenu(window)->actions(), text);
}

inline QStringList texts(const QList<QAction*>& actions)
{
    QStringList found;
    for (const QAction* action : actions) {
        found << action->text();
    }
    return found;
}

// The dialogs are members of the window without a parent, hence found among the top levels.
template <typename Dialog>
Dialog* theOnly()
{
    Dialog* found = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (auto* dialog = qobject_cast<Dialog*>(widget)) {
            if (found != nullptr) {
                QTest::qFail("more than one", __FILE__, __LINE__);
            }
            found = dialog;
        }
    }
    return found;
}

inline QImage image(const QIcon& icon)
{
    return icon.pixmap(16, 16).toImage();
}
