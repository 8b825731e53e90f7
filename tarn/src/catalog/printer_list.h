#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/src/engine/backend.h"

namespace tarn::catalog {

// One printer as tarn_setPrinterList named it, byte for byte.
struct ListedPrinter
{
    std::string printerName;
    std::string manufacturer;
    std::string model;
    std::string ip;
    std::optional<std::uint32_t> address; // of ip; nothing where that is none
};

// The printers of a list document (null or an array of objects), in its order; nothing when it is none. An
// element that is no object is a printer without any text, so that the list never gets shorter than it was
// sent.
std::optional<std::vector<ListedPrinter>> parsePrinterList(std::string_view text);

// Appends the element of the list document that tells of a printer that was named.
void appendListed(std::string& out, const ListedPrinter& printer, std::string_view detectedModel,
                  std::string_view description);
// The same of one that was found.
void appendListed(std::string& out, const engine::DiscoveredPrinter& printer);

} // namespace tarn::catalog
