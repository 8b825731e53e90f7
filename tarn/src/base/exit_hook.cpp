#include "tarn/src/base/exit_hook.h"

#include <dlfcn.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

// Of the C++ ABI. What std::atexit() makes of them, but for the thread sanitizer's, which forgets whose the
// handler is.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" int __cxa_atexit(void (*handler)(void*), void* argument, void* dso);
extern "C" void* __dso_handle; // NOLINT(bugprone-reserved-identifier)

namespace tarn {

namespace {

enum class OpenSsl
{
    NotLoaded,
    Ready,
    Ended,
};

// None of these is ever destroyed: the process exits around them.
Mutex listMutex; // held while the hooks wait for their threads
ExitHook* first TARN_GUARDED_BY(listMutex) = nullptr;

Mutex stateMutex; // held for moments only: the threads that are waited for take it
bool armed TARN_GUARDED_BY(stateMutex) = false;
bool armedBehindOpenSsl TARN_GUARDED_BY(stateMutex) = false;
bool exiting TARN_GUARDED_BY(stateMutex) = false;
std::chrono::steady_clock::time_point until TARN_GUARDED_BY(stateMutex);

std::atomic<pid_t> armedBy{0}; // read without a lock: another thread may have held it at the fork

// OPENSSL_INIT_LOAD_CRYPTO_STRINGS: the least that can be asked for; where nothing is asked for, nothing is
// done.
constexpr std::uint64_t kErrorTexts = 2;

// Initialises OpenSSL where somebody has loaded it, so that its exit handler is registered from here on. It
// registers it once, and refuses when that has begun to run.
OpenSsl readyOpenSsl()
{
    for (const char* const soname : {"libcrypto.so.3", "libcrypto.so.1.1"}) {
        if (void* const object = ::dlopen(soname, RTLD_NOW | RTLD_NOLOAD)) {
            using Initialise = int(std::uint64_t, const void*);
            auto* const initialise = reinterpret_cast<Initialise*>(::dlsym(object, "OPENSSL_init_crypto"));
            const bool isReady = initialise != nullptr && initialise(kErrorTexts, nullptr) == 1;
            ::dlclose(object); // whoever has loaded it keeps it
            return isReady ? OpenSsl::Ready : OpenSsl::Ended;
        }
    }
    return OpenSsl::NotLoaded;
}

// No thread may enter from here on. Returns until when those inside are waited for.
std::chrono::steady_clock::time_point beginExit()
{
    const MutexLock lock(stateMutex);
    if (!exiting) {
        exiting = true;
        until = std::chrono::steady_clock::now() + ExitHook::kPatience;
    }
    return until;
}

} // namespace

ExitHook::ExitHook()
{
    const MutexLock lock(listMutex);
    m_next = first;
    first = this;
}

ExitHook::~ExitHook()
{
    leave();
}

void ExitHook::leave()
{
    const MutexLock lock(listMutex);
    for (ExitHook** place = &first; *place != nullptr; place = &(*place)->m_next) {
        if (*place == this) {
            *place = m_next;
            return;
        }
    }
}

bool ExitHook::arm()
{
    const OpenSsl openSsl = readyOpenSsl();
    {
        const MutexLock lock(stateMutex);
        if (exiting || openSsl == OpenSsl::Ended) {
            return false;
        }
        // Once more when OpenSSL came after the first time: its handler would run before that one.
        if (armed && (openSsl == OpenSsl::NotLoaded || armedBehindOpenSsl)) {
            return true;
        }
        armedBy = ::getpid();
        const bool isRegistered = __cxa_atexit([](void*) { runAll(); }, nullptr, &__dso_handle) == 0;
        armed = armed || isRegistered;
        armedBehindOpenSsl = isRegistered && openSsl == OpenSsl::Ready;
        if (!isRegistered) {
            return false;
        }
    }
    // The exit may have begun in between.
    return openSsl == OpenSsl::NotLoaded || readyOpenSsl() == OpenSsl::Ready;
}

// At the exit, or when this library is unloaded; twice where it was registered twice.
void ExitHook::runAll()
{
    if (armedBy != ::getpid()) {
        return; // a forked child, which has none of the threads
    }
    const auto deadline = beginExit();
    const MutexLock lock(listMutex);
    for (ExitHook* hook = first; hook != nullptr; hook = hook->m_next) {
        hook->processExits(deadline);
    }
}

} // namespace tarn
