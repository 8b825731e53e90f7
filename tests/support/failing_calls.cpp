#include "tests/support/failing_calls.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZED 1 // whose own interceptors are not to be replaced
#else
#define SANITIZED 0
#endif

namespace {

enum class Mode
{
    Off,
    Record,
    Fail,
    FailSome,
};

constexpr std::size_t kMostStacks = 1 << 14;
constexpr int kDeepest = 64;

std::atomic<Mode> mode{Mode::Off};
std::atomic<std::uint64_t> wanted{0};
std::atomic<bool> goesOn{false};
std::atomic<bool> begun{false};
std::atomic<int> spared{0};
std::atomic<unsigned long> failed{0};
std::array<std::atomic<std::uint64_t>, kMostStacks> stacks{};
std::atomic<std::uintptr_t> codeBegin{0};
std::atomic<std::uintptr_t> codeEnd{0};
std::atomic<std::uintptr_t> loadedAt{0};
char threadName[16];
unsigned oneInSome = 0;
thread_local bool looking = false;
thread_local std::uint32_t chance = 1;

// 0 where no frame lies in the library.
std::uint64_t ownStack()
{
    void* frames[kDeepest];
    const int count = ::backtrace(frames, kDeepest);
    std::uint64_t digest = 0;
    for (int i = 0; i < count; ++i) {
        const auto at = reinterpret_cast<std::uintptr_t>(frames[i]);
        if (at >= codeBegin && at < codeEnd) {
            digest = (digest ^ (at - codeBegin + 1)) * 1099511628211u;
        }
    }
    return digest;
}

// The stack, for addr2line -Cfie LIBRARY.
void sayWhere()
{
    void* frames[kDeepest];
    const int count = ::backtrace(frames, kDeepest);
    std::fputs("failed at", stderr);
    for (int i = 0; i < count; ++i) {
        const auto at = reinterpret_cast<std::uintptr_t>(frames[i]);
        if (at >= codeBegin && at < codeEnd) {
            std::fprintf(stderr, " %#lx", static_cast<unsigned long>(at - 1 - loadedAt));
        }
    }
    std::fputc('\n', stderr);
}

void note(std::uint64_t stack)
{
    for (std::size_t i = stack % kMostStacks, tried = 0; tried < kMostStacks;
         i = (i + 1) % kMostStacks, ++tried) {
        std::uint64_t there = 0;
        if (stacks[i].compare_exchange_strong(there, stack) || there == stack) {
            return;
        }
    }
}

bool isNamed()
{
    char name[16] = {};
    return ::pthread_getname_np(::pthread_self(), name, sizeof name) == 0 &&
           std::strcmp(name, threadName) == 0;
}

bool failsHere(Mode how, bool isAllocation)
{
    if (how == Mode::FailSome) {
        chance = chance * 1664525u + 1013904223u;
        return isAllocation && (chance >> 8) % oneInSome == 0 && isNamed();
    }
    const std::uint64_t stack = ownStack();
    if (stack == 0) {
        return false;
    }
    if (how == Mode::Record) {
        note(stack);
        return false;
    }
    if (begun) {
        return goesOn;
    }
    if (stack != wanted || spared-- > 0 || begun.exchange(true)) {
        return false;
    }
    sayWhere();
    return true;
}

bool fails(bool isAllocation)
{
    const Mode how = mode;
    if (how == Mode::Off || looking) {
        return false;
    }
    looking = true; // the unwinder may allocate
    const bool result = failsHere(how, isAllocation);
    looking = false;
    failed += result ? 1 : 0;
    return result;
}

void* make(std::size_t size)
{
    void* const place = fails(true) ? nullptr : std::malloc(size != 0 ? size : 1);
    if (place == nullptr) {
        throw std::bad_alloc();
    }
    return place;
}

} // namespace

void* operator new(std::size_t size)
{
    return make(size);
}
void* operator new[](std::size_t size)
{
    return make(size);
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return fails(true) ? nullptr : std::malloc(size != 0 ? size : 1);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return operator new(size, tag);
}
void operator delete(void* place) noexcept
{
    std::free(place);
}
void operator delete[](void* place) noexcept
{
    std::free(place);
}
void operator delete(void* place, std::size_t /*size*/) noexcept
{
    std::free(place);
}
void operator delete[](void* place, std::size_t /*size*/) noexcept
{
    std::free(place);
}
void operator delete(void* place, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(place);
}
void operator delete[](void* place, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(place);
}

#if !SANITIZED
namespace {

template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

// The descriptor that make() gives, or none.
template <typename Make>
int descriptor(Make make)
{
    if (fails(false)) {
        errno = EMFILE;
        return -1;
    }
    return make();
}

} // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    return descriptor([=] { return next<int(int, int, int)>("socket")(domain, type, protocol); });
}

int socketpair(int domain, int type, int protocol, int* pair) noexcept
{
    return descriptor(
        [=] { return next<int(int, int, int, int*)>("socketpair")(domain, type, protocol, pair); });
}

int eventfd(unsigned value, int flags) noexcept
{
    return descriptor([=] { return next<int(unsigned, int)>("eventfd")(value, flags); });
}

int timerfd_create(int clock, int flags) noexcept
{
    return descriptor([=] { return next<int(int, int)>("timerfd_create")(clock, flags); });
}

int epoll_create1(int flags) noexcept
{
    return descriptor([=] { return next<int(int)>("epoll_create1")(flags); });
}

int pipe2(int* ends, int flags) noexcept
{
    return descriptor([=] { return next<int(int*, int)>("pipe2")(ends, flags); });
}

int open(const char* path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t rights = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    return descriptor([=] { return next<int(const char*, int, ...)>("open")(path, flags, rights); });
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*work)(void*),
                   void* argument) noexcept
{
    using Function = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    return fails(false) ? EAGAIN : next<Function>("pthread_create")(thread, attributes, work, argument);
}
}
#endif

namespace kel_test {

void FailingCalls::watch(const void* anythingInside)
{
    void* frames[1];
    ::backtrace(frames, 1); // loads the unwinder
    ::dl_iterate_phdr(
        [](dl_phdr_info* object, std::size_t, void* inside) {
            for (int i = 0; i < object->dlpi_phnum; ++i) {
                const ElfW(Phdr)& segment = object->dlpi_phdr[i];
                const std::uintptr_t begin = object->dlpi_addr + segment.p_vaddr;
                const auto at = reinterpret_cast<std::uintptr_t>(inside);
                if (segment.p_type == PT_LOAD && at >= begin && at < begin + segment.p_memsz) {
                    loadedAt = object->dlpi_addr;
                    codeBegin = begin;
                    codeEnd = begin + segment.p_memsz;
                }
            }
            return 0;
        },
        const_cast<void*>(anythingInside));
}

void FailingCalls::record()
{
    mode = Mode::Record;
}

void FailingCalls::fail(Stack stack, bool fromThenOn, int behind)
{
    spared = behind;
    wanted = stack;
    goesOn = fromThenOn;
    begun = false;
    failed = 0;
    mode = Mode::Fail;
}

void FailingCalls::failSome(const char* thread, unsigned oneIn)
{
    std::strncpy(threadName, thread, sizeof threadName - 1);
    oneInSome = oneIn;
    failed = 0;
    mode = Mode::FailSome;
}

void FailingCalls::end()
{
    mode = Mode::Off;
}

std::vector<FailingCalls::Stack> FailingCalls::recorded()
{
    std::vector<Stack> all;
    for (const auto& stack : stacks) {
        if (stack != 0) {
            all.push_back(stack);
        }
    }
    std::sort(all.begin(), all.end()); // the same order in each run
    return all;
}

unsigned long FailingCalls::failures()
{
    return failed;
}

} // namespace kel_test
