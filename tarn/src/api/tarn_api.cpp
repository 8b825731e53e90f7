// The sixteen functions: check, look up, copy out.
#include <memory>
#include <new>

#include "tarn/src/api/abi_string.h"
#include "tarn/src/api/handle.h"
#include "tarn/src/api/library.h"
#include "tarn/src/base/sharded_rw_lock.h"
#include "tarn/tarn.h"

using tarn::Mutex;
using tarn::MutexLock;
using tarn::ReadLock;
using tarn::ShardedRwLock;
using tarn::WriteLock;
using tarn::api::giveBack;
using tarn::api::Library;
using tarn::api::newText;
using tarn::api::OpenedPrinter;
using tarn::api::PrinterHandle;

namespace {

constexpr const char kVersion[] = TARN_VERSION;

// Serialises tarn_init and tarn_destroy. Before g_libraryLock.
Mutex g_lifecycleMutex;
ShardedRwLock g_libraryLock;
// A plain pointer to the owner: a static object with a destructor would outlive or predecease the caller's
// own.
std::shared_ptr<Library>* g_library TARN_GUARDED_BY(g_libraryLock) = nullptr;

// Null before tarn_init and after tarn_destroy. Whoever holds it keeps the library's memory, not its threads.
std::shared_ptr<Library> library()
{
    const ReadLock lock(g_libraryLock);
    return g_library != nullptr ? *g_library : nullptr;
}

// No exception crosses the ABI.
template <typename Function>
int guarded(Function function) noexcept
{
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return TARN_E_MEMORY;
    } catch (...) {
        return TARN_E_SYSTEM;
    }
}

// Runs function with the library, when there is one.
template <typename Function>
int withLibrary(Function function) noexcept
{
    return guarded([&] {
        const std::shared_ptr<Library> present = library();
        return present ? function(*present) : TARN_E_NOT_READY;
    });
}

int handOut(std::string_view text, char** out)
{
    char* const copy = newText(text);
    if (copy == nullptr) {
        return TARN_E_MEMORY;
    }
    *out = copy;
    return TARN_OK;
}

// Runs function with what the handle pinned.
template <typename Function>
int withHandle(void* handle, const void* out, Function function) noexcept
{
    const PrinterHandle* const opened = PrinterHandle::from(handle);
    if (opened == nullptr || out == nullptr) {
        return TARN_E_ARGUMENT;
    }
    return guarded([&] { return function(*opened); });
}

} // namespace

int tarn_init(void)
{
    return guarded([] {
        const MutexLock lifecycle(g_lifecycleMutex);
        if (library()) {
            return TARN_OK;
        }
        auto fresh =
            std::make_unique<std::shared_ptr<Library>>(std::make_shared<Library>(Library::realParts()));
        if (!(*fresh)->start()) {
            return TARN_E_SYSTEM;
        }
        const WriteLock lock(g_libraryLock);
        g_library = fresh.release();
        return TARN_OK;
    });
}

int tarn_destroy(void)
{
    return guarded([] {
        const MutexLock lifecycle(g_lifecycleMutex);
        std::unique_ptr<std::shared_ptr<Library>> last;
        {
            const WriteLock lock(g_libraryLock);
            last.reset(g_library);
            g_library = nullptr;
        }
        if (last) {
            (*last)->stop();
        }
        return TARN_OK;
    });
}

int tarn_freeStr(char** str)
{
    giveBack(str);
    return TARN_OK;
}

int tarn_getPrinterList(char** list)
{
    if (list == nullptr) {
        return TARN_E_ARGUMENT;
    }
    return withLibrary([&](Library& present) { return handOut(present.printerList(), list); });
}

int tarn_freePrinterList(char** list)
{
    giveBack(list);
    return TARN_OK;
}

int tarn_openPrinter(const char* printerName, void** handle, int reserved1, int)
{
    if (printerName == nullptr || handle == nullptr) {
        return TARN_E_ARGUMENT;
    }
    return guarded([&] {
        const bool wantsDetail = reserved1 == TARN_OPEN_DETAIL;
        const Library::Status status =
            wantsDetail ? Library::Status::WithEarlier : Library::Status::OfThisRun;
        OpenedPrinter opened;
        {
            // The lock is held all through: it is but a moment, and cheaper than a share of the library.
            const ReadLock lock(g_libraryLock);
            const int code =
                g_library != nullptr ? (*g_library)->open(printerName, opened, status) : TARN_E_NOT_READY;
            if (code != TARN_OK) {
                return code;
            }
        }
        *handle = new PrinterHandle(std::move(opened), wantsDetail);
        return TARN_OK;
    });
}

int tarn_closePrinter(void** handle)
{
    if (handle != nullptr) {
        delete PrinterHandle::from(*handle);
        *handle = nullptr;
    }
    return TARN_OK;
}

int tarn_getVersion(char** out)
{
    return out == nullptr ? TARN_E_ARGUMENT : handOut(kVersion, out);
}

int tarn_getTotalPages(void* handle, int* pages)
{
    return withHandle(handle, pages, [&](const PrinterHandle& opened) {
        *pages = opened.snapshot().totalPages;
        return TARN_OK;
    });
}

int tarn_getSerialNumber(void* handle, char** out)
{
    return withHandle(handle, out, [&](const PrinterHandle& opened) {
        return handOut(opened.snapshot().serialNumber, out);
    });
}

int tarn_getState(void* handle, int* state)
{
    return withHandle(handle, state, [&](const PrinterHandle& opened) {
        *state = opened.snapshot().state;
        return TARN_OK;
    });
}

int tarn_getStateMessage(void* handle, char** out)
{
    return withHandle(handle, out, [&](const PrinterHandle& opened) {
        return handOut(opened.snapshot().stateMessage, out);
    });
}

int tarn_getInfo(void* handle, char** out)
{
    return withHandle(handle, out, [&](const PrinterHandle& opened) {
        return opened.wantsDetail() ? handOut(opened.detailedInfo(), out)
                                    : handOut(opened.snapshot().info, out);
    });
}

int tarn_getModels(char** out)
{
    if (out == nullptr) {
        return TARN_E_ARGUMENT;
    }
    return withLibrary([&](Library& present) {
        char* const text = present.models();
        if (text == nullptr) {
            return TARN_E_MEMORY;
        }
        *out = text;
        return TARN_OK;
    });
}

int tarn_setOptions(const char* optionsJson)
{
    if (optionsJson == nullptr) {
        return TARN_E_ARGUMENT;
    }
    return withLibrary([&](Library& present) { return present.setOptions(optionsJson); });
}

int tarn_setPrinterList(const char* printerListJson)
{
    if (printerListJson == nullptr) {
        return TARN_E_ARGUMENT;
    }
    return withLibrary([&](Library& present) { return present.setPrinterList(printerListJson); });
}
