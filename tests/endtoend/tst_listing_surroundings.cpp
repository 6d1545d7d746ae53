// Listing runs in different environments: the name of the program, the release, the locale, paths and texts that are
// not ASCII, and with or without a display.
#include "expected_texts.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDir>
#include <QUrl>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class TstListingSurroundings : public Test
{
    Q_OBJECT

private slots:
    void headerHasTheRelease_data()
    {
        const Rows<QString, QString, QByteArray> row("installed", "given", "start");
        row("a release", "5.9", "", "tavrin_update Tavrin Release 5.9 ");
        row("unreleased, in capitals", "DEV", "", "tavrin_update Tavrin Unreleased DEV ");
        row("unreleased", "dev", "", "tavrin_update Tavrin Unreleased dev ");
        row("a release with a longer name than dev", "dev2", "", "tavrin_update Tavrin Release dev2 ");
        row("overridden", "5.9", "5.8", "tavrin_update Tavrin Release overridden to 5.8 ");
        row("overridden, unreleased installed", "dev", "5.8", "tavrin_update Tavrin Release overridden to 5.8 ");
        row("overridden by unreleased", "5.9", "Dev", "tavrin_update Tavrin Unreleased overridden to Dev ");
    }

    void headerHasTheRelease()
    {
        QFETCH(QString, installed);
        QFETCH(QString, given);
        QFETCH(QByteArray, start);
        InstallableRelease release(PatchPage(), installed);
        const FakeInstallation overriding(given.isEmpty() ? QStringLiteral("unused") : given);
        const QByteArray warning = given.isEmpty() ? QByteArray() : overrideWarning(installed.toUtf8(), given.toUtf8());
        const QByteArray platform =
            headerLine(QString()).mid(static_cast<int>(qstrlen("tavrin_update Tavrin Release  ")));
        compareRun(release.run({"-r", given}), 0, warning + start + platform + "\nNo new patches\n");
    }

    void headerHasTheNameOfTheInvokedProgram_data()
    {
        const Rows<QString> row("name");
        row("a space in it", "my updater");
        row("dots in it", "tavrin_update-5.9.1");
    }

    void headerHasTheNameOfTheInvokedProgram()
    {
        QFETCH(QString, name);
        InstallableRelease release{PatchPage()};
        const QTemporaryDir elsewhere;
        QVERIFY(QFile::link(programPath(), elsewhere.filePath(name)));
        release.program.invokedAs(elsewhere.filePath(name));
        compareRun(release.run({"-l"}), 0, headerLine("5.9", name) + "\nNo new patches\n");
    }

    // Scheduled jobs run in the C locale, in which Qt uses UTF-8 as well.
    void nonAsciiTextsAreWrittenInUtf8_data()
    {
        const Rows<QString> row("locale");
        row("C.UTF-8", "C.UTF-8");
        row("C", "C");
    }

    void nonAsciiTextsAreWrittenInUtf8()
    {
        QFETCH(QString, locale);
        const QString name = QString::fromUtf8("Gr\u00f6\u00dfe");
        const QString text = QString::fromUtf8("na\u00efve \u2013 \u6f22\u5b57");
        const QString applied = QString::fromUtf8("\u00c4pfel");
        InstallableRelease release(PatchPage().entry(applied, "1 May", "applied").entry(name, "2 May", text));
        release.installation.withPatched(applied);
        release.program.locale(locale);
        compareRun(release.run({"-l"}), 0, reportOf("5.9", {{name, text}}));
    }

    void nonAsciiPathsWork_data()
    {
        nonAsciiTextsAreWrittenInUtf8_data();
    }

    void nonAsciiPathsWork()
    {
        QFETCH(QString, locale);
        const QString name = QString::fromUtf8("5.9-\u00e4");
        FakeInstallation installation(name);
        installation.withPatched("P1");
        QTemporaryDir folder(QDir::tempPath() + QString::fromUtf8("/Stra\u00dfe-XXXXXX"));
        pageOf(3).writeTo(folder.path());
        const QString url = QUrl::fromLocalFile(folder.path()).toString();
        compareRun(Program().locale(locale).tavrin(installation.path()).run({"-t", "-L", url}), 0,
                   compactReportOf(name, {"P1"}, {"P2", "P3"}));
    }

    // Qt's network plugins would watch the network interfaces, with D-Bus and with threads of their own.
    void terminalRunLoadsNoPlugins()
    {
        ServedRelease release{PatchPage()};
        release.server.answer("/5.9/", FakePatchServer::Answer::body(PatchPage().html()).held());
        const auto session = release.start({"-l"});
        QTRY_COMPARE_WITH_TIMEOUT(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"}, LONG_WAIT);
        const QByteArray loaded = contentOf(QStringLiteral("/proc/%1/maps").arg(session->processId()));
        QVERIFY2(loaded.contains("/libQt5Network.so"), loaded.constData());
        QVERIFY2(!loaded.contains("/plugins/"), loaded.constData());
        release.server.release("/5.9/");
        compareRun(session->finish(), 0, reportOf("5.9"));
    }

    // Qt opens a local page when it is requested. The page is written while the program waits for the systems.
    void runningSystemsAreReadBeforeTheListIsRequested()
    {
        const FakeInstallation installation;
        const QTemporaryDir source;
        Program program;
        const QString systems = program.home() + "/systems";
        QCOMPARE(::mkfifo(QFile::encodeName(systems).constData(), 0600), 0);
        program.tavrin(installation.path()).set("FAKE_PIDRTSYS", systems);
        const auto session = program.start({"-t", "-l", "file://" + source.path()});
        int writer = -1;
        const auto programReads = [&] {
            if (writer < 0) {
                writer = ::open(QFile::encodeName(systems).constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            }
            return writer >= 0;
        };
        QTRY_VERIFY_WITH_TIMEOUT(programReads(), LONG_WAIT);
        pageOf(1).writeTo(source.path());
        ::close(writer);
        compareRun(session->finish(), 0, reportOf("5.9", patchesOf(1)));
    }

    void listingWithoutTerminalOptionNeedsADisplay_data()
    {
        const Rows<QStringList> row("options");
        row("-l", {"-l"});
        row("-L", {"-L"});
        row("-n", {"-n"});
        row("-m", {"-m", "root@host.test"});
        row("-t in a cluster", {"-lt"});
        row("no option", {});
    }

    void listingWithoutTerminalOptionNeedsADisplay()
    {
        QFETCH(QStringList, options);
        InstallableRelease release(pageOf(1));
        const ProgramRun run = release.program.run(options + QStringList{release.source.url()});
        QVERIFY2(run.crashed, describe(run));
        QCOMPARE(run.output, QByteArray());
        // The list of available platforms follows, which depends on the machine.
        QVERIFY2(
            run.errors.contains("This application failed to start because no Qt platform plugin could be initialized."),
            describe(run));
    }

    void listingOpensNoWindow_data()
    {
        const Rows<bool, QStringList, QByteArray> row("display", "options", "output");
        const QByteArray plain = reportOf("5.9", patchesOf(1));
        row("-t -l", false, {"-t", "-l"}, plain);
        row("-l -t", false, {"-l", "-t"}, plain);
        row("-t as the value of another option", false, {"-l", "-m", "-t", "-m", ""}, plain);
        row("-l and a display", true, {"-l"}, plain);
        row("-L and a display", true, {"-L"}, compactReportOf("5.9", {}, {"P1"}));
        row("-n and a display", true, {"-n"}, plain + DRY_RUN);
        row("-m -L and a display", true, {"-L", "-m", "root@host.test"}, {});
        row("-t in a cluster and a display", true, {"-lt"}, plain);
    }

    void listingOpensNoWindow()
    {
        QFETCH(bool, display);
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        InstallableRelease release(pageOf(1));
        if (display) {
            release.program.offscreen();
        }
        compareRun(release.program.run(options + QStringList{release.source.url()}), 0, output);
    }

    // Nothing can then take the place of a closed stream.
    void closedInputAndNoNullDeviceDoNotHangTheRun()
    {
        InstallableRelease release(pageOf(1));
        release.program.invokedAs("unshare").unset("LD_PRELOAD"); // which is for the program alone
        const QString script = "mount -t tmpfs tmpfs /dev && exec \"$@\" 0<&-";
        compareRun(
            release.program.run({"--mount", "sh", "-c", script, "sh", programPath(), "-t", "-l", release.source.url()}),
            0, reportOf("5.9", patchesOf(1)));
    }
};

TAVRIN_TEST_MAIN(TstListingSurroundings)
#include "tst_listing_surroundings.moc"
