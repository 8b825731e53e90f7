#pragma once

// libtarn: access to printers.
//
// The library keeps a picture of every printer that was named to it, refreshed by a thread of its own. Every
// function answers from memory: none waits for the network, with one bounded exception (tarn_setPrinterList),
// nor for files, with two (tarn_init, which reads the configuration, and the first list or models, bounded).
//
// What a printer said last is kept from one run to the next, for when it is off: see TARN_OPEN_DETAIL.
//
// Texts are NUL-terminated UTF-8, structured data is JSON text. Every int that is returned is 0 (TARN_OK) or
// one of the TARN_E_... codes below; a function that fails leaves its output untouched unless it says
// otherwise.
//
// Threading: every function may be called from any number of threads at once, with these exceptions: one
// handle may be read by many threads, but tarn_closePrinter and the last use of that handle must not overlap;
// tarn_init and tarn_destroy are serialised by the library, and a call that overlaps tarn_destroy either
// completes or returns TARN_E_NOT_READY. No function may be called from a signal handler. After fork() only
// the parent may go on.
//
// Ownership: a text that a function hands out belongs to the caller until tarn_freeStr (tarn_freePrinterList
// for lists); the one exception is tarn_getModels. Texts and handles outlive tarn_destroy until they are
// given back.
//
// Environment, read by tarn_init: TARN_CONFIG (configuration file, default $XDG_CONFIG_HOME/tarn/tarn.json),
// XDG_CONFIG_HOME, XDG_CACHE_HOME, XDG_STATE_HOME, HOME, TARN_IPP_USB_DIR (where ipp-usb keeps its state
// files, default /var/ipp-usb/dev).
//
// Files that are written, mode 0600, whole or not at all: $XDG_CACHE_HOME/tarn/identities.json, who answered
// where, 3 s after that changed; $XDG_STATE_HOME/tarn/last-values.jsonl, what the printers of the list said
// last (2,000 printers, 4 MiB at most), 10 minutes after a change at the earliest, every hour for their
// dates, and by tarn_destroy. Of a printer that tarn_setPrinterList names no longer the last values are
// forgotten. A file of last values that is damaged costs one line on stderr and what cannot be understood of
// it.

// Printers that the configuration has asked in SNMP version 3 are asked by Net-SNMP, which keeps one state
// for the whole process, without locks. A program that uses Net-SNMP itself must name no such printers.
//
// At exit: tarn_destroy may be called from the destructor of a static object, behind OpenSSL's exit handler.
// From exit() on, printers over SNMP version 3 and IPP may not be asked any more. A forked child that exits
// waits for none of this.
//
// Foreign libraries read files of their own in the library's threads: Net-SNMP its snmp.conf (in ~/.snmp,
// unless SNMPCONFPATH says otherwise) where a printer is asked over SNMP version 3, libcups ~/.cups where one
// is asked over IPP or the queues of CUPS are listed. Where these lie on a file system that stalls,
// tarn_destroy waits for it without a bound, and the process's exit for 2 s.

#ifdef __cplusplus
extern "C" {
#endif

#define TARN_API __attribute__((visibility("default")))

#define TARN_OK 0
#define TARN_E_ARGUMENT 1  // a pointer that must not be NULL is NULL, or the handle is none
#define TARN_E_NOT_READY 2 // before tarn_init or after tarn_destroy
#define TARN_E_UNKNOWN 3   // nobody configured or discovered a printer of that name
#define TARN_E_DOCUMENT 4  // the JSON text is not what the function takes
#define TARN_E_MEMORY 5    // out of memory
#define TARN_E_SYSTEM 6    // the system refused a thread or a socket
#define TARN_E_DISABLED 7  // the options switched this off

// For tarn_openPrinter's first reserved argument: tarn_getInfo of this handle also tells "detail", "online",
// "age", "remembered" and "source"; and of a named printer that has not answered since tarn_init the handle
// tells what it said in an earlier run, as soon as that has been read from the file of last values: with
// "online" "0", "remembered" "1" and the "age" that it has by the wall clock (never negative: a date to come,
// as the clock was set back, counts as the moment of reading). State and message are those of a printer that
// cannot be reached. Without the flag a handle tells of this run only.
#define TARN_OPEN_DETAIL 1

// Starts the library: reads the configuration file and the remembered identities, starts the engine's thread.
// A second call without tarn_destroy in between changes nothing and succeeds. What is wrong in the
// configuration file is said on stderr, one line each with its place, and left out; the rest of it holds.
// Returns TARN_OK, TARN_E_SYSTEM (also where there is no descriptor to read that file with), TARN_E_MEMORY.
TARN_API int tarn_init(void);

// Stops the library: ends every thread of the library (within 2 s, but see above for the files of foreign
// libraries) and forgets everything, the texts of tarn_getModels included. Handles that are open stay
// readable, with what they pinned, until they are closed. Without tarn_init before: changes nothing and
// succeeds. tarn_init may follow. Where remembered identities or last values lie on a file system that
// stalls, the one thread for each that writes them is left behind after that time, and the library then stays
// loaded, whoever unloads it, to the end of the process; the thread uses nothing of the program's, and ends
// when the file system answers. Returns TARN_OK.
TARN_API int tarn_destroy(void);

// Gives back a text of tarn_getVersion, tarn_getSerialNumber, tarn_getStateMessage or tarn_getInfo, and sets
// *str to NULL. str == NULL and *str == NULL: nothing happens. Works before tarn_init and after tarn_destroy.
// Returns TARN_OK.
TARN_API int tarn_freeStr(char** str);

// The printers: a JSON array with one object for each printer of the last tarn_setPrinterList, in its order
// and never fewer, then the discovered ones. Members: "printerName", "manufacturer", "ip" (as they were
// sent), "model" (the detected one where it is known, else as sent), "description" (from the device, else
// ""), "uuid" ("" where unknown), all strings, and "isUsbPrinter", a boolean. *list is a new text:
// tarn_freePrinterList. Returns TARN_OK, TARN_E_ARGUMENT (list NULL), TARN_E_NOT_READY, TARN_E_MEMORY.
TARN_API int tarn_getPrinterList(char** list);

// As tarn_freeStr, for the text of tarn_getPrinterList.
// Returns TARN_OK.
TARN_API int tarn_freePrinterList(char** list);

// Opens a printer by the name it was configured with (byte for byte; the first of equal names counts) and
// pins what is known of it at this moment: everything that is read through *handle is of one picture. Opening
// succeeds for a printer that cannot be reached as well, see tarn_getState. A printer that nobody opens for
// 60 s is no longer asked; the next opening starts that again. reserved1: 0 or TARN_OPEN_DETAIL; reserved2:
// 0. Other values are ignored. *handle must go to tarn_closePrinter. Returns TARN_OK, TARN_E_ARGUMENT
// (printerName or handle NULL), TARN_E_NOT_READY, TARN_E_UNKNOWN, TARN_E_MEMORY.
TARN_API int tarn_openPrinter(const char* printerName, void** handle, int reserved1, int reserved2);

// Closes the handle and sets *handle to NULL. handle == NULL and *handle == NULL: nothing happens. Works
// after tarn_destroy. Returns TARN_OK.
TARN_API int tarn_closePrinter(void** handle);

// The version of the library, such as "2.0.0". Works before tarn_init. *out is a new text: tarn_freeStr.
// Returns TARN_OK, TARN_E_ARGUMENT (out NULL), TARN_E_MEMORY.
TARN_API int tarn_getVersion(char** out);

// The page counter, or -1 where the printer has none or does not say.
// Returns TARN_OK, TARN_E_ARGUMENT (handle or pages NULL).
TARN_API int tarn_getTotalPages(void* handle, int* pages);

// The serial number, "" where it is not known. *out is a new text: tarn_freeStr.
// Returns TARN_OK, TARN_E_ARGUMENT (handle or out NULL), TARN_E_MEMORY.
TARN_API int tarn_getSerialNumber(void* handle, char** out);

// The state: 3 idle, 4 printing, 5 warming up, 1 something else, and 2 when the printer cannot be reached
// (silent, not yet met, or of an address that is none). Returns TARN_OK, TARN_E_ARGUMENT (handle or state
// NULL).
TARN_API int tarn_getState(void* handle, int* state);

// The state in words: a short summary, then "-" and one item for each alert; no item contains "-". The empty
// text, not NULL, when the state is 2. *out is a new text: tarn_freeStr. Returns TARN_OK, TARN_E_ARGUMENT
// (handle or out NULL), TARN_E_MEMORY.
TARN_API int tarn_getStateMessage(void* handle, char** out);

// The status document: a JSON object whose values are all strings. Always "CToner", "MToner", "YToner",
// "KToner", "RToner" (percent; "101" some or unknown; "-1" the printer has no such supply), "totalprint"
// ("-1" unknown), "lessPaper", "lackPaper", "lessToner", "lackToner" ("1" or "0"). Of a printer that cannot
// be reached it holds the last good picture. Of a handle opened with TARN_OPEN_DETAIL also: "online" ("1" or
// "0"), "age" (milliseconds between the last answer and the opening of the handle, "-1" where none is known),
// "remembered" ("1" when that answer came in an earlier run, else "0"), "source" (the way the state came:
// "sm" SNMP, "ipp", "smusb" USB, "cups" a queue of CUPS; "" before the first), "sources" (JSON text: an
// object with the way of each of "model", "serial", "description", "location", "state", "alerts", "supplies",
// "trays", "counters" that the picture tells of; empty for a remembered one), "detail" (the whole picture,
// JSON text). *out is a new text: tarn_freeStr. Returns TARN_OK, TARN_E_ARGUMENT (handle or out NULL),
// TARN_E_MEMORY.
TARN_API int tarn_getInfo(void* handle, char** out);

// The models: a JSON array of objects with the member "model", first the entry that stands for detection,
// then every model that a printer met in this or an earlier run was last known by, in the order of meeting.
// An address that keeps telling another model is followed for 16 changes, and so are its "model" and
// "description" of the list. *out belongs to the library and is valid until tarn_destroy: it is NOT handed
// back. Once texts of earlier calls have 16 MiB together, the last one stays the answer. Returns TARN_OK,
// TARN_E_ARGUMENT (out NULL), TARN_E_NOT_READY, TARN_E_MEMORY.
TARN_API int tarn_getModels(char** out);

// Options, a JSON object. Known members, each taken only where it has the type shown, the others ignored:
// "enable_backends" (string, names joined by "|": "sm" is the network, "smusb" USB; default both),
// "enable_set_printer_list" (boolean; false: tarn_setPrinterList is refused), "enable_cache" (boolean; false:
// identities and last values are neither read nor written), "enable_cache_writing" (boolean; false: they are
// read and never written), "enable_ipp" (boolean; false: "sm" asks over SNMP only, and never
// connects to anybody), "enable_usb_printer_discovery" (boolean; false: USB printers are not listed),
// "enable_cups_printer" (boolean, default false; true: the queues of CUPS are listed). "sm" and IPP are
// switched for printers named from then on, discoveries at once; none begins before the first
// tarn_setPrinterList or tarn_getPrinterList.
// Returns TARN_OK, TARN_E_ARGUMENT (optionsJson NULL), TARN_E_NOT_READY, TARN_E_DOCUMENT (no JSON object,
// more than 1 MiB; nothing changes).
TARN_API int tarn_setOptions(const char* optionsJson);

// Names the printers: a JSON array of objects with the string members "printerName", "manufacturer", "model"
// and "ip" (missing or of another type: ""), or null for none. It replaces the list before. "ip" is a dotted
// IPv4 address, octets in decimal, leading zeros allowed; a printer whose address is none stays listed and
// cannot be reached. When it names addresses that the library never met, the call waits until all of them
// have answered, but at most 250 ms; it waits for an address only once, whether that answers or not. The
// first call, or that of tarn_getModels, also waits for the file of remembered identities, at most 250 ms,
// and so does a later one after the file could not be read. Returns TARN_OK, TARN_E_ARGUMENT (NULL),
// TARN_E_NOT_READY, TARN_E_DISABLED, TARN_E_DOCUMENT (nothing changes; more than 64 MiB is refused as well),
// TARN_E_MEMORY.
TARN_API int tarn_setPrinterList(const char* printerListJson);

#ifdef __cplusplus
}
#endif
