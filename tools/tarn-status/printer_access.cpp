#include "tools/tarn-status/printer_access.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <sstream>

#include <json/reader.h>
#include <json/writer.h>

#include "tarn/tarn.h"
#include "tools/common/file_error.h"

namespace tarnstatus {

namespace {

void demand(int code, const char* what)
{
    if (code != TARN_OK) {
        throw AccessError(std::string(what) + " failed with code " + std::to_string(code));
    }
}

// A text that the library gives, as ours.
template <typename Getter>
std::string textOf(Getter getter)
{
    char* text = nullptr;
    demand(getter(&text), "reading a printer");
    std::string copy = text != nullptr ? text : "";
    tarn_freeStr(&text);
    return copy;
}

bool parse(const std::string& text, Json::Value& root)
{
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    try {
        return reader->parse(text.data(), text.data() + text.size(), &root, nullptr);
    } catch (const Json::Exception&) {
        return false;
    }
}

// Null when the text is no JSON.
Json::Value parsed(const std::string& text)
{
    Json::Value root;
    return parse(text, root) ? root : Json::Value();
}

std::string written(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, value);
}

class OpenPrinter final
{
public:
    explicit OpenPrinter(const std::string& name)
    {
        demand(tarn_openPrinter(name.c_str(), &m_handle, TARN_OPEN_DETAIL, 0), "opening a printer");
    }
    ~OpenPrinter() { tarn_closePrinter(&m_handle); }
    OpenPrinter(const OpenPrinter&) = delete;
    OpenPrinter& operator=(const OpenPrinter&) = delete;
    void* get() const { return m_handle; }

private:
    void* m_handle = nullptr;
};

void fillIn(Json::Value& text, const std::string& announced)
{
    if (!announced.empty() && (!text.isString() || text.asString().empty())) {
        text = announced;
    }
}

Reading read(const std::string& name, const NamedPrinter& printer)
{
    const OpenPrinter opened(name);
    Reading reading;
    reading.printer = printer;
    demand(tarn_getState(opened.get(), &reading.state), "reading a state");
    demand(tarn_getTotalPages(opened.get(), &reading.pages), "reading a counter");
    reading.serial = textOf([&](char** out) { return tarn_getSerialNumber(opened.get(), out); });
    reading.message = textOf([&](char** out) { return tarn_getStateMessage(opened.get(), out); });
    reading.info = parsed(textOf([&](char** out) { return tarn_getInfo(opened.get(), out); }));
    if (reading.info.isObject()) {
        reading.online = reading.info["online"] == "1";
        reading.isRemembered = reading.info["remembered"] == "1";
        reading.source = reading.info.get("source", "").asString();
        reading.ageMs = std::strtoll(reading.info.get("age", "-1").asString().c_str(), nullptr, 10);
        reading.detail = parsed(reading.info.get("detail", "").asString());
        reading.sources = parsed(reading.info.get("sources", "").asString());
    }
    if (!reading.detail.isObject()) {
        reading.detail = Json::Value(Json::objectValue);
    }
    fillIn(reading.detail["model"], printer.model);
    fillIn(reading.detail["location"], printer.location);
    reading.model = reading.detail.get("model", "").asString();
    reading.description = reading.detail.get("description", "").asString();
    return reading;
}

} // namespace

Reading withoutRemembered(Reading reading)
{
    if (reading.isRemembered) {
        for (const char* member : {"supplies", "trays", "alerts", "counters", "flags"}) {
            reading.detail.removeMember(member);
        }
        for (const char* flag : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
            reading.info[flag] = "0";
        }
        reading.source.clear();
        reading.pages = -1;
        reading.ageMs = -1;
        reading.isRemembered = false;
    }
    return reading;
}

PrinterAccess::PrinterAccess(Discoveries discoveries) : m_discoveries(discoveries)
{
    demand(tarn_init(), "starting the library");
    useIpp(true);
}

void PrinterAccess::useIpp(bool use)
{
    Json::Value options;
    options["enable_cache_writing"] = false;
    options["enable_usb_printer_discovery"] = m_discoveries.usb;
    options["enable_cups_printer"] = m_discoveries.cups;
    options["enable_ipp"] = use;
    demand(tarn_setOptions(written(options).c_str()), "setting the options");
}

PrinterAccess::~PrinterAccess()
{
    tarn_destroy();
}

void PrinterAccess::setPrinters(const std::vector<NamedPrinter>& printers)
{
    Json::Value list(Json::arrayValue);
    for (std::size_t i = 0; i < printers.size(); ++i) {
        Json::Value entry;
        // The library knows them by number, so that equal names stay two printers.
        entry["printerName"] = std::to_string(i);
        entry["ip"] = printers[i].ip;
        list.append(entry);
    }
    demand(tarn_setPrinterList(written(list).c_str()), "naming the printers");
    m_printers = printers;
}

std::vector<Reading> PrinterAccess::readAll() const
{
    std::vector<Reading> readings;
    readings.reserve(m_printers.size());
    for (std::size_t i = 0; i < m_printers.size(); ++i) {
        readings.push_back(read(std::to_string(i), m_printers[i]));
    }
    for (const NamedPrinter& printer : discovered()) {
        try {
            readings.push_back(read(printer.name, printer));
        } catch (const AccessError&) {
            // unplugged since it was listed
        }
    }
    return readings;
}

// What the library lists behind the printers that were named.
std::vector<NamedPrinter> PrinterAccess::discovered() const
{
    std::vector<NamedPrinter> printers;
    if (!m_discoveries.any()) {
        return printers;
    }
    char* text = nullptr;
    demand(tarn_getPrinterList(&text), "listing the printers");
    const Json::Value list = parsed(text);
    tarn_freePrinterList(&text);
    for (Json::ArrayIndex i = static_cast<Json::ArrayIndex>(m_printers.size()); i < list.size(); ++i) {
        printers.push_back(
            {list[i]["printerName"].asString(), list[i]["ip"].asString(),
             list[i]["isUsbPrinter"] == true ? NamedPrinter::Origin::Usb : NamedPrinter::Origin::Cups});
    }
    return printers;
}

std::string PrinterAccess::version()
{
    return textOf([](char** out) { return tarn_getVersion(out); });
}

std::vector<NamedPrinter> printersOf(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw tools::FileError(file + ": " + std::strerror(errno));
    }
    std::ostringstream text;
    text << stream.rdbuf();
    if (stream.bad() || text.fail()) { // a directory, or nothing in it
        throw tools::FileError(file + " cannot be read");
    }
    Json::Value root;
    if (!parse(text.str(), root) || !(root.isArray() || root.isNull())) { // null: the program's empty list
        throw tools::FileError(file + " is no list of printers");
    }
    std::vector<NamedPrinter> printers;
    for (const Json::Value& entry : root) {
        if (entry.isObject()) {
            const Json::Value& name = entry["printerName"];
            const Json::Value& ip = entry["ip"];
            printers.push_back({name.isString() ? name.asString() : "", ip.isString() ? ip.asString() : ""});
        }
    }
    return printers;
}

} // namespace tarnstatus
