// Runs that list pages with every allowed markup, written by hand or by a tool: unusual entries, links outside of
// entries, and lists from no entry to very many.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

class TstListingEntries : public Test
{
    Q_OBJECT

private slots:
    void entriesAreReadFromUnusualMarkup_data()
    {
        const Rows<QString, QList<UnappliedPatch>> row("entries", "patches");
        const QString link = "<li><a href=\"p.tar\">P1 1 May 2020</a></li>";
        const QString quote = "<blockquote>text</blockquote>";
        const QList<UnappliedPatch> plain{{"P1", "text"}};
        row("a plain entry", link + quote, plain);
        row("predefined entities", link + "<blockquote>a &lt; b &amp;&amp; c &gt; d</blockquote>",
            {{"P1", "a < b && c > d"}});
        row("a character reference", link + "<blockquote>caf&#233;</blockquote>",
            {{"P1", QString::fromUtf8("caf\xc3\xa9")}});
        row("an entity in the heading", "<li><a href=\"p.tar\">P&amp;1 1 May 2020</a></li>" + quote, {{"P&1", "text"}});
        row("a description in CDATA", link + "<blockquote><![CDATA[<b>&amp;</b>]]></blockquote>",
            {{"P1", "<b>&amp;</b>"}});
        row("a heading in CDATA", "<li href=\"p.tar\"><![CDATA[P1 1 May 2020]]></li>" + quote, plain);
        row("a comment before the description", link + "<blockquote><!-- c -->text</blockquote>", plain);
        row("a comment within the description", link + "<blockquote>text<!-- c -->more</blockquote>", plain);
        row("a comment within the heading", "<li><a href=\"p.tar\">P0<!-- c -->P1 1 May 2020</a></li>" + quote, plain);
        row("a second marker among the entries", "<!-- new patch -->" + link + quote, plain);
        row("a link on the list item", "<li href=\"p.tar\">P1 1 May 2020</li>" + quote, plain);
        row("a link on the block quote", "<li>P1 1 May 2020</li><blockquote href=\"p.tar\">text</blockquote>", plain);
        row("a link on an unknown element", "<li>P1 1 May 2020<br href=\"p.tar\"/></li>" + quote, plain);
        row("a link between item and quote", "<li>P1 1 May 2020</li><a href=\"p.tar\"/>" + quote, plain);
        row("a link within the quote, before its text",
            "<li>P1 1 May 2020</li><blockquote><a href=\"p.tar\">text</a></blockquote>", plain);
        row("other attributes everywhere",
            "<li class=\"x\"><a id=\"y\" href=\"p.tar\" title=\"z\">P1 1 May 2020</a></li>"
            "<blockquote cite=\"c\">text</blockquote>",
            plain);
        row("a heading in pieces, of which the last counts",
            "<li><a href=\"p.tar\">P0 old</a><b>P1 1 May 2020</b></li>" + quote, plain);
        row("a description in pieces, of which the first counts",
            link + "<blockquote>text<br/>more<p>still more</p></blockquote>", plain);
        row("a description within an element", link + "<blockquote><p>\n</p><p>\n text \n</p></blockquote>", plain);
        row("a description of several lines", link + "<blockquote>\n one\n\n  two \nthree\n</blockquote>",
            {{"P1", "one\n\n  two \nthree"}});
        row("text outside of entries", "before" + link + quote + "after", plain);
        row("text between item and quote, which counts for the item", link + "P2 2 May" + quote, {{"P2", "text"}});
        row("an item without a quote, replaced by the next", "<li><a href=\"p0.tar\">P0 old</a></li>" + link + quote,
            plain);
        row("a quote within the item", "<li><a href=\"p.tar\">P1 1 May 2020</a>" + quote + "</li>", plain);
        row("an empty quote, filled by what follows", link + "<blockquote/>text", plain);
        row("a heading without a date", "<li><a href=\"p.tar\">P1</a></li>" + quote, plain);
        row("element names in capitals are ignored", link + "<BLOCKQUOTE>no</BLOCKQUOTE><LI>P2 no</LI>", {});
        row("a trial patch", "<li><a href=\"p.tar\">TrialPatch_3 1 Jan 2020</a></li>" + quote,
            {{"TrialPatch", "text"}});
        row("a trial patch in other letter case", "<li><a href=\"p.tar\">trialPatch_3 1 Jan</a></li>" + quote,
            {{"trialPatch_3", "text"}});
        row("the same patch twice", link + quote + link + quote, {{"P1", "text"}, {"P1", "text"}});
        row("place markers in texts", "<li><a href=\"p.tar\">%1 %2</a></li><blockquote>%1%2</blockquote>",
            {{"%1", "%1%2"}});
    }

    void entriesAreReadFromUnusualMarkup()
    {
        QFETCH(QString, entries);
        QFETCH(QList<UnappliedPatch>, patches);
        InstallableRelease release(PatchPage().markup(entries));
        compareRun(release.run({"-l"}), 0, reportOf("5.9", patches));
    }

    // The archive of a patch is visible in the requests of an installing run.
    void pendingLinksArePutBeforeTheNextArchive_data()
    {
        const Rows<QString, QByteArray> row("entries", "path");
        const QString entry = "<li><a href=\"p1.tar\">P1 1 May</a></li><blockquote>text</blockquote>";
        row("nothing pending", entry, "/5.9/p1.tar");
        row("a navigation link", "<a href=\"up-\">up</a>" + entry, "/5.9/up-p1.tar");
        row("an item without a quote", "<li><a href=\"p0-\">P0 old</a></li>" + entry, "/5.9/p0-p1.tar");
        row("a link after the entry", entry + "<a href=\"down-\"/>", "/5.9/p1.tar");
    }

    void pendingLinksArePutBeforeTheNextArchive()
    {
        QFETCH(QString, entries);
        QFETCH(QByteArray, path);
        ServedRelease release(PatchPage().markup(entries));
        const QByteArray archive = release.server.url(path).toLatin1();
        compareRun(release.run({"-Q"}), 1, reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + DOWNLOAD,
                   downloadFailed(archive, serverReplied(archive)));
        QCOMPARE(release.server.requestedPaths(), (QList<QByteArray>{"/5.9/", path}));
    }

    void manyEntriesAreListed_data()
    {
        const Rows<int> row("count");
        row("none", 0);
        row("one", 1);
        row("ten thousand", 10000);
        row("a hundred thousand", 100000);
    }

    void manyEntriesAreListed()
    {
        QFETCH(int, count);
        ServedRelease release(pageOf(count));
        compareRun(release.run({"-l"}), 0, reportOf("5.9", patchesOf(count)));
    }
};

TAVRIN_TEST_MAIN(TstListingEntries)
#include "tst_listing_entries.moc"
