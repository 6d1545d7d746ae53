// The running real-time systems that a process under test sees, through the preloaded or linked fake library: a file
// with one line for each system, which is read at each query, and the record of the queries.
#pragma once

#include <QByteArray>
#include <QString>

/** One line of the file: a system of the release, started by the user in the directory. */
QByteArray runningSystem(const QByteArray& version = "5.9", const QByteArray& user = "operator",
                         const QByteArray& directory = "/home/operator/run", int pid = 4711);

/** The running systems of one process; none at first. */
class RunningSystems
{
public:
    /** Keeps its files in an existing directory. */
    explicit RunningSystems(const QString& directory);

    /** One line per system, as runningSystem() makes it; the first line may be a directive of the fake library. */
    void set(const QByteArray& lines) const;

    /** How often they were asked for. */
    int queries() const;

    /** The values of FAKE_PIDRTSYS and FAKE_PIDRTSYS_LOG in the process. */
    QString file() const;
    QString log() const;

private:
    QString folder;
};
