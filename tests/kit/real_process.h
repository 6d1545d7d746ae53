// Real processes with a chosen environment, directory, arguments and user: copies of `sleep` under the name that makes
// a process a running system, or under another.
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QTemporaryDir>

#include <sys/types.h>
#include <unistd.h>

/** Milliseconds for a condition that is met at once on an idle machine. */
constexpr int PATIENCE = 20000;

/** What to start; the defaults make a system of release 5.9 of the user who runs the test. */
struct Start
{
    QByteArray program;
    QByteArrayList arguments = {"rtexec", "600"};
    QByteArrayList environment = {"LANG=C", "TAVRIN=/opt/tavrin/5.9"};
    QByteArray directory = "/";
    uid_t user = geteuid();
};

/** A file of the kernel's about a process; empty when there is none. */
QByteArray procFile(pid_t pid, const char* name);

/** A started process; it is ended and reaped with the object, and killed by the kernel should the test itself die. */
class RealProcess
{
public:
    explicit RealProcess(Start start);
    ~RealProcess();
    RealProcess(const RealProcess&) = delete;
    RealProcess& operator=(const RealProcess&) = delete;

    pid_t pid() const;

    /** Waits until the program runs: the kernel shows the new command line once all of the new image is in place. */
    bool isUp() const;

    bool hasEnded() const;

    /** Kills it without reaping it. */
    bool becomeZombie() const;

private:
    QByteArray commandLine;
    pid_t child = -1;
};

/** A folder that every user may enter, with copies of `sleep`; one named rtexec is there from the start. */
class SleepCopies
{
public:
    SleepCopies();

    /** Adds a copy under another name. Returns its path. */
    QByteArray add(const QByteArray& name) const;

    /** The path of an entry of the folder, of the folder itself when the name is empty. */
    QString path(const QString& name = QString()) const;

    /** Removes the folder ahead of this object's end. Returns why that failed. */
    [[nodiscard]] QString remove();

    /** What starts the copy named rtexec. */
    Start systemStart() const;

private:
    QTemporaryDir directory;
};
