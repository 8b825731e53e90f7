#include "bench/report.h"

#include <json/json.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace bench {

namespace {

Json::Value orNull(const std::optional<double>& number)
{
    return number ? Json::Value(*number) : Json::Value();
}

// `name`, `nameValue` and the two ratios, or null for each where nothing is compared.
void putComparison(Json::Value& row, const std::string& name, const std::string& what, double value,
                   const std::string& ratioName, double ratio)
{
    row[name] = what.empty() ? Json::Value() : Json::Value(what);
    row[name + "Value"] = what.empty() ? Json::Value() : Json::Value(value);
    row[ratioName] = !what.empty() && value > 0 ? Json::Value(ratio) : Json::Value();
}

Json::Value jsonOf(const Figure& figure)
{
    Json::Value row(Json::objectValue);
    row["name"] = figure.name;
    row["value"] = figure.value;
    row["unit"] = figure.unit;
    row["bound"] = orNull(figure.bound);
    putComparison(row, "peer", figure.peer, figure.peerValue, "ratio", figure.value / figure.peerValue);
    row["ratioBound"] = orNull(figure.ratioBound);
    putComparison(row, "floor", figure.floor, figure.floorValue, "floorRatio",
                  figure.value / figure.floorValue);
    row["floorRatioBound"] = orNull(figure.floorRatioBound);
    return row;
}

// Whether the value keeps the bound, which is a multiple of `of`.
bool printVerdict(const char* what, const std::optional<double>& bound, double value, double of)
{
    const bool holds = !bound || value <= *bound * of;
    if (bound) {
        std::printf(" | %s %g %s", what, *bound, holds ? "holds" : "MISSED");
    }
    return holds;
}

bool printComparison(const std::string& what, double value, double with, const std::optional<double>& bound)
{
    if (what.empty()) {
        return true;
    }
    std::printf(" | %s %.4g", what.c_str(), with);
    if (with > 0) {
        std::printf(" | %.3g", value / with);
    }
    return printVerdict("ratio bound", bound, value, with);
}

} // namespace

void Report::add(Figure figure)
{
    std::printf("%s %.4g %s", figure.name.c_str(), figure.value, figure.unit.c_str());
    const std::string floor = figure.floor.empty() ? "" : "floor (" + figure.floor + ")";
    const bool good[] = {printComparison(figure.peer, figure.value, figure.peerValue, figure.ratioBound),
                         printComparison(floor, figure.value, figure.floorValue, figure.floorRatioBound),
                         printVerdict("bound", figure.bound, figure.value, 1)};
    m_good = m_good && good[0] && good[1] && good[2];
    std::printf("\n");
    std::fflush(stdout);
    m_figures.push_back(std::move(figure));
}

bool Report::write(const std::string& path) const
{
    Json::Value kept(Json::arrayValue);
    std::ifstream in(path);
    Json::Value before(Json::arrayValue);
    if (in &&
        (!Json::parseFromStream(Json::CharReaderBuilder(), in, &before, nullptr) || !before.isArray())) {
        return false;
    }
    for (const Json::Value& row : before) {
        const bool replaced = std::any_of(m_figures.begin(), m_figures.end(), [&](const Figure& figure) {
            return row["name"].asString() == figure.name;
        });
        if (!replaced) {
            kept.append(row);
        }
    }
    for (const Figure& figure : m_figures) {
        kept.append(jsonOf(figure));
    }
    std::ofstream out(path);
    out << kept << '\n';
    return bool(out.flush());
}

double median(std::vector<double> values)
{
    if (values.empty()) {
        return 0;
    }
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 != 0 ? values[half] : (values[half - 1] + values[half]) / 2;
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
