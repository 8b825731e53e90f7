#include "tarn/src/base/shared_object.h"

#include <dlfcn.h>

namespace tarn {

SharedObject::SharedObject(const char* soname)
    : m_handle(::dlopen(soname, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE))
{
    if (m_handle == nullptr) {
        const char* const why = ::dlerror();
        m_whyNot = why != nullptr ? why : "cannot be loaded";
    }
}

void* SharedObject::symbol(const char* name)
{
    void* const found = m_handle != nullptr ? ::dlsym(m_handle, name) : nullptr;
    if (found == nullptr && m_whyNot.empty()) {
        m_whyNot = std::string("it has no ") + name;
    }
    return found;
}

} // namespace tarn
