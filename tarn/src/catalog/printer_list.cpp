#include "tarn/src/catalog/printer_list.h"

#include "tarn/src/base/json_append.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/engine/endpoint.h"

namespace tarn::catalog {

namespace {

constexpr std::size_t kLargestList = 64u << 20;

ListedPrinter parseElement(const Json::Value& element)
{
    ListedPrinter printer{textMember(element, "printerName"), textMember(element, "manufacturer"),
                          textMember(element, "model"), textMember(element, "ip"), std::nullopt};
    const std::optional<std::uint32_t> address = engine::parseIpv4(printer.ip);
    if (address && engine::isUnicast(*address)) {
        printer.address = address;
    }
    return printer;
}

struct Element
{
    std::string_view description;
    std::string_view ip;
    bool isUsbPrinter;
    std::string_view manufacturer;
    std::string_view model;
    std::string_view printerName;
    std::string_view uuid;
};

void appendElement(std::string& out, const Element& element)
{
    out += '{';
    appendJsonMember(out, "description", element.description);
    appendJsonMember(out, "ip", element.ip);
    out += element.isUsbPrinter ? ",\"isUsbPrinter\":true" : ",\"isUsbPrinter\":false";
    appendJsonMember(out, "manufacturer", element.manufacturer);
    appendJsonMember(out, "model", element.model);
    appendJsonMember(out, "printerName", element.printerName);
    appendJsonMember(out, "uuid", element.uuid);
    out += '}';
}

} // namespace

std::optional<std::vector<ListedPrinter>> parsePrinterList(std::string_view text)
{
    const std::optional<Json::Value> root = parseJson(text, kLargestList);
    if (!root || !(root->isNull() || root->isArray())) {
        return std::nullopt;
    }
    std::vector<ListedPrinter> printers;
    printers.reserve(root->size());
    for (const Json::Value& element : *root) {
        printers.push_back(parseElement(element));
    }
    return printers;
}

void appendListed(std::string& out, const ListedPrinter& printer, std::string_view detectedModel,
                  std::string_view description)
{
    const std::string_view model = detectedModel.empty() ? std::string_view(printer.model) : detectedModel;
    appendElement(out,
                  {description, printer.ip, false, printer.manufacturer, model, printer.printerName, ""});
}

void appendListed(std::string& out, const engine::DiscoveredPrinter& printer)
{
    appendElement(out, {printer.description, printer.ip, printer.isUsb, printer.manufacturer, printer.model,
                        printer.name, printer.uuid});
}

} // namespace tarn::catalog
