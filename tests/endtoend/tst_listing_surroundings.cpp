// Listing runs in different surroundings: the name the program is called by, the release it is for, locales, paths and
// texts beyond ASCII, and a display or none.
#include "expected_texts.h"
#include "installable_release.h"
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
    void headerNamesProgramAndRelease_data()
    {
        const Rows<QString, QString, QByteArray> row("installed", "given", "start");
        row("a release", "5.9", "", "tavrin_update Tavrin Release 5.9 ");
        row("no release, in capitals", "DEV", "", "tavrin_update Tavrin Unreleased DEV ");
        row("no release", "dev", "", "tavrin_update Tavrin Unreleased dev ");
        row("a release beginning like none", "dev2", "", "tavrin_update Tavrin Release dev2 ");
        row("overridden", "5.9", "5.8", "tavrin_update Tavrin Release overridden to 5.8 ");
        row("overridden from none", "dev", "5.8", "tavrin_update Tavrin Release overridden to 5.8 ");
        row("overridden to none", "5.9", "Dev", "tavrin_update Tavrin Unreleased overridden to Dev ");
    }

    void headerNamesProgramAndRelease()
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

    void headerNamesTheProgramAsInvoked_data()
    {
        const Rows<QString> row("name");
        row("a blank in it", "my updater");
        row("dots in it", "tavrin_update-5.9.1");
    }

    void headerNamesTheProgramAsInvoked()
    {
        QFETCH(QString, name);
        InstallableRelease release{PatchPage()};
        const QTemporaryDir elsewhere;
        QVERIFY(QFile::link(programPath(), elsewhere.filePath(name)));
        release.program.invokedAs(elsewhere.filePath(name));
        compareRun(release.run({"-l"}), 0, headerLine("5.9", name) + "\nNo new patches\n");
    }

    // Qt takes the C locale, in which scheduled jobs run, for UTF-8 too.
    void textsBeyondAsciiAreWrittenInUtf8_data()
    {
        const Rows<QString> row("locale");
        row("C.UTF-8", "C.UTF-8");
        row("C", "C");
    }

    void textsBeyondAsciiAreWrittenInUtf8()
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

    void pathsBeyondAsciiWork_data()
    {
        textsBeyondAsciiAreWrittenInUtf8_data();
    }

    void pathsBeyondAsciiWork()
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

    // Those for networks would have it watch the network interfaces, over D-Bus and with threads of their own.
    void terminalRunLoadsNoPlugins()
    {
        ServedRelease release{PatchPage()};
        release.server.answer("/5.9/", FakePatchServer::Answer::body(PatchPage().html()).held());
        const auto session = release.start({"-l"});
        QTRY_COMPARE(release.server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        const QByteArray loaded = contentOf(QStringLiteral("/proc/%1/maps").arg(session->processId()));
        QVERIFY2(loaded.contains("/libQt5Network.so"), loaded.constData());
        QVERIFY2(!loaded.contains("/plugins/"), loaded.constData());
        release.server.release("/5.9/");
        compareRun(session->finish(), 0, reportOf("5.9"));
    }

    // Qt opens the page of a local source when it is asked for. It is put there while the program waits for the
    // systems.
    void runningSystemsAreAskedForBeforeTheList()
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
        QTRY_VERIFY(programReads());
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
        // Which platforms Qt could offer instead is listed after this and depends on the machine.
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
};

TAVRIN_TEST_MAIN(TstListingSurroundings)
#include "tst_listing_surroundings.moc"
