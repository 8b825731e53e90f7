#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tarn/src/api/library.h"
#include "tarn/tarn.h"
#include "tests/unit/tarn/support/fake_ports.h"

// Any text is refused as a document, or taken; afterwards the list exchange works or is switched off.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tarn::api::Library library({std::make_unique<tarn::BootClock>(),
                                std::make_unique<tarn::SystemRandom>(),
                                std::make_unique<tarn::test::SilentPort>(),
                                tarn::snmp::printerSessions(),
                                tarn::catalog::Config(),
                                std::string(),
                                {}});
    const int code = library.setOptions(std::string_view(reinterpret_cast<const char*>(data), size));
    const int list = library.setPrinterList("[{}]");
    if ((code != TARN_OK && code != TARN_E_DOCUMENT) ||
        (list != TARN_OK && !(list == TARN_E_DISABLED && code == TARN_OK))) {
        std::abort();
    }
    return 0;
}
