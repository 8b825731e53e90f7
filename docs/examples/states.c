/* Says how the printers at some addresses are: states ADDRESS... */
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <tarn/tarn.h>

int main(int argc, char **argv)
{
    static const char *const words[] = {"?", "other", "unreachable", "idle", "printing", "warming up"};
    char list[4096] = "[", *serial;
    int i, state, pages;
    void *printer;

    for (i = 1; i < argc && strlen(list) + 2 * strlen(argv[i]) < sizeof list - 64; ++i)
        sprintf(list + strlen(list), "%s{\"printerName\":\"%s\",\"ip\":\"%s\"}", i > 1 ? "," : "", argv[i], argv[i]);
    strcat(list, "]");
    if (tarn_init() != TARN_OK || tarn_setPrinterList(list) != TARN_OK)
        return 1;
    sleep(2); /* the library asks meanwhile; from here on it answers from memory */
    for (i = 1; i < argc && tarn_openPrinter(argv[i], &printer, 0, 0) == TARN_OK; ++i) {
        tarn_getState(printer, &state);
        tarn_getTotalPages(printer, &pages);
        tarn_getSerialNumber(printer, &serial);
        printf("%s: %s, %d pages, serial %s\n", argv[i], words[state], pages, serial);
        tarn_freeStr(&serial);
        tarn_closePrinter(&printer);
    }
    return tarn_destroy();
}
