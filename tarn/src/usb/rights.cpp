#include "tarn/src/usb/rights.h"

#include <grp.h>
#include <sys/stat.h>

#include <cstdio>
#include <vector>

namespace tarn::usb {

namespace {

constexpr const char kUsualGroup[] = "lp";

} // namespace

std::string groupWithRights(const std::string& node)
{
    struct stat status = {};
    if (::stat(node.c_str(), &status) != 0 || status.st_gid == 0 || (status.st_mode & 0060) != 0060) {
        return kUsualGroup;
    }
    std::vector<char> buffer(16384);
    group entry = {};
    group* found = nullptr;
    if (::getgrgid_r(status.st_gid, &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) {
        return std::to_string(status.st_gid);
    }
    return found->gr_name;
}

std::string rightsComplaint(const std::string& node)
{
    return "no right to ask USB printers how they are (" + node + "): members of the group \"" +
           groupWithRights(node) + "\" have it";
}

std::string nodeOf(unsigned bus, unsigned address)
{
    char text[40];
    std::snprintf(text, sizeof text, "/dev/bus/usb/%03u/%03u", bus, address);
    return text;
}

} // namespace tarn::usb
