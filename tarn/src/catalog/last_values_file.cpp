#include "tarn/src/catalog/last_values_file.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <utility>

#include "tarn/src/base/mutex.h"

namespace tarn::catalog {

namespace {

// More than is ever written, so that a file of another kind is told from one that cannot be read.
constexpr std::size_t kLargestFile = 64u << 20;

UnixTime wallClock()
{
    return std::chrono::duration_cast<std::chrono::seconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

} // namespace

struct LastValuesFile::State
{
    // What a run has to add.
    struct Save
    {
        std::vector<Answer> answers;
        std::set<std::uint32_t> forgotten;
        std::chrono::steady_clock::time_point handedOver;
    };
    enum class Reading
    {
        Done,
        Refused, // for good: the file is not ours to replace
        Later,
    };

    explicit State(std::string file) : path(std::move(file)) {}

    // All that is to be done at present; false when that must be tried again. The thread's.
    bool tend() TARN_EXCLUDES(mutex);
    Reading read(LastValues& values);
    void merge(LastValues& values, const Save& save, UnixTime now) const;
    void complain(const std::string& what);

    const std::string path;
    std::atomic<bool> isOver{false}; // nobody waits any more, and the process may be about to exit
    bool hasComplained = false;      // the thread's

    Mutex mutex;
    std::shared_ptr<const Save> toSave TARN_GUARDED_BY(mutex);
    bool isWanted TARN_GUARDED_BY(mutex) = false; // somebody asked what is remembered
    bool isLoaded TARN_GUARDED_BY(mutex) = false;
    TimePoint wantedAt TARN_GUARDED_BY(mutex);
    UnixTime loadedAt TARN_GUARDED_BY(mutex) = 0;
    LastValues values TARN_GUARDED_BY(mutex);
};

void LastValuesFile::State::complain(const std::string& what)
{
    if (!std::exchange(hasComplained, true)) {
        std::fprintf(stderr, "tarn: %s: %s\n", path.c_str(), what.c_str());
    }
}

LastValuesFile::State::Reading LastValuesFile::State::read(LastValues& found)
{
    const FileText file = readFile(path, kLargestFile);
    if (file.isForTheMoment || isOver) {
        return Reading::Later;
    }
    std::string complaint;
    bool isOfLaterVersion = false;
    if (file.error == ReadError::Unreadable) {
        complaint = "cannot be read: no last values of printers are kept";
    } else if (file.error == ReadError::None) {
        isOfLaterVersion = !found.parse(file.text, complaint);
    }
    if (!complaint.empty()) {
        complain(complaint);
    }
    // Root must not put a file of its own in the place of a user's.
    const bool isOurs = file.error == ReadError::Absent || file.owner == ::geteuid();
    const bool isReplaced = file.error != ReadError::Unreadable && !isOfLaterVersion && isOurs;
    return isReplaced ? Reading::Done : Reading::Refused;
}

void LastValuesFile::State::merge(LastValues& found, const Save& save, UnixTime now) const
{
    const auto waited = std::chrono::steady_clock::now() - save.handedOver;
    std::map<std::uint32_t, LastValue> fresh;
    for (const Answer& answer : save.answers) {
        const auto age = std::chrono::duration_cast<std::chrono::seconds>(answer.age + waited);
        fresh[answer.address] = {now - age.count(), answer.snapshot->source, answer.snapshot->status};
    }
    for (const std::uint32_t address : save.forgotten) {
        found.forget(address);
    }
    found.take(std::move(fresh), now);
}

bool LastValuesFile::State::tend()
{
    std::shared_ptr<const Save> save;
    {
        const MutexLock lock(mutex);
        save = toSave;
    }
    std::optional<FileTurn> turn;
    if (save) {
        turn.emplace(path);
    }
    const UnixTime now = wallClock();
    LastValues found;
    const Reading reading = read(found);
    if (reading == Reading::Later) {
        return false;
    }
    {
        const MutexLock lock(mutex);
        if (isWanted && !isLoaded) {
            values = found;
            loadedAt = now;
            isLoaded = true;
        }
    }
    if (save && reading == Reading::Done) {
        merge(found, *save, now);
        removeLeftovers(path);
        if (!replaceFile(path, found.text())) {
            return false;
        }
    }
    const MutexLock lock(mutex);
    if (toSave == save) {
        toSave.reset();
    }
    return true;
}

LastValuesFile::LastValuesFile(FileKeeper& keeper, std::string path)
    : m_state(std::make_shared<State>(std::move(path))), m_file(keeper, m_state->path, kLargestFile)
{
}

bool LastValuesFile::hasPlace() const
{
    return !m_state->path.empty();
}

bool LastValuesFile::order()
{
    return m_file.carryOut([state = m_state] { return state->tend(); });
}

std::optional<RememberedValue> LastValuesFile::find(std::uint32_t address, TimePoint now)
{
    if (!hasPlace()) {
        return std::nullopt;
    }
    const MutexLock lock(m_state->mutex);
    if (!m_state->isWanted) {
        m_state->wantedAt = now;
        m_state->isWanted = order();
    }
    const LastValue* const value = m_state->isLoaded ? m_state->values.find(address) : nullptr;
    if (value == nullptr) {
        return std::nullopt;
    }
    const Milliseconds before = std::chrono::seconds(std::max<UnixTime>(0, m_state->loadedAt - value->time));
    return RememberedValue{value->source, before + (now - m_state->wantedAt), value->status};
}

bool LastValuesFile::save(std::vector<Answer> answers, std::set<std::uint32_t> forgotten)
{
    if (!hasPlace()) {
        return true;
    }
    const MutexLock lock(m_state->mutex);
    if (m_state->toSave) { // it may not be written yet
        forgotten.insert(m_state->toSave->forgotten.begin(), m_state->toSave->forgotten.end());
    }
    m_state->toSave = std::make_shared<const State::Save>(
        State::Save{std::move(answers), std::move(forgotten), std::chrono::steady_clock::now()});
    return order();
}

void LastValuesFile::abandon()
{
    m_state->isOver = true;
}

} // namespace tarn::catalog
