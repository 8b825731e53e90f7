#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/catalog/printer_list.h"

// Any text is refused, or is a list that comes back through its own rendering with every text as it was.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto printers =
        tarn::catalog::parsePrinterList(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!printers) {
        return 0;
    }
    std::string text = "[";
    for (const tarn::catalog::ListedPrinter& printer : *printers) {
        text += text.size() > 1 ? "," : "";
        appendListed(text, printer, "", "");
    }
    const auto again = tarn::catalog::parsePrinterList(text + "]");
    if (!again || again->size() != printers->size()) {
        std::abort();
    }
    for (std::size_t i = 0; i < printers->size(); ++i) {
        const tarn::catalog::ListedPrinter& a = (*printers)[i];
        const tarn::catalog::ListedPrinter& b = (*again)[i];
        if (a.printerName != b.printerName || a.manufacturer != b.manufacturer || a.model != b.model ||
            a.ip != b.ip || a.address != b.address) {
            std::abort();
        }
    }
    return 0;
}
