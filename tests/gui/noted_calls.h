// Calls of the forms into Qt that leave nothing to look at afterwards: on the offscreen platform no menu bar is native
// anyway, and a scroll area replaces the geometry of its contents when it takes them.
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

/** What was called since the program began; a test empties it before it looks. */
NotedCalls& notedCalls();
