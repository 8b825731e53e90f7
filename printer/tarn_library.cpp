#include "printer/tarn_library.h"

#include <QCoreApplication>
#include <QProcessEnvironment>

#include <dlfcn.h>

#include <type_traits>

namespace morvik::kel {

TarnEntryTable tarnEntryTable{}; // constant-initialised
static_assert(std::is_trivially_destructible_v<TarnEntryTable>);

namespace {

Mutex pollQueue; // held by the one poll that competes for the library, through its whole conversation
Mutex next;      // held only while waiting for the table's mutex

constexpr const char* tarnOptions = R"({"enable_cups_printer":false,"enable_set_printer_list":true,)"
                                    R"("enable_usb_printer_discovery":true,"enable_backends":"sm|smusb"})";

template <typename Function>
bool resolve(void* handle, const char* name, Function& entry)
{
    entry = reinterpret_cast<Function>(dlsym(handle, name));
    return entry != nullptr;
}

// Resolves all sixteen, whatever is missing on the way.
bool resolveEntryPoints(TarnEntryTable& table) KEL_REQUIRES(table.mutex)
{
    void* const handle = table.handle;
    bool complete = true;
    complete &= resolve(handle, "tarn_init", table.init);
    complete &= resolve(handle, "tarn_destroy", table.destroy);
    complete &= resolve(handle, "tarn_freeStr", table.freeStr);
    complete &= resolve(handle, "tarn_getPrinterList", table.getPrinterList);
    complete &= resolve(handle, "tarn_freePrinterList", table.freePrinterList);
    complete &= resolve(handle, "tarn_openPrinter", table.openPrinter);
    complete &= resolve(handle, "tarn_closePrinter", table.closePrinter);
    complete &= resolve(handle, "tarn_getVersion", table.getVersion);
    complete &= resolve(handle, "tarn_getTotalPages", table.getTotalPages);
    complete &= resolve(handle, "tarn_getSerialNumber", table.getSerialNumber);
    complete &= resolve(handle, "tarn_getState", table.getState);
    complete &= resolve(handle, "tarn_getStateMessage", table.getStateMessage);
    complete &= resolve(handle, "tarn_getInfo", table.getInfo);
    complete &= resolve(handle, "tarn_getModels", table.getModels);
    complete &= resolve(handle, "tarn_setOptions", table.setOptions);
    complete &= resolve(handle, "tarn_setPrinterList", table.setPrinterList);
    return complete;
}

void forgetEntryPoints(TarnEntryTable& table) KEL_REQUIRES(table.mutex)
{
    table.init = nullptr;
    table.destroy = nullptr;
    table.freeStr = nullptr;
    table.getPrinterList = nullptr;
    table.freePrinterList = nullptr;
    table.openPrinter = nullptr;
    table.closePrinter = nullptr;
    table.getVersion = nullptr;
    table.getTotalPages = nullptr;
    table.getSerialNumber = nullptr;
    table.getState = nullptr;
    table.getStateMessage = nullptr;
    table.getInfo = nullptr;
    table.getModels = nullptr;
    table.setOptions = nullptr;
    table.setPrinterList = nullptr;
    table.handle = nullptr;
}

// What the library throws at start or stop is as little examined as what it returns there.
template <typename Call>
void callIgnoringAll(Call call) noexcept
{
    try {
        call();
    } catch (...) {
    }
}

} // namespace

TarnTurn::TarnTurn(Who who) KEL_NO_THREAD_SAFETY_ANALYSIS : m_who(who)
{
    if (m_who == Who::Poll)
        pollQueue.lock();
    next.lock();
    tarnEntryTable.mutex.lock();
    next.unlock();
}

TarnTurn::~TarnTurn() KEL_NO_THREAD_SAFETY_ANALYSIS
{
    tarnEntryTable.mutex.unlock();
    if (m_who == Who::Poll)
        pollQueue.unlock();
}

std::string tarnLibraryDir()
{
    const QString variable = QStringLiteral("TARN_DIR");
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (environment.contains(variable))
        return environment.value(variable).toUtf8().toStdString();
    return (QCoreApplication::applicationDirPath() + QStringLiteral("/../lib")).toUtf8().toStdString();
}

bool loadTarnLibrary(const std::string& dir)
{
    const std::string path = dir + "/libtarn.so";
    TarnEntryTable& table = tarnEntryTable;
    const TarnTurn turn(TarnTurn::Who::Registry);
    table.handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (table.handle == nullptr)
        return false;
    // kept on purpose: a library that lacks an entry point stays open, and what was found stays in the table.
    if (!resolveEntryPoints(table))
        return false;
    callIgnoringAll(table.init);
    callIgnoringAll([&]() KEL_REQUIRES(table.mutex) { table.setOptions(tarnOptions); });
    table.loaded = true;
    return true;
}

void unloadTarnLibrary()
{
    TarnEntryTable& table = tarnEntryTable;
    const TarnTurn turn(TarnTurn::Who::Registry);
    callIgnoringAll(table.destroy);
    if (table.handle != nullptr) {
        dlclose(table.handle);
        forgetEntryPoints(table);
    }
    // kept on purpose: `loaded` stays true; the handle, looked at under the mutex, tells the late comers.
}

} // namespace morvik::kel
