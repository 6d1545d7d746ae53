// Runs in which the system refuses a new process, at a limit of tasks or without a free descriptor: the failure to
// start a program is reported, nothing counts as installed, and no other process is harmed.
#include "confined_program.h"
#include "installable_release.h"
#include "test.h"
#include "window_on_display.h"

namespace {

const QByteArray NO_TASKS = "#tasks 1\n";
const QByteArray REFUSED = "Resource error (fork failure): Resource temporarily unavailable";

// Unpacks, and then forbids the updater to start further programs.
const QByteArray LAST_ARCHIVER = "#!/bin/sh\nbsdtar \"$@\" && exec prlimit --pid $PPID --nproc=1:1\n";

struct ConfinedRelease : InstallableRelease
{
    explicit ConfinedRelease(const QString& archive = "P1.tar") : InstallableRelease(QStringList{archive})
    {
        confined.program.tavrin(installation.path()).input("y\n");
        confined.admitTo(installation);
        confined.admitTo(source);
    }

    ProgramRun run(const QStringList& options = {})
    {
        return confined.run(QStringList{"-t"} + options + QStringList{source.url()});
    }

    ConfinedProgram confined;
};

} // namespace

class TstRefusedProcesses : public Test
{
    Q_OBJECT

private slots:
    void everythingIsInstalledWithoutALimit()
    {
        ConfinedRelease release;
        compareRun(release.run(), 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
        QVERIFY(release.has("patched/P1"));
        QVERIFY(release.has("applied_patches.html"));
    }

    void archiveToolThatCannotBeForkedEndsTheRun_data()
    {
        const Rows<QString, QStringList, QByteArray> row("archive", "options", "shown");
        const QByteArray file = "/opt/tavrin/5.9/patches/P1.tar.gz";
        row("plain archive", "P1.tar", {}, {});
        row("compressed archive", "P1.tar.gz", {}, {});
        row("compressed archive, verbose", "P1.tar.gz", {"-v"},
            executing("gunzip " + file) + commandFailed("gunzip", REFUSED) + "Continuing...\n" +
                executing("/opt/tavrin/5.9/bin/bsdtar -xvPf " + file));
    }

    void archiveToolThatCannotBeForkedEndsTheRun()
    {
        QFETCH(QString, archive);
        QFETCH(QStringList, options);
        QFETCH(QByteArray, shown);
        ConfinedRelease release(archive);
        release.confined.program.runningSystems(NO_TASKS);
        compareRun(release.run(options), 1, untilUnpacking({archive.toUtf8()}) + shown,
                   commandFailed("/opt/tavrin/5.9/bin/bsdtar", REFUSED));
        QVERIFY(!release.has("patched/P1"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    void pageScriptThatCannotBeForkedEndsTheRun()
    {
        ConfinedRelease release;
        release.installation.without("bin/bsdtar").withFile("bin/bsdtar", LAST_ARCHIVER).withMode("bin/bsdtar", 0755);
        compareRun(release.run(), 1, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"patched/P1"}) + PAGE,
                   commandFailed("perl", REFUSED));
        QVERIFY(release.has("patched/P1"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    void mailerThatCannotBeForkedIsNotReported()
    {
        ConfinedRelease release;
        release.confined.program.runningSystems(NO_TASKS);
        compareRun(release.run({"-m", "ops@site.test"}), 0, QByteArray());
    }

    void windowReportsEveryToolThatCannotBeForked()
    {
        const QString missing = VirtualDisplay::missing();
        if (!missing.isEmpty()) {
            QSKIP(qPrintable(missing));
        }
        ConfinedRelease release("P1.tar.gz");
        Program& program = release.confined.program;
        WindowOnDisplay screen(program);
        screen.open(release.confined.start({release.source.url()}));
        screen.waitForList();
        program.runningSystems(NO_TASKS);
        screen.waitForRefresh();
        screen.click(WindowOnDisplay::APPLY_BUTTON);
        // One box for the archive tool and one for the page script; a failing decompressor is ignored.
        for (int i = 0; i < 2; ++i) {
            const QString box = screen.waitForOtherWindow();
            QVERIFY(!box.isEmpty());
            QVERIFY(!release.has("patched/P1"));
            screen.display.press(box, {"Escape"});
            QTRY_VERIFY_WITH_TIMEOUT(!screen.display.windows().contains(box), WindowOnDisplay::PATIENCE);
        }
        screen.quit();
        QVERIFY(!release.has("patched/P1"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    void everyWayToStartReportsTheFailedFork_data()
    {
        const Rows<QString, QByteArray> row("way", "output");
        const QByteArray notStarted = "Failed to start system command: true argument:\n";
        const QByteArray incomplete = "System command did not complete\n'true'\n";
        const QByteArray noDescriptor = "Resource error (fork failure): Too many open files";
        row("without input, no task", "run tasks", commandFailed("true", REFUSED));
        row("without input, no descriptor", "run descriptors", commandFailed("true", noDescriptor));
        row("with input, no task", "feed tasks", notStarted + REFUSED + '\n');
        row("with input, no descriptor", "feed descriptors", notStarted + noDescriptor + '\n');
        row("first of a chain, no task", "first-of-chain tasks", incomplete + REFUSED + '\n');
        row("first of a chain, no descriptor", "first-of-chain descriptors", incomplete + noDescriptor + '\n');
        row("second of a chain, no task", "second-of-chain tasks",
            "Failed to start system command 'true'\n" + REFUSED + '\n');
    }

    void everyWayToStartReportsTheFailedFork()
    {
        QFETCH(QString, way);
        QFETCH(QByteArray, output);
        ConfinedProgram confined;
        compareRun(confined.runStarter(way.split(' ')), 0, output);
    }
};

TAVRIN_TEST_MAIN(TstRefusedProcesses)
#include "tst_refused_processes.moc"
