#include "printer/status_query.h"

#include <cstdlib>
#include <string>

#include "printer/json_io.h"
#include "printer/poll_gate.h"
#include "printer/tarn_call.h"
#include "printer/tarn_library.h"

namespace morvik::kel {

namespace {

constexpr std::int32_t kCouldNotBeOpened = 2;
// A longer document is not worth keeping for a comparison.
constexpr std::size_t kLongestKept = 16384;

// An open printer of the library, closed at the end of the sequence of calls.
class OpenPrinter final
{
public:
    using Close = int (*)(void**);
    OpenPrinter(void* handle, Close close) : m_handle(handle), m_close(close) {}
    ~OpenPrinter()
    {
        try {
            m_close(&m_handle);
        } catch (...) { // the sequence of calls is over either way
        }
    }
    OpenPrinter(const OpenPrinter&) = delete;
    OpenPrinter& operator=(const OpenPrinter&) = delete;
    void* get() const { return m_handle; }

private:
    void* m_handle;
    Close m_close;
};

// Fetches the member's text; false when the document does not have it as a JSON string.
bool textOf(const Json::Value& document, const char* key, std::string& text)
{
    if (!document.isMember(key) || !document[key].isString()) {
        return false;
    }
    text = document[key].asString();
    return true;
}

// strtol, then cut to 32 bits: "4294967296" gives 0.
std::int32_t toNumber(const std::string& text)
{
    return static_cast<std::int32_t>(std::strtol(text.c_str(), nullptr, 10));
}

bool readNumber(const Json::Value& document, const char* key, std::int32_t& field)
{
    std::string text;
    if (!textOf(document, key, text)) {
        return false;
    }
    field = toNumber(text);
    return true;
}

void readFlag(const Json::Value& document, const char* key, bool& field)
{
    std::string text;
    if (textOf(document, key, text)) {
        field = toNumber(text) == 1;
    }
}

void applyStatusDocument(const Json::Value& document, PrinterContext& context)
{
    if (!document.isObject()) {
        return;
    }
    if (!readNumber(document, "toner", context.kToner)) {
        readNumber(document, "black", context.kToner);
    }
    readNumber(document, "CToner", context.cToner);
    readNumber(document, "MToner", context.mToner);
    readNumber(document, "YToner", context.yToner);
    readNumber(document, "KToner", context.kToner);
    readNumber(document, "RToner", context.rToner);
    readFlag(document, "lessPaper", context.lessPaper);
    readFlag(document, "lackPaper", context.lackPaper);
    readFlag(document, "lessToner", context.lessToner);
    readFlag(document, "lackToner", context.lackToner);
    readNumber(document, "totalprint", context.totalPrint);
}

using Getter = int (*)(void*, char**);

void readText(void* printer, Getter getter, TarnText::Free free, std::string& field)
{
    char* out = nullptr;
    getter(printer, &out);
    const TarnText text(out, free);
    if (text.get() != nullptr) {
        field = text.get();
    }
}

// A document that the reader refuses is ignored as a whole. One that has been applied would change nothing:
// no other hand writes what it writes.
void readInfo(void* printer, Getter getter, TarnText::Free free, PrinterContext& context,
              std::string& applied)
{
    char* out = nullptr;
    getter(printer, &out);
    const TarnText text(out, free);
    if (text.get() == nullptr || applied == text.get()) {
        return;
    }
    applied = text.get();
    Json::Value document;
    if (readJson(applied, document)) {
        applyStatusDocument(document, context);
    }
    if (applied.size() > kLongestKept) {
        std::string().swap(applied);
    }
}

int converse(PrinterContext& context, std::string& applied) KEL_REQUIRES(tarnEntryTable.mutex)
{
    void* handle = nullptr;
    const int opened = tarnEntryTable.openPrinter(context.printerName.c_str(), &handle, 0, 0);
    if (opened != 0) {
        context.state = kCouldNotBeOpened;
        return opened;
    }
    const OpenPrinter printer(handle, tarnEntryTable.closePrinter);
    tarnEntryTable.getState(printer.get(), &context.state);
    readText(printer.get(), tarnEntryTable.getSerialNumber, tarnEntryTable.freeStr, context.serialNumber);
    readInfo(printer.get(), tarnEntryTable.getInfo, tarnEntryTable.freeStr, context, applied);
    readText(printer.get(), tarnEntryTable.getStateMessage, tarnEntryTable.freeStr, context.stateMessage);
    return 0;
}

} // namespace

int queryPrinterStatus(PrinterContext& context)
{
    std::string applied;
    return queryPrinterStatus(context, applied);
}

int queryPrinterStatus(PrinterContext& context, std::string& applied)
{
    if (!tarnEntryTable.loaded) {
        return -1;
    }
    const TarnTurn turn(TarnTurn::Who::Poll);
    // Waiting for the turn may have lasted until the end of the program.
    if (tarnEntryTable.handle == nullptr || pollGate().isClosing()) {
        return -1;
    }
    try {
        return converse(context, applied);
    } catch (...) {
        return -1;
    }
}

} // namespace morvik::kel
