#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

// One figure, as bench/measure.py writes it.
struct Figure
{
    std::string name;
    double value = 0;
    std::string unit;
    std::optional<double> bound; // the largest value that is still good, in the unit
    std::string peer;            // what it is compared with; empty: nothing
    double peerValue = 0;
    std::optional<double> ratioBound; // of value to peerValue
};

// Prints figures as `name value unit | peer value | ratio` and adds them to a JSON file.
class TarnReport final
{
public:
    void add(Figure figure);
    // Replaces the figures of the same names in the file and keeps all others. False when it cannot be
    // written.
    bool write(const std::string& path) const;
    // Whether every bound holds.
    bool isGood() const { return m_good; }

private:
    std::vector<Figure> m_figures;
    bool m_good = true;
};

double median(std::vector<double> values);
double quantile(std::vector<double>& values, double part);

// "--json FILE" and "--seconds N" of a command line; anything else: nothing.
struct BenchOptions
{
    std::string json;
    int seconds = 0;
};
std::optional<BenchOptions> benchOptions(int argc, char** argv, int seconds);

} // namespace bench
