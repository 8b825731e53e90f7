#include "tests/hostile/own_process.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

namespace hostile {

namespace {

constexpr std::uint16_t kOurFirstPort = 16400;
constexpr std::uint16_t kOurLastPort = 16499;

std::set<std::uint64_t> socketsOfThisProcess()
{
    std::set<std::uint64_t> inodes;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        struct stat status = {};
        if (stat(entry.path().c_str(), &status) == 0 && S_ISSOCK(status.st_mode)) {
            inodes.insert(status.st_ino);
        }
    }
    return inodes;
}

} // namespace

pid_t engineThread()
{
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::getline(std::ifstream(entry.path() / "comm"), name);
        if (name == "tarn-engine") {
            return static_cast<pid_t>(std::stol(entry.path().filename().string()));
        }
    }
    return -1;
}

std::int64_t cpuNanoseconds(pid_t thread)
{
    std::int64_t running = 0;
    std::ifstream("/proc/self/task/" + std::to_string(thread) + "/schedstat") >> running;
    return running;
}

std::int64_t residentBytes()
{
    std::int64_t size = 0;
    std::int64_t resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

LocalSocket librarySocket()
{
    const std::set<std::uint64_t> inodes = socketsOfThisProcess();
    std::ifstream table("/proc/net/udp");
    std::string line;
    std::getline(table, line); // headings
    while (std::getline(table, line)) {
        std::istringstream fields(line);
        std::string slot, local, remote, state, queues, timer, retransmits, reference, pointer;
        std::uint64_t user = 0, timeout = 0, inode = 0;
        LocalSocket found;
        fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> user >> timeout >>
            inode >> reference >> pointer >> found.drops;
        found.port =
            static_cast<std::uint16_t>(std::strtoul(local.c_str() + local.find(':') + 1, nullptr, 16));
        if (inodes.count(inode) != 0 && (found.port < kOurFirstPort || found.port > kOurLastPort)) {
            return found;
        }
    }
    return {};
}

} // namespace hostile
