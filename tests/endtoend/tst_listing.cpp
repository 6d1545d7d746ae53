// Runs that list: what each listing option prints for pages of every allowed shape, from both kinds of source, for
// every state of the installation and in both output encodings. Runs that go wrong are tst_listing_failures' subject.
#include "expected_report.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "message_guard.h"
#include "program_run.h"
#include "test_main.h"

#include <QDir>
#include <QScopedPointer>
#include <QUrl>

namespace {

const QByteArray STEPS_HEADING = "Steps that would be taken are:\n\n";

const QByteArray STEPS = "Check for running real time systems ...\n"
                         "No running Tavrin Real Time System of version '5.9' detected.\n"
                         "Download and install patch files ...\n"
                         "\nUpdate applied_patches.html ...\n"
                         "\nYou may restart systems now\n";

PatchPage threePatches()
{
    return PatchPage()
        .entry("P1", "1 May 2020", "first")
        .entry("P2", "2 May 2020", "second\nin two lines")
        .entry("P3", "3 May 2020", "third");
}

PatchPage pageOf(int count)
{
    PatchPage page;
    for (int i = 1; i <= count; ++i) {
        page.entry(QStringLiteral("P%1").arg(i), "1 May 2020", QStringLiteral("description %1").arg(i));
    }
    return page;
}

QList<UnappliedPatch> patchesOf(int count)
{
    QList<UnappliedPatch> patches;
    for (int i = 1; i <= count; ++i) {
        patches << UnappliedPatch(QStringLiteral("P%1").arg(i), QStringLiteral("description %1").arg(i));
    }
    return patches;
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
    void entriesAreReadFromOddMarkup_data();
    void entriesAreReadFromOddMarkup();
    void pendingLinksArePutBeforeTheNextArchive_data();
    void pendingLinksArePutBeforeTheNextArchive();
    void manyEntriesAreListed_data();
    void manyEntriesAreListed();
    void marksDecideWhatIsApplied_data();
    void marksDecideWhatIsApplied();
    void withoutMarksTheInstallationItselfIsLookedAt();
    void unreadableMarksCountAsNone();
    void headerNamesProgramAndRelease_data();
    void headerNamesProgramAndRelease();
    void headerNamesTheProgramAsInvoked();
    void textsBeyondAsciiAreWrittenInUtf8_data();
    void textsBeyondAsciiAreWrittenInUtf8();
    void pathsBeyondAsciiWork_data();
    void pathsBeyondAsciiWork();
    void terminalRunNeedsNoDisplay_data();
    void terminalRunNeedsNoDisplay();
    void listingWithoutTerminalOptionNeedsADisplay_data();
    void listingWithoutTerminalOptionNeedsADisplay();
    void listingWithADisplayOpensNoWindow_data();
    void listingWithADisplayOpensNoWindow();

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
    QTest::newRow("-n") << QStringList{"-n"} << plain + STEPS_HEADING + STEPS;
    QTest::newRow("-l -L") << QStringList{"-l", "-L"} << compact;
    QTest::newRow("-L -l") << QStringList{"-L", "-l"} << compact;
    QTest::newRow("-l -n") << QStringList{"-l", "-n"} << plain + STEPS_HEADING + STEPS;
    QTest::newRow("-L -n") << QStringList{"-L", "-n"} << compact + STEPS_HEADING + STEPS;
    QTest::newRow("-l -v") << QStringList{"-l", "-v"} << plain;
    QTest::newRow("-n -v") << QStringList{"-n", "-v"} << plain + STEPS_HEADING + STEPS;
    QTest::newRow("-l -Q") << QStringList{"-l", "-Q"} << plain;
    QTest::newRow("-n -Q") << QStringList{"-n", "-Q"} << plain + STEPS_HEADING + STEPS;
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
    compareRun(program.run({"-t", "-n", "-m", "root@host.test", source.url()}), 0, STEPS);
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

void TstListing::entriesAreReadFromOddMarkup_data()
{
    QTest::addColumn<QString>("entries");
    QTest::addColumn<QList<UnappliedPatch>>("patches");

    const QString link = "<li><a href=\"p.tar\">P1 1 May 2020</a></li>";
    const QString quote = "<blockquote>text</blockquote>";
    const QList<UnappliedPatch> plain{{"P1", "text"}};
    QTest::newRow("a plain entry") << link + quote << plain;
    QTest::newRow("predefined entities") << link + "<blockquote>a &lt; b &amp;&amp; c &gt; d</blockquote>"
                                         << QList<UnappliedPatch>{{"P1", "a < b && c > d"}};
    QTest::newRow("a character reference") << link + "<blockquote>caf&#233;</blockquote>"
                                           << QList<UnappliedPatch>{{"P1", QString::fromUtf8("caf\xc3\xa9")}};
    QTest::newRow("an entity in the heading")
        << "<li><a href=\"p.tar\">P&amp;1 1 May 2020</a></li>" + quote << QList<UnappliedPatch>{{"P&1", "text"}};
    QTest::newRow("a description in CDATA")
        << link + "<blockquote><![CDATA[<b>&amp;</b>]]></blockquote>" << QList<UnappliedPatch>{{"P1", "<b>&amp;</b>"}};
    QTest::newRow("a heading in CDATA") << "<li href=\"p.tar\"><![CDATA[P1 1 May 2020]]></li>" + quote << plain;
    QTest::newRow("a comment before the description") << link + "<blockquote><!-- c -->text</blockquote>" << plain;
    QTest::newRow("a comment within the description") << link + "<blockquote>text<!-- c -->more</blockquote>" << plain;
    QTest::newRow("a comment within the heading")
        << "<li><a href=\"p.tar\">P0<!-- c -->P1 1 May 2020</a></li>" + quote << plain;
    QTest::newRow("a second marker among the entries") << "<!-- new patch -->" + link + quote << plain;
    QTest::newRow("a link on the list item") << "<li href=\"p.tar\">P1 1 May 2020</li>" + quote << plain;
    QTest::newRow("a link on the block quote")
        << "<li>P1 1 May 2020</li><blockquote href=\"p.tar\">text</blockquote>" << plain;
    QTest::newRow("a link on an element of no meaning")
        << "<li>P1 1 May 2020<br href=\"p.tar\"/></li>" + quote << plain;
    QTest::newRow("a link between item and quote") << "<li>P1 1 May 2020</li><a href=\"p.tar\"/>" + quote << plain;
    QTest::newRow("a link within the quote, before its text")
        << "<li>P1 1 May 2020</li><blockquote><a href=\"p.tar\">text</a></blockquote>" << plain;
    QTest::newRow("other attributes everywhere")
        << "<li class=\"x\"><a id=\"y\" href=\"p.tar\" title=\"z\">P1 1 May 2020</a></li>"
           "<blockquote cite=\"c\">text</blockquote>"
        << plain;
    QTest::newRow("a heading in pieces, of which the last counts")
        << "<li><a href=\"p.tar\">P0 old</a><b>P1 1 May 2020</b></li>" + quote << plain;
    QTest::newRow("a description in pieces, of which the first counts")
        << link + "<blockquote>text<br/>more<p>still more</p></blockquote>" << plain;
    QTest::newRow("a description within an element")
        << link + "<blockquote><p>\n</p><p>\n text \n</p></blockquote>" << plain;
    QTest::newRow("a description of several lines") << link + "<blockquote>\n one\n\n  two \nthree\n</blockquote>"
                                                    << QList<UnappliedPatch>{{"P1", "one\n\n  two \nthree"}};
    QTest::newRow("text outside of entries") << "before" + link + quote + "after" << plain;
    QTest::newRow("text between item and quote, which counts for the item")
        << link + "P2 2 May" + quote << QList<UnappliedPatch>{{"P2", "text"}};
    QTest::newRow("an item without a quote, replaced by the next")
        << "<li><a href=\"p0.tar\">P0 old</a></li>" + link + quote << plain;
    QTest::newRow("a quote within the item") << "<li><a href=\"p.tar\">P1 1 May 2020</a>" + quote + "</li>" << plain;
    QTest::newRow("an empty quote, filled by what follows") << link + "<blockquote/>text" << plain;
    QTest::newRow("a heading without a date") << "<li><a href=\"p.tar\">P1</a></li>" + quote << plain;
    QTest::newRow("element names in capitals mean nothing")
        << link + "<BLOCKQUOTE>no</BLOCKQUOTE><LI>P2 no</LI>" << QList<UnappliedPatch>{};
    QTest::newRow("a trial patch") << "<li><a href=\"p.tar\">TrialPatch_3 1 Jan 2020</a></li>" + quote
                                   << QList<UnappliedPatch>{{"TrialPatch", "text"}};
    QTest::newRow("a trial patch in other letters") << "<li><a href=\"p.tar\">trialPatch_3 1 Jan</a></li>" + quote
                                                    << QList<UnappliedPatch>{{"trialPatch_3", "text"}};
    QTest::newRow("the same patch twice")
        << link + quote + link + quote << QList<UnappliedPatch>{{"P1", "text"}, {"P1", "text"}};
    QTest::newRow("place markers in texts")
        << "<li><a href=\"p.tar\">%1 %2</a></li><blockquote>%1%2</blockquote>" << QList<UnappliedPatch>{{"%1", "%1%2"}};
}

void TstListing::entriesAreReadFromOddMarkup()
{
    QFETCH(QString, entries);
    QFETCH(QList<UnappliedPatch>, patches);
    const FakeInstallation installation;
    const LocalSource source(PatchPage().markup(entries));

    compareRun(Program().tavrin(installation.path()).run({"-t", "-l", source.url()}), 0, reportOf("5.9", patches));
}

// Which archive a patch has shows from outside by what an installing run asks for.
void TstListing::pendingLinksArePutBeforeTheNextArchive_data()
{
    QTest::addColumn<QString>("entries");
    QTest::addColumn<QByteArray>("path");

    const QString entry = "<li><a href=\"p1.tar\">P1 1 May</a></li><blockquote>text</blockquote>";
    QTest::newRow("nothing pending") << entry << QByteArray("/p1.tar");
    QTest::newRow("a navigation link") << "<a href=\"up-\">up</a>" + entry << QByteArray("/up-p1.tar");
    QTest::newRow("an item without a quote")
        << "<li><a href=\"p0-\">P0 old</a></li>" + entry << QByteArray("/p0-p1.tar");
    QTest::newRow("a link behind the entry") << entry + "<a href=\"down-\"/>" << QByteArray("/p1.tar");
}

void TstListing::pendingLinksArePutBeforeTheNextArchive()
{
    QFETCH(QString, entries);
    QFETCH(QByteArray, path);
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/", FakePatchServer::Answer::body(PatchPage().markup(entries).html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-Q", server.url()});
    const QString archive = server.url(QString::fromLatin1(path));
    compareRun(run, 1,
               reportOf("5.9", {{"P1", "text"}}) + STEPS.left(STEPS.indexOf("Download")) + "Download patch files ...\n",
               QStringLiteral("Download of %1 failed: Error transferring %1 - server replied: As told\n\n")
                   .arg(archive)
                   .toLatin1());
    QCOMPARE(server.requestedPaths(), (QList<QByteArray>{"/", path}));
}

void TstListing::manyEntriesAreListed_data()
{
    QTest::addColumn<int>("count");

    QTest::newRow("none") << 0;
    QTest::newRow("one") << 1;
    QTest::newRow("ten thousand") << 10000;
    QTest::newRow("a hundred thousand") << 100000;
}

void TstListing::manyEntriesAreListed()
{
    QFETCH(int, count);
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/", FakePatchServer::Answer::body(pageOf(count).html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url()});
    compareRun(run, 0, reportOf("5.9", patchesOf(count)));
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

void TstListing::headerNamesProgramAndRelease_data()
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

void TstListing::headerNamesProgramAndRelease()
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

void TstListing::headerNamesTheProgramAsInvoked()
{
    const FakeInstallation installation;
    const LocalSource source(pageOf(0));
    const QTemporaryDir elsewhere;
    const QString link = elsewhere.filePath("my updater");
    QVERIFY(QFile::link(programPath(), link));

    const ProgramRun run = Program(link).tavrin(installation.path()).run({"-t", "-l", source.url()});
    compareRun(run, 0, headerLine("5.9", "my updater") + "\nNo new patches\n");
}

// Qt takes the C locale, in which scheduled jobs run, for UTF-8 too.
void TstListing::textsBeyondAsciiAreWrittenInUtf8_data()
{
    QTest::addColumn<QString>("locale");

    QTest::newRow("C.UTF-8") << "C.UTF-8";
    QTest::newRow("C") << "C";
}

void TstListing::textsBeyondAsciiAreWrittenInUtf8()
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

void TstListing::pathsBeyondAsciiWork_data()
{
    textsBeyondAsciiAreWrittenInUtf8_data();
}

void TstListing::pathsBeyondAsciiWork()
{
    QFETCH(QString, locale);
    const QString release = QString::fromUtf8("5.9-\u00e4");
    FakeInstallation installation(release);
    installation.withPatched("P1");
    QTemporaryDir folder(QDir::tempPath() + QString::fromUtf8("/Stra\u00dfe-XXXXXX"));
    threePatches().writeTo(folder.path());

    const ProgramRun run = Program()
                               .locale(locale)
                               .tavrin(installation.path())
                               .run({"-t", "-L", QUrl::fromLocalFile(folder.path()).toString()});
    compareRun(run, 0, headerLine(release) + "   P1\n*  P2\n*  P3\n\n");
}

void TstListing::terminalRunNeedsNoDisplay_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("-t -l") << QStringList{"-t", "-l"};
    QTest::newRow("-l -t") << QStringList{"-l", "-t"};
    QTest::newRow("-t as the value of another option") << QStringList{"-l", "-m", "-t", "-m", ""};
}

void TstListing::terminalRunNeedsNoDisplay()
{
    QFETCH(QStringList, options);
    const FakeInstallation installation;
    const LocalSource source(pageOf(1));

    const ProgramRun run = Program().tavrin(installation.path()).run(options + QStringList{source.url()});
    compareRun(run, 0, reportOf("5.9", patchesOf(1)));
}

void TstListing::listingWithoutTerminalOptionNeedsADisplay_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("-l") << QStringList{"-l"};
    QTest::newRow("-L") << QStringList{"-L"};
    QTest::newRow("-n") << QStringList{"-n"};
    QTest::newRow("-m") << QStringList{"-m", "root@host.test"};
    QTest::newRow("-t in a cluster") << QStringList{"-lt"};
    QTest::newRow("no option") << QStringList{};
}

void TstListing::listingWithoutTerminalOptionNeedsADisplay()
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

void TstListing::listingWithADisplayOpensNoWindow_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("output");

    const QByteArray plain = reportOf("5.9", patchesOf(1));
    QTest::newRow("-l") << QStringList{"-l"} << plain;
    QTest::newRow("-L") << QStringList{"-L"} << headerLine("5.9") + "*  P1\n\n";
    QTest::newRow("-n") << QStringList{"-n"} << plain + STEPS_HEADING + STEPS;
    QTest::newRow("-m -L") << QStringList{"-L", "-m", "root@host.test"} << QByteArray();
    QTest::newRow("-t in a cluster") << QStringList{"-lt"} << plain;
}

void TstListing::listingWithADisplayOpensNoWindow()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, output);
    const FakeInstallation installation;
    const LocalSource source(pageOf(1));

    const ProgramRun run = Program().offscreen().tavrin(installation.path()).run(options + QStringList{source.url()});
    compareRun(run, 0, output);
}

TAVRIN_TEST_MAIN(TstListing)

#include "tst_listing.moc"
