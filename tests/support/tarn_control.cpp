#include "tests/support/tarn_control.h"

#include <boost/filesystem.hpp>
#include <json/writer.h>

#include <dlfcn.h>

#include <fstream>
#include <sstream>
#include <stdexcept>

#include "printer/process_objects.h"

namespace kel_test {

using morvik::kel::PrinterContext;

namespace {

constexpr int kNotOpenable = 404;

ScriptedPrinter answersFor(const PrinterContext& context)
{
    ScriptedPrinter printer;
    printer.openResult = context.state == 2 ? kNotOpenable : 0;
    printer.state = context.state;
    printer.serialNumber = context.serialNumber;
    printer.stateMessage = context.stateMessage;
    printer.info = statusDocument(context);
    return printer;
}

std::string compact(const Json::Value& root)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, root);
}

} // namespace

std::string scriptedTarnDir()
{
    return SCRIPTED_TARN_DIR;
}

std::string scriptedTarnDirWithout(const std::string& entryPoint)
{
    return scriptedTarnDir() + "/without_" + entryPoint;
}

TarnControl& tarnControl()
{
    static TarnControl* const control = [] {
        void* const library = dlopen((scriptedTarnDir() + "/libtarn.so").c_str(), RTLD_NOW | RTLD_LOCAL);
        void* const entry = library != nullptr ? dlsym(library, "scripted_tarn_control") : nullptr;
        if (entry == nullptr) {
            throw std::runtime_error(dlerror());
        }
        return reinterpret_cast<TarnControl* (*)()>(entry)();
    }();
    return *control;
}

std::string statusDocument(const PrinterContext& context)
{
    Json::Value document(Json::objectValue);
    document["CToner"] = std::to_string(context.cToner);
    document["MToner"] = std::to_string(context.mToner);
    document["YToner"] = std::to_string(context.yToner);
    document["KToner"] = std::to_string(context.kToner);
    document["RToner"] = std::to_string(context.rToner);
    document["totalprint"] = std::to_string(context.totalPrint);
    document["lessPaper"] = context.lessPaper ? "1" : "0";
    document["lackPaper"] = context.lackPaper ? "1" : "0";
    document["lessToner"] = context.lessToner ? "1" : "0";
    document["lackToner"] = context.lackToner ? "1" : "0";
    return compact(document);
}

void setScriptedPrinters(const std::vector<PrinterContext>& printers)
{
    TarnScript script = tarnControl().script();
    Json::Value list(Json::arrayValue);
    script.printers.clear();
    script.defaultPrinter.reset();
    for (const PrinterContext& context : printers) {
        Json::Value element;
        element["uuid"] = context.uuid;
        element["printerName"] = context.printerName;
        element["manufacturer"] = context.manufacturer;
        element["model"] = context.model;
        element["description"] = context.description;
        element["ip"] = context.ip;
        element["isUsbPrinter"] = context.isUsbPrinter;
        list.append(element);
        script.printers[context.printerName] = answersFor(context);
    }
    script.echoList = false;
    script.listDocument = compact(list);
    tarnControl().setScript(script);
}

void setScriptedStatus(const PrinterContext& context)
{
    TarnScript script = tarnControl().script();
    script.printers[context.printerName] = answersFor(context);
    tarnControl().setScript(script);
}

void setScriptedModels(const std::vector<std::string>& models)
{
    Json::Value list(Json::arrayValue);
    for (const std::string& model : models) {
        Json::Value element;
        element["model"] = model;
        list.append(element);
    }
    TarnScript script = tarnControl().script();
    script.modelsDocument = compact(list);
    tarnControl().setScript(script);
}

std::string readPrintersFile()
{
    std::ifstream file(morvik::kel::g_printersPath, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

void writePrintersFile(const std::string& text)
{
    boost::filesystem::create_directories(boost::filesystem::path(morvik::kel::g_printersPath).parent_path());
    std::ofstream(morvik::kel::g_printersPath, std::ios::binary) << text;
}

} // namespace kel_test
