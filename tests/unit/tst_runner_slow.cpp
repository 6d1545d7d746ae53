// Programs that hang: each wait of the runner ends after 30 seconds, and the program is gone when the runner returns.
// Nothing can be waited for faster here, which is why this is a test program of its own.
#include "fake_installation.h"
#include "tavrin_update_bl.h"
#include "test.h"

#include <QElapsedTimer>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <memory>
#include <sys/types.h>

using Logic = TavrinUpdateBusinessLogic;

namespace {

const QString STILL_RUNNING = QStringLiteral("QProcess: Destroyed while process (\"%1\") is still running.");
const QString TIMED_OUT = QStringLiteral("Process operation timed out");

} // namespace

class TstRunnerSlow : public Test
{
    Q_OBJECT

private slots:
    void hangingProgramIsGivenUp_data()
    {
        const Rows<QString> row("input");
        row("no input", {});
        row("input", "text");
    }

    void hangingProgramIsGivenUp()
    {
        QFETCH(QString, input);
        expectWarning(STILL_RUNNING.arg("/bin/sh"));
        QString output = "left from before";
        QVERIFY(!logic->pipeToSystemCommand("/bin/sh", hangingShell(), output, input));
        checkThatTheLimitWasWaitedFor();
        QCOMPARE(output, "System command '/bin/sh' failed:\n  " + TIMED_OUT);
        checkThatTheProgramIsGone();
    }

    void hangingFirstOfAChainIsGivenUp()
    {
        expectWarning(STILL_RUNNING.arg("/bin/sh"));
        const QString mark = installation->path("lib/second-was-here");
        QByteArray output = "left from before";
        QCOMPARE(logic->systemCommandChain("/bin/sh", hangingShell(), "touch", {mark}, output),
                 "System command did not complete\n'/bin/sh'\n" + TIMED_OUT);
        checkThatTheLimitWasWaitedFor();
        QCOMPARE(output, QByteArray("left from before"));
        QVERIFY(!QFileInfo::exists(mark));
        checkThatTheProgramIsGone();
    }

    void hangingSecondOfAChainIsGivenUp()
    {
        expectWarning(STILL_RUNNING.arg("/bin/sh"));
        QByteArray output = "left from before";
        QCOMPARE(logic->systemCommandChain("echo", {"text"}, "/bin/sh", hangingShell(), output),
                 "System command did not complete\n'/bin/sh'\n" + TIMED_OUT);
        checkThatTheLimitWasWaitedFor();
        QCOMPARE(output, QByteArray("left from before"));
        checkThatTheProgramIsGone();
    }

    void limitsOfAChainDoNotAddUp()
    {
        QByteArray output;
        QCOMPARE(logic->systemCommandChain("/bin/sh", {"-c", "sleep 17; echo first"}, "/bin/sh",
                                           {"-c", "sleep 17; cat; echo second"}, output),
                 QString());
        QCOMPARE(output, QByteArray("first\nsecond\n"));
    }

private:
    void setUp() override
    {
        installation = std::make_unique<FakeInstallation>();
        logic = std::make_unique<Logic>("tavrin_update");
        qputenv("TAVRIN", installation->path().toUtf8());
        Logic::CommandLineOptions options;
        options.terminal = false;
        options.showProposed = false;
        options.verbose = false;
        QCOMPARE(logic->initialize(options), QString());
        clock.start();
    }

    void tearDown() override
    {
        logic.reset();
        installation.reset();
    }

    // A program that talks, notes its process id, will not be terminated politely, and hangs.
    QStringList hangingShell() const
    {
        return {"-c", "echo said; echo $$ >" + installation->path("lib/pid") + "; trap '' TERM; exec sleep 600"};
    }

    void checkThatTheProgramIsGone() const
    {
        QFile file(installation->path("lib/pid"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const pid_t pid = file.readAll().trimmed().toInt();
        QVERIFY(pid > 0);
        QCOMPARE(::kill(pid, 0), -1);
        QCOMPARE(errno, ESRCH);
    }

    void checkThatTheLimitWasWaitedFor() const
    {
        const qint64 waited = clock.elapsed();
        QVERIFY2(waited >= 30000 && waited < 40000, qPrintable(QString::number(waited)));
    }
    std::unique_ptr<FakeInstallation> installation;
    std::unique_ptr<Logic> logic;
    QElapsedTimer clock;
};

TAVRIN_TEST_MAIN(TstRunnerSlow)
#include "tst_runner_slow.moc"
