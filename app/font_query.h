#pragma once

#include <fontconfig/fontconfig.h>

// What fontconfig knows already of one face of a font file: the pattern that FcFreeTypeQuery() would read
// from the file, taken from the desktop's font cache. The caller owns it. Null when the file is none of the
// desktop's fonts, or the cache lacks that face; faceCount is then unchanged.
//
// The program exports a FcFreeTypeQuery() of its own that asks this first, for Qt's sake: Qt reads an
// application font twice, when it is added and when it is first used, and a Chinese font's list of characters
// costs seven milliseconds each time, before the first window is there. Links to the desktop's font count as
// that font. Threading: as fontconfig, any thread.
FcPattern* knownFontPattern(const FcChar8* file, unsigned face, int& faceCount);
