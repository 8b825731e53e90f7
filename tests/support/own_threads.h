#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <system_error>

namespace kel_test {

// A thread that has been joined may still be on its way out of the kernel's list.
inline bool isLeaving(const std::filesystem::path& task)
{
    std::ifstream in(task / "stat");
    const std::string stat{std::istreambuf_iterator<char>(in), {}};
    const std::size_t name = stat.rfind(')');
    if (name == std::string::npos)
        return true; // it has gone
    std::istringstream rest(stat.substr(name + 1));
    std::string state, parent, group, session, terminal, foreground;
    unsigned flags = 0;
    rest >> state >> parent >> group >> session >> terminal >> foreground >> flags;
    constexpr unsigned exiting = 4; // PF_EXITING
    return (flags & exiting) != 0;
}

// The threads of this process whose name begins so; those that are leaving are not counted.
inline long ownThreads(const std::string& start = {})
{
    long count = 0;
    std::error_code gone;
    for (std::filesystem::directory_iterator task("/proc/self/task"), end; task != end;
         task.increment(gone)) {
        std::string name;
        std::getline(std::ifstream(task->path() / "comm"), name);
        count += name.compare(0, start.size(), start) == 0 && !isLeaving(task->path()) ? 1 : 0;
    }
    return count;
}

} // namespace kel_test
