#include "tarn/src/base/file_keeper.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tarn/src/base/mutex.h"
#include "tarn/src/base/worker_thread.h"

namespace tarn {

struct FileKeeper::Place
{
    std::string path;
    std::size_t mostBytes;
};

struct FileKeeper::State
{
    // What is ordered of one file, and what it gave.
    struct File
    {
        std::shared_ptr<const Place> place;
        Milliseconds retryAfter;
        bool wantsRead = false;
        bool hasRead = false; // since it was last ordered
        std::optional<FileText> read;
        KeptFile::Work toDo;                  // empty: nothing
        Deadline notBefore = Deadline::min(); // toDo has failed, and waits to be tried again

        bool hasOrders() const { return wantsRead || toDo; }
    };
    // What the thread does next: a read where there is no work.
    struct Task
    {
        std::size_t index = 0;
        std::shared_ptr<const Place> place;
        KeptFile::Work work;
    };

    explicit State(Milliseconds retry) : firstRetry(retry) {}

    std::size_t add(std::shared_ptr<const Place> place) TARN_EXCLUDES(mutex);
    // True when the thread runs, which it does after this unless the system gives none.
    static bool ensureThread(const std::shared_ptr<State>& state, std::thread& thread)
        TARN_REQUIRES(state->mutex);
    bool doNext() TARN_EXCLUDES(mutex);
    bool takeNext(Task& task) TARN_REQUIRES(mutex);
    void awaitOrders() TARN_REQUIRES(mutex);
    void readNow(const Task& task) TARN_EXCLUDES(mutex);
    void workNow(Task task) TARN_EXCLUDES(mutex);
    bool hasOrders() const TARN_REQUIRES(mutex)
    {
        return std::any_of(files.begin(), files.end(), [](const File& file) { return file.hasOrders(); });
    }

    const Milliseconds firstRetry;

    Mutex mutex;
    CondVar changed;
    bool isRunning TARN_GUARDED_BY(mutex) = false;
    bool isWaiting TARN_GUARDED_BY(mutex) = false; // the thread, for orders
    bool isStopping TARN_GUARDED_BY(mutex) = false;
    std::vector<File> files TARN_GUARDED_BY(mutex);
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

std::size_t FileKeeper::State::add(std::shared_ptr<const Place> place)
{
    const MutexLock lock(mutex);
    files.emplace_back();
    files.back().place = std::move(place);
    files.back().retryAfter = firstRetry;
    return files.size() - 1;
}

// False when the thread is to end.
bool FileKeeper::State::doNext()
{
    Task task;
    {
        const MutexLock lock(mutex);
        while (!takeNext(task)) {
            if (isStopping) {
                isRunning = false;
                changed.notifyAll(); // under the lock: whoever sees it may end the object
                return false;
            }
            awaitOrders();
        }
    }
    if (task.work) {
        workNow(std::move(task));
    } else {
        readNow(task);
    }
    return true;
}

bool FileKeeper::State::takeNext(Task& task)
{
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (std::exchange(files[i].wantsRead, false)) {
            task.index = i;
            task.place = files[i].place;
            return true;
        }
    }
    const Deadline now = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < files.size(); ++i) {
        if (files[i].toDo && (isStopping || files[i].notBefore <= now)) {
            task.index = i;
            task.place = files[i].place;
            task.work.swap(files[i].toDo);
            return true;
        }
    }
    return false;
}

void FileKeeper::State::awaitOrders()
{
    Deadline until = Deadline::max();
    for (const File& file : files) {
        until = file.toDo ? std::min(until, file.notBefore) : until;
    }
    isWaiting = true;
    if (until == Deadline::max()) {
        changed.wait(mutex);
    } else {
        changed.waitUntil(mutex, until);
    }
    isWaiting = false;
}

void FileKeeper::State::readNow(const Task& task)
{
    FileText text;
    text.error = ReadError::Unreadable; // also one that there is no memory for
    attempt([&] {
        text = readFile(task.place->path, task.place->mostBytes);
        return true;
    });
    const MutexLock lock(mutex);
    File& file = files[task.index];
    file.read = std::move(text);
    file.hasRead = true;
    changed.notifyAll();
}

void FileKeeper::State::workNow(Task task)
{
    const bool isDone = attempt(task.work);
    const MutexLock lock(mutex);
    File& file = files[task.index];
    if (isDone) {
        file.retryAfter = firstRetry;
    } else if (!file.toDo && !isStopping) {
        file.toDo = std::move(task.work);
        file.notBefore = std::chrono::steady_clock::now() + file.retryAfter;
        file.retryAfter = std::min(2 * file.retryAfter, kLongestRetry);
    }
}

FileKeeper::FileKeeper(Milliseconds firstRetry) : m_state(std::make_shared<State>(firstRetry)) {}

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

KeptFile::KeptFile(FileKeeper& keeper, std::string path, std::size_t mostBytes)
    : m_keeper(keeper),
      m_place(std::make_shared<const FileKeeper::Place>(FileKeeper::Place{std::move(path), mostBytes})),
      m_index(keeper.m_state->add(m_place))
{
}

bool KeptFile::read()
{
    const std::shared_ptr<FileKeeper::State>& state = m_keeper.m_state;
    const MutexLock lock(state->mutex);
    FileKeeper::State::File& file = state->files[m_index];
    file.wantsRead = m_keeper.m_library.isHeld() && FileKeeper::State::ensureThread(state, m_keeper.m_thread);
    file.hasRead = file.hasRead && !file.wantsRead;
    state->changed.notifyAll();
    return file.wantsRead;
}

bool KeptFile::awaitText(FileKeeper::Deadline deadline)
{
    const std::shared_ptr<FileKeeper::State>& state = m_keeper.m_state;
    const MutexLock lock(state->mutex);
    while (!state->files[m_index].hasRead && !state->isStopping &&
           state->changed.waitUntil(state->mutex, deadline)) {
    }
    return state->files[m_index].hasRead;
}

std::optional<FileText> KeptFile::takeText()
{
    const std::shared_ptr<FileKeeper::State>& state = m_keeper.m_state;
    const MutexLock lock(state->mutex);
    return std::exchange(state->files[m_index].read, std::nullopt);
}

bool KeptFile::replace(std::string text)
{
    return carryOut([place = m_place, text = std::move(text)] {
        removeLeftovers(place->path);
        return replaceFile(place->path, text);
    });
}

bool KeptFile::carryOut(Work work)
{
    const std::shared_ptr<FileKeeper::State>& state = m_keeper.m_state;
    const MutexLock lock(state->mutex);
    if (!m_keeper.m_library.isHeld() || !FileKeeper::State::ensureThread(state, m_keeper.m_thread)) {
        return false;
    }
    FileKeeper::State::File& file = state->files[m_index];
    file.toDo = std::move(work);
    file.notBefore = FileKeeper::Deadline::min(); // a newer one does not wait
    state->changed.notifyAll();
    return true;
}

} // namespace tarn
