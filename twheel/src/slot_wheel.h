#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "twheel/src/task.h"

namespace twheel {

// SlotWheel sorts tasks by expiry: a ring of 4,096 slots of one tick each, so that periods of up to four
// seconds never move between levels, and above it nine rings of 64 slots, each slot as wide as the whole ring
// below. Bitmaps say which slots hold something, so that the next one is found without looking at the empty
// ones.
//
// Invariants
//  (1) No expiry in the wheel lies before next(), the first tick not yet handled.
//  (2) The fine ring holds expiries less than 4,096 ticks after next(), each in slot `expiry mod 4096`.
//  (3) Coarse ring k holds expiries whose slot number, `expiry >> shift(k)`, is 1 to 63 after that of
//      next(), or equal to it when next() is exactly that slot's first tick.
//  (4) A slot's bit is set if and only if the slot holds something.
// Threading: none of its own; the caller serialises.
// Ownership: none; the core owns the tasks.
class SlotWheel final
{
public:
    explicit SlotWheel(Tick next) : m_next(next) {}

    Tick next() const { return m_next; }

    // Puts an unlinked task in by its expiry, or at next() where that is later. Constant time.
    void insert(Task& task);
    // Takes a task out of its slot; also of another list that its slot was spliced into. Constant time.
    void remove(Task& task);
    // The tick at which advance() has something to do: no expiry is earlier. kNever for an empty wheel.
    Tick nextEvent() const;
    // Appends to `due` what expires up to and including `now`, in order of expiry. Touches at most about
    // `budget` tasks on their way to finer slots; false when it stopped for that, to be called again.
    bool advance(Tick now, TaskList& due, std::size_t budget);
    // Makes `now` the next tick where nothing is to be done before it. Looks only after some idle ticks.
    void skipTo(Tick now)
    {
        if (now > m_next + kIdleTicks && nextEvent() >= now) {
            m_next = now;
        }
    }
    // Appends everything to `out`, in no order.
    void drain(TaskList& out);

    // The first broken invariant in words, or an empty text. Walks everything: for tests.
    std::string check() const;
    std::size_t count() const;

private:
    static constexpr unsigned kFineBits = 12;
    static constexpr unsigned kCoarseBits = 6;
    static constexpr std::size_t kFineSlots = std::size_t{1} << kFineBits;
    static constexpr std::size_t kCoarseSlots = std::size_t{1} << kCoarseBits;
    static constexpr std::size_t kCoarseRings = 9;
    static constexpr std::size_t kSlots = kFineSlots + kCoarseRings * kCoarseSlots;

    static constexpr Tick kIdleTicks = 128;

    static constexpr unsigned shift(std::size_t ring) { return kFineBits + kCoarseBits * unsigned(ring); }
    static constexpr std::size_t slotOf(std::size_t ring, Tick tick)
    {
        return kFineSlots + ring * kCoarseSlots + ((tick >> shift(ring)) & (kCoarseSlots - 1));
    }

    std::size_t place(Tick expiry) const;
    void mark(std::size_t slot);
    void unmark(std::size_t slot);
    bool marked(std::size_t slot) const { return (m_words[slot / 64] >> (slot % 64)) & 1; }
    Tick nextFine() const;
    bool cascade(std::size_t ring, std::size_t& budget);
    std::string checkSlot(std::size_t slot) const;

    Tick m_next;
    // One bit a word of the fine ring, then one bit a slot: the fine ring's words, then one word a coarse
    // ring.
    std::uint64_t m_summary = 0;
    std::array<std::uint64_t, kSlots / 64> m_words{};
    std::array<TaskList, kSlots> m_slots;
};

} // namespace twheel
