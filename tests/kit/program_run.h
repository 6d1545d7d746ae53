// Starts the built program as a user would and returns its exit status, standard output and standard error. The
// environment contains only what is set here or by the test (own HOME and PATH, a fixed locale, no display). The event
// loop runs while the program does, so a FakePatchServer in the same process can answer it.
#pragma once

#include "call_trace.h"
#include "running_systems.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <memory>

#include <csignal>

/** The result of a finished program. A run beyond its time limit is killed and counts as timed out and crashed. */
struct ProgramRun
{
    int status = -1;
    QByteArray output;
    QByteArray errors;
    bool crashed = false;
    bool timedOut = false;
};

/** Shows a whole run in the message of a failed check. */
QByteArray describe(const ProgramRun& run);

/**
 * Compares a whole run and fails the running test when it differs. Standard error is compared first, because it says
 * most about a failure.
 */
void compareRun(const ProgramRun& run, int status, const QByteArray& output, const QByteArray& errors = QByteArray());

/** A program that is still running; started by Program::start(). Killed when destroyed. */
class ProgramSession
{
public:
    ~ProgramSession();

    /** Waits until standard output contains the text. Returns false when the program ended first or the time is up. */
    [[nodiscard]] bool waitForOutput(const QByteArray& text);

    /** The standard output so far. */
    QByteArray output()
    {
        collect();
        return collectedOutput;
    }

    /** Gives the program a text on standard input, which stays open. */
    void write(const QByteArray& text)
    {
        process->write(text);
    }

    /** Ends standard input. */
    void closeInput()
    {
        process->closeWriteChannel();
    }

    /** Whether the program still runs. */
    bool isRunning()
    {
        return process->state() !=
               QProcess::NotRunning; // starting counts: the notice of the start may still be on its way
    }

    /** Sends the program a signal, unless it has ended: the number is 0 then, which means this process's own group. */
    void sendSignal(int signal)
    {
        if (process->processId() > 0) {
            ::kill(static_cast<pid_t>(process->processId()), signal);
        }
    }

    qint64 processId() const
    {
        return process->processId();
    }

    /** Waits for the program to end. */
    ProgramRun finish();

private:
    friend class Program;
    ProgramSession(std::unique_ptr<QProcess> startedProcess, int milliseconds);
    void collect();

    std::unique_ptr<QProcess> process;
    int timeLimit;
    QByteArray collectedOutput;
    QByteArray collectedErrors;
};

/**
 * A program to be started, the built tavrin_update unless another is named. By default it runs in C.UTF-8 with an empty
 * standard input, the system's PATH, no display and no running real-time systems.
 */
class Program
{
public:
    Program();
    explicit Program(const QString& executable);
    ~Program();

    Program& set(const QString& name, const QString& value)
    {
        environment.insert(name, value);
        return *this;
    }
    Program& unset(const QString& name)
    {
        environment.remove(name);
        return *this;
    }

    /** Preloads one more library into the program, though not into the tools that it starts. */
    Program& preload(const QString& library);

    /** Sets TAVRIN, the installed release. */
    Program& tavrin(const QString& releaseDirectory)
    {
        return set(QStringLiteral("TAVRIN"), releaseDirectory);
    }

    /** Sets LC_ALL: "C.UTF-8" or "C". */
    Program& locale(const QString& name)
    {
        return set(QStringLiteral("LC_ALL"), name);
    }

    /** Sets PATH. */
    Program& path(const QString& directories)
    {
        return set(QStringLiteral("PATH"), directories);
    }

    /** Gives the program Qt's offscreen platform, which needs no display. */
    Program& offscreen()
    {
        return set(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    }

    /** The text on standard input, which ends after it. */
    Program& input(const QByteArray& text)
    {
        inputText = text;
        return *this;
    }

    /** Starts the program without a standard input at all. */
    Program& closedInput()
    {
        return closedStreams({0});
    }

    /** Starts the program without these of its standard streams: 0 for input, 1 for output, 2 for errors. */
    Program& closedStreams(const QVector<int>& descriptors)
    {
        closedDescriptors = descriptors;
        return *this;
    }

    /** Starts the program with SIGCHLD blocked, which it inherits from a caller that blocked it. */
    Program& blockedChildSignal()
    {
        childSignalIsBlocked = true;
        return *this;
    }

    Program& workingDirectory(const QString& startDirectory)
    {
        directory = startDirectory;
        return *this;
    }

    /** Starts the program under another name, the first word of its command line. */
    Program& invokedAs(const QString& link)
    {
        executable = link;
        return *this;
    }

    /**
     * Makes the preloaded library report running systems: the lines of the file that fake_pidrtsys.cpp describes.
     * Replace them while the program runs by calling this again.
     */
    Program& runningSystems(const QByteArray& lines)
    {
        systems.set(lines);
        return *this;
    }

    /** How often the started program asked for the running systems. */
    int runningSystemQueries() const
    {
        return systems.queries();
    }

    /** Has the started program note every text that it translates. */
    Program& recordTexts();

    /** The texts of all runs since recordTexts(), each as "context|text". */
    QStringList recordedTexts() const;

    /** Has strace note what the started program does to files and processes; leaks are not looked for then. */
    Program& traceCalls()
    {
        isTraced = true;
        return *this;
    }

    /** What strace noted in the last run. */
    QList<SystemCall> tracedCalls() const
    {
        return callsIn(traceFile());
    }

    /** How long a run may take before it is killed; in milliseconds. */
    Program& timeLimit(int milliseconds)
    {
        limit = milliseconds;
        return *this;
    }

    /** The program's own HOME, gone with this object. */
    QString home() const
    {
        return homeDirectory.path();
    }

    ProgramRun run(const QStringList& arguments);
    std::unique_ptr<ProgramSession> start(const QStringList& arguments);

private:
    void preloadFakeLibrary();
    QString traceFile() const;

    QString executable;
    QStringList wrapper; // a command that runs the program, from TAVRIN_TEST_WRAPPER; not for other programs
    QString directory;
    QProcessEnvironment environment;
    QTemporaryDir homeDirectory;
    RunningSystems systems;
    QByteArray inputText;
    QVector<int> closedDescriptors;
    bool childSignalIsBlocked = false;
    bool isTraced = false;
    int limit = 60000;
};
