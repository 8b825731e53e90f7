#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string>
#include <vector>

#include <json/value.h>

#include "tarn/src/catalog/config_complaints.h"

namespace tarn::catalog {

// One member that an object of the configuration may have: what it must be, in words, and what takes it over,
// false where the value is something else.
template <typename Out>
struct ConfigMember
{
    const char* name;
    const char* wanted;
    bool (*take)(const Json::Value& value, Out& out);
};

// Takes over the members of an object. Those that are unknown or wrong are complained about and left out;
// null, and what isUnused(key) says nobody asks for, counts as missing. False when one was wrong.
template <typename Out, std::size_t N, typename IsUnused>
bool readMembers(const Json::Value& value, const std::vector<std::string>& where,
                 const ConfigMember<Out> (&members)[N], Out& out, ConfigComplaints& complaints,
                 const IsUnused& isUnused)
{
    bool isRight = true;
    for (const std::string& key : value.getMemberNames()) {
        const Json::Value& given = value[key];
        const auto* const member =
            std::find_if(std::begin(members), std::end(members),
                         [&](const ConfigMember<Out>& row) { return key == row.name; });
        if (member == std::end(members)) {
            std::vector<std::string> names;
            for (const ConfigMember<Out>& row : members) {
                names.emplace_back(row.name);
            }
            complaints.add(given, where,
                           "unknown key " + ConfigComplaints::quoted(key) + meantInstead(key, names));
        } else if (!given.isNull() && !isUnused(key) && !member->take(given, out)) {
            complaints.add(given, where, '"' + key + "\" is not " + member->wanted);
            isRight = false;
        }
    }
    return isRight;
}

} // namespace tarn::catalog
