// The kernel has a folder for each thread below /proc.
#include "at_rest.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <sys/syscall.h>
#include <unistd.h>

qint64 turnsAtRest(qint64 processId)
{
    const QDir tasks(QStringLiteral("/proc/%1/task").arg(processId));
    const QString own = QString::number(::syscall(SYS_gettid));
    qint64 turns = 0;
    const QStringList names = tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        if (name == own) {
            continue;
        }
        QFile status(tasks.filePath(name + QStringLiteral("/status")));
        QFile children(tasks.filePath(name + QStringLiteral("/children")));
        if (!status.open(QIODevice::ReadOnly) || !children.open(QIODevice::ReadOnly) || !children.readAll().isEmpty()) {
            return -1; // a thread that has just ended was running before
        }
        const QByteArray text = status.readAll();
        if (!text.contains("\nState:\tS")) {
            return -1;
        }
        for (const QByteArray& line : text.split('\n')) {
            turns += line.contains("ctxt_switches") ? line.split('\t').last().toLongLong() : 0;
        }
    }
    return turns;
}
