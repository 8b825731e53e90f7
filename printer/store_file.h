#pragma once

#include <chrono>
#include <string>

namespace morvik::kel {

// A file descriptor and what the store does with it. All functions retry after signals.
//
// Errors: the bool functions leave errno as the failing call set it.
class StoreFile final
{
public:
    StoreFile() = default;
    ~StoreFile();
    StoreFile(StoreFile&& other) noexcept;
    StoreFile& operator=(StoreFile&&) = delete;
    StoreFile(const StoreFile&) = delete;
    StoreFile& operator=(const StoreFile&) = delete;

    // Never waits, whatever the path names (a FIFO, for example). flags as for open(2).
    static StoreFile open(const std::string& path, int flags, unsigned mode = 0);
    bool isOpen() const { return m_descriptor >= 0; }
    bool isRegular() const;
    bool isEmpty() const;
    // Keeps other processes that use the store out. False after `patience`.
    bool lock(int operation, std::chrono::milliseconds patience) const;
    bool takeOwnerOf(const StoreFile& other) const;
    bool takeModeOf(const StoreFile& other) const;
    // The whole content, from the start.
    bool readAll(std::string& text) const;
    // Replaces the content: truncates, writes, syncs.
    bool replaceContent(const std::string& text) const;

private:
    int m_descriptor = -1;
};

// Makes a directory entry that was just created survive a loss of power, where the file system can.
void syncDirectoryOf(const std::string& path);

} // namespace morvik::kel
