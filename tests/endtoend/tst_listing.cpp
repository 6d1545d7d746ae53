// Runs that list: what each listing option prints, from both kinds of source and for every state of the installation.
// What the page's entries may look like is the subject of tst_listing_entries, what surrounds the program that of
// tst_listing_surroundings, and runs that go wrong are in tst_listing_failures.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"

#include <QDir>

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

class TstListing : public Test
{
    Q_OBJECT

private slots:
    void optionsChooseTheReport_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");

        const QByteArray plain = reportOf("5.9", {{"P2", "second\nin two lines"}, {"P3", "third"}});
        const QByteArray compact = headerLine("5.9") + "   P1\n*  P2\n*  P3\n\n";
        row("-l", {"-l"}, plain);
        row("-L", {"-L"}, compact);
        row("-n", {"-n"}, plain + STEPS);
        row("-l -L", {"-l", "-L"}, compact);
        row("-L -l", {"-L", "-l"}, compact);
        row("-l -n", {"-l", "-n"}, plain + STEPS);
        row("-L -n", {"-L", "-n"}, compact + STEPS);
        row("-l -v", {"-l", "-v"}, plain);
        row("-n -v", {"-n", "-v"}, plain + STEPS);
        row("-l -Q", {"-l", "-Q"}, plain);
        row("-n -Q", {"-n", "-Q"}, plain + STEPS);
        row("a cluster with -t elsewhere", {"-lvQ"}, plain);
        row("-l with an empty address", {"-l", "-m", ""}, plain);
        row("-l with a redundant release", {"-l", "-r", "5.9"}, plain);
    }

    void optionsChooseTheReport()
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

    void nothingToApplyEndsTheRun_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");

        const QByteArray plain = reportOf("5.9");
        const QByteArray compact = headerLine("5.9") + "   P1\n   P2\n   P3\n\nNo new patches\n";
        row("-t alone", {}, plain);
        row("-l", {"-l"}, plain);
        row("-L", {"-L"}, compact);
        row("-n", {"-n"}, plain);
        row("-v", {"-v"}, plain);
        row("-Q", {"-Q"}, plain);
        row("-m with an empty address", {"-m", ""}, plain);
        row("-m with an address", {"-m", "root@host.test"}, {});
    }

    void nothingToApplyEndsTheRun()
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

    void compactMailIsNeverSent()
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

    void mailReplacesTheReport()
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

    void localUrlNamesAFolder_data()
    {
        const Rows<QString> row("suffix");

        row("a trailing slash", "/");
        row("no trailing slash", "");
        row("the page's name", "/index.html");
        row("the page's name in capitals", "/INDEX.HTML");
    }

    void localUrlNamesAFolder()
    {
        QFETCH(QString, suffix);
        const FakeInstallation installation;
        QTemporaryDir folder(QDir::tempPath() + "/with blank-XXXXXX");
        threePatches().writeTo(folder.path());

        // As typed by a user, who encodes nothing.
        const ProgramRun run =
            Program().tavrin(installation.path()).run({"-t", "-L", "file://" + folder.path() + suffix});
        compareRun(run, 0, headerLine("5.9") + "*  P1\n*  P2\n*  P3\n\n");
    }

    void pageNameStaysInAnHttpUrl()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/some/index.html/", FakePatchServer::Answer::body(pageOf(0).html()));

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url("/some/index.html")});
        compareRun(run, 0, reportOf("5.9"));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/some/index.html/"});
    }

    void onlyTheFirstUrlIsAsked()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/one/", FakePatchServer::Answer::body(pageOf(0).html()));

        const QStringList arguments{"-t", "-l", server.url("/one/"), server.url("/two/"), "http://[/"};
        compareRun(Program().tavrin(installation.path()).run(arguments), 0, reportOf("5.9"));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/one/"});
    }

    void statusThatIsNoRedirectGoesOnToThePage()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/", FakePatchServer::Answer::status(306, pageOf(1).html()));

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url()});
        compareRun(run, 0, reportOf("5.9", patchesOf(1)));
    }

    void marksDecideWhatIsApplied_data()
    {
        const Rows<QString, QString, bool> row("file", "patch", "applied");

        row("a mark", "patched/P1", "P1", true);
        row("no mark", "patched/P0", "P1", false);
        row("a mark with a suffix", "patched/P1.txt", "P1", false);
        row("a mark in other letters", "patched/p1", "P1", false);
        row("a folder", "patched/P1/file", "P1", false);
        row("a hidden mark", "patched/.P1", ".P1", false);
        row("a file beside the marks", "P1", "P1", false);
        row("a trial patch", "patched/TrialPatch", "TrialPatch_3", true);
        row("a trial patch under its own name", "patched/TrialPatch_3", "TrialPatch_3", false);
    }

    void marksDecideWhatIsApplied()
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

    void withoutMarksTheInstallationItselfIsLookedAt()
    {
        FakeInstallation installation;
        installation.without("patched").withFile("P1").withFile("lib/P2");
        const LocalSource source(threePatches());

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-L", source.url()});
        compareRun(run, 0, headerLine("5.9") + "   P1\n*  P2\n*  P3\n\n");
    }

    void unreadableMarksCountAsNone()
    {
        FakeInstallation installation;
        installation.withPatched("P1").withMode("patched", 0311);
        const LocalSource source(threePatches());

        const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-L", source.url()});
        compareRun(run, 0, headerLine("5.9") + "*  P1\n*  P2\n*  P3\n\n");
    }
};

TAVRIN_TEST_MAIN(TstListing)
#include "tst_listing.moc"
