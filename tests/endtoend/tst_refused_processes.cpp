// Runs in which the system refuses a new process, as it does at a limit of tasks or without a free descriptor: a
// program that cannot be started is reported as that, nothing counts as installed, and no other process comes to harm.
#include "confined_program.h"
#include "expected_texts.h"
#include "test.h"
#include "window_on_display.h"

#include <QFileInfo>

namespace {

const QByteArray NO_TASKS = "#tasks 1\n";
const QByteArray REFUSED = "Resource error (fork failure): Resource temporarily unavailable\n";

// Unpacks, and then has the updater start no program more.
const QByteArray LAST_ARCHIVER = "#!/bin/sh\nbsdtar \"$@\" && exec prlimit --pid $PPID --nproc=1:1\n";

// A source with one archive that leaves the mark of its patch.
struct InstallableRelease
{
    explicit InstallableRelease(const QString& archive = QStringLiteral("P1.tar"))
        : source(PatchPage().entry("P1", "1 May", "text", archive))
    {
        installation.withTools();
        source.withFile(archive, archiveOf(installation.path("patched/P1"), "text"));
        confined.program.tavrin(installation.path());
        confined.admitTo(installation);
        confined.admitTo(source);
    }

    bool isInstalled() const
    {
        return QFileInfo::exists(installation.path("patched/P1"));
    }

    bool hasPage() const
    {
        return QFileInfo::exists(installation.path("applied_patches.html"));
    }

    FakeInstallation installation;
    LocalSource source;
    ConfinedProgram confined;
};

} // namespace

class TstRefusedProcesses : public Test
{
    Q_OBJECT

private slots:
    void everythingStartsWithoutALimit()
    {
        InstallableRelease release;
        release.confined.program.input("y\n");
        compareRun(release.confined.run({"-t", release.source.url()}), 0,
                   untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + FINISH);
        QVERIFY(release.isInstalled());
        QVERIFY(release.hasPage());
    }

    void archiveToolThatCannotBeForkedEndsTheRun_data()
    {
        const Rows<QString, QStringList, QByteArray> row("archive", "options", "shown");
        const QByteArray unpack = "Executing system command: /opt/tavrin/5.9/bin/bsdtar -xvPf /opt/tavrin/5.9/patches/";
        row("plain archive", "P1.tar", {}, {});
        row("compressed archive", "P1.tar.gz", {}, {});
        row("compressed archive, verbose", "P1.tar.gz", {"-v"},
            "Executing system command: gunzip /opt/tavrin/5.9/patches/P1.tar.gz\nSystem command 'gunzip' failed:\n  " +
                REFUSED + "Continuing...\n" + unpack + "P1.tar.gz\n");
    }

    void archiveToolThatCannotBeForkedEndsTheRun()
    {
        QFETCH(QString, archive);
        QFETCH(QStringList, options);
        QFETCH(QByteArray, shown);
        InstallableRelease release(archive);
        release.confined.program.runningSystems(NO_TASKS).input("y\n");
        compareRun(release.confined.run(QStringList{"-t"} + options + QStringList{release.source.url()}), 1,
                   untilDownload(1) + "Downloaded " + archive.toUtf8() + '\n' + APPLY + shown,
                   "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " + REFUSED);
        QVERIFY(!release.isInstalled());
        QVERIFY(!release.hasPage());
    }

    void pageScriptThatCannotBeForkedEndsTheRun()
    {
        InstallableRelease release;
        release.installation.without("bin/bsdtar").withFile("bin/bsdtar", LAST_ARCHIVER).withMode("bin/bsdtar", 0755);
        release.confined.program.input("y\n");
        compareRun(release.confined.run({"-t", release.source.url()}), 1,
                   untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + PAGE,
                   "System command 'perl' failed:\n  " + REFUSED);
        QVERIFY(release.isInstalled());
        QVERIFY(!release.hasPage());
    }

    void mailerThatCannotBeForkedIsNotReported()
    {
        InstallableRelease release;
        release.confined.program.runningSystems(NO_TASKS);
        compareRun(release.confined.run({"-t", "-m", "ops@site.test", release.source.url()}), 0, QByteArray());
    }

    void windowReportsEveryToolThatCannotBeForked()
    {
        const QString missing = VirtualDisplay::missing();
        if (!missing.isEmpty()) {
            QSKIP(qPrintable(missing));
        }
        InstallableRelease release("P1.tar.gz");
        Program& program = release.confined.program;
        WindowOnDisplay screen(program);
        screen.open(release.confined.start({release.source.url()}));
        screen.waitForList();
        program.runningSystems(NO_TASKS);
        screen.waitForRefresh();
        screen.click(WindowOnDisplay::APPLY_BUTTON);
        // One box for the archive tool, the next for the script of the page; the decompressor's failure is passed over.
        for (int i = 0; i < 2; ++i) {
            const QString box = screen.waitForOtherWindow();
            QVERIFY(!box.isEmpty());
            QVERIFY(!release.isInstalled());
            screen.display.press(box, {"Escape"});
            QTRY_VERIFY_WITH_TIMEOUT(!screen.display.windows().contains(box), WindowOnDisplay::PATIENCE);
        }
        screen.quit();
        QVERIFY(!release.isInstalled());
        QVERIFY(!release.hasPage());
    }

    void everyWayToStartReportsTheFailedFork_data()
    {
        const Rows<QString, QByteArray> row("way", "output");
        const QByteArray failed = "System command 'true' failed:\n  ";
        const QByteArray notStarted = "Failed to start system command: true argument:\n";
        const QByteArray incomplete = "System command did not complete\n'true'\n";
        const QByteArray noDescriptor = "Resource error (fork failure): Too many open files\n";
        row("without input, no task", "run tasks", failed + REFUSED);
        row("without input, no descriptor", "run descriptors", failed + noDescriptor);
        row("with input, no task", "feed tasks", notStarted + REFUSED);
        row("with input, no descriptor", "feed descriptors", notStarted + noDescriptor);
        row("first of a chain, no task", "first-of-chain tasks", incomplete + REFUSED);
        row("first of a chain, no descriptor", "first-of-chain descriptors", incomplete + noDescriptor);
        row("second of a chain, no task", "second-of-chain tasks", "Failed to start system command 'true'\n" + REFUSED);
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
