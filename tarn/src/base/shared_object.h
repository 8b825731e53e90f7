#pragma once

#include <string>

namespace tarn {

// SharedObject is a library that is bound when it is first needed, so that ours loads, and works as far as it
// can, where that one is missing, and costs nothing where nobody needs it. It stays loaded to the end of the
// process: what it has started itself (threads, exit handlers) may outlive us.
//
// Threading: one thread at a time.
class SharedObject final
{
public:
    // soname such as "libcups.so.2", looked for where the dynamic linker looks.
    explicit SharedObject(const char* soname);

    // False when the library, or one of its functions that were asked for, is missing.
    bool isUsable() const { return m_handle != nullptr && m_missing.empty(); }
    // Why it is not usable, in a few words.
    std::string complaint() const;

    // Sets function to the one of that name; to null when there is none.
    template <typename Function>
    void bind(Function*& function, const char* name)
    {
        function = reinterpret_cast<Function*>(symbol(name));
    }

private:
    void* symbol(const char* name);

    void* m_handle = nullptr;
    std::string m_why;     // it was not loaded
    std::string m_missing; // the first function that it lacks
};

} // namespace tarn
