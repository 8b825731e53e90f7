#include "printer/printer_documents.h"

#include <exception>

#include "printer/json_text.h"
#include "printer/tarn_call.h"
#include "printer/tarn_library.h"

namespace morvik::kel {

namespace {

// Elements of other types have no members; JsonCpp throws on the attempt.
bool canHaveMembers(const Json::Value& element)
{
    return element.isObject() || element.isNull();
}

PrinterContext readPrinter(const Json::Value& element)
{
    const bool isUsb = element.isMember("isUsbPrinter") && element["isUsbPrinter"].isBool() &&
                       element["isUsbPrinter"].asBool();
    PrinterContext context(isUsb);
    context.uuid = stringMember(element, "uuid");
    context.printerName = stringMember(element, "printerName");
    context.manufacturer = stringMember(element, "manufacturer");
    context.model = stringMember(element, "model");
    context.description = stringMember(element, "description");
    context.ip = stringMember(element, "ip");
    return context;
}

std::vector<PrinterContext> readPrinterList(const std::string& text)
{
    std::vector<PrinterContext> result;
    Json::Value root;
    if (!readJson(text, root) || !root.isArray())
        return result;
    for (const Json::Value& element : root) {
        if (!canHaveMembers(element))
            continue;
        const PrinterContext context = readPrinter(element);
        result.push_back(context); // a copy: texts end at their first NUL from here on
    }
    return result;
}

std::vector<PrinterContext> exchange(const std::string& text) KEL_REQUIRES(tarnEntryTable.mutex)
{
    if (tarnEntryTable.setPrinterList(text.c_str()) != 0)
        return {};
    char* out = nullptr;
    if (tarnEntryTable.getPrinterList(&out) != 0 || out == nullptr)
        return {}; // kept on purpose: a list that comes with an error is not handed back
    const TarnText list(out, tarnEntryTable.freePrinterList);
    return readPrinterList(list.get());
}

// The model's name, however JsonCpp converts it to text; false for what it cannot convert.
bool readModel(const Json::Value& element, std::string& model)
{
    try {
        model = element["model"].asString();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

std::vector<std::string> readModels(const std::string& text)
{
    std::vector<std::string> result;
    Json::Value root;
    if (!readJson(text, root) || !root.isArray())
        return result;
    const Json::Value& array = root;
    for (const Json::Value& element : array) {
        std::string model;
        if (canHaveMembers(element) && readModel(element, model))
            result.push_back(model);
    }
    return result;
}

} // namespace

std::string networkPrintersText(const std::vector<PrinterContext>& printers)
{
    Json::Value root;
    for (const PrinterContext& printer : printers) {
        if (printer.isUsbPrinter)
            continue;
        Json::Value object;
        object["printerName"] = printer.printerName;
        object["manufacturer"] = printer.manufacturer;
        object["model"] = printer.model;
        object["ip"] = printer.ip;
        root.append(object);
    }
    return writeJson(root);
}

std::vector<PrinterContext> syncPrinterList(const std::vector<PrinterContext>& printers)
{
    if (!tarnEntryTable.loaded)
        return {};
    const TarnTurn turn(TarnTurn::Who::Registry);
    if (tarnEntryTable.handle == nullptr)
        return {};
    try {
        return exchange(networkPrintersText(printers));
    } catch (...) {
        return {};
    }
}

std::vector<std::string> getPrinterModels()
{
    if (!tarnEntryTable.loaded)
        return {};
    const TarnTurn turn(TarnTurn::Who::Registry);
    if (tarnEntryTable.handle == nullptr)
        return {};
    try {
        char* text = nullptr;
        tarnEntryTable.getModels(&text);
        // kept on purpose: the model text is the one that is never handed back.
        return text != nullptr ? readModels(text) : std::vector<std::string>();
    } catch (...) {
        return {};
    }
}

} // namespace morvik::kel
