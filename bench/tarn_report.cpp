#include "bench/tarn_report.h"

#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace bench {

namespace {

Json::Value jsonOf(const Figure& figure)
{
    Json::Value row(Json::objectValue);
    row["name"] = figure.name;
    row["value"] = figure.value;
    row["unit"] = figure.unit;
    row["bound"] = figure.bound ? Json::Value(*figure.bound) : Json::Value();
    const bool compared = !figure.peer.empty();
    row["peer"] = compared ? Json::Value(figure.peer) : Json::Value();
    row["peerValue"] = compared ? Json::Value(figure.peerValue) : Json::Value();
    row["ratio"] =
        compared && figure.peerValue > 0 ? Json::Value(figure.value / figure.peerValue) : Json::Value();
    row["ratioBound"] = figure.ratioBound ? Json::Value(*figure.ratioBound) : Json::Value();
    row["floor"] = Json::Value();
    row["floorValue"] = Json::Value();
    return row;
}

void printVerdict(const char* what, double bound, bool holds)
{
    std::printf(" | %s %g %s", what, bound, holds ? "holds" : "MISSED");
}

} // namespace

void TarnReport::add(Figure figure)
{
    std::printf("%s %.4g %s", figure.name.c_str(), figure.value, figure.unit.c_str());
    if (!figure.peer.empty()) {
        const double ratio = figure.value / figure.peerValue;
        std::printf(" | %s %.4g | %.3g", figure.peer.c_str(), figure.peerValue, ratio);
        if (figure.ratioBound) {
            printVerdict("ratio bound", *figure.ratioBound, ratio <= *figure.ratioBound);
            m_good = m_good && ratio <= *figure.ratioBound;
        }
    }
    if (figure.bound) {
        printVerdict("bound", *figure.bound, figure.value <= *figure.bound);
        m_good = m_good && figure.value <= *figure.bound;
    }
    std::printf("\n");
    std::fflush(stdout);
    m_figures.push_back(std::move(figure));
}

bool TarnReport::write(const std::string& path) const
{
    Json::Value kept(Json::arrayValue);
    std::ifstream in(path);
    Json::Value before;
    if (in && Json::parseFromStream(Json::CharReaderBuilder(), in, &before, nullptr) && before.isArray()) {
        for (const Json::Value& row : before) {
            const bool replaced = std::any_of(m_figures.begin(), m_figures.end(), [&](const Figure& figure) {
                return row["name"].asString() == figure.name;
            });
            if (!replaced) {
                kept.append(row);
            }
        }
    }
    for (const Figure& figure : m_figures) {
        kept.append(jsonOf(figure));
    }
    std::ofstream out(path);
    out << kept << '\n';
    return out.good();
}

double median(std::vector<double> values)
{
    return quantile(values, 0.5);
}

double quantile(std::vector<double>& values, double part)
{
    if (values.empty()) {
        return 0;
    }
    const auto at =
        std::min(values.size() - 1, static_cast<std::size_t>(part * static_cast<double>(values.size())));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
    return values[at];
}

std::optional<BenchOptions> benchOptions(int argc, char** argv, int seconds)
{
    BenchOptions options{{}, seconds};
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--json") == 0 && i + 1 < argc) {
            options.json = argv[++i];
        } else if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc && std::atoi(argv[i + 1]) > 0) {
            options.seconds = std::atoi(argv[++i]);
        } else {
            std::fprintf(stderr, "usage: %s [--seconds N] [--json FILE]\n", argv[0]);
            return std::nullopt;
        }
    }
    return options;
}

} // namespace bench
