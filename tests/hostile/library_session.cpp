#include "tests/hostile/library_session.h"

#include <json/json.h>

#include <sstream>
#include <stdexcept>

#include "tarn/tarn.h"

namespace hostile {

namespace {

void require(int code, const char* what)
{
    if (code != TARN_OK) {
        throw std::runtime_error(std::string(what) + ": " + std::to_string(code));
    }
}

Json::Value parsed(const std::string& text)
{
    Json::Value root;
    std::istringstream in(text);
    in >> root;
    return root;
}

std::string taken(char* text)
{
    std::string copy = text != nullptr ? text : "";
    tarn_freeStr(&text);
    return copy;
}

} // namespace

std::string listDocument(const std::vector<NamedPrinter>& printers)
{
    std::string text;
    for (const NamedPrinter& printer : printers) {
        text += text.empty() ? "[" : ",";
        text += R"({"printerName":")" + printer.name + R"(","manufacturer":"","model":"","ip":")" +
                printer.ip + "\"}";
    }
    return text.empty() ? "null" : text + "]";
}

LibrarySession::LibrarySession(std::uint16_t port, const std::string& addresses)
    : m_cache("XDG_CACHE_HOME", m_scratch.path("cache")), m_state("XDG_STATE_HOME", m_scratch.path("state")),
      m_config("TARN_CONFIG", m_scratch.path("tarn.json"))
{
    m_scratch.write("tarn.json", R"({"default": {"port": )" + std::to_string(port) + R"(}, "addresses": )" +
                                     addresses + "}");
    require(tarn_init(), "tarn_init");
    require(tarn_setOptions(R"({"enable_cache": false})"), "tarn_setOptions");
}

LibrarySession::~LibrarySession()
{
    tarn_destroy();
}

void LibrarySession::name(const std::vector<NamedPrinter>& printers)
{
    require(tarn_setPrinterList(listDocument(printers).c_str()), "tarn_setPrinterList");
}

Sight LibrarySession::see(const std::string& name) const
{
    Sight sight;
    void* handle = nullptr;
    char* text = nullptr;
    require(tarn_openPrinter(name.c_str(), &handle, TARN_OPEN_DETAIL, 0), "tarn_openPrinter");
    require(tarn_getState(handle, &sight.state), "tarn_getState");
    require(tarn_getTotalPages(handle, &sight.pages), "tarn_getTotalPages");
    require(tarn_getSerialNumber(handle, &text), "tarn_getSerialNumber");
    sight.serial = taken(text);
    require(tarn_getInfo(handle, &text), "tarn_getInfo");
    sight.info = taken(text);
    tarn_closePrinter(&handle);
    const Json::Value info = parsed(sight.info);
    sight.online = info["online"].asString() == "1";
    sight.ageMs = std::stoll(info["age"].asString());
    sight.model = parsed(info["detail"].asString())["model"].asString();
    return sight;
}

} // namespace hostile
