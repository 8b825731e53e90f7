#include "tools/tarn-status/find/announcement.h"

#include <strings.h>

#include <algorithm>

#include "tarn/src/device/utf8.h"

namespace tarnstatus {

namespace {

// The value of the first string with that key, however that is spelled; "" where there is none.
std::string_view valueOf(const std::vector<std::string>& texts, std::string_view key)
{
    for (const std::string& text : texts) {
        if (text.size() > key.size() && text[key.size()] == '=' &&
            strncasecmp(text.data(), key.data(), key.size()) == 0) {
            return std::string_view(text).substr(key.size() + 1);
        }
    }
    return {};
}

// A product stands in parentheses, as PostScript has it.
std::string_view withoutParentheses(std::string_view text)
{
    const bool has = text.size() >= 2 && text.front() == '(' && text.back() == ')';
    return has ? text.substr(1, text.size() - 2) : text;
}

std::string modelOf(const std::vector<std::string>& texts)
{
    for (const std::string_view said :
         {valueOf(texts, "ty"), withoutParentheses(valueOf(texts, "product"))}) {
        if (std::string model = oneLine(said, kLongestName); !model.empty()) {
            return model;
        }
    }
    const std::string maker = oneLine(valueOf(texts, "usb_MFG"), kLongestName / 2);
    const std::string model = oneLine(valueOf(texts, "usb_MDL"), kLongestName / 2 - 1);
    return maker.empty() || model.empty() ? model : maker + ' ' + model;
}

// CUPS serves its queues below these.
bool isPathOfQueue(std::string_view path)
{
    path.remove_prefix(!path.empty() && path.front() == '/' ? 1 : 0);
    return path.compare(0, 9, "printers/") == 0 || path.compare(0, 8, "classes/") == 0;
}

bool isUsable(const std::string& uuid)
{
    return uuid.find_first_not_of("0-") != std::string::npos; // the nil UUID names nothing
}

// A UUID tells more than a name: printers in two networks may both have the name that they were made with.
bool isSamePrinter(const Announcement& known, const Announcement& one)
{
    if (known.ip == one.ip) {
        return true;
    }
    if (isUsable(known.uuid) && isUsable(one.uuid)) {
        return known.uuid == one.uuid;
    }
    return !one.name.empty() && known.name == one.name;
}

void fillIn(std::string& text, const std::string& other)
{
    if (text.empty()) {
        text = other;
    }
}

} // namespace

std::string oneLine(std::string_view octets, std::size_t most)
{
    std::string line = tarn::device::tidyText(octets);
    if (line.size() > most) {
        std::size_t end = most;
        while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80) {
            --end; // not within a character
        }
        line.resize(end);
        line.erase(line.find_last_not_of(' ') + 1);
    }
    return line;
}

Announcement announcementOf(std::string_view name, const std::string& ip,
                            const std::vector<std::string>& texts)
{
    Announcement one;
    one.name = oneLine(name, kLongestName);
    one.ip = ip;
    one.model = modelOf(texts);
    one.location = oneLine(valueOf(texts, "note"), kLongestName);
    one.uuid = oneLine(valueOf(texts, "UUID"), kLongestName);
    one.isQueue = isPathOfQueue(valueOf(texts, "rp"));
    return one;
}

void addAnnouncement(std::vector<Announcement>& printers, const Announcement& one)
{
    if (one.isQueue) {
        return;
    }
    const auto same = std::find_if(printers.begin(), printers.end(),
                                   [&one](const Announcement& known) { return isSamePrinter(known, one); });
    if (same == printers.end()) {
        if (printers.size() < kMostPrinters) {
            printers.push_back(one);
        }
        return;
    }
    fillIn(same->name, one.name);
    fillIn(same->model, one.model);
    fillIn(same->location, one.location);
    fillIn(same->uuid, one.uuid);
}

} // namespace tarnstatus
