// Installing and mailing runs in which a program hangs: after 30 seconds the run goes its way without it, and the
// program is gone. Qt says on standard error that it had to end it.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"

#include <QElapsedTimer>

#include <cerrno>
#include <csignal>
#include <sys/types.h>

namespace {

const QByteArray UNTIL_UNPACKING = NO_CONFLICT + DOWNLOAD + "Downloaded P1.tar.gz\n" + APPLY;
const QByteArray INSTALLED = installing("P1.tar.gz", {});

} // namespace

class TstInstallSlow : public Test
{
    Q_OBJECT

private slots:
    void hangingProgramIsGivenUp_data()
    {
        // process: as Qt names it
        const Rows<QString, QStringList, QString, int, QByteArray, QByteArray> row("tool", "options", "process",
                                                                                   "status", "output", "message");
        const QByteArray report = reportOf("5.9", {{"P1", "text"}});
        const QStringList install{"-Q"};
        row("archive tool", "bsdtar", install, "/opt/tavrin/5.9/bin/bsdtar", 1, report + UNTIL_UNPACKING,
            "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n"
            "  Process operation timed out\n");
        row("decompressor does not matter", "gunzip", install, "gunzip", 0,
            report + UNTIL_UNPACKING + INSTALLED + FINISH, {});
        row("page script", "perl", install, "perl", 1, report + UNTIL_UNPACKING + INSTALLED + PAGE,
            "System command 'perl' failed:\n  Process operation timed out\n");
        row("mailer does not matter", "perl", {"-m", "admin"}, "perl", 0, {}, {});
    }

    void hangingProgramIsGivenUp()
    {
        QFETCH(QString, tool);
        QFETCH(QStringList, options);
        QFETCH(QString, process);
        QFETCH(int, status);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, message);
        const FakeInstallation installation;
        FakeTools tools;
        for (const QString name : {"bsdtar", "gunzip", "perl"}) {
            FakeTool fake;
            if (name == tool) {
                fake.script = "echo $$ >" + installation.path("lib/pid").toUtf8();
                fake.output = "said\n";
                fake.hangs = true;
            }
            tools.addTo(name == "bsdtar" ? installation.path("bin") : tools.pathDirectory(), name, fake);
        }
        LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar.gz"));
        source.withFile("P1.tar.gz", "an archive");
        Program program;
        program.tavrin(installation.path()).path(tools.pathDirectory());
        QElapsedTimer clock;
        clock.start();
        const ProgramRun run = program.run(QStringList{"-t"} + options + QStringList{source.url()});
        const qint64 waited = clock.elapsed();
        QVERIFY2(waited >= 30000 && waited < 45000, qPrintable(QString::number(waited)));
        compareRun(run, status, output,
                   "QProcess: Destroyed while process (\"" + process.toUtf8() + "\") is still running.\n" + message);

        QFile file(installation.path("lib/pid"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const pid_t pid = file.readAll().trimmed().toInt();
        QVERIFY(pid > 0);
        QCOMPARE(::kill(pid, 0), -1);
        QCOMPARE(errno, ESRCH);
    }
};

TAVRIN_TEST_MAIN(TstInstallSlow)
#include "tst_install_slow.moc"
