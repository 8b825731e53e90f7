#include "tools/tarn-status/history/row_text.h"

#include <algorithm>
#include <memory>
#include <sstream>

#include <json/reader.h>
#include <json/writer.h>

#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr std::size_t kMostSupplies = 64;
constexpr UnixTime kLastTime = 253402300799; // 9999-12-31
constexpr std::int64_t kMostPages = INT32_MAX;

// How many bytes the character at begin has; 0 where it is none.
std::size_t lengthOf(const std::string& text, std::size_t begin)
{
    const auto byte = [&text](std::size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned first = byte(begin);
    const std::size_t length = first < 0x80 ? 1 : first < 0xc2 ? 0 : first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
    if (length == 0 || first > 0xf4 || begin + length > text.size()) {
        return 0;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(begin + i) & 0xc0) != 0x80) {
            return 0;
        }
    }
    // Written with too many bytes, a half of a pair, or beyond the last character.
    if (length > 2) {
        const unsigned second = byte(begin + 1);
        if ((first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
            (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f)) {
            return 0;
        }
    }
    return length;
}

Json::Value parsedArray(const std::string& text)
{
    Json::CharReaderBuilder builder;
    builder["stackLimit"] = 8;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    try {
        if (reader->parse(text.data(), text.data() + text.size(), &root, nullptr) && root.isArray()) {
            return root;
        }
    } catch (const Json::Exception&) {
        // nested too deeply
    }
    return Json::Value(Json::arrayValue);
}

std::string textAt(const Json::Value& array, Json::ArrayIndex at)
{
    return array.isArray() && array.size() > at && array[at].isString() ? cleanText(array[at].asString())
                                                                        : std::string();
}

std::optional<int> levelOf(const std::string& word)
{
    if (word.empty() || word.size() > 3 || word.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    const int level = std::stoi(word);
    return level <= 100 ? std::optional<int>(level) : std::nullopt;
}

} // namespace

std::string listText(const Json::Value& supplies)
{
    Json::Value list(Json::arrayValue);
    for (const Json::Value& supply : supplies) {
        Json::Value names(Json::arrayValue);
        for (const char* const member : {"class", "colour", "description"}) {
            names.append(printable(supply[member]));
        }
        list.append(names);
    }
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    writer["emitUTF8"] = true;
    return Json::writeString(writer, list);
}

std::string levelsText(const Json::Value& supplies)
{
    std::string levels;
    for (const Json::Value& supply : supplies) {
        const Json::Value& percent = supply["percent"];
        levels += (levels.empty() ? "" : " ") + (percent.isInt() ? percent.asString() : "-");
    }
    return levels;
}

std::string cleanText(const std::string& text)
{
    std::string clean;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t length = lengthOf(text, i);
        clean += length == 0 ? "?" : text.substr(i, length);
        i += std::max<std::size_t>(length, 1);
    }
    return printable(clean);
}

UnixTime plausibleTime(std::int64_t time)
{
    return std::clamp<std::int64_t>(time, 0, kLastTime);
}

void HistoryReader::add(std::int64_t time, std::optional<std::int64_t> pages, const std::string& levels,
                        const std::string& list)
{
    if (time != plausibleTime(time)) {
        return;
    }
    const Places& places = placesOf(list);
    Entry entry;
    entry.time = time;
    entry.pages = pages && *pages >= 0 && *pages <= kMostPages ? pages : std::nullopt;
    entry.levels.resize(m_history.supplies.size());
    std::istringstream words(levels);
    std::string word;
    for (std::size_t i = 0; i < places.size() && words >> word; ++i) {
        if (places[i]) {
            entry.levels[*places[i]] = levelOf(word);
        }
    }
    m_history.entries.push_back(std::move(entry));
}

void HistoryReader::finish(UnixTime since)
{
    for (Entry& entry : m_history.entries) {
        entry.levels.resize(m_history.supplies.size());
    }
    if (!m_history.entries.empty()) {
        Entry& first = m_history.entries.front();
        first.time = std::max(first.time, std::min(since, m_history.printer.seen));
    }
}

const HistoryReader::Places& HistoryReader::placesOf(const std::string& list)
{
    const auto known = m_places.find(list);
    if (known != m_places.end()) {
        return known->second;
    }
    std::vector<RecordedSupply> supplies;
    for (const Json::Value& names : parsedArray(list)) {
        if (supplies.size() == kMostSupplies) {
            break;
        }
        supplies.push_back({textAt(names, 0), textAt(names, 1), textAt(names, 2)});
    }
    return m_places.emplace(list, placesOf(supplies)).first->second;
}

// Two of the same names are two supplies. One of another description than before, as where its serial number
// is in there, is the next in the same place. A new one beyond the most that there may be has none.
HistoryReader::Places HistoryReader::placesOf(const std::vector<RecordedSupply>& supplies)
{
    Places places(supplies.size());
    std::vector<bool> isTaken(m_history.supplies.size());
    const auto assign = [&](const auto& isSame) {
        for (std::size_t i = 0; i < supplies.size(); ++i) {
            for (std::size_t at = 0; at < m_history.supplies.size() && !places[i]; ++at) {
                if (!isTaken[at] && isSame(m_history.supplies[at], supplies[i])) {
                    places[i] = at;
                    isTaken[at] = true;
                    m_history.supplies[at] = supplies[i];
                }
            }
        }
    };
    assign([](const RecordedSupply& a, const RecordedSupply& b) { return a == b; });
    assign([](const RecordedSupply& a, const RecordedSupply& b) {
        return !a.colour.empty() && a.kind == b.kind && a.colour == b.colour;
    });
    for (std::size_t i = 0; i < supplies.size() && m_history.supplies.size() < kMostSupplies; ++i) {
        if (!places[i]) {
            places[i] = m_history.supplies.size();
            m_history.supplies.push_back(supplies[i]);
        }
    }
    return places;
}

} // namespace tarnstatus
