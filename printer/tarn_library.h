#pragma once

#include <atomic>
#include <string>

#include "printer/mutex.h"

namespace morvik::kel {

// TarnEntryTable is the one process-wide record of the loaded printer-access library.
//
// Invariants
//  (1) Static storage, zero before anything runs, nothing to destroy: workers may look at it until the very
//      end.
//  (2) No entry point is called unless the handle is set, looked at under the mutex.
//  (3) loaded, once true, stays true, after unloading too.
// Threading: everything but `loaded` belongs to the mutex; `loaded` may be read before taking it.
struct TarnEntryTable
{
    Mutex mutex;
    void* handle KEL_GUARDED_BY(mutex);
    int (*init)() KEL_GUARDED_BY(mutex);
    int (*destroy)() KEL_GUARDED_BY(mutex);
    int (*freeStr)(char** str) KEL_GUARDED_BY(mutex);
    int (*getPrinterList)(char** list) KEL_GUARDED_BY(mutex);
    int (*freePrinterList)(char** list) KEL_GUARDED_BY(mutex);
    int (*openPrinter)(const char* printerName, void** handle, int, int) KEL_GUARDED_BY(mutex);
    int (*closePrinter)(void** handle) KEL_GUARDED_BY(mutex);
    void* getVersion KEL_GUARDED_BY(mutex);    // required, never called
    void* getTotalPages KEL_GUARDED_BY(mutex); // required, never called
    int (*getSerialNumber)(void* handle, char** out) KEL_GUARDED_BY(mutex);
    int (*getState)(void* handle, int* state) KEL_GUARDED_BY(mutex);
    int (*getStateMessage)(void* handle, char** out) KEL_GUARDED_BY(mutex);
    int (*getInfo)(void* handle, char** out) KEL_GUARDED_BY(mutex);
    int (*getModels)(char** out) KEL_GUARDED_BY(mutex);
    int (*setOptions)(const char* optionsJson) KEL_GUARDED_BY(mutex);
    int (*setPrinterList)(const char* printerListJson) KEL_GUARDED_BY(mutex);
    std::atomic<bool> loaded;
};

extern TarnEntryTable tarnEntryTable;

// TARN_DIR where the environment has it, an empty value included; else "<directory of the program>/../lib".
std::string tarnLibraryDir();

// Opens dir + "/libtarn.so", resolves the entry points, starts the library. False when any of it is missing;
// such a library is neither started nor closed, and there is no second attempt.
bool loadTarnLibrary(const std::string& dir);

// Stops the library and closes it. Only after a load that succeeded; only while the process ends.
void unloadTarnLibrary();

// TarnTurn is the right to call the library: the table's mutex, held for one whole sequence of calls.
//
// std::mutex is unfair: a handful of polling threads could pass it among themselves for seconds while the GUI
// thread waits to exchange the printer list. Polls therefore queue up first, among themselves, so that only
// one of them at a time competes with the GUI thread, which waits for at most two polls.
// Lock order: (a poll's place in the queue) -> next -> TarnEntryTable::mutex. Nothing is taken inside.
class KEL_SCOPED_CAPABILITY TarnTurn final
{
public:
    enum class Who
    {
        Registry,
        Poll
    };
    explicit TarnTurn(Who who) KEL_ACQUIRE(tarnEntryTable.mutex);
    ~TarnTurn() KEL_RELEASE();
    TarnTurn(const TarnTurn&) = delete;
    TarnTurn& operator=(const TarnTurn&) = delete;

private:
    const Who m_who;
};

} // namespace morvik::kel
