#pragma once

#include <cstdint>
#include <istream>
#include <string>
#include <vector>

// Gives back what a start leaves in memory and the running program does not need: the heap's free pages, and
// the pages of code and of the font file that were read on the way. What is wanted after all comes back from
// the system's cache, page by page, when it is touched. Threading: the GUI thread, which alone maps and
// unmaps fonts, while no other thread unloads a library.
void settleMemory(const std::string& fontPath);

// A mapping of a file into this process.
struct FileMapping
{
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
};

// The mappings of code, and of the file of that name, in a text like /proc/self/smaps. Only those whose pages
// are all the file's own, so that dropping them loses nothing: without leave to write, and without a page of
// the process's own. The second matters where a loader or a debugger has written first and protected then.
std::vector<FileMapping> droppableMappings(std::istream& smaps, const std::string& fontPath);
