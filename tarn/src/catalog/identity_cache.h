#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tarn/src/base/json_input.h"

namespace tarn::catalog {

// Who answers at an address, as far as it is known.
struct Identity
{
    std::string model;
    std::string serialNumber;
    std::string description;

    bool operator==(const Identity& other) const
    {
        return model == other.model && serialNumber == other.serialNumber && description == other.description;
    }
};

// IdentityCache remembers who was met where, from one start to the next. It is a convenience: a file that is
// missing, broken or of another format is the same as none.
//
// Invariants
//  (1) An address that was met and is silent has an empty identity; one never met has none.
//  (2) models() are those that the identities name, without duplicates and empty texts, in the order in which
//      they were met.
//  (3) At most kMostEntries addresses. Each changes its identity at most kMostChanges times, so that a
//      printer which calls itself something else at every look costs a bounded number of lists, texts and
//      saves.
// Threading: guarded by its owner.
class IdentityCache final
{
public:
    static constexpr std::size_t kMostEntries = 100000;
    static constexpr unsigned kMostChanges = 16;

    // Null: never met.
    const Identity* find(std::uint32_t address) const;
    // An empty model is not remembered over a known one: a printer that is off is still that printer. False
    // when nothing changed.
    bool remember(std::uint32_t address, const Identity& identity);
    const std::vector<std::string>& models() const { return m_models; }
    // Another number after every change of models().
    std::uint64_t modelsRevision() const { return m_modelsRevision; }

    // Something was remembered since the last markSaved().
    bool isDirty() const { return m_dirty; }
    void markSaved() { m_dirty = false; }

    // Adds what the text holds of addresses of which nothing is known yet; false when it is none of ours.
    bool parse(std::string_view text);
    std::string text() const;

    // $XDG_CACHE_HOME/tarn/identities.json; empty where there is no such place.
    static std::string defaultPath();

private:
    struct Entry
    {
        Identity identity;
        unsigned changes = 0; // in this run
    };

    void store(Entry& entry, const Identity& identity);
    void useModel(const std::string& model);
    void dropModel(const std::string& model);
    void parseEntry(std::uint32_t address, const Json::Value& value);
    void orderModels(std::size_t from, const Json::Value& order);

    std::map<std::uint32_t, Entry> m_entries;
    std::vector<std::string> m_models;
    std::unordered_map<std::string, std::size_t> m_modelUses; // identities that name it, of each in m_models
    std::uint64_t m_modelsRevision = 0;
    bool m_dirty = false;
};

} // namespace tarn::catalog
