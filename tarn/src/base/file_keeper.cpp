#include "tarn/src/base/file_keeper.h"

#include <algorithm>
#include <utility>

#include "tarn/src/base/mutex.h"
#include "tarn/src/base/worker_thread.h"

namespace tarn {

struct FileKeeper::State
{
    State(std::string file, std::size_t most, Milliseconds retry)
        : path(std::move(file)), mostBytes(most), firstRetry(retry), retryAfter(retry)
    {
    }

    // True when the thread runs, which it does after this unless the system gives none.
    static bool ensureThread(const std::shared_ptr<State>& state, std::thread& thread)
        TARN_REQUIRES(state->mutex);
    bool doNext() TARN_EXCLUDES(mutex);
    void readNow() TARN_EXCLUDES(mutex);
    void workNow(Work work) TARN_EXCLUDES(mutex);
    void awaitRetry() TARN_REQUIRES(mutex);
    bool hasOrders() const TARN_REQUIRES(mutex) { return wantsRead || toDo; }

    const std::string path;
    const std::size_t mostBytes;
    const Milliseconds firstRetry;

    // the thread's
    Milliseconds retryAfter;

    Mutex mutex;
    CondVar changed;
    bool isRunning TARN_GUARDED_BY(mutex) = false;
    bool isWaiting TARN_GUARDED_BY(mutex) = false; // the thread, for orders
    bool isStopping TARN_GUARDED_BY(mutex) = false;
    bool wantsRead TARN_GUARDED_BY(mutex) = false;
    bool hasRead TARN_GUARDED_BY(mutex) = false; // since it was last ordered
    std::optional<FileText> read TARN_GUARDED_BY(mutex);
    Work toDo TARN_GUARDED_BY(mutex);              // empty: nothing
    bool hasFailed TARN_GUARDED_BY(mutex) = false; // toDo did, and waits to be tried again
};

namespace {

// False where function says so or finds no memory.
template <typename Function>
bool attempt(const Function& function) noexcept
{
    try {
        return function();
    } catch (const std::exception&) {
        return false;
    }
}

} // namespace

// False when the thread is to end.
bool FileKeeper::State::doNext()
{
    Work work;
    bool reads = false;
    {
        const MutexLock lock(mutex);
        if (hasFailed) {
            awaitRetry();
        }
        isWaiting = true;
        while (!hasOrders() && !isStopping) {
            changed.wait(mutex);
        }
        isWaiting = false;
        reads = std::exchange(wantsRead, false);
        if (!reads) {
            work.swap(toDo);
        }
        if (!reads && !work) {
            isRunning = false;
            changed.notifyAll(); // under the lock: whoever sees it may end the object
            return false;
        }
    }
    if (reads) {
        readNow();
    } else {
        workNow(std::move(work));
    }
    return true;
}

void FileKeeper::State::awaitRetry()
{
    const Deadline until = std::chrono::steady_clock::now() + retryAfter;
    retryAfter = std::min(2 * retryAfter, kLongestRetry);
    while (hasFailed && !isStopping && changed.waitUntil(mutex, until)) {
    }
    hasFailed = false;
}

void FileKeeper::State::readNow()
{
    FileText file;
    file.error = ReadError::Unreadable; // also one that there is no memory for
    attempt([&] {
        file = readFile(path, mostBytes);
        return true;
    });
    const MutexLock lock(mutex);
    read = std::move(file);
    hasRead = true;
    changed.notifyAll();
}

void FileKeeper::State::workNow(Work work)
{
    const bool isDone = attempt(work);
    const MutexLock lock(mutex);
    if (isDone) {
        retryAfter = firstRetry;
    } else if (!toDo && !isStopping) {
        toDo = std::move(work);
        hasFailed = true;
    }
}

FileKeeper::FileKeeper(std::string path, std::size_t mostBytes, Milliseconds firstRetry)
    : m_state(std::make_shared<State>(std::move(path), mostBytes, firstRetry))
{
}

FileKeeper::~FileKeeper()
{
    stop(std::chrono::steady_clock::now());
}

bool FileKeeper::State::ensureThread(const std::shared_ptr<State>& state, std::thread& thread)
{
    if (state->isStopping) {
        return false;
    }
    if (state->isRunning) {
        return true;
    }
    thread = workerThread("tarn-files", [state] {
        while (state->doNext()) {
        }
    });
    state->isRunning = thread.joinable();
    return state->isRunning;
}

bool FileKeeper::read()
{
    const MutexLock lock(m_state->mutex);
    m_state->wantsRead = true;
    m_state->wantsRead = m_library.isHeld() && State::ensureThread(m_state, m_thread);
    m_state->hasRead = m_state->hasRead && !m_state->wantsRead;
    m_state->changed.notifyAll();
    return m_state->wantsRead;
}

bool FileKeeper::awaitText(Deadline deadline)
{
    const MutexLock lock(m_state->mutex);
    while (!m_state->hasRead && !m_state->isStopping &&
           m_state->changed.waitUntil(m_state->mutex, deadline)) {
    }
    return m_state->hasRead;
}

std::optional<FileText> FileKeeper::takeText()
{
    const MutexLock lock(m_state->mutex);
    return std::exchange(m_state->read, std::nullopt);
}

bool FileKeeper::replace(std::string text)
{
    return carryOut([path = m_state->path, text = std::move(text)] {
        removeLeftovers(path);
        return replaceFile(path, text);
    });
}

bool FileKeeper::carryOut(Work work)
{
    const MutexLock lock(m_state->mutex);
    if (!m_library.isHeld() || !State::ensureThread(m_state, m_thread)) {
        return false;
    }
    m_state->toDo = std::move(work);
    m_state->hasFailed = false; // a newer one does not wait
    m_state->changed.notifyAll();
    return true;
}

bool FileKeeper::stop(Deadline deadline)
{
    const MutexLock lock(m_state->mutex);
    m_state->isStopping = true;
    m_state->changed.notifyAll();
    while (m_state->isWaiting && !m_state->hasOrders()) { // nothing stalls its end
        m_state->changed.wait(m_state->mutex);
    }
    while (m_thread.joinable() && m_state->isRunning &&
           m_state->changed.waitUntil(m_state->mutex, deadline)) {
    }
    if (m_state->isRunning) {
        if (m_thread.joinable()) {
            m_thread.detach();
            m_library.keepForever();
        }
        return false;
    }
    if (m_thread.joinable()) {
        m_thread.join(); // it has let go of the mutex for the last time
    }
    m_library.giveBack();
    return true;
}

} // namespace tarn
