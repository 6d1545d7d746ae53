// Runs that list: what each listing option prints, from both kinds of source and for every state of the installation.
// What the page's entries may look like is the subject of tst_listing_entries, what surrounds the program that of
// tst_listing_surroundings, and runs that go wrong are in tst_listing_failures.
#include "expected_report.h"
#include "expected_steps.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "message_guard.h"
#include "numbered_patches.h"
#include "program_run.h"
#include "test_main.h"

#include <QDir>
#include <QScopedPointer>

namespace {

const QByteArray STEPS = STEPS_HEADING + NO_CONFLICT + DRY_STEPS;

PatchPage threePatches()
{
    return PatchPage()
        .entry("P1", "1 May 2020", "first")
        .entry("P2", "2 May 2020", "second\nin two lines")
        .entry("P3", "3 May 2020", "third");
}

} // namespace

class TstListing : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void optionsChooseTheReport_data();
    void optionsChooseTheReport();
    void nothingToApplyEndsTheRun_data();
    void nothingToApplyEndsTheRun();
    void compactMailIsNeverSent();
    void mailReplacesTheReport();
    void localUrlNamesAFolder_data();
    void localUrlNamesAFolder();
    void pageNameStaysInAnHttpUrl();
    void onlyTheFirstUrlIsAsked();
    void statusThatIsNoRedirectGoesOnToThePage();
    void marksDecideWhatIsApplied_data();
    void marksDecideWhatIsApplied();
    void withoutMarksTheInstallationItselfIsLookedAt();
    void unreadableMarksCountAsNone();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstListing::init()
{
    guard.reset(new MessageGuard);
}

void TstListing::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstListing::optionsChooseTheReport_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("output");

    const QByteArray plain = reportOf("5.9", {{"P2", "second\nin two lines"}, {"P3", "third"}});
    const QByteArray compact = headerLine("5.9") + "   P1\n*  P2\n*  P3\n\n";
    QTest::newRow("-l") << QStringList{"-l"} << plain;
    QTest::newRow("-L") << QStringList{"-L"} << compact;
    QTest::newRow("-n") << QStringList{"-n"} << plain + STEPS;
    QTest::newRow("-l -L") << QStringList{"-l", "-L"} << compact;
    QTest::newRow("-L -l") << QStringList{"-L", "-l"} << compact;
    QTest::newRow("-l -n") << QStringList{"-l", "-n"} << plain + STEPS;
    QTest::newRow("-L -n") << QStringList{"-L", "-n"} << compact + STEPS;
    QTest::newRow("-l -v") << QStringList{"-l", "-v"} << plain;
    QTest::newRow("-n -v") << QStringList{"-n", "-v"} << plain + STEPS;
    QTest::newRow("-l -Q") << QStringList{"-l", "-Q"} << plain;
    QTest::newRow("-n -Q") << QStringList{"-n", "-Q"} << plain + STEPS;
    QTest::newRow("a cluster with -t elsewhere") << QStringList{"-lvQ"} << plain;
    QTest::newRow("-l with an empty address") << QStringList{"-l", "-m", ""} << plain;
    QTest::newRow("-l with a redundant release") << QStringList{"-l", "-r", "5.9"} << plain;
}

void TstListing::optionsChooseTheReport()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, output);
    FakeInstallation installation;
    installation.withPatched("P1");
    const QStringList before = installation.tree();
    const LocalSource folder(threePatches());
    FakePatchServer server;
    server.answer("/", FakePatchServer::Answer::body(threePatches().html()));
    const QStringList arguments = QStringList{"-t"} + options;

    compareRun(Program().tavrin(installation.path()).run(arguments + QStringList{folder.url()}), 0, output);
    compareRun(Program().tavrin(installation.path()).run(arguments + QStringList{server.url()}), 0, output);
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/"});
    QCOMPARE(server.requests().first().method, QByteArray("GET"));
    QCOMPARE(installation.tree(), before);
}

void TstListing::nothingToApplyEndsTheRun_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("output");

    const QByteArray plain = reportOf("5.9");
    const QByteArray compact = headerLine("5.9") + "   P1\n   P2\n   P3\n\nNo new patches\n";
    QTest::newRow("-t alone") << QStringList{} << plain;
    QTest::newRow("-l") << QStringList{"-l"} << plain;
    QTest::newRow("-L") << QStringList{"-L"} << compact;
    QTest::newRow("-n") << QStringList{"-n"} << plain;
    QTest::newRow("-v") << QStringList{"-v"} << plain;
    QTest::newRow("-Q") << QStringList{"-Q"} << plain;
    QTest::newRow("-m with an empty address") << QStringList{"-m", ""} << plain;
    QTest::newRow("-m with an address") << QStringList{"-m", "root@host.test"} << QByteArray();
}

void TstListing::nothingToApplyEndsTheRun()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, output);
    FakeInstallation installation;
    installation.withPatched("P1").withPatched("P2").withPatched("P3");
    const LocalSource source(threePatches());
    FakeTools tools;
    tools.add("perl");

    Program program;
    program.tavrin(installation.path()).path(tools.pathDirectory()).runningSystems("5.9\tuser\t/home\t1\n");
    compareRun(program.run(QStringList{"-t"} + options + QStringList{source.url()}), 0, output);
    QCOMPARE(tools.calls().size(), 0);
}

void TstListing::compactMailIsNeverSent()
{
    const FakeInstallation installation;
    const LocalSource source(threePatches());
    FakeTools tools;
    tools.add("perl");

    Program program;
    program.tavrin(installation.path()).path(tools.pathDirectory());
    compareRun(program.run({"-t", "-L", "-m", "root@host.test", source.url()}), 0, QByteArray());
    QCOMPARE(tools.calls().size(), 0);
}

void TstListing::mailReplacesTheReport()
{
    const FakeInstallation installation;
    const LocalSource source(threePatches());
    FakeTools tools;
    FakeTool mailer;
    mailer.readsInput = true;
    tools.add("perl", mailer);

    Program program;
    program.tavrin(installation.path()).path(tools.pathDirectory());
    compareRun(program.run({"-t", "-m", "root@host.test", source.url()}), 0, QByteArray());
    const QList<FakeToolCall> calls = tools.calls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.first().arguments,
             (QList<QByteArray>{"rtmail", "-s", "'3 Tavrin patches available' ", "root@host.test"}));
    // A dry run mails too and then shows its steps.
    compareRun(program.run({"-t", "-n", "-m", "root@host.test", source.url()}), 0, NO_CONFLICT + DRY_STEPS);
    QCOMPARE(tools.calls().size(), 2);
}

void TstListing::localUrlNamesAFolder_data()
{
    QTest::addColumn<QString>("suffix");

    QTest::newRow("a trailing slash") << "/";
    QTest::newRow("no trailing slash") << "";
    QTest::newRow("the page's name") << "/index.html";
    QTest::newRow("the page's name in capitals") << "/INDEX.HTML";
}

void TstListing::localUrlNamesAFolder()
{
    QFETCH(QString, suffix);
    const FakeInstallation installation;
    QTemporaryDir folder(QDir::tempPath() + "/with blank-XXXXXX");
    threePatches().writeTo(folder.path());

    // As typed by a user, who encodes nothing.
    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-L", "file://" + folder.path() + suffix});
    compareRun(run, 0, headerLine("5.9") + "*  P1\n*  P2\n*  P3\n\n");
}

void TstListing::pageNameStaysInAnHttpUrl()
{
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/some/index.html/", FakePatchServer::Answer::body(pageOf(0).html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url("/some/index.html")});
    compareRun(run, 0, reportOf("5.9"));
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/some/index.html/"});
}

void TstListing::onlyTheFirstUrlIsAsked()
{
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/one/", FakePatchServer::Answer::body(pageOf(0).html()));

    const QStringList arguments{"-t", "-l", server.url("/one/"), server.url("/two/"), "http://[/"};
    compareRun(Program().tavrin(installation.path()).run(arguments), 0, reportOf("5.9"));
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/one/"});
}

void TstListing::statusThatIsNoRedirectGoesOnToThePage()
{
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/", FakePatchServer::Answer::status(306, pageOf(1).html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url()});
    compareRun(run, 0, reportOf("5.9", patchesOf(1)));
}

void TstListing::marksDecideWhatIsApplied_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("patch");
    QTest::addColumn<bool>("applied");

    QTest::newRow("a mark") << "patched/P1"
                            << "P1" << true;
    QTest::newRow("no mark") << "patched/P0"
                             << "P1" << false;
    QTest::newRow("a mark with a suffix") << "patched/P1.txt"
                                          << "P1" << false;
    QTest::newRow("a mark in other letters") << "patched/p1"
                                             << "P1" << false;
    QTest::newRow("a folder") << "patched/P1/file"
                              << "P1" << false;
    QTest::newRow("a hidden mark") << "patched/.P1"
                                   << ".P1" << false;
    QTest::newRow("a file beside the marks") << "P1"
                                             << "P1" << false;
    QTest::newRow("a trial patch") << "patched/TrialPatch"
                                   << "TrialPatch_3" << true;
    QTest::newRow("a trial patch under its own name") << "patched/TrialPatch_3"
                                                      << "TrialPatch_3" << false;
}

void TstListing::marksDecideWhatIsApplied()
{
    QFETCH(QString, file);
    QFETCH(QString, patch);
    QFETCH(bool, applied);
    FakeInstallation installation;
    installation.withFile(file);
    const LocalSource source(PatchPage().entry(patch, "1 May 2020", "text"));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", source.url()});
    const QString name = patch.startsWith("TrialPatch") ? QStringLiteral("TrialPatch") : patch;
    compareRun(run, 0, applied ? reportOf("5.9") : reportOf("5.9", {{name, "text"}}));
}

void TstListing::withoutMarksTheInstallationItselfIsLookedAt()
{
    FakeInstallation installation;
    installation.without("patched").withFile("P1").withFile("lib/P2");
    const LocalSource source(threePatches());

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-L", source.url()});
    compareRun(run, 0, headerLine("5.9") + "   P1\n*  P2\n*  P3\n\n");
}

void TstListing::unreadableMarksCountAsNone()
{
    FakeInstallation installation;
    installation.withPatched("P1").withMode("patched", 0311);
    const LocalSource source(threePatches());

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-L", source.url()});
    compareRun(run, 0, headerLine("5.9") + "*  P1\n*  P2\n*  P3\n\n");
}

TAVRIN_TEST_MAIN(TstListing)
#include "tst_listing.moc"
