#pragma once

#include <string_view>

namespace tarn::api {

// The texts that cross the ABI. Each begins with a hidden head that says whose it is, so that a caller who
// hands back the one text that stays the library's (the models) does no harm.

// A copy for the caller, NUL-terminated; null without memory.
char* newText(std::string_view text);
// A copy that tarn_freeStr leaves alone; null without memory. Ends with deleteInterned().
char* newInternedText(std::string_view text);

// Frees a text of newText() and sets the pointer to null. Null, and a pointer to null, are nothing to free.
void giveBack(char** text);
void deleteInterned(char* text);

} // namespace tarn::api
