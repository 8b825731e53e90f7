// The program's own FcFreeTypeQuery(), which Qt's platform plugin finds before fontconfig's. See
// font_query.h.
#include <dlfcn.h>

#include "app/font_query.h"

// As fcfreetype.h declares it; that header would want FreeType's.
extern "C" __attribute__((visibility("default"))) FcPattern* FcFreeTypeQuery(const FcChar8* file, unsigned id,
                                                                             FcBlanks* blanks, int* count);

FcPattern* FcFreeTypeQuery(const FcChar8* file, unsigned id, FcBlanks* blanks, int* count)
{
    if (FcPattern* const known = knownFontPattern(file, id, *count))
        return known;
    using Query = FcPattern* (*)(const FcChar8*, unsigned, FcBlanks*, int*);
    static const auto fontconfigs = reinterpret_cast<Query>(dlsym(RTLD_NEXT, "FcFreeTypeQuery"));
    return fontconfigs != nullptr ? fontconfigs(file, id, blanks, count) : nullptr;
}
