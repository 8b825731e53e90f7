#include "tarn/src/base/worker_thread.h"

#include <pthread.h>

#include <atomic>
#include <csignal>
#include <exception>

namespace tarn {

namespace {

std::atomic<int> running{0};

class SignalsBlocked final
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t m_before{};
};

} // namespace

std::thread workerThread(const char* name, std::function<void()> work)
{
    std::thread thread;
    try {
        const SignalsBlocked blocked; // the new thread inherits the mask
        ++running;
        thread = std::thread([work = std::move(work)] {
            work();
            --running;
        });
    } catch (const std::exception&) {
        --running;
        return thread;
    }
    pthread_setname_np(thread.native_handle(), name);
    return thread;
}

int workersRunning()
{
    return running;
}

} // namespace tarn
