#include "twheel/src/slot_wheel.h"

#include <algorithm>

namespace twheel {

namespace {

// The first set bit at or after `from`, going round, as a distance from it; the word must not be 0.
unsigned distanceToBit(std::uint64_t word, unsigned from)
{
    const std::uint64_t turned = from == 0 ? word : (word >> from) | (word << (64 - from));
    return unsigned(__builtin_ctzll(turned));
}

} // namespace

std::size_t SlotWheel::place(Tick expiry) const
{
    if (expiry - m_next < kFineSlots) {
        return expiry & (kFineSlots - 1);
    }
    // The ring follows from the distance; a start that is not at a slot's beginning can ask for one ring
    // more.
    const unsigned bits = 63 - unsigned(__builtin_clzll(expiry - m_next));
    std::size_t ring = (bits - kFineBits) / kCoarseBits;
    if ((expiry >> shift(ring)) - (m_next >> shift(ring)) >= kCoarseSlots) {
        ++ring;
    }
    return slotOf(ring, expiry);
}

void SlotWheel::mark(std::size_t slot)
{
    m_words[slot / 64] |= std::uint64_t{1} << (slot % 64);
    if (slot < kFineSlots) {
        m_summary |= std::uint64_t{1} << (slot / 64);
    }
}

void SlotWheel::unmark(std::size_t slot)
{
    std::uint64_t& word = m_words[slot / 64];
    word &= ~(std::uint64_t{1} << (slot % 64));
    if (slot < kFineSlots && word == 0) {
        m_summary &= ~(std::uint64_t{1} << (slot / 64));
    }
}

void SlotWheel::insert(Task& task)
{
    const std::size_t slot = place(std::max(task.m_expiry, m_next));
    task.m_slot = std::uint16_t(slot);
    m_slots[slot].pushBack(task);
    mark(slot);
}

void SlotWheel::remove(Task& task)
{
    task.unlink();
    if (m_slots[task.m_slot].empty()) {
        unmark(task.m_slot);
    }
}

Tick SlotWheel::nextFine() const
{
    if (m_summary == 0) {
        return kNever;
    }
    const std::size_t from = m_next & (kFineSlots - 1);
    const std::uint64_t rest = m_words[from / 64] >> (from % 64);
    if (rest != 0) {
        return m_next + unsigned(__builtin_ctzll(rest));
    }
    // Beginning after the word of next(); that word itself comes last, with what lies a whole turn ahead.
    const auto word = unsigned(from / 64 + 1) % 64;
    const std::size_t found = (word + distanceToBit(m_summary, word)) % 64;
    const std::size_t slot = found * 64 + unsigned(__builtin_ctzll(m_words[found]));
    return m_next + ((slot - from) & (kFineSlots - 1));
}

Tick SlotWheel::nextEvent() const
{
    Tick earliest = nextFine();
    for (std::size_t ring = 0; ring < kCoarseRings; ++ring) {
        const std::uint64_t word = m_words[kFineSlots / 64 + ring];
        if (word != 0) {
            const Tick current = m_next >> shift(ring);
            const Tick slot = current + distanceToBit(word, unsigned(current & (kCoarseSlots - 1)));
            earliest = std::min(earliest, slot << shift(ring));
        }
    }
    return earliest;
}

bool SlotWheel::cascade(std::size_t ring, std::size_t& budget)
{
    const std::size_t slot = slotOf(ring, m_next); // holds something at its first tick only
    if (!marked(slot)) {
        return true;
    }
    while (!m_slots[slot].empty()) {
        if (budget == 0) {
            return false;
        }
        --budget;
        Task& task = static_cast<Task&>(*m_slots[slot].front());
        __builtin_prefetch(task.next->next);
        remove(task);
        insert(task);
    }
    return true;
}

bool SlotWheel::advance(Tick now, TaskList& due, std::size_t budget)
{
    for (Tick tick = nextEvent(); tick <= now; tick = nextEvent()) {
        m_next = tick;
        for (std::size_t ring = kCoarseRings; ring-- > 0;) {
            if (!cascade(ring, budget)) {
                return false;
            }
        }
        const std::size_t slot = tick & (kFineSlots - 1);
        if (marked(slot)) {
            due.splice(m_slots[slot]);
            unmark(slot);
        }
        ++m_next;
    }
    m_next = std::max(m_next, now + 1);
    return true;
}

void SlotWheel::drain(TaskList& out)
{
    for (TaskList& slot : m_slots) {
        out.splice(slot);
    }
    m_words.fill(0);
    m_summary = 0;
}

} // namespace twheel
