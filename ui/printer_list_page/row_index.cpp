#include "ui/printer_list_page/row_index.h"

#include <QAbstractItemModel>
#include <QListWidget>

using morvik::kel::PrinterContext;

void RowIndex::watch(QListWidget* list)
{
    m_list = list;
    const QAbstractItemModel* model = list->model();
    const auto outdate = [this] { m_current = false; };
    QObject::connect(model, &QAbstractItemModel::rowsInserted, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::rowsAboutToBeRemoved, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::rowsRemoved, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::rowsMoved, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::layoutChanged, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::modelAboutToBeReset, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::modelReset, &m_context, outdate);
    QObject::connect(model, &QAbstractItemModel::dataChanged, &m_context,
                     [this](const QModelIndex&, const QModelIndex&, const QVector<int>& roles) {
                         // Icons change with many a status; they do not concern the names.
                         if (roles.isEmpty() || roles.contains(Qt::DisplayRole)) {
                             m_current = false;
                         }
                     });
}

int RowIndex::first(const std::string& name)
{
    ensureCurrent();
    return find(name);
}

int RowIndex::next(int row) const
{
    // Whoever is told of a changed icon may change the rows: then the walk ends here.
    return m_current ? m_rows[static_cast<std::size_t>(row)].nextSameName : kNone;
}

QListWidgetItem* RowIndex::item(int row) const
{
    return m_rows[static_cast<std::size_t>(row)].item;
}

bool RowIndex::areExactly(const std::vector<PrinterContext>& contexts)
{
    ensureCurrent();
    ++m_round;
    std::size_t namesMet = 0;
    for (std::size_t i = 0; i < contexts.size(); ++i) {
        const std::string& name = contexts[i].printerName;
        // Rows and registry nearly always agree in their order, too; that spares the hashing.
        const bool inPlace = i < m_rows.size() && m_rows[i].seenIn != m_round && m_rows[i].name == name;
        const int row = inPlace && m_firstRow.size() == m_rows.size() ? static_cast<int>(i) : find(name);
        if (row == kNone) {
            return false;
        }
        unsigned& seenIn = m_rows[static_cast<std::size_t>(row)].seenIn;
        namesMet += seenIn != m_round ? 1 : 0;
        seenIn = m_round;
    }
    return namesMet == m_firstRow.size();
}

void RowIndex::ensureCurrent()
{
    if (m_current) {
        return;
    }
    m_firstRow.clear();
    m_rows.clear();
    m_rows.resize(static_cast<std::size_t>(m_list->count()));
    m_firstRow.reserve(m_rows.size());
    // Backwards, so that the rows of one name chain up in row order.
    for (int row = m_list->count() - 1; row >= 0; --row) {
        Row& entry = m_rows[static_cast<std::size_t>(row)];
        entry.item = m_list->item(row);
        entry.name = entry.item->text().toStdString();
        const auto [place, isNew] = m_firstRow.try_emplace(entry.name, row);
        if (!isNew) {
            entry.nextSameName = place->second;
            place->second = row;
        }
    }
    m_current = true;
}

int RowIndex::find(const std::string& name) const
{
    const auto place = m_firstRow.find(name);
    return place == m_firstRow.end() ? kNone : place->second;
}
