#include "bench/tarn_engine/instruction_hooks.h"

#include "tarn/tarn.h"

extern "C" __attribute__((noinline)) void countedInstructions(void (*run)(void*), void* with)
{
    run(with);
}

namespace bench {

void openToClose(const char* name)
{
    void* handle = nullptr;
    int number = 0;
    char* text = nullptr;
    if (tarn_openPrinter(name, &handle, 0, 0) != TARN_OK) {
        return;
    }
    tarn_getState(handle, &number);
    tarn_getStateMessage(handle, &text);
    tarn_freeStr(&text);
    tarn_getTotalPages(handle, &number);
    tarn_getSerialNumber(handle, &text);
    tarn_freeStr(&text);
    tarn_getInfo(handle, &text);
    tarn_freeStr(&text);
    tarn_closePrinter(&handle);
}

int stateOf(const std::string& name)
{
    void* handle = nullptr;
    int state = 2;
    if (tarn_openPrinter(name.c_str(), &handle, 0, 0) == TARN_OK) {
        tarn_getState(handle, &state);
        tarn_closePrinter(&handle);
    }
    return state;
}

} // namespace bench
