// A helper that does not end within half a minute counts as failed.
#include "helper_run.h"

#include <QProcess>

HelperRun runHelper(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    HelperRun run;
    if (process.waitForFinished() && process.exitStatus() == QProcess::NormalExit) {
        run.status = process.exitCode();
    }
    run.output = process.readAllStandardOutput();
    run.errors = process.readAllStandardError();
    return run;
}

void requireHelper(const QString& program, const QStringList& arguments)
{
    const HelperRun run = runHelper(program, arguments);
    if (run.status != 0) {
        qFatal("%s failed with status %d: %s", qUtf8Printable(program), run.status, run.errors.constData());
    }
}

QString startErrorOf(const QString& program)
{
    QProcess process;
    process.start(program, QStringList());
    process.waitForStarted();
    return process.errorString();
}
