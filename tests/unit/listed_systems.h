// The answer of the stand-in library while real processes named rtexec run, and what its test programs share. Other
// tests may run such processes at the same time, so records are found by the number of their process.
#pragma once

#include "pidrtsys.h"
#include "real_process.h"
#include "test.h"

#include <memory>
#include <vector>

/** A record of the library's answer; all empty for a process that is not listed. */
struct Listed
{
    pid_t pid = 0;
    QByteArray version;
    QByteArray userName;
    QByteArray workingDirectory;
};

/** The library's answer as text, one line a record; "inconsistent" when array and number do not go together. */
QByteArray answer();

/** The records in an answer. */
QVector<Listed> recordsIn(const QByteArray& text);

/** The record of a process. */
Listed recordOf(const RealProcess& process, const QByteArray& text = answer());

/** "COUNT array" or "COUNT null", for what the library gave away; the memory behind the array is released. */
QByteArray countAndArray();

/** A process that runs its program; the running test fails where it does not come to that. */
struct StartedProcess : RealProcess
{
    explicit StartedProcess(const Start& start);
};

/** Starts a process and looks once. The running test fails where it is not listed. */
Listed recordOfStarted(const Start& start);

/** Processes that all run their programs. */
using StartedProcesses = std::vector<std::unique_ptr<StartedProcess>>;

/** The name of a user, the number where there is none. */
QByteArray nameOf(uid_t user);

/** What a test function of the library needs: programs to start as systems. */
class PidrtsysTest : public Test
{
    Q_OBJECT

protected:
    /** A system of release 5.9 with this environment and this first argument. */
    Start systemStart(const QByteArrayList& environment, const QByteArray& firstArgument = "rtexec") const;

    SleepCopies copies;

private slots:
    void cleanupTestCase();
};
