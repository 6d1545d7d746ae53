// What Qt may load for a window besides itself. Left alone it loads what the desktop or the machine suggests (a theme
// and a style, an input method, a bus for assistive technology), and the windows look different or their leaks are
// those of others. With these settings it loads the same everywhere, whatever else is installed.
#pragma once

#include <QPair>
#include <QString>
#include <QVector>

inline QVector<QPair<QString, QString>> desktopSettings()
{
    return {
        {QStringLiteral("QT_QPA_PLATFORMTHEME"), QStringLiteral("generic")},
        {QStringLiteral("QT_STYLE_OVERRIDE"), QStringLiteral("fusion")},
        {QStringLiteral("QT_IM_MODULE"), QStringLiteral("compose")},
        {QStringLiteral("QT_QPA_OFFSCREEN_NO_GLX"), QStringLiteral("1")},
        // Without an address a library would start a bus for the display, which would outlive it.
        {QStringLiteral("DBUS_SESSION_BUS_ADDRESS"), QStringLiteral("disabled:")},
    };
}
