#pragma once

#include "tools/tarn-status/explain/verdict.h"
#include "tools/tarn-status/words.h"

namespace tarnstatus {

// What a cause is called and what to do about it. {words} in braces stand for what the report knows.
struct CauseText
{
    Cause cause;
    const char* englishCause;
    const char* chineseCause;
    const char* englishDeed;
    const char* chineseDeed;

    const char* causeIn(Language language) const { return say(language, englishCause, chineseCause); }
    const char* deedIn(Language language) const { return say(language, englishDeed, chineseDeed); }
};

const CauseText& causeText(Cause cause);

} // namespace tarnstatus
