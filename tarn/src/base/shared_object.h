#pragma once

#include <string>
#include <utility>

namespace tarn {

// SharedObject is a library that is bound when it is first needed, so that ours loads, and works as far as it
// can, where that one is missing, and costs nothing where nobody needs it. It stays loaded to the end of the
// process: what it has started itself (threads, exit handlers) may outlive us.
//
// A class that derives from it lists the functions that are used, each a SharedFunction with its name.
//
// Threading: one thread at a time while it is made; immutable then.
class SharedObject
{
public:
    // soname such as "libcups.so.2", looked for where the dynamic linker looks.
    explicit SharedObject(const char* soname);

    // False when the library, or one of its functions that were asked for, is missing.
    bool isUsable() const { return m_whyNot.empty(); }
    // Why it is not usable, in a few words; empty when it is.
    const std::string& complaint() const { return m_whyNot; }

    // Null when there is none; the object is not usable then.
    void* symbol(const char* name);

protected:
    // It is there, and cannot be used.
    void refuse(std::string why) { m_whyNot = std::move(why); }

private:
    void* m_handle = nullptr;
    std::string m_whyNot; // it was not loaded, or the first function that it lacks
};

// SharedFunction is one function of a SharedObject, to be called like the function itself. Null where the
// object lacks it.
template <typename Function>
class SharedFunction final
{
public:
    SharedFunction(SharedObject& object, const char* name)
        : m_function(reinterpret_cast<Function*>(object.symbol(name)))
    {
    }

    // Another one in its place.
    SharedFunction& operator=(Function* function)
    {
        m_function = function;
        return *this;
    }
    operator Function*() const { return m_function; } // NOLINT: it stands for the function

private:
    Function* m_function;
};

} // namespace tarn
