#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "tarn/src/base/clock.h"

namespace tarn::engine {

// DeadlineHeap finds the item that is due next among many. Item has the field std::size_t heapSlot, which
// belongs to the heap while the item is in it.
//
// The deadlines lie beside each other in the heap, four to a parent: of ten thousand items none has to be
// fetched into the cache to be compared, and a place is found in seven steps.
//
// Invariants
//  (1) m_entries[i].item->heapSlot == i, and none is due before its parent, the one at (i - 1) / kBranches.
//  (2) An item that is in no heap has heapSlot kOutside.
//  (3) Only makeRoomFor() takes memory, as long as no more items are in the heap than it was told of.
// Threading: one thread. Ownership: borrows the items, which leave the heap before they die.
template <typename Item>
class DeadlineHeap final
{
public:
    static constexpr std::size_t kOutside = static_cast<std::size_t>(-1);

    bool empty() const { return m_entries.empty(); }
    Item* front() const { return m_entries.front().item; }
    TimePoint nextDeadline() const { return m_entries.empty() ? kNever : m_entries.front().deadline; }

    void makeRoomFor(std::size_t items)
    {
        if (items > m_entries.capacity()) {
            m_entries.reserve(std::max(items, 2 * m_entries.capacity()));
        }
    }

    // Puts the item in, or moves it to its new deadline.
    void schedule(Item& item, TimePoint deadline)
    {
        if (item.heapSlot == kOutside) {
            m_entries.emplace_back();
            item.heapSlot = m_entries.size() - 1;
        }
        place({deadline, &item}, item.heapSlot);
    }

    // Nothing happens to an item that is not in the heap.
    void remove(Item& item)
    {
        const std::size_t slot = item.heapSlot;
        if (slot == kOutside) {
            return;
        }
        item.heapSlot = kOutside;
        const Entry last = m_entries.back();
        m_entries.pop_back();
        if (slot < m_entries.size()) {
            place(last, slot);
        }
    }

private:
    static constexpr std::size_t kBranches = 4;

    struct Entry
    {
        TimePoint deadline{};
        Item* item = nullptr;
    };

    // Puts the entry where it belongs; the slot is free.
    void place(Entry entry, std::size_t slot)
    {
        while (slot > 0 && entry.deadline < m_entries[(slot - 1) / kBranches].deadline) {
            put(m_entries[(slot - 1) / kBranches], slot);
            slot = (slot - 1) / kBranches;
        }
        for (std::size_t child = earliestChild(slot);
             child < m_entries.size() && m_entries[child].deadline < entry.deadline;
             child = earliestChild(slot)) {
            put(m_entries[child], slot);
            slot = child;
        }
        put(entry, slot);
    }

    // Behind the last one when there is none.
    std::size_t earliestChild(std::size_t slot) const
    {
        const std::size_t first = slot * kBranches + 1;
        const std::size_t end = std::min(first + kBranches, m_entries.size());
        std::size_t earliest = first;
        for (std::size_t child = first + 1; child < end; ++child) {
            if (m_entries[child].deadline < m_entries[earliest].deadline) {
                earliest = child;
            }
        }
        return earliest;
    }

    void put(Entry entry, std::size_t slot)
    {
        m_entries[slot] = entry;
        entry.item->heapSlot = slot;
    }

    std::vector<Entry> m_entries;
};

} // namespace tarn::engine
