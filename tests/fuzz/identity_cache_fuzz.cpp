#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/catalog/identity_cache.h"

// Any text is no cache, or one whose own text means the same again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tarn::catalog::IdentityCache cache;
    if (!cache.parse(std::string_view(reinterpret_cast<const char*>(data), size))) {
        return 0;
    }
    const std::string text = cache.text();
    tarn::catalog::IdentityCache again;
    if (!again.parse(text) || again.models() != cache.models() || again.text() != text) {
        std::abort();
    }
    return 0;
}
