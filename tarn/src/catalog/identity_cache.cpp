#include "tarn/src/catalog/identity_cache.h"

#include <algorithm>

#include "tarn/src/base/files.h"
#include "tarn/src/base/json_append.h"
#include "tarn/src/engine/endpoint.h"

namespace tarn::catalog {

namespace {

constexpr int kFormat = 1;
constexpr std::size_t kLargestFile = 64u << 20;

void appendIdentity(std::string& out, std::uint32_t address, const Identity& identity)
{
    appendJsonString(out, engine::formatIpv4(address));
    out += ":{";
    appendJsonMember(out, "model", identity.model);
    appendJsonMember(out, "serial", identity.serialNumber);
    appendJsonMember(out, "description", identity.description);
    out += '}';
}

} // namespace

const Identity* IdentityCache::find(std::uint32_t address) const
{
    const auto found = m_entries.find(address);
    return found == m_entries.end() ? nullptr : &found->second.identity;
}

bool IdentityCache::remember(std::uint32_t address, const Identity& identity)
{
    const auto found = m_entries.find(address);
    if (found == m_entries.end()) {
        if (m_entries.size() >= kMostEntries) {
            return false;
        }
        store(m_entries[address], identity);
    } else {
        Entry& entry = found->second;
        const bool isOff = identity.model.empty() && !entry.identity.model.empty();
        if (entry.identity == identity || isOff || entry.changes >= kMostChanges) {
            return false;
        }
        ++entry.changes;
        store(entry, identity);
    }
    m_dirty = true;
    return true;
}

void IdentityCache::store(Entry& entry, const Identity& identity)
{
    Identity fresh(identity); // what takes memory comes first
    if (entry.identity.model != identity.model) {
        useModel(identity.model);
        dropModel(entry.identity.model);
    }
    entry.identity = std::move(fresh);
}

void IdentityCache::useModel(const std::string& model)
{
    if (model.empty()) {
        return;
    }
    auto& uses = m_modelUses[model];
    if (uses == 0) {
        m_models.push_back(model);
        ++m_modelsRevision;
    }
    ++uses;
}

void IdentityCache::dropModel(const std::string& model)
{
    const auto found = m_modelUses.find(model);
    if (found != m_modelUses.end() && --found->second == 0) {
        m_models.erase(std::find(m_models.begin(), m_models.end(), model));
        m_modelUses.erase(found);
        ++m_modelsRevision;
    }
}

// The models from that one on stand in the order of a file, those that it leaves out after the others.
void IdentityCache::orderModels(std::size_t from, const Json::Value& order)
{
    std::unordered_map<std::string, std::size_t> places;
    for (const Json::Value& model : order) {
        places.emplace(model.isString() ? model.asString() : std::string(), places.size());
    }
    const auto placeOf = [&](const std::string& model) {
        const auto found = places.find(model);
        return found == places.end() ? places.size() : found->second;
    };
    const auto begin = m_models.begin() + static_cast<std::ptrdiff_t>(from);
    std::stable_sort(begin, m_models.end(), [&](const std::string& left, const std::string& right) {
        return placeOf(left) < placeOf(right);
    });
}

bool IdentityCache::parse(std::string_view text)
{
    const std::optional<Json::Value> root = parseJson(text, kLargestFile);
    if (!root || !root->isObject() || (*root)["format"] != Json::Value(kFormat)) {
        return false;
    }
    const std::size_t known = m_models.size();
    if (const Json::Value& printers = (*root)["printers"]; printers.isObject()) {
        for (const std::string& key : printers.getMemberNames()) {
            if (const std::optional<std::uint32_t> address = engine::parseIpv4(key)) {
                parseEntry(*address, printers[key]);
            }
        }
    }
    if (const Json::Value& models = (*root)["models"]; models.isArray()) {
        orderModels(known, models);
    }
    return true;
}

void IdentityCache::parseEntry(std::uint32_t address, const Json::Value& value)
{
    const auto known = m_entries.find(address);
    if (known == m_entries.end() ? m_entries.size() < kMostEntries : known->second.identity.model.empty()) {
        store(m_entries[address],
              {textMember(value, "model"), textMember(value, "serial"), textMember(value, "description")});
    }
}

std::string IdentityCache::text() const
{
    std::string out = "{\"format\":" + std::to_string(kFormat) + ",\"models\":[";
    for (const std::string& model : m_models) {
        if (out.back() != '[') {
            out += ',';
        }
        appendJsonString(out, model);
    }
    out += "],\n\"printers\":{";
    for (const auto& [address, entry] : m_entries) {
        out += out.back() == '{' ? "\n" : ",\n";
        appendIdentity(out, address, entry.identity);
    }
    out += "\n}}\n";
    return out;
}

std::string IdentityCache::defaultPath()
{
    const std::string directory = xdgDirectory("XDG_CACHE_HOME", "/.cache");
    return directory.empty() ? directory : directory + "/tarn/identities.json";
}

} // namespace tarn::catalog
