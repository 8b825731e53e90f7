#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/catalog/last_values.h"
#include "tarn/src/device/utf8.h"

// Any text is a list of values or none. What was understood stays within its bounds, and its own text means
// the same again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using tarn::catalog::LastValues;
    LastValues values;
    std::string complaint;
    (void)values.parse(std::string_view(reinterpret_cast<const char*>(data), size), complaint);
    const std::string text = values.text();
    if (values.size() > LastValues::kMostPrinters || text.size() > LastValues::kLargestText ||
        !tarn::device::isValidUtf8(text)) {
        std::abort();
    }
    LastValues again;
    complaint.clear();
    (void)again.parse(text, complaint);
    if (!complaint.empty() || again.text() != text) {
        std::abort();
    }
    return 0;
}
