// Listing runs in different surroundings: the name the program is called by, the release it is for, locales, paths and
// texts beyond ASCII, and a display or none.
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
        const FakeInstallation installation(installed);
        const FakeInstallation overriding(given.isEmpty() ? QStringLiteral("unused") : given);
        const LocalSource source(pageOf(0));

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-r", given, source.url()});
        QByteArray expected;
        if (!given.isEmpty()) {
            expected = "*** WARNING: Your environment is for Tavrin release '" + installed.toUtf8() +
                       "',\nbut you are running tavrin_update with a release override of '" + given.toUtf8() +
                       "'.\nPatches will be listed but not applied.\n";
        }
        const QByteArray platform =
            headerLine(QString()).mid(static_cast<int>(qstrlen("tavrin_update Tavrin Release  ")));
        compareRun(run, 0, expected + start + platform + "\nNo new patches\n");
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
        const FakeInstallation installation;
        const LocalSource source(pageOf(0));
        const QTemporaryDir elsewhere;
        const QString link = elsewhere.filePath(name);
        QVERIFY(QFile::link(programPath(), link));

        const ProgramRun run = Program(link).tavrin(installation.path()).run({"-t", "-l", source.url()});
        compareRun(run, 0, headerLine("5.9", name) + "\nNo new patches\n");
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
        FakeInstallation installation;
        installation.withPatched(QString::fromUtf8("\u00c4pfel"));
        const LocalSource source(
            PatchPage().entry(QString::fromUtf8("\u00c4pfel"), "1 May", "applied").entry(name, "2 May", text));

        const ProgramRun run = Program().locale(locale).tavrin(installation.path()).run({"-t", "-l", source.url()});
        compareRun(run, 0, reportOf("5.9", {{name, text}}));
    }

    void pathsBeyondAsciiWork_data()
    {
        textsBeyondAsciiAreWrittenInUtf8_data();
    }

    void pathsBeyondAsciiWork()
    {
        QFETCH(QString, locale);
        const QString release = QString::fromUtf8("5.9-\u00e4");
        FakeInstallation installation(release);
        installation.withPatched("P1");
        QTemporaryDir folder(QDir::tempPath() + QString::fromUtf8("/Stra\u00dfe-XXXXXX"));
        pageOf(3).writeTo(folder.path());

        const ProgramRun run = Program()
                                   .locale(locale)
                                   .tavrin(installation.path())
                                   .run({"-t", "-L", QUrl::fromLocalFile(folder.path()).toString()});
        compareRun(run, 0, headerLine(release) + "   P1\n*  P2\n*  P3\n\n");
    }

    void terminalRunNeedsNoDisplay_data()
    {
        const Rows<QStringList> row("options");

        row("-t -l", {"-t", "-l"});
        row("-l -t", {"-l", "-t"});
        row("-t as the value of another option", {"-l", "-m", "-t", "-m", ""});
    }

    void terminalRunNeedsNoDisplay()
    {
        QFETCH(QStringList, options);
        const FakeInstallation installation;
        const LocalSource source(pageOf(1));

        const ProgramRun run = Program().tavrin(installation.path()).run(options + QStringList{source.url()});
        compareRun(run, 0, reportOf("5.9", patchesOf(1)));
    }

    // Those for networks would have it watch the network interfaces, over D-Bus and with threads of their own.
    void terminalRunLoadsNoPlugins()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::body(PatchPage().html()).held());
        Program program;
        const std::unique_ptr<ProgramSession> session =
            program.tavrin(installation.path()).start({"-t", "-l", server.url()});
        QTRY_COMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
        const QByteArray loaded = contentOf(QStringLiteral("/proc/%1/maps").arg(session->processId()));
        QVERIFY2(loaded.contains("/libQt5Network.so"), loaded.constData());
        QVERIFY2(!loaded.contains("/plugins/"), loaded.constData());
        server.release("/");
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
        const std::unique_ptr<ProgramSession> session = program.tavrin(installation.path())
                                                            .set("FAKE_PIDRTSYS", systems)
                                                            .start({"-t", "-l", "file://" + source.path()});
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
        const FakeInstallation installation;
        const LocalSource source(pageOf(1));

        const ProgramRun run = Program().tavrin(installation.path()).run(options + QStringList{source.url()});
        QVERIFY2(run.crashed, describe(run));
        QCOMPARE(run.output, QByteArray());
        // Which platforms Qt could offer instead is listed behind this and depends on the machine.
        QVERIFY2(
            run.errors.contains("This application failed to start because no Qt platform plugin could be initialized."),
            describe(run));
    }

    void listingWithADisplayOpensNoWindow_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");

        const QByteArray plain = reportOf("5.9", patchesOf(1));
        row("-l", {"-l"}, plain);
        row("-L", {"-L"}, headerLine("5.9") + "*  P1\n\n");
        row("-n", {"-n"}, plain + STEPS_HEADING + NO_CONFLICT + DRY_STEPS);
        row("-m -L", {"-L", "-m", "root@host.test"}, {});
        row("-t in a cluster", {"-lt"}, plain);
    }

    void listingWithADisplayOpensNoWindow()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        const FakeInstallation installation;
        const LocalSource source(pageOf(1));

        const ProgramRun run =
            Program().offscreen().tavrin(installation.path()).run(options + QStringList{source.url()});
        compareRun(run, 0, output);
    }
};

TAVRIN_TEST_MAIN(TstListingSurroundings)
#include "tst_listing_surroundings.moc"
