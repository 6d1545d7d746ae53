// Files that a test reads back after a run, and the scarce file system that it puts below one.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** What a file holds; for one that cannot be read a text that says so, which no test expects. */
QByteArray contentOf(const QString& fileName);

/** Every entry below a directory, sorted, each with its mode and a hash of what is in it. */
QStringList listingOf(const QString& directory);

/** A small file system on an existing directory, as long as this object lives. */
class SmallDisk
{
public:
    SmallDisk(const QString& directory, qint64 size);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

private:
    QString path;
};
