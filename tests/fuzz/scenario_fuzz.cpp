#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/printer-sim/recording.h"
#include "tools/printer-sim/scenario.h"

// Any text is either refused with a line inside of it, or describes a printer that can be asked at any time.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const auto rows = printersim::rowsOf(printersim::parseScenario(text));
        const printersim::Mib mib(rows);
        for (const double seconds : {0.0, 1.5, 59.9, 60.0, 1e9}) {
            for (const auto& row : mib.rows()) {
                (void)row.source({seconds, seconds + 10, 7, 0x7F000001});
            }
        }
    } catch (const printersim::InputError& error) {
        const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        const auto returns = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\r'));
        if (error.line() > lines + returns) {
            std::abort();
        }
    }
    return 0;
}
