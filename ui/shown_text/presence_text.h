#pragma once

#include <QString>

// What a row's lamp shows, in a word, for who does not see it.
inline QString presenceText(bool isGreen)
{
    return isGreen ? QStringLiteral("在线") : QStringLiteral("离线");
}
