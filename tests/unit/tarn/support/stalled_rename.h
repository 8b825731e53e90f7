#pragma once

namespace tarn::test {

// A file system that stalls: while one lives, whoever renames a file in this process waits in rename().
// Linked into a program whose symbols its libraries see (ENABLE_EXPORTS), it holds for them, too.
//
// Threading: one at a time, made and ended by one thread.
class StalledRename final
{
public:
    StalledRename();
    ~StalledRename() { release(); }
    StalledRename(const StalledRename&) = delete;
    StalledRename& operator=(const StalledRename&) = delete;

    // Waits until somebody is held up; false when nobody was within a minute.
    bool awaitVictim() const;
    bool hasVictim() const;
    void release();
};

} // namespace tarn::test
