// Starts the built program as a user would and keeps what it left: exit status, standard output, standard error. The
// environment is built from nothing (own HOME, own PATH, a fixed locale, no display), so a test says all that matters.
// While a program runs the event loop turns, and a FakePatchServer in the same process can answer it.
#pragma once

#include "running_systems.h"

#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QVector>

#include <memory>

/** What a finished program left. A run beyond its time limit is killed and counts as timed out and crashed. */
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
 * Compares a whole run and fails the running test where it differs. The standard error comes first: it tells most when
 * something went wrong.
 */
void compareRun(const ProgramRun& run, int status, const QByteArray& output, const QByteArray& errors = QByteArray());

/** A program that is still running; started by Program::start(). Killed when destroyed. */
class ProgramSession
{
public:
    ~ProgramSession();

    /** Waits until standard output, as far as it came, contains the text. Returns false when it ended or time is up. */
    [[nodiscard]] bool waitForOutput(const QByteArray& text);

    /** What standard output gave so far. */
    QByteArray output();

    /** Gives the program a text on standard input, which stays open. */
    void write(const QByteArray& text);

    /** Ends standard input. */
    void closeInput();

    /** Whether the program still runs. */
    bool isRunning();

    /** Sends the program a signal. */
    void sendSignal(int signal);

    qint64 processId() const;

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
 * A program about to be started, the built tavrin_update unless another is named. Without further words it runs in
 * C.UTF-8 with an empty standard input, the system's PATH, no display and no running real-time systems.
 */
class Program
{
public:
    Program();
    explicit Program(const QString& executable);
    ~Program();

    Program& set(const QString& name, const QString& value);
    Program& unset(const QString& name);

    /** Preloads one more library into the program, though not into the tools that it starts. */
    Program& preload(const QString& library);

    /** Sets TAVRIN, the installed release. */
    Program& tavrin(const QString& directory);

    /** Sets LC_ALL: "C.UTF-8" or "C". */
    Program& locale(const QString& name);

    /** Sets PATH. */
    Program& path(const QString& directories);

    /** Gives the program Qt's offscreen platform, which needs no display. */
    Program& offscreen();

    /** The text on standard input, which ends after it. */
    Program& input(const QByteArray& text);

    /** Starts the program without a standard input at all. */
    Program& closedInput();

    /** Starts the program without these of its standard streams: 0 for input, 1 for output, 2 for errors. */
    Program& closedStreams(const QVector<int>& descriptors);

    /** Starts the program with SIGCHLD blocked, as a caller may leave it to the programs that it starts. */
    Program& blockedChildSignal();

    Program& workingDirectory(const QString& startDirectory);

    /** Starts the program under another name, the first word of its command line. */
    Program& invokedAs(const QString& link);

    /**
     * Makes the preloaded library report running systems: the lines of the file that fake_pidrtsys.cpp describes.
     * Replace them while the program runs by calling this again.
     */
    Program& runningSystems(const QByteArray& lines);

    /** How often the started program asked for the running systems. */
    int runningSystemQueries() const;

    /** Has the started program note every text that it translates. */
    Program& recordTexts();

    /** The texts of all runs since recordTexts(), each as "context|text". */
    QStringList recordedTexts() const;

    /** How long a run may take before it is killed; in milliseconds. */
    Program& timeLimit(int milliseconds);

    /** The program's own HOME, gone with this object. */
    QString home() const;

    ProgramRun run(const QStringList& arguments);
    std::unique_ptr<ProgramSession> start(const QStringList& arguments);

private:
    void preloadFakeLibrary();

    QString executable;
    QString directory;
    QProcessEnvironment environment;
    QTemporaryDir homeDirectory;
    RunningSystems systems;
    QByteArray inputText;
    QVector<int> closedDescriptors;
    bool childSignalIsBlocked = false;
    int limit = 60000;
};
