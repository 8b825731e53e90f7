#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

// One figure, as bench/measure.py writes it. It may be bounded in its own unit, by a multiple of what a peer
// takes, and by a multiple of its floor, what the machine allows at best.
struct Figure
{
    std::string name;
    double value = 0;
    std::string unit;
    std::optional<double> bound; // the largest value that is still good, in the unit
    std::string peer;            // what it is compared with; empty: nothing
    double peerValue = 0;
    std::optional<double> ratioBound; // of value to peerValue
    std::string floor = {};           // what the floor is made of; empty: none
    double floorValue = 0;
    std::optional<double> floorRatioBound = {}; // of value to floorValue
};

// Prints figures as `name value unit | peer value | ratio` and adds them to a JSON file.
class Report final
{
public:
    void add(Figure figure);
    // Replaces the figures of the same names in the file and keeps all others. False when it holds something
    // else or cannot be written.
    bool write(const std::string& path) const;
    // Whether every bound holds.
    bool isGood() const { return m_good; }

private:
    std::vector<Figure> m_figures;
    bool m_good = true;
};

// Of an even number the mean of the two in the middle.
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
