#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "tarn/src/base/descriptor.h"

namespace tarn {

enum class ReadError
{
    None,
    Absent,
    Unreadable, // no permission, a directory, larger than the bound ...
};

struct FileText
{
    ReadError error = ReadError::None;
    bool isForTheMoment = false; // Unreadable, as the system has no descriptor or memory left
    int errorNumber = 0;         // of errno, where the file could not be opened
    std::string text;
    unsigned mode = 0;  // its permission bits
    unsigned owner = 0; // user id
};

// The whole file, at most maxBytes of it allowed.
FileText readFile(const std::string& path, std::size_t maxBytes);

// Replaces the file in one step (a temporary file beside it, then a rename), making its directory where
// missing. A reader sees the old or the new text, never a mixture. False when nothing was replaced, which may
// be because another process took the temporary file for a leftover: the next try succeeds.
bool replaceFile(const std::string& path, std::string_view text);

// While one lives it is this process's turn at the file: others that ask for theirs wait, nobody longer than
// his patience, and go on without it then. Who reads a file to replace it by something like it so keeps what
// another process has added. It makes the file's directory where that is missing.
class FileTurn final
{
public:
    static constexpr std::chrono::milliseconds kPatience{500};

    explicit FileTurn(const std::string& path, std::chrono::milliseconds patience = kPatience);
    FileTurn(const FileTurn&) = delete;
    FileTurn& operator=(const FileTurn&) = delete;

private:
    Descriptor m_directory;
};

// Removes what writers that were killed in replaceFile() left beside the file; what one that lives is writing
// stays. False when the directory cannot be read.
bool removeLeftovers(const std::string& path);

// $XDG_<variable>, when it holds an absolute path, else $HOME + fallback; empty when HOME is not set either.
std::string xdgDirectory(const char* variable, const char* fallback);

} // namespace tarn
