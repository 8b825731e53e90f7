#include "tarn/src/base/shared_object.h"

#include <dlfcn.h>

namespace tarn {

SharedObject::SharedObject(const char* soname)
    : m_handle(::dlopen(soname, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE))
{
    if (m_handle == nullptr) {
        const char* const why = ::dlerror();
        m_why = why != nullptr ? why : "cannot be loaded";
    }
}

std::string SharedObject::complaint() const
{
    return m_handle == nullptr ? m_why : m_missing.empty() ? std::string() : "it has no " + m_missing;
}

void* SharedObject::symbol(const char* name)
{
    void* const found = m_handle != nullptr ? ::dlsym(m_handle, name) : nullptr;
    if (found == nullptr && m_missing.empty()) {
        m_missing = name;
    }
    return found;
}

} // namespace tarn
