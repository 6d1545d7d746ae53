// What a run does about real-time systems that run on the host: which of them conflict with the release being patched,
// and how each option deals with a conflict. The systems come from the preloaded library, except where real processes
// are looked for with the stand-in: those runs have a process namespace of their own, for other tests start systems,
// too.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "helper_run.h"
#include "patch_source.h"
#include "program_run.h"
#include "real_process.h"
#include "test.h"
#include "test_paths.h"

namespace {

const QByteArray MUST_STOP = "You must stop any instances of Tavrin before applying patches.\n";

QByteArray running(const QByteArray& release)
{
    return "WARNING: A running Tavrin Real Time System of version '" + release + "' was detected.\n";
}

QByteArray notRunning(const QByteArray& release)
{
    return "No running Tavrin Real Time System of version '" + release + "' detected.\n";
}

QByteArray systemOf(const QByteArray& version)
{
    return version + "\tuser\t/home/user\t4711\n";
}

QByteArray dryRun(const QString& release, const QByteArray& check)
{
    return reportOf(release, {{"P1", "text"}}) + STEPS_HEADING + CHECK + check + DRY_STEPS;
}

// Starts a system with the command named first, waits until it is one, and becomes the program.
const QString BESIDE_A_SYSTEM = QStringLiteral("env -i \"PATH=$PATH\" $1 600 &\n"
                                               "system=$!\n"
                                               "until read -r name </proc/$system/comm && [ \"$name\" = rtexec ]; do\n"
                                               "    [ -d /proc/$system ] || exit 127\n"
                                               "done\n"
                                               "shift && exec \"$@\"");

const QStringList OWN_PROCESSES = {"--pid", "--fork", "--kill-child", "--mount-proc"};

// What an installing run needs, and an answer that would refuse, should it ask.
struct Installable
{
    Installable() : mark(installation.path("patched/P1")), source(PatchPage().entry("P1", "1 May", "text", "P1.tar"))
    {
        installation.withTools();
        source.withFile("P1.tar", archiveOf(mark, "installed"));
        program.tavrin(installation.path()).input("n\n");
    }

    FakeInstallation installation;
    QString mark;
    LocalSource source;
    Program program;
};

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
        const FakeInstallation installation;
        const QStringList before = installation.tree();
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::body(PatchPage().entry("P1", "1 May", "text").html()));

        Program program;
        program.tavrin(installation.path()).runningSystems(systemOf("5.9")).input("y\n");
        compareRun(program.run(QStringList{"-t"} + options + QStringList{server.url()}), 1,
                   reportOf("5.9", {{"P1", "text"}}) + CHECK, running("5.9") + MUST_STOP + "\nExiting\n");
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
        QCOMPARE(installation.tree(), before);
    }

    void listingDoesNotCare_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");

        row("-l", {"-l"}, reportOf("5.9", {{"P1", "text"}}));
        row("-L", {"-L"}, headerLine("5.9") + "*  P1\n\n");
        row("-l -Q", {"-l", "-Q"}, reportOf("5.9", {{"P1", "text"}}));
    }

    void listingDoesNotCare()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        const FakeInstallation installation;
        const LocalSource source(PatchPage().entry("P1", "1 May", "text"));

        Program program;
        program.tavrin(installation.path()).runningSystems(systemOf("5.9"));
        compareRun(program.run(QStringList{"-t"} + options + QStringList{source.url()}), 0, output);
    }

    void dryRunContinuesWithAWarning_data()
    {
        const Rows<QStringList> row("options");

        row("-n", {"-n"});
        row("-n -Q, of which -Q is cancelled", {"-n", "-Q"});
        row("-n -l", {"-n", "-l"});
    }

    void dryRunContinuesWithAWarning()
    {
        QFETCH(QStringList, options);
        const FakeInstallation installation;
        const LocalSource source(PatchPage().entry("P1", "1 May", "text"));

        Program program;
        program.tavrin(installation.path()).runningSystems(systemOf("5.9"));
        compareRun(
            program.run(QStringList{"-t"} + options + QStringList{source.url()}), 0,
            dryRun("5.9", running("5.9") + MUST_STOP + "\nContinuing to show proposed course of action ...\n\n"));
    }

    void allowedConflictIsInstalledWithoutAQuestion()
    {
        Installable ready;
        ready.program.runningSystems(systemOf("5.9"));
        compareRun(ready.program.run({"-t", "-Q", ready.source.url()}), 0,
                   reportOf("5.9", {{"P1", "text"}}) + CHECK + running("5.9") + "\n-Q option: continuing ...\n\n" +
                       installingOf(ready.mark));
        QVERIFY(QFileInfo(ready.mark).isFile());
    }

    void allowingWithoutAConflictInstallsWithoutAQuestion()
    {
        Installable ready;
        compareRun(ready.program.run({"-t", "-Q", ready.source.url()}), 0,
                   reportOf("5.9", {{"P1", "text"}}) + CHECK + notRunning("5.9") + installingOf(ready.mark));
        QVERIFY(QFileInfo(ready.mark).isFile());
    }

    void releaseDecidesWhatConflicts_data()
    {
        const Rows<QString, QByteArray, bool> row("release", "systems", "conflict");

        row("none", "5.9", {}, false);
        row("the same", "5.9", systemOf("5.9"), true);
        row("a longer name", "5.9", systemOf("5.9p"), false);
        row("a shorter name", "5.9p", systemOf("5.9"), false);
        row("a blank behind", "5.9", systemOf("5.9 "), false);
        row("a blank in front", "5.9", systemOf(" 5.9"), false);
        row("capitals", "dev", systemOf("DEV"), false);
        row("small letters", "DEV", systemOf("dev"), false);
        row("no version", "5.9", systemOf(""), false);
        row("letters beyond ASCII", QString::fromUtf8("5.9-\u00e4"), systemOf("5.9-\xc3\xa4"), true);
        row("the release in other fields", "5.9", "5.8\t5.9\t5.9\t59\n", false);
        row("the first of two", "5.9", systemOf("5.9") + systemOf("5.8"), true);
        row("the second of two", "5.9", systemOf("5.8") + systemOf("5.9"), true);
        row("neither of two", "5.9", systemOf("5.8") + systemOf("5.7"), false);
        row("no array, but a count", "5.9", "#null 3\n", false);
        row("an array, but no count", "5.9", "#count 0\n" + systemOf("5.9"), false);
        row("a count of fewer than there are", "5.9", "#count 1\n" + systemOf("5.8") + systemOf("5.9"), false);
        row("a version without an end", "5", "@fill:5\tuser\t/home\t825307441\n", false);
        row("a version without an end before the same", "5.9",
            "@fill:5\t@fill:u\t@fill:d\t825307441\n" + systemOf("5.9"), true);
    }

    void releaseDecidesWhatConflicts()
    {
        QFETCH(QString, release);
        QFETCH(QByteArray, systems);
        QFETCH(bool, conflict);
        const FakeInstallation installation(release);
        const LocalSource source(PatchPage().entry("P1", "1 May", "text"));

        Program program;
        program.tavrin(installation.path()).runningSystems(systems);
        const QByteArray name = release.toUtf8();
        const QByteArray warning = running(name) + MUST_STOP + "\nContinuing to show proposed course of action ...\n\n";
        compareRun(program.run({"-t", "-n", source.url()}), 0, dryRun(release, conflict ? warning : notRunning(name)));
    }

    void overridingReleaseDecides_data()
    {
        const Rows<QByteArray, bool> row("version", "conflict");

        row("the overriding release", "5.8", true);
        row("the installed release", "5.9", false);
    }

    void overridingReleaseDecides()
    {
        QFETCH(QByteArray, version);
        QFETCH(bool, conflict);
        const FakeInstallation installed("5.9");
        const FakeInstallation overriding("5.8");
        const LocalSource source(PatchPage().entry("P1", "1 May", "text"));

        Program program;
        program.tavrin(installed.path()).runningSystems(systemOf(version));
        const QByteArray override = "*** WARNING: Your environment is for Tavrin release '5.9',\n"
                                    "but you are running tavrin_update with a release override of '5.8'.\n"
                                    "Patches will be listed but not applied.\n";
        const QByteArray warning =
            running("5.8") + MUST_STOP + "\nContinuing to show proposed course of action ...\n\n";
        compareRun(program.run({"-t", "-r", "5.8", source.url()}), 0,
                   override + dryRun("overridden to 5.8", conflict ? warning : notRunning("5.8")));
    }

    void systemsAreAskedForOnceAtTheStart()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::body(PatchPage().entry("P1", "1 May", "text").html()).held());

        Program program;
        program.tavrin(installation.path());
        const std::unique_ptr<ProgramSession> session = program.start({"-t", "-n", server.url()});
        QTRY_COMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
        program.runningSystems(systemOf("5.9"));
        server.release("/");
        compareRun(session->finish(), 0, dryRun("5.9", notRunning("5.9")));
        QCOMPARE(program.runningSystemQueries(), 1);
    }

    // Also where standard output is a file or a pipe, which would hold it back.
    void checkIsShownBeforeTheDownloadsEnd()
    {
        FakeInstallation installation;
        installation.withTools();
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::body(PatchPage().entry("P1", "1 May", "text", "P1.tar").html()));
        server.answer("/P1.tar",
                      FakePatchServer::Answer::body(archiveOf(installation.path("patched/P1"), QByteArray())).held());

        Program program;
        const std::unique_ptr<ProgramSession> session =
            program.tavrin(installation.path()).start({"-t", "-Q", server.url()});
        QTRY_COMPARE(server.requestedPaths(), (QList<QByteArray>{"/", "/P1.tar"}));
        const QByteArray shown = reportOf("5.9", {{"P1", "text"}}) + CHECK + notRunning("5.9");
        QVERIFY2(session->waitForOutput(shown), session->output());
        server.release("/P1.tar");
        compareRun(session->finish(), 0,
                   shown + DOWNLOAD + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + FINISH);
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

    // With the stand-in itself. Root without the right to look into other users' processes is as blind as anybody else.
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
        const FakeInstallation installation("5.9");
        const FakeInstallation other("5.8");
        const LocalSource source(PatchPage().entry("P1", "1 May", "text"));
        const SleepCopies copies;
        QVERIFY(QFile::copy(copies.path("rtexec"), other.path("bin/rtexec")));

        Program program("unshare");
        program.tavrin(installation.path()).path(copies.path() + ":/usr/bin:/bin").unset("LD_PRELOAD");
        const QStringList beside = {"sh", "-c", BESIDE_A_SYSTEM, "sh", system};
        const QByteArray warning =
            running("5.9") + MUST_STOP + "\nContinuing to show proposed course of action ...\n\n";
        compareRun(program.run(OWN_PROCESSES + blind + beside + QStringList{programPath(), "-t", "-n", source.url()}),
                   0, dryRun("5.9", conflict ? warning : notRunning("5.9")));
    }
};

TAVRIN_TEST_MAIN(TstRunningSystems)

#include "tst_running_systems.moc"
