#pragma once

#include <cstdint>
#include <string>

#include "tarn/src/api/library.h"

namespace tarn::api {

// PrinterHandle is behind the void* that tarn_openPrinter yields.
// Threading: immutable until it is deleted. Ownership: pins its snapshot, needs no Library.
class PrinterHandle final
{
public:
    PrinterHandle(OpenedPrinter opened, bool wantsDetail)
        : m_opened(std::move(opened)), m_wantsDetail(wantsDetail)
    {
    }
    ~PrinterHandle() { m_magic = 0; }
    PrinterHandle(const PrinterHandle&) = delete;
    PrinterHandle& operator=(const PrinterHandle&) = delete;

    // Null for null, and for memory that is no handle.
    static PrinterHandle* from(void* handle);

    const engine::Snapshot& snapshot() const { return *m_opened.snapshot; }
    bool wantsDetail() const { return m_wantsDetail; }
    // The status document with the members that TARN_OPEN_DETAIL adds.
    std::string detailedInfo() const;

private:
    static constexpr std::uint64_t kMagic = 0x7461726e48616e64u;

    volatile std::uint64_t m_magic = kMagic; // volatile: the destructor's mark must reach the memory
    const OpenedPrinter m_opened;
    const bool m_wantsDetail;
};

} // namespace tarn::api
