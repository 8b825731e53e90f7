#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tarn/src/api/library.h"
#include "tarn/src/base/json_input.h"
#include "tarn/tarn.h"
#include "tests/unit/tarn/support/fake_ports.h"

namespace {

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace

// The list exchange as a whole, two lists one after the other, divided by the first NUL octet: each is
// refused and changes nothing, or comes back with as many printers, in valid JSON, each of which can be
// opened by its name.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tarn::api::Library library({std::make_unique<tarn::BootClock>(),
                                std::make_unique<tarn::SystemRandom>(),
                                std::make_unique<tarn::test::SilentPort>(),
                                tarn::snmp::printerSessions(),
                                tarn::catalog::Config(),
                                std::string(),
                                {}});
    // Without back-ends nobody is waited for.
    require(library.setOptions(R"({"enable_backends": ""})") == TARN_OK);
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    for (int i = 0; i < 2; ++i) {
        const std::string before = library.printerList();
        const std::string_view text = rest.substr(0, rest.find('\0'));
        rest.remove_prefix(std::min(text.size() + 1, rest.size()));
        const int code = library.setPrinterList(text);
        require(code == TARN_OK || code == TARN_E_DOCUMENT);
        const std::string list = library.printerList();
        if (code != TARN_OK) {
            require(list == before);
            continue;
        }
        const auto printers = tarn::catalog::parsePrinterList(text);
        const auto root = tarn::parseJson(list, list.size());
        require(printers && root && root->isArray() && root->size() == printers->size());
        for (const tarn::catalog::ListedPrinter& printer : *printers) {
            tarn::api::OpenedPrinter opened;
            require(library.open(printer.printerName, opened) == TARN_OK && opened.snapshot &&
                    opened.ageMs == -1);
        }
    }
    return 0;
}
