// A disk that cannot be made or taken away is no result of a test, so it ends the program.
#include "test_files.h"

#include "private_opt.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>

QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "cannot read " + fileName.toUtf8();
}

QStringList listingOf(const QString& directory)
{
    QStringList lines;
    const QDir::Filters filters = QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot;
    QDirIterator walk(directory, filters, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QFileInfo entry(walk.next());
        const QString name = QDir(directory).relativeFilePath(entry.filePath());
        const QByteArray content = entry.isDir() ? QByteArray("directory") : contentOf(entry.filePath());
        const QByteArray hash = QCryptographicHash::hash(content, QCryptographicHash::Sha1).toHex();
        lines
            << QStringLiteral("%1 %2 %3").arg(name).arg(int(entry.permissions()), 0, 16).arg(QString::fromLatin1(hash));
    }
    lines.sort();
    return lines;
}

SmallDisk::SmallDisk(const QString& directory, qint64 size) : path(directory)
{
    QString error;
    if (!mountTmpfs(path, size, &error)) {
        qFatal("%s", qUtf8Printable(error));
    }
}

SmallDisk::~SmallDisk()
{
    QString error;
    if (!unmount(path, &error)) {
        qFatal("%s", qUtf8Printable(error));
    }
}
