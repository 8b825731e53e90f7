#include "tarn/src/base/exit_hook.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>

namespace tarn {

namespace {

enum class OpenSsl
{
    NotLoaded,
    Ready,
    Ended,
};

// None of these is ever destroyed: the process exits around them.
Mutex mutex;
ExitHook* first TARN_GUARDED_BY(mutex) = nullptr;
bool armed TARN_GUARDED_BY(mutex) = false;
bool armedBehindOpenSsl TARN_GUARDED_BY(mutex) = false;
bool exiting TARN_GUARDED_BY(mutex) = false;

// Initialises OpenSSL where somebody has loaded it, so that its exit handler is registered from here on. It
// registers it once, and refuses when that has begun to run.
OpenSsl readyOpenSsl()
{
    for (const char* const soname : {"libcrypto.so.3", "libcrypto.so.1.1"}) {
        if (void* const object = ::dlopen(soname, RTLD_NOW | RTLD_NOLOAD)) {
            using Initialise = int(std::uint64_t, const void*);
            auto* const initialise = reinterpret_cast<Initialise*>(::dlsym(object, "OPENSSL_init_crypto"));
            const bool isReady = initialise != nullptr && initialise(0, nullptr) == 1;
            ::dlclose(object); // whoever has loaded it keeps it
            return isReady ? OpenSsl::Ready : OpenSsl::Ended;
        }
    }
    return OpenSsl::NotLoaded;
}

} // namespace

ExitHook::ExitHook()
{
    const MutexLock lock(mutex);
    m_next = first;
    first = this;
}

ExitHook::~ExitHook()
{
    leave();
}

void ExitHook::leave()
{
    const MutexLock lock(mutex);
    for (ExitHook** place = &first; *place != nullptr; place = &(*place)->m_next) {
        if (*place == this) {
            *place = m_next;
            return;
        }
    }
}

bool ExitHook::arm()
{
    const MutexLock lock(mutex);
    const OpenSsl openSsl = readyOpenSsl();
    if (exiting || openSsl == OpenSsl::Ended) {
        return false;
    }
    // Once more when OpenSSL came after the first time: its handler would run before that one.
    if (!armed || (openSsl == OpenSsl::Ready && !armedBehindOpenSsl)) {
        armed = std::atexit(&ExitHook::runAll) == 0;
        armedBehindOpenSsl = armed && openSsl == OpenSsl::Ready;
        // The exit may have begun in between.
        return armed && (openSsl == OpenSsl::NotLoaded || readyOpenSsl() == OpenSsl::Ready);
    }
    return true;
}

// At the exit, or when this library is unloaded.
void ExitHook::runAll()
{
    const auto until = std::chrono::steady_clock::now() + kPatience;
    const MutexLock lock(mutex);
    exiting = true;
    for (ExitHook* hook = first; hook != nullptr; hook = hook->m_next) {
        hook->processExits(until);
    }
}

} // namespace tarn
