// Reads what "strace -f" writes: a line for each call, begun with the number of the task. A call during which another
// task makes one is written as two lines, "<unfinished ...>" and "<... resumed>". Everything runs in a PID namespace of
// its own, so that nothing is left when the command is killed: strace alone would leave what it traces.
#include "call_trace.h"

#include "test_files.h"

#include <QHash>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>

namespace {

const QList<QByteArray> OPENING{"open", "openat", "openat2", "creat"};
const QList<QByteArray> CHANGING{"rename",    "renameat",    "renameat2",    "unlink",       "unlinkat", "rmdir",
                                 "mkdir",     "mkdirat",     "mknod",        "mknodat",      "link",     "linkat",
                                 "symlink",   "symlinkat",   "truncate",     "ftruncate",    "chmod",    "fchmod",
                                 "fchmodat",  "chown",       "fchown",       "lchown",       "fchownat", "utime",
                                 "utimes",    "utimensat",   "futimesat",    "fallocate",    "setxattr", "lsetxattr",
                                 "fsetxattr", "removexattr", "lremovexattr", "fremovexattr", "mount",    "umount2"};
const QList<QByteArray> STARTING{"execve", "execveat"};
const QList<QByteArray> SIGNALLING{
    "kill", "tkill", "tgkill", "rt_sigqueueinfo", "rt_tgsigqueueinfo", "pidfd_send_signal"};
const QList<QByteArray> DIVIDING{"fork", "vfork", "clone", "clone3"};

struct TaskLine
{
    int task = 0;
    QByteArray text;
};

// The lines of the file with the two halves of each interrupted call joined, in the place of the second.
QList<TaskLine> wholeLines(const QString& file)
{
    QList<TaskLine> lines;
    QHash<int, QByteArray> begun;
    const QByteArray unfinished = " <unfinished ...>";
    const QByteArray detached = " <detached ...>"; // the process ended during the call
    const QByteArray resumed = " resumed>";
    const QList<QByteArray> texts = contentOf(file).split('\n');
    for (const QByteArray& text : texts) {
        const int blank = text.indexOf(' ');
        const int task = text.left(blank).toInt();
        const QByteArray call = text.mid(blank).trimmed();
        if (call.startsWith("???")) {
            continue; // ended before strace knew which call it was
        }
        if (call.endsWith(unfinished)) {
            begun[task] = call.left(call.size() - unfinished.size());
        } else if (call.endsWith(detached)) {
            begun[task] = call.left(call.size() - detached.size());
        } else if (call.startsWith("<... ")) {
            lines.append({task, begun.take(task) + call.mid(call.indexOf(resumed) + resumed.size())});
        } else if (!call.isEmpty()) {
            lines.append({task, call});
        }
    }
    for (auto call = begun.cbegin(); call != begun.cend(); ++call) {
        lines.append({call.key(), call.value() + ") = ?"});
    }
    return lines;
}

SystemCall parsed(const TaskLine& line)
{
    static const QRegularExpression form(QStringLiteral(R"(^(\w+)\((.*)\)\s+= (.+)$)"),
                                         QRegularExpression::DotMatchesEverythingOption);
    const QRegularExpressionMatch match = form.match(QString::fromLatin1(line.text));
    if (!match.hasMatch()) {
        qFatal("cannot read strace's line '%s'", line.text.constData());
    }
    SystemCall call;
    call.name = match.captured(1).toLatin1();
    call.arguments = match.captured(2).toLatin1();
    call.result = match.captured(3).toLatin1();
    call.process = line.task;
    return call;
}

bool succeeded(const SystemCall& call)
{
    return !call.result.startsWith("-1 ") && call.result != "?";
}

} // namespace

bool SystemCall::opensForWriting() const
{
#ifdef TAVRIN_COVERAGE
    if (file().endsWith(".gcda")) {
        return false; // the counters of the build, which no user has
    }
#endif
    static const QRegularExpression writing(QStringLiteral("O_(WRONLY|RDWR|CREAT|TRUNC|APPEND|TMPFILE)"));
    const QByteArray flags = arguments.mid(arguments.lastIndexOf('"')); // never part of the name
    return name == "creat" || (OPENING.contains(name) && writing.match(QString::fromLatin1(flags)).hasMatch());
}

bool SystemCall::changesFiles() const
{
    return opensForWriting() || CHANGING.contains(name);
}

bool SystemCall::startsProgram() const
{
    return STARTING.contains(name);
}

bool SystemCall::sendsSignal() const
{
    return SIGNALLING.contains(name);
}

QByteArray SystemCall::file() const
{
    const int opened = result.indexOf('<') + 1;
    if (opened > 0) {
        return result.mid(opened, result.lastIndexOf('>') - opened);
    }
    const int given = arguments.indexOf('"') + 1;
    return given > 0 ? arguments.mid(given, arguments.indexOf('"', given) - given) : arguments;
}

QByteArray SystemCall::startedCommand() const
{
    const int start = arguments.indexOf(", [") + 3;
    return arguments.mid(start, arguments.lastIndexOf(']') - start);
}

QList<QByteArray> filesWrittenByProgram(const QList<SystemCall>& calls)
{
    QList<QByteArray> files;
    for (const SystemCall& call : calls) {
        const QByteArray file = call.file();
        if (call.isOfProgram && call.changesFiles() && !files.contains(file)) {
            files << file;
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

QList<QByteArray> commandsStartedByProgram(const QList<SystemCall>& calls)
{
    QList<QByteArray> commands;
    for (const SystemCall& call : calls) {
        if (call.isOfProgram && call.startsProgram()) {
            commands << call.startedCommand();
        }
    }
    return commands;
}

QByteArray commandOf(const QStringList& words)
{
    return '"' + words.join(QStringLiteral("\", \"")).toUtf8() + '"';
}

QList<QByteArray> signalsOfProgram(const QList<SystemCall>& calls)
{
    return linesOf(calls, [](const SystemCall& call) { return call.isOfProgram && call.sendsSignal(); });
}

QStringList traceCommand(const QString& file, const QString& preloadedLibraries)
{
    const QString strace = QStandardPaths::findExecutable(QStringLiteral("strace"));
    if (strace.isEmpty()) {
        qFatal("strace is not installed");
    }
    QStringList names;
    for (const QByteArray& name : OPENING + CHANGING + STARTING + SIGNALLING + DIVIDING) {
        names << '?' + QString::fromLatin1(name); // some processors do not have all of them
    }
    return {"unshare",
            "--pid",
            "--fork",
            "--kill-child",
            strace,
            "-f",
            "--seccomp-bpf",
            "-qq",
            "-y",
            "-s",
            "65536",
            "-e",
            "signal=none",
            "-e",
            "trace=" + names.join(','),
            "-E",
            "LD_PRELOAD=" + preloadedLibraries,
            "-o",
            file};
}

QList<SystemCall> callsIn(const QString& file)
{
    QList<SystemCall> calls;
    QHash<int, int> processOfThread;
    QSet<int> copies;
    const QList<TaskLine> lines = wholeLines(file);
    for (const TaskLine& line : lines) {
        calls << parsed(line);
    }
    const auto leader = [&processOfThread](int task) {
        return processOfThread.value(task, task);
    };

    // A new task may come before the end of the call that made it, so these calls are read first.
    const int first = calls.value(0).process;
    copies.insert(first);
    QSet<int> changed;
    for (const SystemCall& call : qAsConst(calls)) {
        const int process = leader(call.process);
        if (call.startsProgram() && succeeded(call) && process != first) {
            changed.insert(process);
        } else if (DIVIDING.contains(call.name) && succeeded(call)) {
            const int task = call.result.split(' ').first().toInt();
            if (call.arguments.contains("CLONE_THREAD")) {
                processOfThread[task] = process;
            } else if (copies.contains(process) && !changed.contains(process)) {
                copies.insert(task);
            }
        }
    }
    changed.clear();
    for (SystemCall& call : calls) {
        call.process = leader(call.process);
        call.isOfProgram = copies.contains(call.process) && !changed.contains(call.process);
        if (call.startsProgram() && succeeded(call) && call.process != first) {
            changed.insert(call.process);
        }
    }
    return calls;
}
