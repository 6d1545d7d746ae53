// Listing runs of every page of the corpus, from a file and from a server: status, report or message, requests, and an
// installation that stays as it is. The window mode's outcome for the same pages is in tst_bad_pages_window.
#include "bad_pages.h"
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_files.h"

using Answer = FakePatchServer::Answer;

namespace {

QList<UnappliedPatch> patchesIn(const BadPage& page)
{
    QList<UnappliedPatch> patches;
    for (const QString& record : page.records) {
        patches << UnappliedPatch(record.section('|', 0, 0), record.section('|', 3));
    }
    return patches;
}

void compareListing(const ProgramRun& run, const BadPage& page, const QString& url)
{
    if (page.failure.isEmpty()) {
        compareRun(run, 0, reportOf("5.9", patchesIn(page)));
    } else {
        compareRun(run, 1, {}, QString(page.failure).replace("%1", url).toLatin1() + EXITING);
    }
}

void compareListings(const BadPage& page)
{
    InstallableRelease release(PatchPage{});
    const QStringList before = release.installation.tree();
    release.source.withFile("index.html", page.bytes);
    compareListing(release.run({"-l"}), page, release.source.url() + "index.html");

    FakePatchServer server;
    server.answer("/5.9/", Answer::body(page.bytes));
    compareListing(release.program.run({"-t", "-l", server.url("/5.9/")}), page, server.url("/5.9/"));
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
    QCOMPARE(release.installation.tree(), before);
}

} // namespace

class TstBadPages : public Test
{
    Q_OBJECT

private slots:
    void pageIsListedOrRefused_data()
    {
        addRows(badPages());
    }

    void pageIsListedOrRefused()
    {
        QFETCH(int, number);
        compareListings(rows.at(number));
    }

    // Of all that a page names only archives are asked for, and those not in a listing run.
    void hostsInAPageAreNotAskedFor()
    {
        FakePatchServer server;
        const QByteArray host = server.url("/").toLatin1();
        const QByteArray file = "file:///etc/passwd";
        server.answer("/5.9/",
                      Answer::body("<?xml version='1.0'?><?xml-stylesheet href='" + host + "style.xsl'?>\n" +
                                   "<!DOCTYPE html PUBLIC '-//x' '" + host + "x.dtd' [<!ENTITY h SYSTEM '" + host +
                                   "entity'><!ENTITY f SYSTEM '" + file + "'><!ENTITY % p SYSTEM '" + host +
                                   "parameter'> %p;]>\n" + PAGE_BEGIN + "<img src='" + host + "image'/><script src='" +
                                   host + "script'/>" + entryOf("P1 1 May", "a.tar", "&h;&f;text") + PAGE_END));
        const FakeInstallation installation;
        Program program;
        compareRun(program.tavrin(installation.path()).run({"-t", "-l", server.url("/5.9/")}), 0,
                   reportOf("5.9", {{"P1", "text"}}));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
    }

    // Last: a test with much memory starts programs slowly.
    void hugePageIsListedOrRefused_data()
    {
        addRows(hugePages());
    }

    void hugePageIsListedOrRefused()
    {
        QFETCH(int, number);
        compareListings(rows.at(number));
    }

private:
    void addRows(const QList<BadPage>& pages)
    {
        rows = pages;
        const Rows<int> row("number");
        for (int i = 0; i < pages.size(); ++i) {
            row(pages.at(i).phrase, i);
        }
    }

    QList<BadPage> rows;
};

TAVRIN_TEST_MAIN(TstBadPages)
#include "tst_bad_pages.moc"
