// The checks of the installation that come before anything else, as a user meets them: which TAVRIN is accepted, what
// an override of the release does, which directories must be writable, and which address the list is asked from. The
// default address is reachable here: in this test's own network its host is on loopback.
#include "expected_report.h"
#include "expected_steps.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "message_guard.h"
#include "program_run.h"
#include "test_main.h"

#include <QDir>
#include <QScopedPointer>
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

class TstEnvironment : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void unsetTavrinIsRefused_data();
    void unsetTavrinIsRefused();
    void unusableInstallationIsRefused_data();
    void unusableInstallationIsRefused();
    void relativeTavrinIsNamedByItsAbsolutePath();
    void unusableOverrideIsRefused_data();
    void unusableOverrideIsRefused();
    void installationElsewhereIsRefused_data();
    void installationElsewhereIsRefused();
    void installationOutsideOptIsRefused();
    void linkIntoTheStandardLocationIsRefused();
    void overrideOutsideTheStandardLocationIsRefusedAfterItsWarning();
    void linkedReleaseKeepsItsOwnName();
    void unwritableEntryIsRefused_data();
    void unwritableEntryIsRefused();
    void allUnwritableEntriesAreNamedInOrder();
    void readOnlyFileSystemIsRefused();
    void missingEntriesCountAsUnwritable_data();
    void missingEntriesCountAsUnwritable();
    void listingNeedsNoWriteAccess_data();
    void listingNeedsNoWriteAccess();
    void writableInstallationPassesAllChecks();
    void redundantOverrideLeavesNoTrace_data();
    void redundantOverrideLeavesNoTrace();
    void overrideOnlyLists_data();
    void overrideOnlyLists();
    void overrideWithQShowsTheStepsBesideARunningSystem();
    void overrideWarningIsShownBeforeTheListArrives();
    void overrideNeedsNoWriteAccess();
    void overrideOfPlacesInTheWarningIsTakenAsItIs();
    void invalidUrlIsRefused_data();
    void invalidUrlIsRefused();
    void laterChecksDoNotHideEarlierOnes();
    void defaultSourceIsAsked_data();
    void defaultSourceIsAsked();
    void givenSourceIsAskedInsteadOfTheDefault();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstEnvironment::init()
{
    guard.reset(new MessageGuard);
}

void TstEnvironment::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
    QCOMPARE(QDir(QStringLiteral("/opt/tavrin")).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
}

void TstEnvironment::unsetTavrinIsRefused_data()
{
    QTest::addColumn<bool>("set");
    QTest::addColumn<QStringList>("arguments");

    QTest::newRow("unset") << false << QStringList{"-t"};
    QTest::newRow("empty") << true << QStringList{"-t"};
    QTest::newRow("unset in a listing run") << false << QStringList{"-t", "-l"};
    QTest::newRow("unset with an override") << false << QStringList{"-t", "-r", "5.8"};
    QTest::newRow("empty with a URL that is not valid") << true << QStringList{"-t", "http://[/"};
}

void TstEnvironment::unsetTavrinIsRefused()
{
    QFETCH(bool, set);
    QFETCH(QStringList, arguments);
    Program program;
    if (set) {
        program.tavrin(QString());
    }

    compareRun(program.run(arguments), 1, QByteArray(), "\nTAVRIN environment variable is not set.\n\n");
}

void TstEnvironment::unusableInstallationIsRefused_data()
{
    QTest::addColumn<QString>("tavrin");
    QTest::addColumn<QStringList>("arguments");

    const QStringList apply{"-t"};
    QTest::newRow("missing") << "/opt/tavrin/6.0" << apply;
    QTest::newRow("missing, listing") << "/opt/tavrin/6.0" << QStringList{"-t", "-L"};
    QTest::newRow("missing, with a redundant override") << "/opt/tavrin/6.0" << QStringList{"-t", "-r", "6.0"};
    QTest::newRow("missing, with an empty override") << "/opt/tavrin/6.0" << QStringList{"-t", "-r", ""};
    QTest::newRow("missing, with a trailing slash") << "/opt/tavrin/6.0/" << apply;
    QTest::newRow("missing, outside the standard location") << "/nowhere/tavrin/5.9" << apply;
    QTest::newRow("a plain file") << "/opt/tavrin/5.9/file" << apply;
    QTest::newRow("unreadable") << "/opt/tavrin/5.9/locked" << apply;
    QTest::newRow("dangling link") << "/opt/tavrin/5.9/dangling" << apply;
}

void TstEnvironment::unusableInstallationIsRefused()
{
    QFETCH(QString, tavrin);
    QFETCH(QStringList, arguments);
    FakeInstallation installation;
    installation.withFile("file").withFile("locked/file").withMode("locked", 0311);
    QVERIFY(QFile::link("/nowhere", installation.path("dangling")));

    const ProgramRun run = Program().tavrin(tavrin).run(arguments);
    compareRun(run, 1, QByteArray(), "TAVRIN directory is invalid\n" + tavrin.toUtf8() + "\n\n");
}

void TstEnvironment::relativeTavrinIsNamedByItsAbsolutePath()
{
    const FakeInstallation installation;
    const ProgramRun run = Program().tavrin("missing").workingDirectory(installation.path()).run({"-t"});
    compareRun(run, 1, QByteArray(), "TAVRIN directory is invalid\n/opt/tavrin/5.9/missing\n\n");
}

void TstEnvironment::unusableOverrideIsRefused_data()
{
    QTest::addColumn<QString>("release");

    QTest::newRow("missing") << "5.8";
    QTest::newRow("a plain file") << "5.7";
    QTest::newRow("unreadable") << "5.6";
    QTest::newRow("named like the second place marker") << "%1";
}

void TstEnvironment::unusableOverrideIsRefused()
{
    QFETCH(QString, release);
    const FakeInstallation installation;
    FakeInstallation locked("5.6");
    locked.withMode(QString(), 0311);
    writeTestFile("/opt/tavrin/5.7", QByteArray());

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-r", release});
    QVERIFY(QFile::remove("/opt/tavrin/5.7"));
    compareRun(run, 1, QByteArray(),
               "TAVRIN directory is invalid\n\n'/opt/tavrin/" + release.toUtf8() + "'\t(with release override of '" +
                   release.toUtf8() + "')\n");
}

void TstEnvironment::installationElsewhereIsRefused_data()
{
    QTest::addColumn<QString>("tavrin");
    QTest::addColumn<QString>("named");
    QTest::addColumn<QStringList>("arguments");

    const QStringList apply{"-t"};
    QTest::newRow("the home of the releases itself") << "/opt/tavrin"
                                                     << "/opt/tavrin" << apply;
    QTest::newRow("a folder beside it") << "/opt/tavrin-old/5.9"
                                        << "/opt/tavrin-old/5.9" << apply;
    QTest::newRow("its name in capitals") << "/opt/TAVRIN/5.9"
                                          << "/opt/TAVRIN/5.9" << apply;
    QTest::newRow("a listing run") << "/opt/TAVRIN/5.9"
                                   << "/opt/TAVRIN/5.9" << QStringList{"-t", "-l"};
    QTest::newRow("a way that leads out again") << "/opt/tavrin/../TAVRIN/5.9"
                                                << "/opt/TAVRIN/5.9" << apply;
    QTest::newRow("the standard location further down") << "/opt/elsewhere/opt/tavrin/5.9"
                                                        << "/opt/elsewhere/opt/tavrin/5.9" << apply;
    QTest::newRow("before the URL is looked at") << "/opt/TAVRIN/5.9"
                                                 << "/opt/TAVRIN/5.9" << QStringList{"-t", "http://[/"};
}

void TstEnvironment::installationElsewhereIsRefused()
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

void TstEnvironment::installationOutsideOptIsRefused()
{
    const QTemporaryDir elsewhere;
    const ProgramRun run = Program().tavrin(elsewhere.path()).run({"-t"});
    compareRun(run, 1, QByteArray(), nonStandard(elsewhere.path()));
}

void TstEnvironment::linkIntoTheStandardLocationIsRefused()
{
    const FakeInstallation installation;
    const QTemporaryDir elsewhere;
    const QString link = elsewhere.filePath("5.9");
    QVERIFY(QFile::link(installation.path(), link));

    const ProgramRun run = Program().tavrin(link).run({"-t"});
    compareRun(run, 1, QByteArray(), nonStandard(link));
}

void TstEnvironment::overrideOutsideTheStandardLocationIsRefusedAfterItsWarning()
{
    const QTemporaryDir elsewhere;
    QVERIFY(QDir(elsewhere.path()).mkdir("5.8"));

    const ProgramRun run = Program().tavrin(elsewhere.filePath("5.9")).run({"-t", "-r", "5.8"});
    compareRun(run, 1, OVERRIDE_WARNING, nonStandard(elsewhere.filePath("5.8")));
}

void TstEnvironment::linkedReleaseKeepsItsOwnName()
{
    const FakeInstallation installation;
    const LocalSource source{PatchPage()};
    QVERIFY(QFile::link(installation.path(), "/opt/tavrin/current"));

    const ProgramRun run = Program().tavrin("/opt/tavrin/current").run({"-t", source.url()});
    QVERIFY(QFile::remove("/opt/tavrin/current"));
    compareRun(run, 0, reportOf("current"), QByteArray());
}

void TstEnvironment::unwritableEntryIsRefused_data()
{
    QTest::addColumn<QString>("entry");

    QTest::newRow("the installation itself") << QString();
    for (const char* entry : {"patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1"}) {
        QTest::newRow(entry) << QString::fromLatin1(entry);
    }
}

void TstEnvironment::unwritableEntryIsRefused()
{
    QFETCH(QString, entry);
    FakeInstallation installation;
    installation.withMode(entry, 0555);
    const QStringList before = installation.tree();

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "file:///nowhere/"});
    compareRun(run, 1, QByteArray(), notWritable(installation, {entry}));
    QCOMPARE(installation.tree(), before);
}

void TstEnvironment::allUnwritableEntriesAreNamedInOrder()
{
    FakeInstallation installation;
    const QStringList entries{"patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1", ""};
    for (const QString& entry : entries) {
        installation.withMode(entry, 0555);
    }

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-Q", "-v"});
    compareRun(run, 1, QByteArray(),
               notWritable(installation,
                           {"", "patched", "patches", "bin", "data", "data/pf", "include", "lib", "man", "man/man1"}));
}

void TstEnvironment::readOnlyFileSystemIsRefused()
{
    const FakeInstallation installation;
    QString error;
    QVERIFY2(bindReadOnly(installation.path("man"), &error), qPrintable(error));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t"});
    QVERIFY2(unmount(installation.path("man"), &error), qPrintable(error));
    compareRun(run, 1, QByteArray(), notWritable(installation, {"man", "man/man1"}));
}

void TstEnvironment::missingEntriesCountAsUnwritable_data()
{
    QTest::addColumn<QStringList>("removed");
    QTest::addColumn<QStringList>("named");

    QTest::newRow("the marks") << QStringList{"patched"} << QStringList{"patched"};
    QTest::newRow("a folder in a folder") << QStringList{"data/pf"} << QStringList{"data/pf"};
    QTest::newRow("a folder with a folder in it") << QStringList{"data"} << QStringList{"data", "data/pf"};
    QTest::newRow("everything") << QStringList{"patched", "patches", "bin", "data", "include", "lib", "man"}
                                << QStringList{"patched", "patches", "bin", "data",    "data/pf",
                                               "include", "lib",     "man", "man/man1"};
}

void TstEnvironment::missingEntriesCountAsUnwritable()
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

void TstEnvironment::listingNeedsNoWriteAccess_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("-l") << QStringList{"-l"};
    QTest::newRow("-L") << QStringList{"-L"};
    QTest::newRow("-n") << QStringList{"-n"};
    QTest::newRow("-l -Q") << QStringList{"-l", "-Q"};
}

void TstEnvironment::listingNeedsNoWriteAccess()
{
    QFETCH(QStringList, options);
    FakeInstallation installation;
    installation.without("lib").withMode("patched", 0555).withMode(QString(), 0555);
    const LocalSource source{PatchPage()};

    const ProgramRun run =
        Program().tavrin(installation.path()).run(QStringList{"-t"} + options + QStringList{source.url()});
    compareRun(run, 0, reportOf("5.9"), QByteArray());
}

void TstEnvironment::writableInstallationPassesAllChecks()
{
    const FakeInstallation installation;
    const LocalSource source{PatchPage()};
    const QStringList before = installation.tree();

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", source.url()});
    compareRun(run, 0, reportOf("5.9"), QByteArray());
    QCOMPARE(installation.tree(), before);
}

void TstEnvironment::redundantOverrideLeavesNoTrace_data()
{
    QTest::addColumn<QString>("installed");
    QTest::addColumn<QString>("given");

    QTest::newRow("same name") << "5.9"
                               << "5.9";
    QTest::newRow("given in capitals") << "beta"
                                       << "BETA";
    QTest::newRow("installed in capitals") << "RC1"
                                           << "rc1";
    QTest::newRow("empty") << "5.9"
                           << "";
}

void TstEnvironment::redundantOverrideLeavesNoTrace()
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

void TstEnvironment::overrideOnlyLists_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("without another option") << QStringList{};
    QTest::newRow("-l") << QStringList{"-l"};
    QTest::newRow("-Q") << QStringList{"-Q"};
}

void TstEnvironment::overrideOnlyLists()
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

void TstEnvironment::overrideWithQShowsTheStepsBesideARunningSystem()
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
void TstEnvironment::overrideWarningIsShownBeforeTheListArrives()
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

void TstEnvironment::overrideNeedsNoWriteAccess()
{
    const FakeInstallation installed("5.9");
    FakeInstallation overriding("5.8");
    overriding.withMode("lib", 0555).without("patches");
    const LocalSource source{PatchPage()};

    const ProgramRun run = Program().tavrin(installed.path()).run({"-t", "-r", "5.8", source.url()});
    compareRun(run, 0, OVERRIDE_WARNING + reportOf("overridden to 5.8"), QByteArray());
}

void TstEnvironment::overrideOfPlacesInTheWarningIsTakenAsItIs()
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

void TstEnvironment::invalidUrlIsRefused_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("normalised");

    QTest::newRow("a host that is none") << "http://[/"
                                         << "http://[/";
    QTest::newRow("a port that is none") << "http://host.test:port"
                                         << "http://host.test:port/";
    QTest::newRow("a place marker in it") << "http://[%2/"
                                          << "http://[%2/";
}

void TstEnvironment::invalidUrlIsRefused()
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

void TstEnvironment::laterChecksDoNotHideEarlierOnes()
{
    FakeInstallation installation;
    installation.without("lib");

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "http://[/"});
    compareRun(run, 1, QByteArray(), notWritable(installation, {"lib"}));
}

void TstEnvironment::defaultSourceIsAsked_data()
{
    QTest::addColumn<QString>("tavrin");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("output");

    const QString defaultUrl = QStringLiteral("http://%1/patches/5.9/Linux_x86/").arg(patchServerHost());
    const QByteArray plain = "/patches/5.9/Linux_x86/";
    QTest::newRow("no URL") << "/opt/tavrin/5.9" << QStringList{} << plain << reportOf("5.9");
    QTest::newRow("an empty URL") << "/opt/tavrin/5.9" << QStringList{""} << plain << reportOf("5.9");
    QTest::newRow("the default URL") << "/opt/tavrin/5.9" << QStringList{defaultUrl} << plain << reportOf("5.9");
    QTest::newRow("the overriding release")
        << "/opt/tavrin/5.9" << QStringList{"-r", "5.8"} << QByteArray("/patches/5.8/Linux_x86/")
        << OVERRIDE_WARNING + reportOf("overridden to 5.8");
    QTest::newRow("an override in other letters") << "/opt/tavrin/beta" << QStringList{"-r", "BETA"}
                                                  << QByteArray("/patches/beta/Linux_x86/") << reportOf("beta");
    QTest::newRow("a trailing slash after the release")
        << "/opt/tavrin/5.9/" << QStringList{} << QByteArray("/patches//Linux_x86/") << reportOf("");
}

void TstEnvironment::defaultSourceIsAsked()
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

void TstEnvironment::givenSourceIsAskedInsteadOfTheDefault()
{
    const FakeInstallation installation;
    FakePatchServer maker(80);
    FakePatchServer server;
    server.answer("/mirror/", FakePatchServer::Answer::body(PatchPage().html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", server.url("/mirror"), maker.url("/x/")});
    compareRun(run, 0, reportOf("5.9"), QByteArray());
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/mirror/"});
    QCOMPARE(maker.requestedPaths(), QList<QByteArray>());
}

TAVRIN_NETWORK_TEST_MAIN(TstEnvironment)

#include "tst_environment.moc"
