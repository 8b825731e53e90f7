#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "tarn/src/base/clock.h"

namespace tarn::engine {

// DeadlineHeap finds the item that is due next among many. Item has the fields TimePoint deadline and
// std::size_t heapSlot, which belong to the heap while the item is in it.
//
// Invariants
//  (1) m_items[i]->heapSlot == i, and no item is due before the one at (i - 1) / 2.
//  (2) An item that is in no heap has heapSlot kOutside.
// Threading: one thread. Ownership: borrows the items, which leave the heap before they die.
template <typename Item>
class DeadlineHeap final
{
public:
    static constexpr std::size_t kOutside = static_cast<std::size_t>(-1);

    bool empty() const { return m_items.empty(); }
    Item* front() const { return m_items.front(); }
    TimePoint nextDeadline() const { return m_items.empty() ? kNever : m_items.front()->deadline; }

    // Puts the item in, or moves it to its new deadline.
    void schedule(Item& item, TimePoint deadline)
    {
        item.deadline = deadline;
        if (item.heapSlot == kOutside) {
            item.heapSlot = m_items.size();
            m_items.push_back(&item);
        }
        siftDown(siftUp(item.heapSlot));
    }

    // Nothing happens to an item that is not in the heap.
    void remove(Item& item)
    {
        const std::size_t slot = item.heapSlot;
        if (slot == kOutside) {
            return;
        }
        swapSlots(slot, m_items.size() - 1);
        m_items.pop_back();
        item.heapSlot = kOutside;
        if (slot < m_items.size()) {
            siftDown(siftUp(slot));
        }
    }

private:
    std::size_t siftUp(std::size_t slot)
    {
        while (slot > 0 && m_items[slot]->deadline < m_items[(slot - 1) / 2]->deadline) {
            swapSlots(slot, (slot - 1) / 2);
            slot = (slot - 1) / 2;
        }
        return slot;
    }

    void siftDown(std::size_t slot)
    {
        for (;;) {
            std::size_t least = slot;
            for (std::size_t child = 2 * slot + 1; child <= 2 * slot + 2 && child < m_items.size(); ++child) {
                if (m_items[child]->deadline < m_items[least]->deadline) {
                    least = child;
                }
            }
            if (least == slot) {
                return;
            }
            swapSlots(slot, least);
            slot = least;
        }
    }

    void swapSlots(std::size_t a, std::size_t b)
    {
        std::swap(m_items[a], m_items[b]);
        m_items[a]->heapSlot = a;
        m_items[b]->heapSlot = b;
    }

    std::vector<Item*> m_items;
};

} // namespace tarn::engine
