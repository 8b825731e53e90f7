#pragma once

#include <optional>
#include <string>
#include <vector>

namespace bench {

// One figure of the table; what does not apply stays empty.
struct Row
{
    std::string name;
    double value = 0;
    std::string unit;
    // In the figure's unit, or as a multiple of the peer or floor: text for the reader, e.g. "<= 1.3 x
    // floor".
    std::string bound;
    std::string peer;
    std::optional<double> peerValue;
    std::string floor;
    std::optional<double> floorValue;
    // Does the value keep the bound; empty where none is set.
    std::optional<bool> holds;
};

double median(std::vector<double> values);

// Report prints each row as it comes, `name value unit | peer value | ratio`, and appends them all to a file.
class Report final
{
public:
    void add(const Row& row);
    // Adds to the array in `path`, in place of rows of the same names, which is made when it is missing.
    // False when it cannot be read or written.
    bool appendTo(const std::string& path) const;

private:
    std::vector<Row> m_rows;
};

} // namespace bench
