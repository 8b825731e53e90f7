#pragma once

#include <QString>
#include <QStyledItemDelegate>

#include <string>

// What a widget is given of a text from outside. Laying a text out takes Qt time in proportion to its length,
// and more than that where lines wrap: some megabytes in one label or line stop the window for minutes.
// Nobody reads what is cut here; the texts themselves, and whatever is looked up by them, stay whole.
//
// Threading: GUI thread only.

// One line: its beginning, whole characters, at most 4096 bytes of UTF-8.
QString shownLine(const std::string& utf8);

// Items separated by "-", a line each: the last ones, as many as the error text holds, each cut as by
// shownLine(). mostItems: as the view's maximumBlockCount().
QString shownItems(const std::string& utf8, int mostItems);

// Draws the rows of a list as shownLine() would give them; the items keep their texts.
class ShownLineDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    using QStyledItemDelegate::QStyledItemDelegate;
    QString displayText(const QVariant& value, const QLocale& locale) const override;
};
