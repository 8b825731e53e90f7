#include "app/fonts_ahead.h"

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

void FontsAhead::wait()
{
    if (m_reader.joinable())
        m_reader.join();
}
