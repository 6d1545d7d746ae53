// Files that a test writes before a run and reads back after it.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** What a file holds; for one that cannot be read a text that says so, which no test expects. */
QByteArray contentOf(const QString& fileName);

/** Every entry below a directory, sorted: "d MODE NAME/", "l NAME -> TARGET", "f MODE SIZE HASH NAME". */
QStringList listingOf(const QString& directory);

/** Writes a file, replacing what was there; a failure ends the test program. */
void writeTestFile(const QString& fileName, const QByteArray& content);
