#include "tarn/src/api/abi_string.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace tarn::api {

namespace {

struct Head
{
    std::uint64_t kind;
    std::uint64_t unused; // keeps the text aligned as malloc aligns
};
constexpr std::uint64_t kOwned = 0x7461726e54657874u;
constexpr std::uint64_t kInterned = 0x7461726e4b657074u;

char* make(std::string_view text, std::uint64_t kind)
{
    void* const memory = std::malloc(sizeof(Head) + text.size() + 1);
    if (memory == nullptr) {
        return nullptr;
    }
    const Head head{kind, 0};
    std::memcpy(memory, &head, sizeof head);
    char* const out = static_cast<char*>(memory) + sizeof head;
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
    return out;
}

char* headOf(char* text)
{
    return text - sizeof(Head);
}

} // namespace

char* newText(std::string_view text)
{
    return make(text, kOwned);
}

char* newInternedText(std::string_view text)
{
    return make(text, kInterned);
}

void giveBack(char** text)
{
    if (text == nullptr || *text == nullptr) {
        return;
    }
    std::uint64_t kind = 0;
    std::memcpy(&kind, headOf(*text), sizeof kind);
    if (kind == kOwned) {
        std::memset(headOf(*text), 0, sizeof kind);
        std::free(headOf(*text));
    }
    *text = nullptr;
}

void deleteInterned(char* text)
{
    if (text != nullptr) {
        std::free(headOf(text));
    }
}

} // namespace tarn::api
