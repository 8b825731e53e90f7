#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/files.h"
#include "tarn/src/base/library_reference.h"

namespace tarn {

// FileKeeper reads and replaces files in a thread of its own, "tarn-files", so that a file system that stalls
// holds nobody up for longer than he is ready to wait, except other files of the same keeper. The thread is
// begun for the first order and lasts until stop(): one for each order would leave memory behind in another of
// malloc's arenas each time.
//
// Invariants
//  (1) One read or work is under way at a time, reads first; of works on a file that wait only the newest is
//      done.
//  (2) A work that failed is tried again after a while, and that while doubles, until it succeeds, a newer
//      one takes its place, or stop(). Other files do not wait for it.
//  (3) After stop() the thread has ended, or is in a call of the system that does not return. It then owns
//      all that it still touches, and the library stays loaded for it.
//  (4) What writers that were killed left beside a file is removed before each replace(); who only reads
//      removes nothing.
// Threading: any thread, but stop() and the destructor are the owner's, within a call of the host. No
// function waits for the file system, except for as long as it is told to.
class FileKeeper final
{
public:
    using Deadline = std::chrono::steady_clock::time_point;
    static constexpr Milliseconds kFirstRetry{30000};
    static constexpr Milliseconds kLongestRetry{600000};

    explicit FileKeeper(Milliseconds firstRetry = kFirstRetry);
    // stop() without patience.
    ~FileKeeper();
    FileKeeper(const FileKeeper&) = delete;
    FileKeeper& operator=(const FileKeeper&) = delete;

    // Gives what is still to be done one last try, and until the deadline to succeed. False when the
    // thread had to be left behind.
    bool stop(Deadline deadline);

private:
    friend class KeptFile;
    struct Place;
    struct State;

    const std::shared_ptr<State> m_state; // the thread's as well
    LibraryReference m_library;
    std::thread m_thread; // guarded by the state's mutex
};

// One of the files of a keeper, which outlives it.
class KeptFile final
{
public:
    KeptFile(FileKeeper& keeper, std::string path, std::size_t mostBytes);
    KeptFile(const KeptFile&) = delete;
    KeptFile& operator=(const KeptFile&) = delete;

    // Orders the file to be read. False, and nothing is ordered, when the system gives no thread or after
    // the keeper's stop().
    [[nodiscard]] bool read();
    // Waits until the last order to read was carried out. False when it is not until then.
    bool awaitText(FileKeeper::Deadline deadline);
    // What was read, once; empty when there is no such file, and with the error when it cannot be read.
    // Nothing while it is not there.
    std::optional<FileText> takeText();
    // Orders the file to be replaced. False as for read().
    [[nodiscard]] bool replace(std::string text);
    // False, as when it throws: it has failed. It owns all that it touches, see (3).
    using Work = std::function<bool()>;
    // Orders any other work on the file. False as for read().
    [[nodiscard]] bool carryOut(Work work);

private:
    FileKeeper& m_keeper;
    const std::shared_ptr<const FileKeeper::Place> m_place;
    const std::size_t m_index; // among the keeper's files
};

} // namespace tarn
