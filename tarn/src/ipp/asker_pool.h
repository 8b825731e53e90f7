#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include "tarn/src/base/mutex.h"
#include "tarn/src/ipp/ipp_client.h"

namespace tarn::ipp {

struct FinishedQuestion
{
    std::uint32_t ticket = 0;
    IppAnswer answer;
};

// Desk is where the engine's thread leaves questions that somebody else waits for.
class Desk
{
public:
    virtual ~Desk() = default;
    virtual void give(std::uint32_t ticket, IppQuestion question) = 0;
    // The answers since the last call, in no order.
    virtual std::vector<FinishedQuestion> takeFinished() = 0;
    // Readable when there are some; -1 when there will never be any.
    virtual int descriptor() const = 0;
};

// AskerPool is the desk with threads behind it, one for each question under way, begun when they are first
// needed.
//
// Invariants
//  (1) Every question that was given is answered once, unless the pool ends before.
//  (2) At most mostThreads questions are under way; the others wait in their order.
// Threading: any thread. Ownership: owns the asker, which it stops before it waits for its threads.
class AskerPool final : public Desk
{
public:
    AskerPool(std::unique_ptr<IppAsker> asker, std::size_t mostThreads);
    ~AskerPool() override;
    AskerPool(const AskerPool&) = delete;
    AskerPool& operator=(const AskerPool&) = delete;

    void give(std::uint32_t ticket, IppQuestion question) override TARN_EXCLUDES(m_mutex);
    std::vector<FinishedQuestion> takeFinished() override TARN_EXCLUDES(m_mutex);
    int descriptor() const override { return m_finishedFd; }

private:
    struct Given
    {
        std::uint32_t ticket;
        IppQuestion question;
    };

    void work() TARN_EXCLUDES(m_mutex);
    bool nextQuestion(Given& out) TARN_EXCLUDES(m_mutex);
    void finish(FinishedQuestion finished) TARN_EXCLUDES(m_mutex);

    // constant after construction
    const std::unique_ptr<IppAsker> m_asker;
    const std::size_t m_mostThreads;
    int m_finishedFd = -1;

    Mutex m_mutex;
    Condition m_given;
    std::deque<Given> m_waiting TARN_GUARDED_BY(m_mutex);
    std::vector<FinishedQuestion> m_finished TARN_GUARDED_BY(m_mutex);
    std::vector<std::thread> m_threads TARN_GUARDED_BY(m_mutex);
    std::size_t m_idle TARN_GUARDED_BY(m_mutex) = 0;
    bool m_stopping TARN_GUARDED_BY(m_mutex) = false;
};

} // namespace tarn::ipp
