#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "tarn/src/base/file_keeper.h"
#include "tarn/src/catalog/last_values.h"
#include "tarn/src/engine/snapshot.h"

namespace tarn::catalog {

// What one printer said in this run.
struct Answer
{
    std::uint32_t address = 0;
    Milliseconds age{}; // when it is handed over
    std::shared_ptr<const engine::Snapshot> snapshot;
};

// What one printer said in an earlier run.
struct RememberedValue
{
    engine::Source source = engine::Source::None;
    Milliseconds age{}; // never negative
    device::PackedStatus status;
};

// LastValuesFile is the file of last values. Everything that takes time, reading, merging and writing, is
// done in the thread of the FileKeeper.
//
// Invariants
//  (1) What is saved is added to what the file holds at that moment: of each printer the newer value stays,
//      whichever process wrote it.
//  (2) A file that cannot be read, or that a later version wrote, is not replaced. One that is damaged
//      is, by what of it can be understood. Either is said on standard error, once.
//  (3) What was remembered is what the file held when it was first read.
// Threading: any thread. No function waits for the file system.
class LastValuesFile final
{
public:
    // An empty path: nothing is remembered. The keeper outlives it.
    LastValuesFile(FileKeeper& keeper, std::string path);
    bool hasPlace() const;

    // Nothing as long as the file has not been read, which the first call orders.
    std::optional<RememberedValue> find(std::uint32_t address, TimePoint now);
    // Orders the answers to be saved in the place of those of an earlier order, and the addresses to be
    // forgotten beside its. False: the system gives no thread.
    [[nodiscard]] bool save(std::vector<Answer> answers, std::set<std::uint32_t> forgotten);
    // After the keeper has left its thread behind: nothing is said any more.
    void abandon();

private:
    struct State;

    bool order();

    const std::shared_ptr<State> m_state; // the thread's as well
    KeptFile m_file;
};

} // namespace tarn::catalog
