#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>

#include <fnmatch.h>

namespace kel_test {

// A thread that has been joined may still be on its way out of the kernel's list.
inline bool isLeaving(const std::filesystem::path& task)
{
    std::ifstream in(task / "stat");
    const std::string stat{std::istreambuf_iterator<char>(in), {}};
    const std::size_t name = stat.rfind(')');
    if (name == std::string::npos) { // it has gone
        return true;
    }
    std::istringstream rest(stat.substr(name + 1));
    std::string state, parent, group, session, terminal, foreground;
    unsigned flags = 0;
    rest >> state >> parent >> group >> session >> terminal >> foreground >> flags;
    constexpr unsigned exiting = 4; // PF_EXITING
    return (flags & exiting) != 0;
}

// The threads of this process whose name is like the pattern; those that are leaving are not counted. An emulator's thread
// is still there, and not leaving yet, when it has been joined: eventually() there are as many as there should be.
inline long ownThreads(const char* pattern = "*")
{
    long count = 0;
    std::error_code gone;
    for (std::filesystem::directory_iterator task("/proc/self/task"), end; task != end;
         task.increment(gone)) {
        std::string name;
        std::getline(std::ifstream(task->path() / "comm"), name);
        count += fnmatch(pattern, name.c_str(), 0) == 0 && !isLeaving(task->path()) ? 1 : 0;
    }
    return count;
}

} // namespace kel_test
