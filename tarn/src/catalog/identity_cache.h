#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

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

// IdentityCache remembers who was met where, from one start to the next, and every model ever met. It is a
// convenience: a file that is missing, broken or of another format is the same as none.
//
// Invariants
//  (1) An address that was met and is silent has an empty identity; one never met has none.
//  (2) models() has no duplicates, no empty texts, and the order in which they were met.
//  (3) At most kMostEntries of either.
// Threading: guarded by its owner.
class IdentityCache final
{
public:
    static constexpr std::size_t kMostEntries = 100000;

    // Null: never met.
    const Identity* find(std::uint32_t address) const;
    // An empty model is not remembered over a known one: a printer that is off is still that printer. False
    // when nothing changed.
    bool remember(std::uint32_t address, const Identity& identity);
    const std::vector<std::string>& models() const { return m_models; }

    // Something was remembered since the last markSaved().
    bool isDirty() const { return m_dirty; }
    void markSaved() { m_dirty = false; }
    // Grows with each new model.
    std::size_t modelCount() const { return m_models.size(); }

    // Adds what the text holds of addresses of which nothing is known yet; false when it is none of ours.
    bool parse(std::string_view text);
    std::string text() const;

    // $XDG_CACHE_HOME/tarn/identities.json; empty where there is no such place.
    static std::string defaultPath();

private:
    void store(std::uint32_t address, const Identity& identity);
    void rememberModel(const std::string& model);

    std::map<std::uint32_t, Identity> m_identities;
    std::vector<std::string> m_models;
    bool m_dirty = false;
};

} // namespace tarn::catalog
