// The file is replaced by renaming, because the process under test may read it at any moment.
#include "running_systems.h"

#include <QFile>
#include <QSaveFile>

QByteArray runningSystem(const QByteArray& version, const QByteArray& user, const QByteArray& directory, int pid)
{
    return version + '\t' + user + '\t' + directory + '\t' + QByteArray::number(pid) + '\n';
}

RunningSystems::RunningSystems(const QString& directory) : folder(directory)
{
}

void RunningSystems::set(const QByteArray& lines) const
{
    QSaveFile systems(file());
    if (!systems.open(QIODevice::WriteOnly) || systems.write(lines) != lines.size() || !systems.commit()) {
        qFatal("cannot write %s", qUtf8Printable(systems.fileName()));
    }
}

int RunningSystems::queries() const
{
    QFile record(log());
    return record.open(QIODevice::ReadOnly) ? record.readAll().count('\n') : 0;
}

QString RunningSystems::file() const
{
    return folder + QStringLiteral("/running-systems");
}

QString RunningSystems::log() const
{
    return folder + QStringLiteral("/running-system-queries");
}
