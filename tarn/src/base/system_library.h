#pragma once

#include <chrono>
#include <cstdio>
#include <initializer_list>
#include <new>
#include <string>

#include "tarn/src/base/mutex.h"

namespace tarn {

// SystemLibrary remembers the first of several libraries of the system that can be used. A failure is not
// remembered: a process without descriptors for a moment has the library a little later.
//
// Library has a constructor that takes a soname, isUsable() and complaint(), as a SharedObject has.
//
// Invariants
//  (1) What get() has returned once stays as it is to the end of the process: threads that end late may still
//      be inside when the process exits. Nothing of it is in memory that outlives this library.
//  (2) One line on stderr, for the first failure.
// Threading: any thread. Meant for static storage; needs no constructor to have run.
template <typename Library>
class SystemLibrary final
{
public:
    static constexpr std::chrono::seconds kAgain{5}; // not looked for again sooner

    constexpr SystemLibrary() = default;
    SystemLibrary(const SystemLibrary&) = delete;
    SystemLibrary& operator=(const SystemLibrary&) = delete;

    // Null where none of them can be used at present. what: the way to printers that is missing without it.
    const Library* get(std::initializer_list<const char*> sonames, const char* what) TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        const auto now = std::chrono::steady_clock::now();
        if (m_library != nullptr || (m_tried && now < m_again)) {
            return m_library;
        }
        std::string complaints;
        for (const char* const soname : sonames) {
            auto* const made = new (m_storage) Library(soname);
            if (made->isUsable()) {
                return m_library = made;
            }
            complaints += (complaints.empty() ? "" : "; ") + made->complaint();
            made->~Library();
        }
        if (!m_tried) {
            std::fprintf(stderr, "tarn: no %s: %s\n", what, complaints.c_str());
            m_tried = true;
        }
        m_again = now + kAgain;
        return nullptr;
    }

private:
    Mutex m_mutex;
    const Library* m_library TARN_GUARDED_BY(m_mutex) = nullptr;
    bool m_tried TARN_GUARDED_BY(m_mutex) = false; // and complained of
    std::chrono::steady_clock::time_point m_again TARN_GUARDED_BY(m_mutex){};
    alignas(Library) unsigned char m_storage[sizeof(Library)]{};
};

} // namespace tarn
