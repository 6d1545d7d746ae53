// Between fork and exec only async-signal-safe functions are called; everything else is prepared before.
#include "real_process.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>

#include <csignal>
#include <vector>

#include <grp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace {

std::vector<char*> pointersTo(QByteArrayList& texts)
{
    std::vector<char*> pointers;
    for (QByteArray& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}

void require(bool condition, const char* what, const QByteArray& subject)
{
    if (!condition) {
        qFatal("cannot %s %s", what, subject.constData());
    }
}

} // namespace

QByteArray procFile(pid_t pid, const char* name)
{
    QFile file(QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

RealProcess::RealProcess(Start start) : commandLine(start.arguments.join('\0') + '\0')
{
    const std::vector<char*> arguments = pointersTo(start.arguments);
    const std::vector<char*> environment = pointersTo(start.environment);
    const pid_t parent = getpid();
    child = fork();
    if (child == 0) {
        const bool ready = chdir(start.directory.constData()) == 0 &&
                           (start.user == geteuid() || (setgroups(0, nullptr) == 0 && setuid(start.user) == 0)) &&
                           prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent;
        if (ready) {
            execve(start.program.constData(), arguments.data(), environment.data());
        }
        _exit(127);
    }
}

RealProcess::~RealProcess()
{
    if (child > 0) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

pid_t RealProcess::pid() const
{
    return child;
}

bool RealProcess::isUp() const
{
    const QDeadlineTimer deadline(PATIENCE);
    while (child > 0 && !hasEnded() && !deadline.hasExpired()) {
        if (procFile(child, "cmdline") == commandLine) {
            return true;
        }
        usleep(500);
    }
    return false;
}

bool RealProcess::hasEnded() const
{
    siginfo_t information = {};
    return waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT | WNOHANG) == 0 &&
           information.si_pid == child;
}

bool RealProcess::becomeZombie() const
{
    siginfo_t information = {};
    return kill(child, SIGKILL) == 0 && waitid(P_PID, static_cast<id_t>(child), &information, WEXITED | WNOWAIT) == 0;
}

SleepCopies::SleepCopies()
{
    require(directory.isValid(), "make a folder for copies of", "sleep");
    // Systems of other users are started from here, too.
    require(::chmod(QFile::encodeName(path()).constData(), 0755) == 0, "open the folder", QFile::encodeName(path()));
    add("rtexec");
}

QByteArray SleepCopies::add(const QByteArray& name) const
{
    const QString original = QStandardPaths::findExecutable(QStringLiteral("sleep"));
    require(!original.isEmpty(), "find", "sleep");
    const QString copy = path(QString::fromLatin1(name));
    require(QFile::exists(copy) || QFile::copy(original, copy), "make", QFile::encodeName(copy));
    return QFile::encodeName(copy);
}

QString SleepCopies::path(const QString& name) const
{
    return name.isEmpty() ? directory.path() : directory.filePath(name);
}

QString SleepCopies::remove()
{
    return directory.remove() ? QString() : directory.errorString();
}

Start SleepCopies::systemStart() const
{
    Start start;
    start.program = QFile::encodeName(path(QStringLiteral("rtexec")));
    return start;
}
