#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include <json/value.h>

#include "tools/tarn-status/history/history.h"

namespace tarnstatus {

// How supplies and levels stand in the rows of the database; and how what stands there is read, whoever wrote
// it.

// Of the JSON document's "supplies": a JSON array of [class, colour, description] ...
std::string listText(const Json::Value& supplies);
// ... and "82 64 - 91".
std::string levelsText(const Json::Value& supplies);

// UTF-8 without control characters; what is not, is a question mark.
std::string cleanText(const std::string& text);
// Within the years that a date can be written in.
UnixTime plausibleTime(std::int64_t time);

// HistoryReader makes a history of rows, in the order of time. Values that cannot be are not known.
class HistoryReader final
{
public:
    explicit HistoryReader(History& history) : m_history(history) {}

    void add(std::int64_t time, std::optional<std::int64_t> pages, const std::string& levels,
             const std::string& list);
    // The first entry begins at since.
    void finish(UnixTime since);

private:
    // Where the levels of a list go; none is kept of a supply without a place.
    using Places = std::vector<std::optional<std::size_t>>;
    const Places& placesOf(const std::string& list);
    Places placesOf(const std::vector<RecordedSupply>& supplies);

    History& m_history;
    std::map<std::string, Places> m_places;
};

} // namespace tarnstatus
