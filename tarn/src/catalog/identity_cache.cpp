#include "tarn/src/catalog/identity_cache.h"

#include <algorithm>

#include "tarn/src/base/files.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/base/json_text.h"
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
    const auto found = m_identities.find(address);
    return found == m_identities.end() ? nullptr : &found->second;
}

bool IdentityCache::remember(std::uint32_t address, const Identity& identity)
{
    const Identity* const known = find(address);
    if (known == nullptr ? m_identities.size() >= kMostEntries
                         : *known == identity || (identity.model.empty() && !known->model.empty())) {
        return false;
    }
    store(address, identity);
    m_dirty = true;
    return true;
}

void IdentityCache::store(std::uint32_t address, const Identity& identity)
{
    m_identities.insert_or_assign(address, identity);
    rememberModel(identity.model);
}

void IdentityCache::rememberModel(const std::string& model)
{
    const bool known = std::find(m_models.begin(), m_models.end(), model) != m_models.end();
    if (!model.empty() && !known && m_models.size() < kMostEntries) {
        m_models.push_back(model);
    }
}

bool IdentityCache::parse(std::string_view text)
{
    const std::optional<Json::Value> root = parseJson(text, kLargestFile);
    if (!root || !root->isObject() || (*root)["format"] != Json::Value(kFormat)) {
        return false;
    }
    if (const Json::Value& models = (*root)["models"]; models.isArray()) {
        for (const Json::Value& model : models) {
            rememberModel(model.isString() ? model.asString() : std::string());
        }
    }
    if (const Json::Value& printers = (*root)["printers"]; printers.isObject()) {
        for (const std::string& key : printers.getMemberNames()) {
            if (const std::optional<std::uint32_t> address = engine::parseIpv4(key)) {
                const Json::Value& entry = printers[key];
                const Identity* const known = find(*address);
                if (known == nullptr ? m_identities.size() < kMostEntries : known->model.empty()) {
                    store(*address, {textMember(entry, "model"), textMember(entry, "serial"),
                                     textMember(entry, "description")});
                }
            }
        }
    }
    return true;
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
    for (const auto& [address, identity] : m_identities) {
        out += out.back() == '{' ? "\n" : ",\n";
        appendIdentity(out, address, identity);
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
