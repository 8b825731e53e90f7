#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarnstatus {

// A printer's service as DNS-SD tells of it. All texts are valid UTF-8 without control characters or marks
// that turn the direction of writing, and of bounded length.
struct Announcement
{
    std::string name;     // of the service
    std::string ip;       // dotted
    std::string model;    // "" where it does not say
    std::string location; // likewise
    std::string uuid;     // likewise
    bool isQueue = false; // a print server's, not a printer's own
};

// What a service says. name: the octets of its name; texts: the strings of its TXT record (RFC 6763, keys as
// in Bonjour Printing 1.2), which may hold anything.
Announcement announcementOf(std::string_view name, const std::string& ip,
                            const std::vector<std::string>& texts);

// A foreign text as one line for people: octets that are no UTF-8 are read as Latin-1, controls become
// blanks, marks of direction go, and so does what is beyond so many octets.
std::string oneLine(std::string_view octets, std::size_t most);

// Adds one more: what several services say of one printer (of one name, one UUID or one address) becomes one
// entry, the first to know something having said it. Queues are left out; of more than kMostPrinters the
// first stay.
void addAnnouncement(std::vector<Announcement>& printers, const Announcement& one);

constexpr std::size_t kMostPrinters = 1000;
constexpr std::size_t kLongestName = 120; // octets

} // namespace tarnstatus
