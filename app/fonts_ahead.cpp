#include "app/fonts_ahead.h"

#include <QFontDatabase>

#include <cstdlib>
#include <system_error>

#ifdef KEL_HAVE_FONTCONFIG
#include <fontconfig/fontconfig.h>
#endif

FontsAhead::FontsAhead()
{
#ifdef KEL_HAVE_FONTCONFIG
    if (std::getenv("DESKTOP_STARTUP_ID") != nullptr)
        return;
    try {
        m_reader = std::thread([] { FcInit(); });
    } catch (const std::system_error&) { // no thread to be had: Qt reads it later
    }
#endif
}

FontsAhead::~FontsAhead()
{
    wait();
}

void FontsAhead::fillList()
{
    try {
        m_lister = std::thread([this] {
            waitForReader();
            const QFontDatabase
                filled; // Qt fills its one list when the first of these is made, on any thread
        });
    } catch (const std::system_error&) { // no thread to be had: Qt fills it later
    }
}

void FontsAhead::wait()
{
    if (m_lister.joinable())
        m_lister.join();
    waitForReader();
}

void FontsAhead::waitForReader()
{
    if (m_reader.joinable())
        m_reader.join();
}
