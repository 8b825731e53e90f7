#pragma once

#include <string>

#include <json/value.h>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// The languages of what people read. What a printer calls its own parts stays as it is.
enum class Language
{
    English,
    Chinese,
};

// Chinese where LC_ALL, else LC_MESSAGES, else LANG, the first that is not empty, begins with "zh".
Language languageOfEnvironment();

// One of two ways to say the same. Where they are formats, compilers check both.
__attribute__((format_arg(2), format_arg(3))) inline const char* say(Language language, const char* english,
                                                                     const char* chinese)
{
    return language == Language::Chinese ? chinese : english;
}

// "ready", "needs attention", "offline" ...
std::string summaryOf(const Reading& reading, Language language);

// The alert in words: by its code where that is known, else what the printer itself says.
std::string alertText(const Json::Value& alert, Language language);
// The sub-unit that the alert names.
std::string alertPlace(const Json::Value& alert, Language language);

// "toner", "black": a supply's class and colour. A colour of the printer's own naming stays as it is.
std::string className(const Json::Value& supply, Language language);
std::string colourName(const Json::Value& supply, Language language);

std::string trayName(const Json::Value& tray, Language language);

// English for a keyword of the alert list; null when it is none.
const char* englishAlert(const std::string& keyword);
// What the library says in Chinese where a device gives nothing (names of trays, alerts without a text), in
// English; any other text as it is.
std::string englishForLibrary(const std::string& text);

} // namespace tarnstatus
