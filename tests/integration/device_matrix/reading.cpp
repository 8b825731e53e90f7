#include "tests/integration/device_matrix/reading.h"

#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "tarn/include/tarn/tarn.h"
#include "tarn/src/device/rendering.h"
#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/ipp_status.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/integration/device_matrix/ipp_recording.h"
#include "tests/support/recorded_agent.h"

namespace matrix {

namespace {

Json::Value parsed(const std::string& text)
{
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string why;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, &why)) {
        throw std::runtime_error("no JSON (" + why + "): " + text.substr(0, 200));
    }
    return value;
}

std::string written(const Json::Value& value)
{
    return Json::writeString(Json::StreamWriterBuilder(), value);
}

// The entry points that are needed, found as a program finds them.
class Library final
{
public:
    explicit Library(const std::string& path) : m_handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (m_handle == nullptr) {
            throw std::runtime_error(dlerror());
        }
    }
    ~Library()
    {
        call<decltype(&tarn_destroy)>("tarn_destroy")();
        dlclose(m_handle);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    template <typename Function>
    Function call(const char* name) const
    {
        void* symbol = dlsym(m_handle, name);
        if (symbol == nullptr) {
            throw std::runtime_error(std::string("no entry point ") + name);
        }
        return reinterpret_cast<Function>(symbol);
    }

    std::string text(void* printer, const char* getter) const
    {
        char* out = nullptr;
        call<int (*)(void*, char**)>(getter)(printer, &out);
        const std::string copy = out == nullptr ? std::string() : std::string(out);
        call<decltype(&tarn_freeStr)>("tarn_freeStr")(&out);
        return copy;
    }

private:
    void* m_handle;
};

void writeConfiguration(const std::vector<Served>& served, int port, const std::string& workDir)
{
    Json::Value root(Json::objectValue);
    root["default"]["port"] = port;
    for (const Served& one : served) {
        root["addresses"][one.address]["community"] = one.community;
        if (one.ippPort != 0) {
            root["addresses"][one.address]["ippPort"] = one.ippPort;
        }
    }
    const std::string path = workDir + "/tarn.json";
    std::ofstream(path) << written(root);
    setenv("TARN_CONFIG", path.c_str(), 1);
    setenv("XDG_CACHE_HOME", (workDir + "/home").c_str(), 1);
    setenv("XDG_STATE_HOME", (workDir + "/home").c_str(), 1);
}

std::string listDocument(const std::vector<Served>& served)
{
    Json::Value list(Json::arrayValue);
    for (const Served& one : served) {
        Json::Value printer(Json::objectValue);
        printer["printerName"] = one.device;
        printer["manufacturer"] = "";
        printer["model"] = "";
        printer["ip"] = one.address;
        list.append(printer);
    }
    return written(list);
}

Reading readOne(const Library& library, const std::string& name)
{
    Reading reading;
    void* printer = nullptr;
    if (library.call<decltype(&tarn_openPrinter)>("tarn_openPrinter")(name.c_str(), &printer,
                                                                      TARN_OPEN_DETAIL, 0) != TARN_OK) {
        throw std::runtime_error("cannot open " + name);
    }
    library.call<decltype(&tarn_getState)>("tarn_getState")(printer, &reading.state);
    reading.serial = library.text(printer, "tarn_getSerialNumber");
    reading.message = library.text(printer, "tarn_getStateMessage");
    reading.info = parsed(library.text(printer, "tarn_getInfo"));
    library.call<decltype(&tarn_closePrinter)>("tarn_closePrinter")(&printer);
    reading.online = reading.state != 2;
    reading.detail = parsed(reading.info["detail"].asString());
    return reading;
}

Reading readingOf(const tarn::device::DeviceStatus& status)
{
    Reading reading;
    reading.online = true;
    reading.state = tarn::device::stateCode(status);
    reading.serial = status.serialNumber;
    reading.message = tarn::device::stateMessage(status);
    reading.info = parsed(tarn::device::infoDocument(status));
    reading.detail = parsed(tarn::device::detailDocument(status));
    return reading;
}

} // namespace

std::map<std::string, Reading> readThroughLibrary(const std::string& library,
                                                  const std::vector<Served>& served, int port,
                                                  const std::string& workDir, int timeoutMs)
{
    writeConfiguration(served, port, workDir);
    const Library tarn(library);
    tarn.call<decltype(&tarn_init)>("tarn_init")();
    if (tarn.call<decltype(&tarn_setPrinterList)>("tarn_setPrinterList")(listDocument(served).c_str()) !=
        TARN_OK) {
        throw std::runtime_error("the library refused the printer list");
    }
    std::map<std::string, Reading> readings;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (bool all = false; !all;) {
        all = true;
        for (const Served& one : served) {
            Reading& reading = readings[one.device];
            if (!reading.online) {
                reading = readOne(tarn, one.device);
                all = all && reading.online;
            }
        }
        if (std::chrono::steady_clock::now() > deadline) {
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(all ? 0 : 100));
    }
    return readings;
}

std::map<std::string, Reading> readInProcess(const std::string& directory,
                                             const std::vector<std::string>& devices)
{
    std::map<std::string, Reading> readings;
    for (const std::string& device : devices) {
        using namespace kel::testing;
        RecordedAgent agent = RecordedAgent::fromFile(directory + "/" + device + ".snmprec");
        tarn::snmp::PrinterSession session(tarn::snmp::Version::V2c);
        runRead(session, agent, tarn::engine::ReadKind::Identity);
        if (const auto status = session.status()) {
            readings[device] = readingOf(*status);
        } else {
            readings[device] = Reading();
        }
    }
    return readings;
}

std::map<std::string, Reading> readIppInProcess(const std::string& directory,
                                                const std::vector<std::string>& devices)
{
    const tarn::ipp::CupsLibrary* const cups = tarn::ipp::CupsLibrary::system();
    if (cups == nullptr) {
        throw std::runtime_error("libcups is missing");
    }
    std::map<std::string, Reading> readings;
    for (const std::string& device : devices) {
        const auto reply = tarn::ipp::decodeIpp(*cups, readIppRecording(directory + "/" + device + ".ipp"));
        const bool answered = reply && !reply->printers.empty();
        readings[device] = answered ? readingOf(tarn::ipp::buildStatus(reply->printers.front())) : Reading();
    }
    return readings;
}

} // namespace matrix
