#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/printer-sim/recording.h"

// Any text is either refused with a line inside of it, or gives rows in the order of their names.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    try {
        const printersim::Mib mib(printersim::parseRecording(text));
        for (std::size_t i = 0; i < mib.rows().size(); ++i) {
            const printersim::Oid& name = mib.rows()[i].name;
            if (mib.find(name) == nullptr || mib.firstAfter(name) != i + 1 ||
                printersim::parseOid(printersim::oidText(name)) != name) {
                std::abort();
            }
        }
    } catch (const printersim::InputError& error) {
        const auto lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        if (error.line() == 0 || error.line() > lines) {
            std::abort();
        }
    }
    return 0;
}
