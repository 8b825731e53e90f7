#include "printer/tarn_library.h"

#include <QCoreApplication>
#include <QProcessEnvironment>

#include <dlfcn.h>

#include <type_traits>

namespace morvik::kel {

TarnEntryTable tarnEntryTable{}; // constant-initialised
static_assert(std::is_trivially_destructible_v<TarnEntryTable>);

namespace {

Mutex pollQueue; // held by the one poll that competes for the library, through its whole sequence of calls
Mutex next;      // held only while waiting for the table's mutex

constexpr const char* kTarnOptions = R"({"enable_cups_printer":false,"enable_set_printer_list":true,)"
                                     R"("enable_usb_printer_discovery":true,"enable_backends":"sm|smusb"})";

template <typename Function>
bool resolve(void* handle, const char* name, Function& entry)
{
    entry = reinterpret_cast<Function>(dlsym(handle, name));
    return entry != nullptr;
}

// Resolves all sixteen, whatever is missing on the way.
bool resolveEntryPoints() KEL_REQUIRES(tarnEntryTable.mutex)
{
    void* const handle = tarnEntryTable.handle;
    bool complete = true;
    complete &= resolve(handle, "tarn_init", tarnEntryTable.init);
    complete &= resolve(handle, "tarn_destroy", tarnEntryTable.destroy);
    complete &= resolve(handle, "tarn_freeStr", tarnEntryTable.freeStr);
    complete &= resolve(handle, "tarn_getPrinterList", tarnEntryTable.getPrinterList);
    complete &= resolve(handle, "tarn_freePrinterList", tarnEntryTable.freePrinterList);
    complete &= resolve(handle, "tarn_openPrinter", tarnEntryTable.openPrinter);
    complete &= resolve(handle, "tarn_closePrinter", tarnEntryTable.closePrinter);
    complete &= resolve(handle, "tarn_getVersion", tarnEntryTable.getVersion);
    complete &= resolve(handle, "tarn_getTotalPages", tarnEntryTable.getTotalPages);
    complete &= resolve(handle, "tarn_getSerialNumber", tarnEntryTable.getSerialNumber);
    complete &= resolve(handle, "tarn_getState", tarnEntryTable.getState);
    complete &= resolve(handle, "tarn_getStateMessage", tarnEntryTable.getStateMessage);
    complete &= resolve(handle, "tarn_getInfo", tarnEntryTable.getInfo);
    complete &= resolve(handle, "tarn_getModels", tarnEntryTable.getModels);
    complete &= resolve(handle, "tarn_setOptions", tarnEntryTable.setOptions);
    complete &= resolve(handle, "tarn_setPrinterList", tarnEntryTable.setPrinterList);
    return complete;
}

void forgetEntryPoints() KEL_REQUIRES(tarnEntryTable.mutex)
{
    tarnEntryTable.init = nullptr;
    tarnEntryTable.destroy = nullptr;
    tarnEntryTable.freeStr = nullptr;
    tarnEntryTable.getPrinterList = nullptr;
    tarnEntryTable.freePrinterList = nullptr;
    tarnEntryTable.openPrinter = nullptr;
    tarnEntryTable.closePrinter = nullptr;
    tarnEntryTable.getVersion = nullptr;
    tarnEntryTable.getTotalPages = nullptr;
    tarnEntryTable.getSerialNumber = nullptr;
    tarnEntryTable.getState = nullptr;
    tarnEntryTable.getStateMessage = nullptr;
    tarnEntryTable.getInfo = nullptr;
    tarnEntryTable.getModels = nullptr;
    tarnEntryTable.setOptions = nullptr;
    tarnEntryTable.setPrinterList = nullptr;
    tarnEntryTable.handle = nullptr;
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
    if (m_who == Who::Poll) {
        pollQueue.lock();
    }
    next.lock();
    tarnEntryTable.mutex.lock();
    next.unlock();
}

TarnTurn::~TarnTurn() KEL_NO_THREAD_SAFETY_ANALYSIS
{
    tarnEntryTable.mutex.unlock();
    if (m_who == Who::Poll) {
        pollQueue.unlock();
    }
}

std::string tarnLibraryDir()
{
    const QString variable = QStringLiteral("TARN_DIR");
    const QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (environment.contains(variable)) {
        return environment.value(variable).toUtf8().toStdString();
    }
    return (QCoreApplication::applicationDirPath() + QStringLiteral("/../lib")).toUtf8().toStdString();
}

bool loadTarnLibrary(const std::string& dir)
{
    const std::string path = dir + "/libtarn.so";
    const TarnTurn turn(TarnTurn::Who::Registry);
    tarnEntryTable.handle = dlopen(path.c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (tarnEntryTable.handle == nullptr) {
        return false;
    }
    // kept on purpose: a library that lacks an entry point stays open, and what was found stays in the table.
    if (!resolveEntryPoints()) {
        return false;
    }
    callIgnoringAll(tarnEntryTable.init);
    callIgnoringAll([setOptions = tarnEntryTable.setOptions] { setOptions(kTarnOptions); });
    tarnEntryTable.loaded = true;
    return true;
}

void unloadTarnLibrary()
{
    const TarnTurn turn(TarnTurn::Who::Registry);
    callIgnoringAll(tarnEntryTable.destroy);
    if (tarnEntryTable.handle != nullptr) {
        dlclose(tarnEntryTable.handle);
        forgetEntryPoints();
    }
    // kept on purpose: `loaded` stays true; the handle, looked at under the mutex, tells the late comers.
}

} // namespace morvik::kel
