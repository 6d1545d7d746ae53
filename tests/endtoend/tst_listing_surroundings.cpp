// Listing runs in different surroundings: the name the program is called by, the release it is for, locales, paths and
// texts beyond ASCII, and a display or none.
#include "expected_report.h"
#include "expected_steps.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "message_guard.h"
#include "numbered_patches.h"
#include "program_run.h"
#include "test_files.h"
#include "test_main.h"

#include <QDir>
#include <QScopedPointer>
#include <QUrl>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

class TstListingSurroundings : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void headerNamesProgramAndRelease_data();
    void headerNamesProgramAndRelease();
    void headerNamesTheProgramAsInvoked_data();
    void headerNamesTheProgramAsInvoked();
    void textsBeyondAsciiAreWrittenInUtf8_data();
    void textsBeyondAsciiAreWrittenInUtf8();
    void pathsBeyondAsciiWork_data();
    void pathsBeyondAsciiWork();
    void terminalRunNeedsNoDisplay_data();
    void terminalRunNeedsNoDisplay();
    void terminalRunLoadsNoPlugins();
    void runningSystemsAreAskedForBeforeTheList();
    void listingWithoutTerminalOptionNeedsADisplay_data();
    void listingWithoutTerminalOptionNeedsADisplay();
    void listingWithADisplayOpensNoWindow_data();
    void listingWithADisplayOpensNoWindow();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstListingSurroundings::init()
{
    guard.reset(new MessageGuard);
}

void TstListingSurroundings::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstListingSurroundings::headerNamesProgramAndRelease_data()
{
    QTest::addColumn<QString>("installed");
    QTest::addColumn<QString>("given");
    QTest::addColumn<QByteArray>("start");

    QTest::newRow("a release") << "5.9"
                               << "" << QByteArray("tavrin_update Tavrin Release 5.9 ");
    QTest::newRow("no release, in capitals") << "DEV"
                                             << "" << QByteArray("tavrin_update Tavrin Unreleased DEV ");
    QTest::newRow("no release") << "dev"
                                << "" << QByteArray("tavrin_update Tavrin Unreleased dev ");
    QTest::newRow("a release beginning like none") << "dev2"
                                                   << "" << QByteArray("tavrin_update Tavrin Release dev2 ");
    QTest::newRow("overridden") << "5.9"
                                << "5.8" << QByteArray("tavrin_update Tavrin Release overridden to 5.8 ");
    QTest::newRow("overridden from none") << "dev"
                                          << "5.8" << QByteArray("tavrin_update Tavrin Release overridden to 5.8 ");
    QTest::newRow("overridden to none") << "5.9"
                                        << "Dev" << QByteArray("tavrin_update Tavrin Unreleased overridden to Dev ");
}

void TstListingSurroundings::headerNamesProgramAndRelease()
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
    const QByteArray platform = headerLine(QString()).mid(static_cast<int>(qstrlen("tavrin_update Tavrin Release  ")));
    compareRun(run, 0, expected + start + platform + "\nNo new patches\n");
}

void TstListingSurroundings::headerNamesTheProgramAsInvoked_data()
{
    QTest::addColumn<QString>("name");

    QTest::newRow("a blank in it") << "my updater";
    QTest::newRow("dots in it") << "tavrin_update-5.9.1";
}

void TstListingSurroundings::headerNamesTheProgramAsInvoked()
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
void TstListingSurroundings::textsBeyondAsciiAreWrittenInUtf8_data()
{
    QTest::addColumn<QString>("locale");

    QTest::newRow("C.UTF-8") << "C.UTF-8";
    QTest::newRow("C") << "C";
}

void TstListingSurroundings::textsBeyondAsciiAreWrittenInUtf8()
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

void TstListingSurroundings::pathsBeyondAsciiWork_data()
{
    textsBeyondAsciiAreWrittenInUtf8_data();
}

void TstListingSurroundings::pathsBeyondAsciiWork()
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

void TstListingSurroundings::terminalRunNeedsNoDisplay_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("-t -l") << QStringList{"-t", "-l"};
    QTest::newRow("-l -t") << QStringList{"-l", "-t"};
    QTest::newRow("-t as the value of another option") << QStringList{"-l", "-m", "-t", "-m", ""};
}

void TstListingSurroundings::terminalRunNeedsNoDisplay()
{
    QFETCH(QStringList, options);
    const FakeInstallation installation;
    const LocalSource source(pageOf(1));

    const ProgramRun run = Program().tavrin(installation.path()).run(options + QStringList{source.url()});
    compareRun(run, 0, reportOf("5.9", patchesOf(1)));
}

// Those for networks would have it watch the network interfaces, over D-Bus and with threads of their own.
void TstListingSurroundings::terminalRunLoadsNoPlugins()
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

// Qt opens the page of a local source when it is asked for. It is put there while the program waits for the systems.
void TstListingSurroundings::runningSystemsAreAskedForBeforeTheList()
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

void TstListingSurroundings::listingWithoutTerminalOptionNeedsADisplay_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("-l") << QStringList{"-l"};
    QTest::newRow("-L") << QStringList{"-L"};
    QTest::newRow("-n") << QStringList{"-n"};
    QTest::newRow("-m") << QStringList{"-m", "root@host.test"};
    QTest::newRow("-t in a cluster") << QStringList{"-lt"};
    QTest::newRow("no option") << QStringList{};
}

void TstListingSurroundings::listingWithoutTerminalOptionNeedsADisplay()
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

void TstListingSurroundings::listingWithADisplayOpensNoWindow_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("output");

    const QByteArray plain = reportOf("5.9", patchesOf(1));
    QTest::newRow("-l") << QStringList{"-l"} << plain;
    QTest::newRow("-L") << QStringList{"-L"} << headerLine("5.9") + "*  P1\n\n";
    QTest::newRow("-n") << QStringList{"-n"} << plain + STEPS_HEADING + NO_CONFLICT + DRY_STEPS;
    QTest::newRow("-m -L") << QStringList{"-L", "-m", "root@host.test"} << QByteArray();
    QTest::newRow("-t in a cluster") << QStringList{"-lt"} << plain;
}

void TstListingSurroundings::listingWithADisplayOpensNoWindow()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, output);
    const FakeInstallation installation;
    const LocalSource source(pageOf(1));

    const ProgramRun run = Program().offscreen().tavrin(installation.path()).run(options + QStringList{source.url()});
    compareRun(run, 0, output);
}

TAVRIN_TEST_MAIN(TstListingSurroundings)
#include "tst_listing_surroundings.moc"
