#include "tests/unit/tarn/support/short_memory.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

std::atomic<std::uint64_t> failed{0};

// Of the present thread.
thread_local std::uint32_t chance = 1;
thread_local unsigned oneInOwn = 0; // 0: none fails

// Of threads by name.
char threadName[16];
std::atomic<unsigned> oneInNamed{0};

bool isNamed()
{
    char name[16] = {};
    return ::pthread_getname_np(::pthread_self(), name, sizeof name) == 0 &&
           std::strcmp(name, threadName) == 0;
}

bool fails()
{
    unsigned oneIn = oneInOwn;
    if (oneIn == 0) {
        oneIn = oneInNamed;
        thread_local const bool named = isNamed(); // found out at the thread's first allocation of that time
        if (oneIn == 0 || !named) {
            return false;
        }
    }
    chance = chance * 1664525u + 1013904223u;
    if ((chance >> 8) % oneIn != 0) {
        return false;
    }
    ++failed;
    return true;
}

void* make(std::size_t size)
{
    void* const place = (oneInOwn != 0 || oneInNamed != 0) && fails() ? nullptr : std::malloc(size);
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
    try {
        return make(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept
{
    return operator new(size, tag);
}
void operator delete(void* place, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(place);
}
void operator delete[](void* place, const std::nothrow_t& /*tag*/) noexcept
{
    std::free(place);
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

namespace tarn::test {

ShortMemory::ShortMemory(std::uint32_t seed, unsigned oneIn) : m_isOfThread(true)
{
    chance = seed;
    oneInOwn = oneIn;
}

ShortMemory::ShortMemory(std::string thread, unsigned oneIn) : m_isOfThread(false)
{
    std::strncpy(threadName, thread.c_str(), sizeof threadName - 1);
    oneInNamed = oneIn;
}

ShortMemory::~ShortMemory()
{
    if (m_isOfThread) {
        oneInOwn = 0;
    } else {
        oneInNamed = 0;
    }
}

std::uint64_t ShortMemory::failures()
{
    return failed;
}

} // namespace tarn::test
