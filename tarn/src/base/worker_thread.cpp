#include "tarn/src/base/worker_thread.h"

#include <pthread.h>

#include <csignal>
#include <system_error>

namespace tarn {

namespace {

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
        thread = std::thread(std::move(work));
    } catch (const std::system_error&) {
        return thread;
    }
    pthread_setname_np(thread.native_handle(), name);
    return thread;
}

} // namespace tarn
