#pragma once

#include <QObject>

#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "printer/printer_context.h"

class QListWidget;
class QListWidgetItem;

// RowIndex finds the rows of a list widget that show a name, without walking the list.
//
// Invariants
//  (1) It answers as a walk over all rows would that compares the UTF-8 of each display text byte by byte.
//  (2) It trusts nobody to report changes: whatever inserts, removes, moves or renames rows, by any way,
//      makes the next lookup read all rows again, once.
// Threading: GUI thread only.
// Ownership: borrows the list widget, which must outlive every lookup.
class RowIndex final
{
public:
    static constexpr int kNone = -1;

    // Called once, before any lookup.
    void watch(QListWidget* list);

    // The first row showing that name, then the further ones in row order; none after the last.
    [[nodiscard]] int first(const std::string& name);
    [[nodiscard]] int next(int row) const;
    // row is what first() or next() gave last.
    [[nodiscard]] QListWidgetItem* item(int row) const;

    // True when every row shows the name of some context and every context's name is shown by some row.
    [[nodiscard]] bool areExactly(const std::vector<morvik::kel::PrinterContext>& contexts);

private:
    struct Row
    {
        std::string name; // UTF-8 of the display text
        QListWidgetItem* item = nullptr;
        int nextSameName = kNone;
        unsigned seenIn = 0; // the last areExactly() that met this name; kept in the first row of a name
    };

    void ensureCurrent();
    [[nodiscard]] int find(const std::string& name) const;

    QObject m_context; // ends the connections with the index
    QListWidget* m_list = nullptr;
    bool m_current = false;
    unsigned m_round = 0;
    std::vector<Row> m_rows;
    std::unordered_map<std::string_view, int> m_firstRow; // keys point into m_rows
};
