#pragma once

namespace tarn {

// LibraryReference keeps the library in which this code lies from being unmapped by its host's dlclose().
// Code that is linked into a program needs no keeping: there it holds nothing, and that is enough.
//
// Threading: made and ended within calls of the host, whose own reference holds while this one goes.
class LibraryReference final
{
public:
    LibraryReference();
    ~LibraryReference() { giveBack(); }
    LibraryReference(const LibraryReference&) = delete;
    LibraryReference& operator=(const LibraryReference&) = delete;

    // False when the library could be unmapped under a thread that is still in it.
    bool isHeld() const { return m_isHeld; }
    void giveBack();
    // The library stays loaded to the end of the process.
    void keepForever() { m_handle = nullptr; }

private:
    void* m_handle = nullptr;
    bool m_isHeld = false;
};

} // namespace tarn
