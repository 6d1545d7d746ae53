// Calls of the forms into Qt whose effect cannot be read back: on the offscreen platform no menu bar is native anyway,
// and a scroll area replaces the geometry of its contents.
#pragma once

#include <QHash>
#include <QRect>
#include <QString>
#include <QVector>

struct NotedCalls
{
    QVector<bool> nativeMenuBar;
    QMultiHash<QString, QRect> geometries; // under the object's name
};

/** The calls since the start of the program; a test clears them before its own. */
NotedCalls& notedCalls();
