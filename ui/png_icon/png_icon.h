#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

// The icon in a PNG file. The format is named because Qt, left to find it out, loads every image plugin of
// the desktop to ask each, at every start. GUI thread, like any pixmap.
inline QIcon pngIcon(const QString& path)
{
    return QIcon(QPixmap(path, "PNG"));
}
