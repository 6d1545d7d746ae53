// The checks of the installation that come before anything else, as a user meets them: which TAVRIN is accepted, what
// an override of the release does, which directories must be writable, and which address the list is asked from. The
// default address is reachable here: in this test's own network its host is on loopback.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDir>
#include <QUrl>

namespace {

const QByteArray OVERRIDE_WARNING = "*** WARNING: Your environment is for Tavrin release '5.9',\n"
                                    "but you are running tavrin_update with a release override of '5.8'.\n"
                                    "Patches will be listed but not applied.\n";

QByteArray notWritable(const FakeInstallation& installation, const QStringList& entries)
{
    QStringList paths;
    for (const QString& entry : entries) {
        paths << installation.path(entry);
    }
    return "To apply patches you must have write access to the TAVRIN directories\n(" +
           paths.join(QLatin1Char('\n')).toUtf8() + ")\n\n";
}

QByteArray nonStandard(const QString& path)
{
    return "tavrin_update cannot install patches for TAVRIN in non-standard location\n'" + path.toUtf8() +
           "'\nYou must copy and install by hand\n";
}

} // namespace

class TstEnvironment : public Test
{
    Q_OBJECT

private slots:
    void unsetTavrinIsRefused_data()
    {
        const Rows<bool, QStringList> row("set", "arguments");

        row("unset", false, {"-t"});
        row("empty", true, {"-t"});
        row("unset in a listing run", false, {"-t", "-l"});
        row("unset with an override", false, {"-t", "-r", "5.8"});
        row("empty with a URL that is not valid", true, {"-t", "http://[/"});
    }

    void unsetTavrinIsRefused()
    {
        QFETCH(bool, set);
        QFETCH(QStringList, arguments);
        Program program;
        if (set) {
            program.tavrin(QString());
        }

        compareRun(program.run(arguments), 1, QByteArray(), "\nTAVRIN environment variable is not set.\n\n");
    }

    void unusableInstallationIsRefused_data()
    {
        const Rows<QString, QStringList> row("tavrin", "arguments");

        const QStringList apply{"-t"};
        row("missing", "/opt/tavrin/6.0", apply);
        row("missing, listing", "/opt/tavrin/6.0", {"-t", "-L"});
        row("missing, with a redundant override", "/opt/tavrin/6.0", {"-t", "-r", "6.0"});
        row("missing, with an empty override", "/opt/tavrin/6.0", {"-t", "-r", ""});
        row("missing, with a trailing slash", "/opt/tavrin/6.0/", apply);
        row("missing, outside the standard location", "/nowhere/tavrin/5.9", apply);
        row("a plain file", "/opt/tavrin/5.9/file", apply);
        row("unreadable", "/opt/tavrin/5.9/locked", apply);
        row("dangling link", "/opt/tavrin/5.9/dangling", apply);
    }

    void unusableInstallationIsRefused()
    {
        QFETCH(QString, tavrin);
        QFETCH(QStringList, arguments);
        FakeInstallation installation;
        installation.withFile("file").withFile("locked/file").withMode("locked", 0311);
        QVERIFY(QFile::link("/nowhere", installation.path("dangling")));

        const ProgramRun run = Program().tavrin(tavrin).run(arguments);
        compareRun(run, 1, QByteArray(), "TAVRIN directory is invalid\n" + tavrin.toUtf8() + "\n\n");
    }

    void relativeTavrinIsNamedByItsAbsolutePath()
    {
        const FakeInstallation installation;
        const ProgramRun run = Program().tavrin("missing").workingDirectory(installation.path()).run({"-t"});
        compareRun(run, 1, QByteArray(), "TAVRIN directory is invalid\n/opt/tavrin/5.9/missing\n\n");
    }

    void unusableOverrideIsRefused_data()
    {
        const Rows<QString> row("release");

        row("missing", "5.8");
        row("a plain file", "5.7");
        row("unreadable", "5.6");
        row("named like the second place marker", "%1");
    }

    void unusableOverrideIsRefused()
    {
        QFETCH(QString, release);
        const FakeInstallation installation;
        FakeInstallation locked("5.6");
        locked.withMode(QString(), 0311);
        writeTestFile("/opt/tavrin/5.7", QByteArray());

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-r", release});
        QVERIFY(QFile::remove("/opt/tavrin/5.7"));
        compareRun(run, 1, QByteArray(),
                   "TAVRIN directory is invalid\n\n'/opt/tavrin/" + release.toUtf8() +
                       "'\t(with release override of '" + release.toUtf8() + "')\n");
    }

    void installationElsewhereIsRefused_data()
    {
        const Rows<QString, QString, QStringList> row("tavrin", "named", "arguments");

        const QStringList apply{"-t"};
        row("the home of the releases itself", "/opt/tavrin", "/opt/tavrin", apply);
        row("a folder beside it", "/opt/tavrin-old/5.9", "/opt/tavrin-old/5.9", apply);
        row("its name in capitals", "/opt/TAVRIN/5.9", "/opt/TAVRIN/5.9", apply);
        row("a listing run", "/opt/TAVRIN/5.9", "/opt/TAVRIN/5.9", {"-t", "-l"});
        row("a way that leads out again", "/opt/tavrin/../TAVRIN/5.9", "/opt/TAVRIN/5.9", apply);
        row("the standard location further down", "/opt/elsewhere/opt/tavrin/5.9", "/opt/elsewhere/opt/tavrin/5.9",
            apply);
        row("before the URL is looked at", "/opt/TAVRIN/5.9", "/opt/TAVRIN/5.9", {"-t", "http://[/"});
    }

    void installationElsewhereIsRefused()
    {
        QFETCH(QString, tavrin);
        QFETCH(QString, named);
        QFETCH(QStringList, arguments);
        const QStringList folders{"/opt/tavrin-old/5.9", "/opt/TAVRIN/5.9", "/opt/elsewhere/opt/tavrin/5.9"};
        for (const QString& folder : folders) {
            QVERIFY(QDir().mkpath(folder));
        }

        const ProgramRun run = Program().tavrin(tavrin).run(arguments);
        for (const QString& folder : folders) {
            QVERIFY(QDir().rmpath(folder) || !QFileInfo::exists(folder));
        }
        compareRun(run, 1, QByteArray(), nonStandard(named));
    }

    void installationOutsideOptIsRefused()
    {
        const QTemporaryDir elsewhere;
        const ProgramRun run = Program().tavrin(elsewhere.path()).run({"-t"});
        compareRun(run, 1, QByteArray(), nonStandard(elsewhere.path()));
    }

    void linkIntoTheStandardLocationIsRefused()
    {
        const FakeInstallation installation;
        const QTemporaryDir elsewhere;
        const QString link = elsewhere.filePath("5.9");
        QVERIFY(QFile::link(installation.path(), link));

        const ProgramRun run = Program().tavrin(link).run({"-t"});
        compareRun(run, 1, QByteArray(), nonStandard(link));
    }

    void overrideOutsideTheStandardLocationIsRefusedAfterItsWarning()
    {
        const QTemporaryDir elsewhere;
        QVERIFY(QDir(elsewhere.path()).mkdir("5.8"));

        const ProgramRun run = Program().tavrin(elsewhere.filePath("5.9")).run({"-t", "-r", "5.8"});
        compareRun(run, 1, OVERRIDE_WARNING, nonStandard(elsewhere.filePath("5.8")));
    }

    void linkedReleaseKeepsItsOwnName()
    {
        const FakeInstallation installation;
        const LocalSource source{PatchPage()};
        QVERIFY(QFile::link(installation.path(), "/opt/tavrin/current"));

        const ProgramRun run = Program().tavrin("/opt/tavrin/current").run({"-t", source.url()});
        QVERIFY(QFile::remove("/opt/tavrin/current"));
        compareRun(run, 0, reportOf("current"), QByteArray());
    }

    void unwritableEntryIsRefused_data()
    {
        const Rows<QString> row("entry");

        row("the installation itself", {});
        for (const char* entry :
             {"patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1"}) {
            row(entry, QString::fromLatin1(entry));
        }
    }

    void unwritableEntryIsRefused()
    {
        QFETCH(QString, entry);
        FakeInstallation installation;
        installation.withMode(entry, 0555);
        const QStringList before = installation.tree();

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "file:///nowhere/"});
        compareRun(run, 1, QByteArray(), notWritable(installation, {entry}));
        QCOMPARE(installation.tree(), before);
    }

    void allUnwritableEntriesAreNamedInOrder()
    {
        FakeInstallation installation;
        const QStringList entries{"patched", "patches", "bin", "data",     "data/pf",
                                  "include", "lib",     "man", "man/man1", ""};
        for (const QString& entry : entries) {
            installation.withMode(entry, 0555);
        }

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-Q", "-v"});
        compareRun(run, 1, QByteArray(),
                   notWritable(installation, {"", "patched", "patches", "bin", "data", "data/pf", "include", "lib",
                                              "man", "man/man1"}));
    }

    void readOnlyFileSystemIsRefused()
    {
        const FakeInstallation installation;
        const ReadOnlyMount unwritable(installation.path("man"));
        compareRun(Program().tavrin(installation.path()).run({"-t"}), 1, QByteArray(),
                   notWritable(installation, {"man", "man/man1"}));
    }

    void missingEntriesCountAsUnwritable_data()
    {
        const Rows<QStringList, QStringList> row("removed", "named");

        row("the marks", {"patched"}, {"patched"});
        row("a folder in a folder", {"data/pf"}, {"data/pf"});
        row("a folder with a folder in it", {"data"}, {"data", "data/pf"});
        row("everything", {"patched", "patches", "bin", "data", "include", "lib", "man"},
            {"patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1"});
    }

    void missingEntriesCountAsUnwritable()
    {
        QFETCH(QStringList, removed);
        QFETCH(QStringList, named);
        FakeInstallation installation;
        for (const QString& entry : removed) {
            installation.without(entry);
        }

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t"});
        compareRun(run, 1, QByteArray(), notWritable(installation, named));
    }

    void listingNeedsNoWriteAccess_data()
    {
        const Rows<QStringList> row("options");

        row("-l", {"-l"});
        row("-L", {"-L"});
        row("-n", {"-n"});
        row("-l -Q", {"-l", "-Q"});
    }

    void listingNeedsNoWriteAccess()
    {
        QFETCH(QStringList, options);
        FakeInstallation installation;
        installation.without("lib").withMode("patched", 0555).withMode(QString(), 0555);
        const LocalSource source{PatchPage()};

        const ProgramRun run =
            Program().tavrin(installation.path()).run(QStringList{"-t"} + options + QStringList{source.url()});
        compareRun(run, 0, reportOf("5.9"), QByteArray());
    }

    void writableInstallationPassesAllChecks()
    {
        const FakeInstallation installation;
        const LocalSource source{PatchPage()};
        const QStringList before = installation.tree();

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", source.url()});
        compareRun(run, 0, reportOf("5.9"), QByteArray());
        QCOMPARE(installation.tree(), before);
    }

    void redundantOverrideLeavesNoTrace_data()
    {
        const Rows<QString, QString> row("installed", "given");

        row("same name", "5.9", "5.9");
        row("given in capitals", "beta", "BETA");
        row("installed in capitals", "RC1", "rc1");
        row("empty", "5.9", "");
    }

    void redundantOverrideLeavesNoTrace()
    {
        QFETCH(QString, installed);
        QFETCH(QString, given);
        FakeInstallation installation(installed);
        const LocalSource source{PatchPage()};

        compareRun(Program().tavrin(installation.path()).run({"-t", "-r", given, source.url()}), 0, reportOf(installed),
                   QByteArray());
        // Still allowed to apply, so write access is asked for.
        installation.withMode("lib", 0555);
        compareRun(Program().tavrin(installation.path()).run({"-t", "-r", given, source.url()}), 1, QByteArray(),
                   notWritable(installation, {"lib"}));
    }

    void overrideOnlyLists_data()
    {
        const Rows<QStringList> row("options");

        row("without another option", {});
        row("-l", {"-l"});
        row("-Q", {"-Q"});
    }

    void overrideOnlyLists()
    {
        QFETCH(QStringList, options);
        const FakeInstallation installed("5.9");
        FakeInstallation overriding("5.8");
        overriding.withPatched("P1");
        const QStringList before = overriding.tree();
        const QTemporaryDir source;
        PatchPage().entry("P1", "1 May 2020", "one").entry("P2", "2 May 2020", "two").writeTo(source.path());

        const QStringList arguments =
            QStringList{"-t", "-r", "5.8"} + options + QStringList{QUrl::fromLocalFile(source.path()).toString()};
        compareRun(Program().tavrin(installed.path()).run(arguments), 0,
                   OVERRIDE_WARNING + reportOf("overridden to 5.8", {{"P2", "two"}}) +
                       "Steps that would be taken are:\n\n"
                       "Check for running real time systems ...\n"
                       "No running Tavrin Real Time System of version '5.8' detected.\n"
                       "Download and install patch files ...\n"
                       "\nUpdate applied_patches.html ...\n"
                       "\nYou may restart systems now\n",
                   QByteArray());
        QCOMPARE(overriding.tree(), before);
    }

    void overrideWithQShowsTheStepsBesideARunningSystem()
    {
        const FakeInstallation installed("5.9");
        const FakeInstallation overriding("5.8");
        const LocalSource source(PatchPage().entry("P1", "1 May 2020", "one"));

        Program program;
        program.tavrin(installed.path()).runningSystems("5.8\tuser\t/home/user\t4711\n");
        compareRun(program.run({"-t", "-Q", "-r", "5.8", source.url()}), 0,
                   OVERRIDE_WARNING + reportOf("overridden to 5.8", {{"P1", "one"}}) + STEPS_HEADING + CHECK +
                       "WARNING: A running Tavrin Real Time System of version '5.8' was detected.\n"
                       "\nContinuing to show proposed course of action ...\n\n" +
                       DRY_STEPS);
    }

    // Also where standard output is a file or a pipe, which would hold it back.
    void overrideWarningIsShownBeforeTheListArrives()
    {
        const FakeInstallation installed("5.9");
        const FakeInstallation overriding("5.8");
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::body(PatchPage().html()).held());

        Program program;
        const std::unique_ptr<ProgramSession> session =
            program.tavrin(installed.path()).start({"-t", "-r", "5.8", server.url()});
        QTRY_COMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
        QVERIFY(session->waitForOutput(OVERRIDE_WARNING));
        server.release("/");
        compareRun(session->finish(), 0, OVERRIDE_WARNING + reportOf("overridden to 5.8"));
    }

    void overrideNeedsNoWriteAccess()
    {
        const FakeInstallation installed("5.9");
        FakeInstallation overriding("5.8");
        overriding.withMode("lib", 0555).without("patches");
        const LocalSource source{PatchPage()};

        const ProgramRun run = Program().tavrin(installed.path()).run({"-t", "-r", "5.8", source.url()});
        compareRun(run, 0, OVERRIDE_WARNING + reportOf("overridden to 5.8"), QByteArray());
    }

    void overrideOfPlacesInTheWarningIsTakenAsItIs()
    {
        const FakeInstallation installed("%2");
        const FakeInstallation overriding("%1");
        const LocalSource source{PatchPage()};

        const ProgramRun run = Program().tavrin(installed.path()).run({"-t", "-r", "%1", source.url()});
        compareRun(run, 0,
                   "*** WARNING: Your environment is for Tavrin release '%2',\n"
                   "but you are running tavrin_update with a release override of '%1'.\n"
                   "Patches will be listed but not applied.\n" +
                       reportOf("overridden to %1"),
                   QByteArray());
    }

    void invalidUrlIsRefused_data()
    {
        const Rows<QString, QString> row("url", "normalised");

        row("a host that is none", "http://[/", "http://[/");
        row("a port that is none", "http://host.test:port", "http://host.test:port/");
        row("a place marker in it", "http://[%2/", "http://[%2/");
    }

    void invalidUrlIsRefused()
    {
        QFETCH(QString, url);
        QFETCH(QString, normalised);
        const FakeInstallation installation;

        const QUrl parsed(normalised);
        QVERIFY(!parsed.isValid());
        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", url});
        compareRun(run, 1, QByteArray(),
                   "Url '" + normalised.toUtf8() + "' is invalid.\n" + parsed.errorString().toUtf8() + "\n");
    }

    void laterChecksDoNotHideEarlierOnes()
    {
        FakeInstallation installation;
        installation.without("lib");

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "http://[/"});
        compareRun(run, 1, QByteArray(), notWritable(installation, {"lib"}));
    }

    void defaultSourceIsAsked_data()
    {
        const Rows<QString, QStringList, QByteArray, QByteArray> row("tavrin", "arguments", "path", "output");

        const QString defaultUrl = QStringLiteral("http://%1/patches/5.9/Linux_x86/").arg(patchServerHost());
        const QByteArray plain = "/patches/5.9/Linux_x86/";
        row("no URL", "/opt/tavrin/5.9", {}, plain, reportOf("5.9"));
        row("an empty URL", "/opt/tavrin/5.9", {""}, plain, reportOf("5.9"));
        row("the default URL", "/opt/tavrin/5.9", {defaultUrl}, plain, reportOf("5.9"));
        row("the overriding release", "/opt/tavrin/5.9", {"-r", "5.8"}, "/patches/5.8/Linux_x86/",
            OVERRIDE_WARNING + reportOf("overridden to 5.8"));
        row("an override in other letters", "/opt/tavrin/beta", {"-r", "BETA"}, "/patches/beta/Linux_x86/",
            reportOf("beta"));
        row("a trailing slash after the release", "/opt/tavrin/5.9/", {}, "/patches//Linux_x86/", reportOf(""));
    }

    void defaultSourceIsAsked()
    {
        QFETCH(QString, tavrin);
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, output);
        const FakeInstallation installed("5.9");
        const FakeInstallation beside("5.8");
        const FakeInstallation named("beta");
        FakePatchServer server(80);
        server.answer(path, FakePatchServer::Answer::body(PatchPage().html()));

        const ProgramRun run = Program().tavrin(tavrin).run(QStringList{"-t"} + arguments);
        compareRun(run, 0, output, QByteArray());
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{path});
        QCOMPARE(server.requests().first().headers.value("host"), patchServerHost().toLatin1());
    }

    void givenSourceIsAskedInsteadOfTheDefault()
    {
        const FakeInstallation installation;
        FakePatchServer maker(80);
        FakePatchServer server;
        server.answer("/mirror/", FakePatchServer::Answer::body(PatchPage().html()));

        const ProgramRun run =
            Program().tavrin(installation.path()).run({"-t", server.url("/mirror"), maker.url("/x/")});
        compareRun(run, 0, reportOf("5.9"), QByteArray());
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/mirror/"});
        QCOMPARE(maker.requestedPaths(), QList<QByteArray>());
    }

private:
    void tearDown() override
    {
        QCOMPARE(QDir(QStringLiteral("/opt/tavrin")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }
};

TAVRIN_TEST_MAIN_WITH(QCoreApplication, TstEnvironment, (TestPlace{patchServerHost(), QString()}))

#include "tst_environment.moc"
