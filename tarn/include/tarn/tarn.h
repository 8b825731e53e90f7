#pragma once

// libtarn: access to printers. All texts are NUL-terminated UTF-8, structured data is JSON text.

#ifdef __cplusplus
extern "C" {
#endif

#define TARN_API __attribute__((visibility("default")))

TARN_API int tarn_init(void);
TARN_API int tarn_destroy(void);
TARN_API int tarn_freeStr(char** str);
TARN_API int tarn_getPrinterList(char** list);
TARN_API int tarn_freePrinterList(char** list);
TARN_API int tarn_openPrinter(const char* printerName, void** handle, int reserved1, int reserved2);
TARN_API int tarn_closePrinter(void** handle);
TARN_API int tarn_getVersion(char** out);
TARN_API int tarn_getTotalPages(void* handle, int* pages);
TARN_API int tarn_getSerialNumber(void* handle, char** out);
TARN_API int tarn_getState(void* handle, int* state);
TARN_API int tarn_getStateMessage(void* handle, char** out);
TARN_API int tarn_getInfo(void* handle, char** out);
TARN_API int tarn_getModels(char** out);
TARN_API int tarn_setOptions(const char* optionsJson);
TARN_API int tarn_setPrinterList(const char* printerListJson);

#ifdef __cplusplus
}
#endif
