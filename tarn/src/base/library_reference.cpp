#include "tarn/src/base/library_reference.h"

#include <dlfcn.h>
#include <link.h>

namespace tarn {

namespace {

const char codeOfOurs = 0; // lies where the code does

} // namespace

LibraryReference::LibraryReference()
{
    Dl_info info{};
    link_map* map = nullptr;
    ::dladdr1(&codeOfOurs, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP);
    if (map == nullptr) {
        return;
    }
    const bool isTheProgram = map->l_name[0] == '\0';
    if (!isTheProgram) {
        m_handle = ::dlopen(map->l_name, RTLD_NOW | RTLD_NOLOAD);
    }
    m_isHeld = isTheProgram || m_handle != nullptr;
}

void LibraryReference::giveBack()
{
    if (m_handle != nullptr) {
        ::dlclose(m_handle);
        m_handle = nullptr;
    }
    m_isHeld = false;
}

} // namespace tarn
