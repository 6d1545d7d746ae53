// What a run does about real-time systems on the host: which of them conflict with the release, and the effect of each
// option on a conflict. The systems come from the preloaded library. Only runs with the stand-in look for real
// processes, in a PID namespace of their own, because other tests start systems, too.
#include "expected_texts.h"
#include "helper_run.h"
#include "installable_release.h"
#include "long_wait.h"
#include "real_process.h"
#include "test.h"
#include "test_paths.h"

namespace {

const QByteArray REPORT = reportOf("5.9", {{"P1", "text"}});
const QByteArray INSTALLATION =
    DOWNLOAD + downloaded({"P1.tar"}) + APPLY + installing("P1.tar", {"patched/P1"}) + FINISH;

// What a dry run prints about a conflict.
QByteArray conflictWith(const QByteArray& release)
{
    return systemDetected(release) + STOP_SYSTEMS + DRY_RUN_CONTINUES;
}

QByteArray dryRun(const QString& releaseText, const QByteArray& found)
{
    return reportOf(releaseText, {{"P1", "text"}}) + STEPS_HEADING + CHECK + found + DRY_STEPS;
}

// Starts a system with the first argument, waits until it is named rtexec, and becomes the program.
const QString WITH_A_SYSTEM = QStringLiteral("env -i \"PATH=$PATH\" $1 600 &\n"
                                             "system=$!\n"
                                             "until read -r name </proc/$system/comm && [ \"$name\" = rtexec ]; do\n"
                                             "    [ -d /proc/$system ] || exit 127\n"
                                             "done\n"
                                             "shift && exec \"$@\"");

const QStringList OWN_PROCESSES = {"--pid", "--fork", "--kill-child", "--mount-proc"};

} // namespace

class TstRunningSystems : public Test
{
    Q_OBJECT

private slots:
    void conflictEndsTheRun_data()
    {
        const Rows<QStringList> row("options");
        row("-t alone", {});
        row("-v", {"-v"});
        row("a redundant release", {"-r", "5.9"});
    }

    void conflictEndsTheRun()
    {
        QFETCH(QStringList, options);
        ServedRelease release;
        const QStringList before = release.installation.tree();
        release.program.runningSystems(runningSystem());
        compareRun(release.run(options), 1, REPORT + CHECK, systemDetected() + STOP_SYSTEMS + EXITING);
        QCOMPARE(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(release.installation.tree(), before);
    }

    void runThatDoesNotInstallContinues_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");
        row("-l", {"-l"}, REPORT);
        row("-L", {"-L"}, compactReportOf("5.9", {}, {"P1"}));
        row("-l -Q", {"-l", "-Q"}, REPORT);
        row("-n", {"-n"}, dryRun("5.9", conflictWith("5.9")));
        row("-n -Q, which ignores -Q", {"-n", "-Q"}, dryRun("5.9", conflictWith("5.9")));
        row("-n -l", {"-n", "-l"}, dryRun("5.9", conflictWith("5.9")));
    }

    void runThatDoesNotInstallContinues()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        InstallableRelease release;
        release.program.runningSystems(runningSystem());
        compareRun(release.run(options), 0, output);
    }

    void allowedConflictIsInstalledWithoutAQuestion_data()
    {
        const Rows<QByteArray, QByteArray> row("systems", "found");
        row("conflict", runningSystem(), systemDetected() + ALLOWED_TO_CONTINUE);
        row("no conflict", {}, noSystemDetected());
    }

    void allowedConflictIsInstalledWithoutAQuestion()
    {
        QFETCH(QByteArray, systems);
        QFETCH(QByteArray, found);
        InstallableRelease release;
        release.program.runningSystems(systems).input("n\n");
        compareRun(release.run({"-Q"}), 0, REPORT + CHECK + found + INSTALLATION);
        QVERIFY(release.has("patched/P1"));
    }

    void releaseDecidesWhatConflicts_data()
    {
        const Rows<QString, QByteArray, bool> row("name", "systems", "conflict");
        row("none", "5.9", {}, false);
        row("the same", "5.9", runningSystem("5.9"), true);
        row("a longer name", "5.9", runningSystem("5.9p"), false);
        row("a shorter name", "5.9p", runningSystem("5.9"), false);
        row("a trailing space", "5.9", runningSystem("5.9 "), false);
        row("a leading space", "5.9", runningSystem(" 5.9"), false);
        row("capitals", "dev", runningSystem("DEV"), false);
        row("small letters", "DEV", runningSystem("dev"), false);
        row("no version", "5.9", runningSystem(""), false);
        row("not ASCII", QString::fromUtf8("5.9-\u00e4"), runningSystem("5.9-\xc3\xa4"), true);
        row("the release in other fields", "5.9", "5.8\t5.9\t5.9\t59\n", false);
        row("the first of two", "5.9", runningSystem("5.9") + runningSystem("5.8"), true);
        row("the second of two", "5.9", runningSystem("5.8") + runningSystem("5.9"), true);
        row("neither of two", "5.9", runningSystem("5.8") + runningSystem("5.7"), false);
        row("no array, but a count", "5.9", "#null 3\n", false);
        row("an array, but no count", "5.9", "#count 0\n" + runningSystem("5.9"), false);
        row("a count of fewer than there are", "5.9", "#count 1\n" + runningSystem("5.8") + runningSystem("5.9"),
            false);
        row("an unterminated version", "5", "@fill:5\tuser\t/home\t825307441\n", false);
        row("an unterminated version before the same", "5.9",
            "@fill:5\t@fill:u\t@fill:d\t825307441\n" + runningSystem("5.9"), true);
    }

    void releaseDecidesWhatConflicts()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, systems);
        QFETCH(bool, conflict);
        InstallableRelease release(pageWith({"P1.tar"}), name);
        release.program.runningSystems(systems);
        compareRun(release.run({"-n"}), 0,
                   dryRun(name, conflict ? conflictWith(name.toUtf8()) : noSystemDetected(name.toUtf8())));
    }

    void overridingReleaseDecides_data()
    {
        const Rows<QByteArray, QStringList, QByteArray> row("version", "options", "found");
        row("the overriding release", "5.8", {}, conflictWith("5.8"));
        row("the overriding release, allowed", "5.8", {"-Q"}, systemDetected("5.8") + DRY_RUN_CONTINUES);
        row("the installed release", "5.9", {}, noSystemDetected("5.8"));
    }

    void overridingReleaseDecides()
    {
        QFETCH(QByteArray, version);
        QFETCH(QStringList, options);
        QFETCH(QByteArray, found);
        InstallableRelease release;
        const FakeInstallation overriding("5.8");
        release.program.runningSystems(runningSystem(version));
        compareRun(release.run(options + QStringList{"-r", "5.8"}), 0,
                   overrideWarning() + dryRun("overridden to 5.8", found));
    }

    void systemsAreReadOnceAtTheStart()
    {
        ServedRelease release;
        release.server.answer("/5.9/", FakePatchServer::Answer::body(pageWith({"P1.tar"}).html()).held());
        const auto session = release.start({"-n"});
        QTRY_COMPARE_WITH_TIMEOUT(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"}, LONG_WAIT);
        release.program.runningSystems(runningSystem());
        release.server.release("/5.9/");
        compareRun(session->finish(), 0, dryRun("5.9", noSystemDetected()));
        QCOMPARE(release.program.runningSystemQueries(), 1);
    }

    void checkIsShownBeforeTheDownloadsEnd_data()
    {
        const Rows<QByteArray, QByteArray, QByteArray> row("systems", "shown", "rest");
        row("no running system", {}, REPORT + NO_CONFLICT, {});
        row("running system", runningSystem(), REPORT + CHECK, systemDetected() + ALLOWED_TO_CONTINUE);
    }

    // Also when standard output is a file or a pipe, which is buffered.
    void checkIsShownBeforeTheDownloadsEnd()
    {
        QFETCH(QByteArray, systems);
        QFETCH(QByteArray, shown);
        QFETCH(QByteArray, rest);
        ServedRelease release;
        release.program.runningSystems(systems);
        const QByteArray archive = archiveOf(release.installation.path("patched/P1"), {});
        release.server.answer("/5.9/P1.tar", FakePatchServer::Answer::body(archive).held());
        const auto session = release.start({"-Q"});
        QTRY_COMPARE_WITH_TIMEOUT(release.server.requestedPaths(), (QList<QByteArray>{"/5.9/", "/5.9/P1.tar"}),
                                  LONG_WAIT);
        QVERIFY2(session->waitForOutput(shown), session->output());
        release.server.release("/5.9/P1.tar");
        compareRun(session->finish(), 0, shown + rest + INSTALLATION);
    }

    void systemOfUnknownReleaseIsAConflict_data()
    {
        // system: the words of a command
        const Rows<QString, bool> row("system", "conflict");
        const QString asAnother = "setpriv --reuid 65534 --clear-groups ";
        row("of this release", "TAVRIN=/opt/tavrin/5.9 rtexec", true);
        row("of another release", "TAVRIN=/opt/tavrin/5.8 rtexec", false);
        row("of no release", "rtexec", true);
        row("another user's, hidden", asAnother + "env TAVRIN=/opt/tavrin/5.9 rtexec", true);
        row("another user's, in the folder of another release", asAnother + "/opt/tavrin/5.8/bin/rtexec", false);
    }

    // With the stand-in. Without the capability to read other users' processes, root is like any user.
    void systemOfUnknownReleaseIsAConflict()
    {
        QFETCH(QString, system);
        QFETCH(bool, conflict);
        const QStringList blind = {"setpriv", "--bounding-set", "-sys_ptrace"};
        const HelperRun probe = runHelper(
            "unshare", OWN_PROCESSES + blind + QStringList{"setpriv", "--reuid", "65534", "--clear-groups", "true"});
        if (system.startsWith("setpriv") && probe.status != 0) {
            QSKIP(("only root can start a system as another user: " + probe.errors).constData());
        }
        const InstallableRelease release;
        const FakeInstallation other("5.8");
        const SleepCopies copies;
        QVERIFY(QFile::copy(copies.path("rtexec"), other.path("bin/rtexec")));

        Program program("unshare");
        program.tavrin(release.installation.path()).path(copies.path() + ":/usr/bin:/bin").unset("LD_PRELOAD");
        const QStringList words = OWN_PROCESSES + blind + QStringList{"sh", "-c", WITH_A_SYSTEM, "sh", system};
        compareRun(program.run(words + QStringList{programPath(), "-t", "-n", release.source.url()}), 0,
                   dryRun("5.9", conflict ? conflictWith("5.9") : noSystemDetected()));
    }
};

TAVRIN_TEST_MAIN(TstRunningSystems)
#include "tst_running_systems.moc"
