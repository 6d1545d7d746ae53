// Starts a program under test in a clean environment, with the fake library preloaded, and runs the event loop until it
// ends. QProcess::waitForFinished() would keep a server in this process from answering.
#include "program_run.h"

#include "desktop_settings.h"
#include "test_paths.h"

#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <sys/resource.h>
#include <sys/types.h>
#include <unistd.h>

namespace {

class ChildProcess : public QProcess
{
public:
    ChildProcess(const QVector<int>& withoutDescriptors, bool withoutChildSignal)
        : closedDescriptors(withoutDescriptors), childSignalIsBlocked(withoutChildSignal)
    {
    }

protected:
    void setupChildProcess() override
    {
        for (const int descriptor : closedDescriptors) {
            ::close(descriptor);
        }
        if (childSignalIsBlocked) {
            sigset_t blocked;
            sigemptyset(&blocked);
            sigaddset(&blocked, SIGCHLD);
            ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
        }
        // Some runs are meant to end in an abort, whose core file no one needs.
        const rlimit noCore = {0, 0};
        ::setrlimit(RLIMIT_CORE, &noCore);
    }

private:
    const QVector<int> closedDescriptors;
    const bool childSignalIsBlocked;
};

// Runs the event loop until the condition is true, the process has ended or the time is up.
template <typename Condition>
bool turnUntil(QProcess& process, int timeLimit, Condition condition)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        const qint64 left = timeLimit - clock.elapsed();
        if (process.state() == QProcess::NotRunning || left <= 0) {
            return condition();
        }
        QEventLoop loop;
        QObject::connect(&process, &QProcess::readyReadStandardOutput, &loop, &QEventLoop::quit);
        QObject::connect(&process, &QProcess::stateChanged, &loop, &QEventLoop::quit);
        QTimer::singleShot(static_cast<int>(left), &loop, &QEventLoop::quit);
        loop.exec();
    }
    return true;
}

} // namespace

QByteArray describe(const ProgramRun& run)
{
    return "status " + QByteArray::number(run.status) + (run.crashed ? ", crashed" : "") +
           (run.timedOut ? ", timed out" : "") + "\nstandard output:\n" + run.output + "\nstandard error:\n" +
           run.errors;
}

void compareRun(const ProgramRun& run, int status, const QByteArray& output, const QByteArray& errors)
{
    ProgramRun expected;
    expected.status = status;
    expected.output = output;
    expected.errors = errors;
    // The start of the outputs is enough: a listing can have thousands of patches.
    const QByteArray message = "expected: " + describe(expected).left(4000) + "\nbut came: " + describe(run).left(4000);
    QVERIFY2(run.errors == errors, message);
    QVERIFY2(run.output == output, message);
    QVERIFY2(run.status == status && !run.crashed && !run.timedOut, message);
}

ProgramSession::ProgramSession(std::unique_ptr<QProcess> startedProcess, int milliseconds)
    : process(std::move(startedProcess)), timeLimit(milliseconds)
{
}

ProgramSession::~ProgramSession()
{
    if (process->state() != QProcess::NotRunning) {
        process->kill();
        process->waitForFinished();
    }
}

void ProgramSession::collect()
{
    collectedOutput += process->readAllStandardOutput();
    collectedErrors += process->readAllStandardError();
}

bool ProgramSession::waitForOutput(const QByteArray& text)
{
    return turnUntil(*process, timeLimit, [this, &text] {
        collect();
        return collectedOutput.contains(text);
    });
}

ProgramRun ProgramSession::finish()
{
    ProgramRun run;
    run.timedOut = !turnUntil(*process, timeLimit, [this] { return process->state() == QProcess::NotRunning; });
    if (run.timedOut) {
        process->kill();
        process->waitForFinished();
    }
    collect();
    run.output = collectedOutput;
    run.errors = collectedErrors;
    run.crashed = process->exitStatus() == QProcess::CrashExit;
    if (process->error() == QProcess::FailedToStart) {
        run.errors = "the program could not be started: " + process->errorString().toLocal8Bit();
        run.crashed = true;
    } else {
        run.status = process->exitCode();
    }
    return run;
}

Program::Program() : Program(programPath())
{
    wrapper = qEnvironmentVariable("TAVRIN_TEST_WRAPPER").split(QLatin1Char(' '));
    wrapper.removeAll(QString());
}

Program::Program(const QString& executablePath) : executable(executablePath), systems(homeDirectory.path())
{
    set(QStringLiteral("PATH"), QStringLiteral("/usr/local/bin:/usr/bin:/bin"));
    set(QStringLiteral("HOME"), homeDirectory.path());
    // Without this folder Qt makes one and says so on standard error.
    set(QStringLiteral("XDG_RUNTIME_DIR"), homeDirectory.path());
    locale(QStringLiteral("C.UTF-8"));
    for (const auto& [name, value] : desktopSettings()) {
        set(name, value);
    }
    const QProcessEnvironment callers = QProcessEnvironment::systemEnvironment();
    for (const char* name :
         {"ASAN_OPTIONS", "LSAN_OPTIONS", "UBSAN_OPTIONS", "LD_LIBRARY_PATH", "QT_PLUGIN_PATH", "VALGRIND_LAUNCHER"}) {
        const QString key = QString::fromLatin1(name);
        if (callers.contains(key)) {
            set(key, callers.value(key));
        }
    }
    preloadFakeLibrary();
}

Program::~Program() = default;

void Program::preloadFakeLibrary()
{
    set(QStringLiteral("LD_PRELOAD"), sanitizerRuntimePath());
    preload(fakePidrtsysPath());
    set(QStringLiteral("FAKE_PIDRTSYS"), systems.file());
    set(QStringLiteral("FAKE_PIDRTSYS_LOG"), systems.log());
    set(QStringLiteral("FAKE_PIDRTSYS_WATCHES_EXIT"), QStringLiteral("1"));
}

// The loader splits the list at blanks and colons, so the library is reached through a link without any.
Program& Program::preload(const QString& library)
{
    const QString link = home() + QLatin1Char('/') + QFileInfo(library).fileName();
    QFile::link(library, link);
    const QString before = environment.value(QStringLiteral("LD_PRELOAD"));
    return set(QStringLiteral("LD_PRELOAD"), before.isEmpty() ? link : before + QLatin1Char(':') + link);
}

Program& Program::recordTexts()
{
    preload(textRecorderPath());
    return set(QStringLiteral("TEXT_RECORD"), home() + QStringLiteral("/texts"));
}

QStringList Program::recordedTexts() const
{
    QFile record(environment.value(QStringLiteral("TEXT_RECORD")));
    QStringList texts;
    if (record.open(QIODevice::ReadOnly)) {
        QList<QByteArray> parts = record.readAll().split('\0');
        parts.removeLast(); // what follows the last terminator
        for (const QByteArray& text : qAsConst(parts)) {
            texts << QString::fromUtf8(text);
        }
    }
    return texts;
}

QString Program::traceFile() const
{
    return home() + QStringLiteral("/calls");
}

ProgramRun Program::run(const QStringList& arguments)
{
    const std::unique_ptr<ProgramSession> session = start(arguments);
    if (!closedDescriptors.contains(STDIN_FILENO)) {
        session->write(inputText);
    }
    session->closeInput();
    return session->finish();
}

std::unique_ptr<ProgramSession> Program::start(const QStringList& arguments)
{
    auto process = std::make_unique<ChildProcess>(closedDescriptors, childSignalIsBlocked);
    process->setWorkingDirectory(directory.isEmpty() ? home() : directory);
    QProcessEnvironment variables = environment;
    // A wrapper's own files would take the place of a closed stream.
    QStringList words = (closedDescriptors.isEmpty() ? wrapper : QStringList()) + QStringList{executable} + arguments;
    if (isTraced) {
        const QString preload = QStringLiteral("LD_PRELOAD");
        words = traceCommand(traceFile(), variables.value(preload)) + QStringList{executable} + arguments;
        variables.remove(preload);
        // The leak check does not work in a traced process.
        const QString asan = QStringLiteral("ASAN_OPTIONS");
        variables.insert(asan, variables.value(asan) + QStringLiteral(":detect_leaks=0"));
    }
    process->setProcessEnvironment(variables);
    process->start(words.first(), words.mid(1));
    return std::unique_ptr<ProgramSession>(new ProgramSession(std::move(process), limit));
}
