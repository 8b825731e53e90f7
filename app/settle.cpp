#include "app/settle.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

#include <malloc.h>
#include <sys/mman.h>

namespace {

struct Head
{
    FileMapping mapping;
    char write = 0; // 'w' or '-'
    char execute = 0;
    std::string path; // empty for what is no file
};

// "begin-end rwxp offset device inode   path" opens a mapping. False for any other line.
bool readHead(const std::string& line, Head& head)
{
    Head read;
    int pathAt = 0;
    if (std::sscanf(line.c_str(), "%" SCNxPTR "-%" SCNxPTR " %*c%c%c%*c %*s %*s %*s %n", &read.mapping.begin,
                    &read.mapping.end, &read.write, &read.execute, &pathAt) != 4)
        return false;
    read.path = line.substr(static_cast<std::size_t>(pathAt));
    head = read;
    return true;
}

std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), &std::free);
    return real ? real.get() : std::string();
}

} // namespace

std::vector<FileMapping> droppableMappings(std::istream& smaps, const std::string& fontPath)
{
    std::vector<FileMapping> found;
    Head head;
    for (std::string line; std::getline(smaps, line);) {
        unsigned long ownKiB = 0;
        if (readHead(line, head) || std::sscanf(line.c_str(), "Anonymous: %lu kB", &ownKiB) != 1)
            continue;
        const bool isCode = head.execute == 'x' && head.path.compare(0, 1, "/") == 0;
        const bool isFont = !fontPath.empty() && head.path == fontPath;
        if ((isCode || isFont) && head.write == '-' && ownKiB == 0)
            found.push_back(head.mapping);
    }
    return found;
}

void settleMemory(const std::string& fontPath)
{
    malloc_trim(0);
    std::ifstream smaps("/proc/self/smaps");
    for (const FileMapping& mapping : droppableMappings(smaps, resolved(fontPath)))
        madvise(reinterpret_cast<void*>(mapping.begin), mapping.end - mapping.begin, MADV_DONTNEED);
}
