// The configuration as a file.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "tarn/src/catalog/config.h"

namespace tarn::catalog {

namespace {

constexpr std::size_t kLargestFile = 16u << 20;

// Empty when the users of such a file may be used.
std::string whyUsersAreWithheld(const FileText& file)
{
    const bool isOurs = file.owner == ::geteuid() || file.owner == 0;
    if (isOurs && (file.mode & 077) == 0) {
        return {};
    }
    char text[192];
    std::snprintf(text, sizeof text,
                  "it has users with passwords, its mode is %04o and its owner %u: they are not used, as it "
                  "has to be 0600 and yours or root's",
                  file.mode, file.owner);
    return text;
}

} // namespace

std::string configPath()
{
    if (const char* path = std::getenv("TARN_CONFIG"); path != nullptr && *path != '\0') {
        return path;
    }
    const std::string directory = xdgDirectory("XDG_CONFIG_HOME", "/.config");
    return directory.empty() ? directory : directory + "/tarn/tarn.json";
}

ConfigFile readConfig(const std::string& path)
{
    ConfigFile found;
    const FileText file = readFile(path, kLargestFile);
    found.error = file.error;
    found.isForTheMoment = file.isForTheMoment;
    found.errorNumber = file.errorNumber;
    if (file.error != ReadError::None) {
        return found;
    }
    ConfigComplaints complaints(file.text);
    found.config.parse(file.text, complaints);
    found.complaints = complaints.lines();
    if (found.config.namesUsers()) {
        if (const std::string why = whyUsersAreWithheld(file); !why.empty()) {
            found.complaints.push_back(why);
            found.config.withholdUsers();
        }
    }
    return found;
}

Config Config::load()
{
    const std::string path = configPath();
    if (path.empty()) {
        return {};
    }
    ConfigFile file = readConfig(path);
    if (file.isForTheMoment) {
        // Printers would be asked as nobody wants it, until the next start.
        throw std::system_error(file.errorNumber, std::generic_category(), path);
    }
    if (file.error == ReadError::Unreadable) {
        file.complaints.emplace_back("cannot be read; using the defaults");
    }
    for (const std::string& complaint : file.complaints) {
        std::fprintf(stderr, "tarn: %s: %s\n", path.c_str(), complaint.c_str());
    }
    return std::move(file.config);
}

} // namespace tarn::catalog
