#pragma once

#include <QLayout>
#include <QMetaMethod>
#include <QObject>
#include <QStringList>
#include <QtGlobal>
#include <QtTest>

// What Qt logs while this object lives, in place of the handler that was installed before.
class MessageLog
{
public:
    MessageLog() : m_previous(qInstallMessageHandler(&MessageLog::take)) { s_lines.clear(); }
    ~MessageLog() { qInstallMessageHandler(m_previous); }
    MessageLog(const MessageLog&) = delete;
    MessageLog& operator=(const MessageLog&) = delete;

    // The messages of one kind, in order.
    static QStringList lines(QtMsgType type)
    {
        QStringList found;
        for (const auto& line : s_lines) {
            if (line.first == type) {
                found << line.second;
            }
        }
        return found;
    }

private:
    static void take(QtMsgType type, const QMessageLogContext&, const QString& text)
    {
        s_lines.append({type, text});
    }

    static inline QList<QPair<QtMsgType, QString>> s_lines;
    QtMessageHandler m_previous;
};

// The names of an object's own children in their order; Qt's inner, unnamed or "qt_" helpers left out.
inline QStringList childNames(const QObject* parent)
{
    QStringList names;
    for (const QObject* child : parent->children()) {
        if (!child->objectName().isEmpty() && !child->objectName().startsWith(QLatin1String("qt_"))) {
            names << child->objectName();
        }
    }
    return names;
}

// What a layout holds, in order: names of widgets and layouts, "-" for a spacer.
inline QStringList itemNames(const QLayout* layout)
{
    QStringList names;
    for (int i = 0; i < layout->count(); ++i) {
        QLayoutItem* item = layout->itemAt(i);
        if (item->widget() != nullptr) {
            names << item->widget()->objectName();
        } else {
            names << (item->layout() != nullptr ? item->layout()->objectName() : QStringLiteral("-"));
        }
    }
    return names;
}

// The methods that a class itself declares, in index order: "<kind> <signature>".
inline QStringList ownMethods(const QMetaObject& meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const QString kind =
            method.methodType() == QMetaMethod::Signal ? QStringLiteral("signal ") : QStringLiteral("slot ");
        methods << kind + QString::fromLatin1(method.methodSignature());
    }
    return methods;
}

// The child of that name and type; null, and a failed check, when there is none.
template <typename T>
T* child(const QObject& parent, const char* name)
{
    T* found = parent.findChild<T*>(QString::fromLatin1(name));
    if (found == nullptr) {
        QTest::qFail(name, __FILE__, __LINE__);
    }
    return found;
}
