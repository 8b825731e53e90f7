#include "ui/shown_text/shown_line_delegate.h"

#include <QAbstractItemView>
#include <QEvent>

#include "ui/shown_text/shown_text.h"

namespace {

constexpr int kMostIcons = 16; // more than any list here has

} // namespace

ShownLineDelegate::ShownLineDelegate(QAbstractItemView* view)
    : QStyledItemDelegate(view), m_view(view), m_metrics(view->fontMetrics()), m_untinted(kMostIcons)
{
    view->installEventFilter(this);
}

QString ShownLineDelegate::displayText(const QVariant& value, const QLocale& locale) const
{
    return shownRow(QStyledItemDelegate::displayText(value, locale));
}

QSize ShownLineDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    if (option.fontMetrics != m_metrics || option.decorationSize != m_iconSize) {
        m_sizes.clear();
        m_metrics = option.fontMetrics;
        m_iconSize = option.decorationSize;
    }
    const QString text = index.data().toString();
    const auto known = m_sizes.constFind(text);
    if (known != m_sizes.constEnd()) {
        return *known;
    }
    if (m_sizes.size() >= 2 * index.model()->rowCount()) {
        m_sizes.clear(); // texts that no row shows any more
    }
    return *m_sizes.insert(text, QStyledItemDelegate::sizeHint(option, index));
}

void ShownLineDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    if (option->state.testFlag(QStyle::State_Selected)) {
        option->icon = untinted(option->icon);
    }
}

QIcon ShownLineDelegate::untinted(const QIcon& icon) const
{
    if (const QIcon* const known = m_untinted.object(icon.cacheKey())) {
        return *known;
    }
    QIcon same;
    for (const QSize& size : icon.availableSizes()) {
        const QPixmap pixmap = icon.pixmap(size);
        same.addPixmap(pixmap, QIcon::Normal);
        same.addPixmap(pixmap, QIcon::Selected);
    }
    m_untinted.insert(icon.cacheKey(), new QIcon(same));
    return same;
}

bool ShownLineDelegate::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_view) {
        return QStyledItemDelegate::eventFilter(watched, event);
    }
    if (event->type() == QEvent::StyleChange) {
        m_sizes.clear();
    }
    return false;
}
