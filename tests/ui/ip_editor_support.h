#pragma once

#include <QApplication>
#include <QLineEdit>
#include <QString>
#include <QVBoxLayout>
#include <QtTest>

#include "ui/line_edit_ip/line_edit_ip.h"

// A shown, active window with a field before the address editor, so that focus behaves as it does for a user.
class IpBench
{
public:
    IpBench()
    {
        auto* column = new QVBoxLayout(&window);
        column->addWidget(before = new QLineEdit);
        column->addWidget(ip = new TLineEditIP(&window));
        octets = ip->findChildren<QLineEdit*>();
        window.show();
        QApplication::setActiveWindow(&window);
        ready = QTest::qWaitForWindowActive(&window) && octets.size() == 4;
    }

    // Puts the caret into octet i, without a selection; the index counts from 0.
    void enter(int i, const QString& text, int cursor)
    {
        octets.at(i)->setText(text);
        octets.at(i)->setFocus(Qt::OtherFocusReason);
        octets.at(i)->setCursorPosition(cursor);
    }

    // A key goes where the focus is.
    void type(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QTest::keyClick(QApplication::focusWidget(), key, modifiers);
        QCoreApplication::processEvents(); // the queued check
    }

    // Types the characters one by one, each into the editor that has the focus then.
    void type(const char* keys)
    {
        for (const char* key = keys; *key != '\0'; ++key) {
            QTest::keyClick(QApplication::focusWidget(), *key);
            QCoreApplication::processEvents();
        }
    }

    // "<index of the focused octet>:<cursor>", and the selected text behind it when there is one.
    QString caret() const
    {
        const int index = octets.indexOf(qobject_cast<QLineEdit*>(QApplication::focusWidget()));
        if (index < 0) {
            return QStringLiteral("elsewhere");
        }
        QString where = QStringLiteral("%1:%2").arg(index).arg(octets.at(index)->cursorPosition());
        if (octets.at(index)->hasSelectedText()) {
            where += QLatin1Char(' ') + octets.at(index)->selectedText();
        }
        return where;
    }

    QString texts() const
    {
        return QStringLiteral("%1,%2,%3,%4")
            .arg(octets.at(0)->text(), octets.at(1)->text(), octets.at(2)->text(), octets.at(3)->text());
    }

    QWidget window;
    QLineEdit* before = nullptr;
    TLineEditIP* ip = nullptr;
    QList<QLineEdit*> octets;
    bool ready = false;
};
