#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "tarn/src/device/packed_status.h"
#include "tarn/src/engine/source.h"

namespace tarn::catalog {

using UnixTime = std::int64_t; // seconds since 1970, by the wall clock

// What a printer said last, and when.
struct LastValue
{
    UnixTime time = 0;
    engine::Source source = engine::Source::None; // the way its state came
    device::PackedStatus status;
};

// LastValues are the last statuses of printers from one run to the next, and the text of the file that holds
// them: a line that names the format, and a line for each printer, all of them JSON.
//
// Invariants
//  (1) At most kMostPrinters, those that answered last.
//  (2) A date stays what it is, one in the future too: the clock may be behind for a while only, as it is on a
//      machine without a battery until the network tells it the time.
//  (3) text() has at most kLargestText octets; what does not fit any more is what answered longest ago, or
//      says more than kLargestLine alone.
// Threading: guarded by its owner.
class LastValues final
{
public:
    static constexpr std::size_t kMostPrinters = 2000;
    static constexpr std::size_t kLargestText = 4u << 20;
    static constexpr std::size_t kLargestLine = 64u << 10;

    // Adds what the text says of addresses of which it knows more than is known. What is damaged is left out;
    // complaint then says where. False: a later version wrote it, in a format that is not known here.
    [[nodiscard]] bool parse(std::string_view text, std::string& complaint);
    // Where a newer value is known that stays, unless it seemed to be from the future.
    void take(std::map<std::uint32_t, LastValue>&& values, UnixTime now);
    void forget(std::uint32_t address) { m_values.erase(address); }

    const LastValue* find(std::uint32_t address) const; // null: nothing is known
    std::size_t size() const { return m_values.size(); }
    std::string text() const;

    // $XDG_STATE_HOME/tarn/last-values.jsonl; empty where there is no such place.
    static std::string defaultPath();

private:
    bool parseLine(std::string_view line);
    void keepToMost();

    std::map<std::uint32_t, LastValue> m_values;
};

} // namespace tarn::catalog
