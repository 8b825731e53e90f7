#include "printer/printer_documents.h"

#include <exception>
#include <optional>

#include "printer/json_io.h"
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
    if (!readJson(text, root) || !root.isArray()) {
        return result;
    }
    for (const Json::Value& element : root) {
        if (!canHaveMembers(element)) {
            continue;
        }
        const PrinterContext context = readPrinter(element);
        result.push_back(context); // a copy: texts end at their first NUL from here on
    }
    return result;
}

// What one exchange brought.
enum class Answer
{
    None, // not loaded, or a step failed
    Same, // the text expected
    New,
};

// text becomes the library's answer. Compared first: an answer that is expected is not even copied.
Answer converse(const std::string& sent, std::optional<std::string>& text) KEL_REQUIRES(tarnEntryTable.mutex)
{
    if (tarnEntryTable.setPrinterList(sent.c_str()) != 0) {
        return Answer::None;
    }
    char* out = nullptr;
    if (tarnEntryTable.getPrinterList(&out) != 0 || out == nullptr) {
        return Answer::None; // kept on purpose: a list that comes with an error is not handed back
    }
    const TarnText list(out, tarnEntryTable.freePrinterList);
    if (text && *text == list.get()) {
        return Answer::Same;
    }
    text = list.get();
    return Answer::New;
}

Answer exchange(const std::string& sent, std::optional<std::string>& text)
{
    if (!tarnEntryTable.loaded) {
        return Answer::None;
    }
    const TarnTurn turn(TarnTurn::Who::Registry);
    if (tarnEntryTable.handle == nullptr) {
        return Answer::None;
    }
    try {
        return converse(sent, text);
    } catch (...) {
        return Answer::None;
    }
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
    if (!readJson(text, root) || !root.isArray()) {
        return result;
    }
    const Json::Value& array = root;
    for (const Json::Value& element : array) {
        std::string model;
        if (canHaveMembers(element) && readModel(element, model)) {
            result.push_back(model);
        }
    }
    return result;
}

} // namespace

std::string networkPrintersText(const std::vector<PrinterContext>& printers)
{
    Json::Value root;
    for (const PrinterContext& printer : printers) {
        if (printer.isUsbPrinter) {
            continue;
        }
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
    if (!tarnEntryTable.loaded) {
        return {};
    }
    std::optional<std::string> text;
    if (exchange(networkPrintersText(printers), text) == Answer::None) {
        return {};
    }
    return readPrinterList(*text);
}

std::optional<std::vector<PrinterContext>> ListExchange::run(const std::vector<PrinterContext>& printers,
                                                             std::uint64_t revision)
{
    if (m_revision != revision) {
        m_sent = networkPrintersText(printers);
        m_revision = revision;
    }
    const Answer answer = exchange(m_sent, m_received);
    if (answer == Answer::Same && m_confirmed) {
        return std::nullopt;
    }
    m_confirmed = false;
    if (answer == Answer::None) {
        m_received.reset();
        return std::vector<PrinterContext>();
    }
    return readPrinterList(*m_received);
}

void ListExchange::confirm()
{
    m_confirmed = true;
}

std::vector<std::string> getPrinterModels()
{
    if (!tarnEntryTable.loaded) {
        return {};
    }
    const TarnTurn turn(TarnTurn::Who::Registry);
    if (tarnEntryTable.handle == nullptr) {
        return {};
    }
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
