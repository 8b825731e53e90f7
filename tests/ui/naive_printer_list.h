#pragma once

#include <QIcon>
#include <QListWidget>
#include <QStringList>

#include <vector>

#include "printer/printer_context.h"

enum class IconKind
{
    None,
    Green,
    Grey,
    Other,
};

// Which of the two status icons a row shows, by what is painted.
inline IconKind iconOf(const QListWidgetItem* item)
{
    const auto painted = [](const QIcon& icon) { return icon.pixmap(16, 16).toImage(); };
    static const QImage green = painted(QIcon(QStringLiteral(":/res/green.png")));
    static const QImage grey = painted(QIcon(QStringLiteral(":/res/grey.png")));
    if (green.isNull() || grey.isNull() || green == grey) {
        return IconKind::Other;
    }
    const QImage image = painted(item->icon());
    return image.isNull()   ? IconKind::None
           : image == green ? IconKind::Green
           : image == grey  ? IconKind::Grey
                            : IconKind::Other;
}

// Every row as text: display text, name role, icon.
inline QStringList naiveRows(const QListWidget& list)
{
    QStringList rows;
    for (int row = 0; row < list.count(); ++row) {
        const QListWidgetItem* item = list.item(row);
        rows << QStringLiteral("%1|%2|%3")
                    .arg(item->text(), item->data(Qt::UserRole + 1).toString())
                    .arg(int(iconOf(item)));
    }
    return rows;
}

// NaivePrinterList does what the printer list page does the plain way: every status and every refresh walks
// all rows. The page is held against it.
struct NaivePrinterList
{
    QListWidget list;
    QStringList reported;

    NaivePrinterList()
    {
        QObject::connect(&list, &QListWidget::currentItemChanged, &list,
                         [this](const QListWidgetItem* current) {
                             if (current != nullptr) {
                                 reported << current->data(Qt::UserRole + 1).toString();
                             }
                         });
    }

    static QIcon icon(const morvik::kel::PrinterContext& context)
    {
        return QIcon(context.stateMessage.empty() ? QStringLiteral(":/res/grey.png")
                                                  : QStringLiteral(":/res/green.png"));
    }

    void update(const morvik::kel::PrinterContext& context)
    {
        for (int row = 0; row < list.count(); ++row) {
            if (list.item(row)->text().toUtf8().toStdString() == context.printerName) {
                list.item(row)->setIcon(icon(context));
            }
        }
    }

    void refresh(const std::vector<morvik::kel::PrinterContext>& snapshot)
    {
        for (int row = 0; row < list.count(); ++row) {
            bool known = false;
            for (const auto& context : snapshot) {
                known = known || QString::fromUtf8(context.printerName.c_str()) == list.item(row)->text();
            }
            if (!known) {
                list.setItemWidget(list.item(row), nullptr);
                delete list.item(row);
            }
        }
        for (const auto& context : snapshot) {
            const QString name = QString::fromUtf8(context.printerName.c_str());
            bool shown = false;
            for (int row = 0; row < list.count(); ++row) {
                shown = shown || list.item(row)->text() == name;
            }
            if (!shown) {
                auto* item = new QListWidgetItem(icon(context), name);
                item->setData(Qt::UserRole + 1, name);
                list.addItem(item);
            }
        }
        if (list.currentRow() < 0) {
            list.setCurrentRow(0);
        }
    }
};
