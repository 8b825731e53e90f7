#include <cstdint>
#include <cstdlib>
#include <string>

#include "tests/fuzz/ipp_checks.h"

// One value a line: a letter for the attribute ('a' for the first that is asked for), '#' and a number or
// anything else, then the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tarn::ipp::IppAttributes attributes;
    std::string rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::string line = rest.substr(0, rest.find('\n'));
        rest.erase(0, line.size() + 1);
        if (line.size() < 2) {
            continue;
        }
        tarn::ipp::IppValue value;
        if (line[1] == '#') {
            value.number = std::strtol(line.c_str() + 2, nullptr, 10);
        } else {
            value.text = line.substr(2);
        }
        attributes.add(tarn::ipp::kWantedAttributes[static_cast<std::uint8_t>(line[0] - 'a') %
                                                    tarn::ipp::kWantedAttributes.size()],
                       std::move(value));
    }
    checkIppStatus(attributes);
    return 0;
}
