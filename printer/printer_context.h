#pragma once

#include <cstdint>
#include <string>

namespace morvik::kel {

// PrinterContext is the value record of one printer's identity and last polled status.
//
// Invariants
//  (1) A copy shares no buffer with its source: every text is rebuilt from its characters up to the first
//      NUL.
//  (2) -1 in a toner level or in totalPrint means that the printer never reported it.
// Threading: a plain value; it crosses threads only as a copy.
struct PrinterContext
{
    PrinterContext(bool isUsbPrinter = false);
    PrinterContext(const PrinterContext& other);
    PrinterContext& operator=(const PrinterContext& other);
    // No move operations: a move would hand over the source's buffer, embedded NULs included.
    ~PrinterContext();

    std::string uuid;         // as the access library reports it; not persisted
    std::string printerName;  // key of every lookup; persisted
    std::string manufacturer; // persisted
    std::string model;        // persisted
    std::string description;  // from the access library's list; not persisted
    std::string spareText;    // carried along, filled and read by nobody
    std::string serialNumber;
    std::string ip;           // dotted IPv4 text, empty for USB; persisted
    std::int32_t state;       // 0 at first, 2 when the printer could not be opened, else the library's code
    std::int32_t spareCode;   // carried along beside state
    std::string stateMessage; // items separated by "-"
    std::int32_t cToner;      // per cent, cyan
    std::int32_t mToner;      // magenta
    std::int32_t yToner;      // yellow
    std::int32_t kToner;      // black
    std::int32_t rToner;      // red
    std::int32_t totalPrint;  // pages
    bool lessPaper;           // paper low
    bool lackPaper;           // paper out
    bool lessToner;           // toner low
    bool lackToner;           // toner out
    bool isUsbPrinter;        // USB printers are never persisted
};

} // namespace morvik::kel
