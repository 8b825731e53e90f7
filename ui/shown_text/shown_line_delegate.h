#pragma once

#include <QCache>
#include <QFontMetrics>
#include <QHash>
#include <QIcon>
#include <QSize>
#include <QStyledItemDelegate>

class QAbstractItemView;

// ShownLineDelegate draws the rows of a list as shownRow() gives them, and remembers how large they are: a
// view measures all its rows again whenever one of them changes, its icon included.
//
// Invariants
//  (1) The items keep their texts.
//  (2) A row has the size that QStyledItemDelegate gives it. Rows differ in their text alone: their icons,
//      where they have any, are of one size, none brings a font or a size of its own, and lines do not wrap.
//  (3) A selected row's icon is drawn as it is, not mixed with the selection's colour.
//  (4) No more sizes are remembered than twice the number of rows.
// Threading: GUI thread only.
// Ownership: the view's child.
class ShownLineDelegate final : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit ShownLineDelegate(QAbstractItemView* view);
    QString displayText(const QVariant& value, const QLocale& locale) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    bool eventFilter(QObject* watched, QEvent* event) override;

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override;

private:
    // Looks selected as it does otherwise.
    [[nodiscard]] QIcon untinted(const QIcon& icon) const;

    QAbstractItemView* const m_view;
    // What m_sizes was measured with; the metrics change with the font and with the screen's resolution.
    mutable QFontMetrics m_metrics;
    mutable QSize m_iconSize;
    mutable QHash<QString, QSize> m_sizes;    // by the item's text
    mutable QCache<qint64, QIcon> m_untinted; // by the cache key of the item's icon
};
