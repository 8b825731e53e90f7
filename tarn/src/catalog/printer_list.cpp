#include "tarn/src/catalog/printer_list.h"

#include "tarn/src/base/json_input.h"
#include "tarn/src/base/json_text.h"
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
    out += '{';
    appendJsonMember(out, "description", description);
    appendJsonMember(out, "ip", printer.ip);
    out += ",\"isUsbPrinter\":false";
    appendJsonMember(out, "manufacturer", printer.manufacturer);
    appendJsonMember(out, "model", detectedModel.empty() ? std::string_view(printer.model) : detectedModel);
    appendJsonMember(out, "printerName", printer.printerName);
    appendJsonMember(out, "uuid", "");
    out += '}';
}

} // namespace tarn::catalog
