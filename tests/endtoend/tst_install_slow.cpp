// Installing and mailing runs in which a program hangs: after 30 seconds the program is killed, with a message of Qt's
// on standard error, and the run continues without it. All runs wait at the same time, each with a release of its own.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

#include <QElapsedTimer>

#include <cerrno>
#include <csignal>
#include <map>
#include <sys/types.h>

namespace {

// A run in which one tool hangs after it has written its process id to a file.
class HangingRun : public RecordedRelease
{
public:
    HangingRun(const QString& name, const QString& tool, const QStringList& options)
        : RecordedRelease("P1.tar.gz", name)
    {
        FakeTool hanging;
        hanging.script = "echo $$ >" + installation.path("lib/pid").toUtf8();
        hanging.output = "output\n";
        hanging.hangs = true;
        setTool(tool, hanging);
        clock.start();
        session = start(options);
        session->closeInput();
    }

    // Called repeatedly, so that the time of the end is known.
    bool hasEnded()
    {
        if (milliseconds < 0 && !session->isRunning()) {
            milliseconds = clock.elapsed();
        }
        return milliseconds >= 0;
    }

    std::unique_ptr<ProgramSession> session;
    qint64 milliseconds = -1;

private:
    QElapsedTimer clock;
};

QByteArray untilUnpackingIn(const QString& release)
{
    return reportOf(release, {{"P1", "text"}}) + CHECK + noSystemDetected(release.toUtf8()) + DOWNLOAD +
           downloaded({"P1.tar.gz"}) + APPLY;
}

} // namespace

class TstInstallSlow : public Test
{
    Q_OBJECT

private slots:
    void hangingProgramIsKilled_data()
    {
        // process: as in Qt's message
        const Rows<QString, QByteArray, int, QByteArray, QByteArray> row("release", "process", "status", "output",
                                                                         "message");
        const QByteArray archiver = "/opt/tavrin/archiver/bin/bsdtar";
        const QByteArray timedOut = "Process operation timed out";
        const QByteArray installed = installing("P1.tar.gz", {});
        row("archive tool", "archiver", archiver, 1, untilUnpackingIn("archiver"), commandFailed(archiver, timedOut));
        row("decompressor does not matter", "decompressor", "gunzip", 0,
            untilUnpackingIn("decompressor") + installed + FINISH, {});
        row("page script", "page", "perl", 1, untilUnpackingIn("page") + installed + PAGE,
            commandFailed("perl", timedOut));
        row("mailer does not matter", "mailer", "perl", 0, {}, {});
    }

    void hangingProgramIsKilled()
    {
        QFETCH(QString, release);
        QFETCH(QByteArray, process);
        QFETCH(int, status);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, message);
        const auto allHaveEnded = [this] {
            bool all = true;
            for (const auto& [name, run] : runs) {
                all = run->hasEnded() && all;
            }
            return all;
        };
        QTRY_VERIFY_WITH_TIMEOUT(allHaveEnded(), 60000);
        HangingRun& run = *runs.at(release);
        QVERIFY2(run.milliseconds >= 30000 && run.milliseconds < 45000, QByteArray::number(run.milliseconds));
        compareRun(run.session->finish(), status, output,
                   "QProcess: Destroyed while process (\"" + process + "\") is still running.\n" + message);

        const pid_t pid = run.content("lib/pid").trimmed().toInt();
        QVERIFY(pid > 0);
        QCOMPARE(::kill(pid, 0), -1);
        QCOMPARE(errno, ESRCH);
    }

private:
    void setUp() override
    {
        if (runs.empty()) {
            start("archiver", "bsdtar", {"-Q"});
            start("decompressor", "gunzip", {"-Q"});
            start("page", "perl", {"-Q"});
            start("mailer", "perl", {"-m", "admin"});
        }
    }

    void start(const QString& release, const QString& tool, const QStringList& options)
    {
        runs[release] = std::make_unique<HangingRun>(release, tool, options);
    }

    std::map<QString, std::unique_ptr<HangingRun>> runs;
};

TAVRIN_TEST_MAIN(TstInstallSlow)
#include "tst_install_slow.moc"
