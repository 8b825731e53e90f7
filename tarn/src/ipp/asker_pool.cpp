#include "tarn/src/ipp/asker_pool.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include "tarn/src/base/worker_thread.h"

namespace tarn::ipp {

AskerPool::AskerPool(std::unique_ptr<IppAsker> asker, std::size_t mostThreads)
    : m_asker(std::move(asker)), m_mostThreads(mostThreads),
      m_finishedFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

AskerPool::~AskerPool()
{
    m_asker->stop();
    std::vector<std::thread> threads;
    {
        const MutexLock lock(m_mutex);
        m_stopping = true;
        threads.swap(m_threads);
    }
    m_given.notifyAll();
    for (std::thread& thread : threads) {
        thread.join();
    }
    if (m_finishedFd >= 0) {
        ::close(m_finishedFd);
    }
}

void AskerPool::give(std::uint32_t ticket, IppQuestion question)
{
    {
        const MutexLock lock(m_mutex);
        m_waiting.push_back({ticket, std::move(question)});
        if (m_waiting.size() > m_idle && m_threads.size() < m_mostThreads) {
            m_threads.reserve(m_mostThreads);
            std::thread thread = workerThread("tarn-ipp", [this] { work(); });
            if (thread.joinable()) {
                m_threads.push_back(std::move(thread));
            }
        }
        if (!m_threads.empty()) {
            m_given.notifyAll();
            return;
        }
        m_waiting.pop_back();
    }
    // No thread to be had: as if nobody were there.
    finish({ticket, IppAnswer()});
}

std::vector<FinishedQuestion> AskerPool::takeFinished()
{
    const MutexLock lock(m_mutex);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(m_finishedFd, &count, sizeof count);
    std::vector<FinishedQuestion> finished;
    finished.swap(m_finished);
    return finished;
}

void AskerPool::work()
{
    Given given;
    while (nextQuestion(given)) {
        FinishedQuestion finished;
        finished.ticket = given.ticket;
        try {
            finished.answer = m_asker->ask(given.question);
        } catch (const std::exception&) { // out of memory
            finished.answer = IppAnswer();
        }
        finish(std::move(finished));
    }
}

// Waits for a question; false when the pool ends.
bool AskerPool::nextQuestion(Given& out)
{
    const MutexLock lock(m_mutex);
    ++m_idle;
    while (m_waiting.empty() && !m_stopping) {
        m_given.waitUntil(m_mutex, std::chrono::steady_clock::now() + std::chrono::hours(1));
    }
    --m_idle;
    if (m_stopping) {
        return false;
    }
    out = std::move(m_waiting.front());
    m_waiting.pop_front();
    return true;
}

void AskerPool::finish(FinishedQuestion finished)
{
    const MutexLock lock(m_mutex);
    m_finished.push_back(std::move(finished));
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(m_finishedFd, &one, sizeof one);
}

} // namespace tarn::ipp
