// Runs that list pages of every allowed shape: markup that a person or a tool may have written, links that belong to no
// entry, and lists from none to very many entries.
#include "expected_report.h"
#include "expected_steps.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "message_guard.h"
#include "numbered_patches.h"
#include "program_run.h"
#include "test_main.h"

#include <QScopedPointer>

class TstListingEntries : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void entriesAreReadFromOddMarkup_data();
    void entriesAreReadFromOddMarkup();
    void pendingLinksArePutBeforeTheNextArchive_data();
    void pendingLinksArePutBeforeTheNextArchive();
    void manyEntriesAreListed_data();
    void manyEntriesAreListed();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstListingEntries::init()
{
    guard.reset(new MessageGuard);
}

void TstListingEntries::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstListingEntries::entriesAreReadFromOddMarkup_data()
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

void TstListingEntries::entriesAreReadFromOddMarkup()
{
    QFETCH(QString, entries);
    QFETCH(QList<UnappliedPatch>, patches);
    const FakeInstallation installation;
    const LocalSource source(PatchPage().markup(entries));

    compareRun(Program().tavrin(installation.path()).run({"-t", "-l", source.url()}), 0, reportOf("5.9", patches));
}

// Which archive a patch has shows from outside by what an installing run asks for.
void TstListingEntries::pendingLinksArePutBeforeTheNextArchive_data()
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

void TstListingEntries::pendingLinksArePutBeforeTheNextArchive()
{
    QFETCH(QString, entries);
    QFETCH(QByteArray, path);
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/", FakePatchServer::Answer::body(PatchPage().markup(entries).html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-Q", server.url()});
    const QString archive = server.url(QString::fromLatin1(path));
    compareRun(run, 1, reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + DOWNLOAD,
               QStringLiteral("Download of %1 failed: Error transferring %1 - server replied: As told\n\n")
                   .arg(archive)
                   .toLatin1());
    QCOMPARE(server.requestedPaths(), (QList<QByteArray>{"/", path}));
}

void TstListingEntries::manyEntriesAreListed_data()
{
    QTest::addColumn<int>("count");

    QTest::newRow("none") << 0;
    QTest::newRow("one") << 1;
    QTest::newRow("ten thousand") << 10000;
    QTest::newRow("a hundred thousand") << 100000;
}

void TstListingEntries::manyEntriesAreListed()
{
    QFETCH(int, count);
    const FakeInstallation installation;
    FakePatchServer server;
    server.answer("/", FakePatchServer::Answer::body(pageOf(count).html()));

    const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", server.url()});
    compareRun(run, 0, reportOf("5.9", patchesOf(count)));
}

TAVRIN_TEST_MAIN(TstListingEntries)
#include "tst_listing_entries.moc"
