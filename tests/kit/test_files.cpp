// A file that cannot be read makes the comparison fail with that text.
#include "test_files.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

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
        const QString entry = walk.next();
        const QString name = QDir(directory).relativeFilePath(entry);
        struct stat status = {};
        if (::lstat(QFile::encodeName(entry).constData(), &status) != 0) {
            qFatal("cannot look at %s", qUtf8Printable(entry));
        }
        const QString mode = QString::number(status.st_mode & 07777, 8);
        if (S_ISLNK(status.st_mode)) {
            lines << QStringLiteral("l %1 -> %2").arg(name, QFileInfo(entry).symLinkTarget());
        } else if (S_ISDIR(status.st_mode)) {
            lines << QStringLiteral("d %1 %2/").arg(mode, name);
        } else {
            const QByteArray content = contentOf(entry);
            const QByteArray hash = QCryptographicHash::hash(content, QCryptographicHash::Sha1).toHex();
            lines << QStringLiteral("f %1 %2 %3 %4")
                         .arg(mode, QString::number(content.size()), QString::fromLatin1(hash), name);
        }
    }
    lines.sort();
    return lines;
}

void writeTestFile(const QString& fileName, const QByteArray& content)
{
    QFile file(fileName);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush();
    if (!isWritten) {
        qFatal("cannot write %s: %s", qUtf8Printable(fileName), qUtf8Printable(file.errorString()));
    }
}
