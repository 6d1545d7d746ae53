// The running real-time systems that a process under test sees, through the preloaded or linked fake library: a file
// with one line a system, which is read at each query, and the record of the queries.
#pragma once

#include <QByteArray>
#include <QString>

/** One line of the file: a system of the release, started by the user in the directory. */
QByteArray runningSystem(const QByteArray& version = "5.9", const QByteArray& user = "operator",
                         const QByteArray& directory = "/home/operator/run", int pid = 4711);

/** The running systems of one process; none to begin with. */
class RunningSystems
{
public:
    /** Keeps its files in an existing directory. */
    explicit RunningSystems(const QString& directory);

    /** One line per system, as runningSystem() makes it, or a directive of the fake library in front. */
    void set(const QByteArray& lines) const;

    /** How often they were asked for. */
    int queries() const;

    /** What FAKE_PIDRTSYS and FAKE_PIDRTSYS_LOG have to be in the process. */
    QString file() const;
    QString log() const;

private:
    QString folder;
};
