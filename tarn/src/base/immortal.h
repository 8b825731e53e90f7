#pragma once

#include <new>
#include <utility>

namespace tarn {

// Immortal is a value in static storage that threads use. An ordinary one would be destroyed when the process
// exits, although a program may stop the library later than that: in the destructor of an object that it made
// before it loaded the library, or never.
//
// Invariants
//  (1) The value lives until the library is unloaded with none of its threads running, or the process is
//  gone.
// Threading: made by one thread, as statics are; the value is its own matter.
class ImmortalBase
{
public:
    ImmortalBase(const ImmortalBase&) = delete;
    ImmortalBase& operator=(const ImmortalBase&) = delete;

protected:
    using Destroy = void(ImmortalBase&);
    explicit ImmortalBase(Destroy* destroy) : m_destroy(destroy) {}
    ~ImmortalBase() = default; // trivial: nothing is registered for the exit
    void enlist();

private:
    static void destroyAll() __attribute__((destructor)); // behind all exit handlers

    Destroy* const m_destroy;
    ImmortalBase* m_next = nullptr;
};

template <typename T>
class Immortal final : private ImmortalBase
{
public:
    template <typename... Arguments>
    explicit Immortal(Arguments&&... arguments) : ImmortalBase(&Immortal::destroy)
    {
        m_value = new (m_storage) T(std::forward<Arguments>(arguments)...);
        enlist();
    }

    T& operator*() const { return *m_value; }
    T* operator->() const { return m_value; }

private:
    static void destroy(ImmortalBase& self) { static_cast<Immortal&>(self).m_value->~T(); }

    alignas(T) unsigned char m_storage[sizeof(T)];
    T* m_value;
};

} // namespace tarn
