#include "bench/twheel/report.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

#include <json/json.h>

namespace bench {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
}

void Report::add(const Row& row)
{
    std::printf("%-44s %10.2f %-6s", row.name.c_str(), row.value, row.unit.c_str());
    if (row.peerValue) {
        std::printf(" | %s %.2f", row.peer.c_str(), *row.peerValue);
        if (*row.peerValue > 0) {
            std::printf(" | %.3f", row.value / *row.peerValue);
        }
    }
    if (row.floorValue) {
        std::printf(" | floor %.2f", *row.floorValue);
        if (*row.floorValue > 0) {
            std::printf(" | %.3f", row.value / *row.floorValue);
        }
    }
    if (!row.bound.empty()) {
        std::printf(" | bound %s%s", row.bound.c_str(), row.holds ? (*row.holds ? " ok" : " MISSED") : "");
    }
    std::printf("\n");
    std::fflush(stdout);
    m_rows.push_back(row);
}

bool Report::appendTo(const std::string& path) const
{
    Json::Value all(Json::arrayValue);
    std::ifstream in(path);
    if (in) {
        Json::CharReaderBuilder reader;
        std::string errors;
        if (!Json::parseFromStream(reader, in, &all, &errors) || !all.isArray()) {
            return false;
        }
    }
    // Rows of the same name are replaced, all others stay.
    Json::Value kept(Json::arrayValue);
    for (const Json::Value& old : all) {
        const std::string name = old["name"].asString();
        if (std::none_of(m_rows.begin(), m_rows.end(), [&](const Row& row) { return row.name == name; })) {
            kept.append(old);
        }
    }
    all = kept;
    for (const Row& row : m_rows) {
        Json::Value object;
        object["name"] = row.name;
        object["value"] = row.value;
        object["unit"] = row.unit;
        object["bound"] = row.bound;
        object["peer"] = row.peer;
        object["peerValue"] = row.peerValue ? Json::Value(*row.peerValue) : Json::Value();
        object["ratio"] =
            row.peerValue && *row.peerValue > 0 ? Json::Value(row.value / *row.peerValue) : Json::Value();
        object["floor"] = row.floor;
        object["floorValue"] = row.floorValue ? Json::Value(*row.floorValue) : Json::Value();
        all.append(object);
    }
    std::ofstream out(path);
    out << all << "\n";
    return bool(out.flush());
}

} // namespace bench
