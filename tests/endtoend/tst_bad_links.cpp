// Installing runs of pages with odd links. A link is put behind the address of the list as it stands, so it is never
// another host. The answer is stored under the last part of its path, decoded; what is unpacked is looked for under the
// whole link. Where both are not the same, the patch is not installed although the run says so, and its mark stays
// away.
#include "expected_texts.h"
#include "helper_run.h"
#include "installable_release.h"
#include "test.h"

#include <QDir>

using Answer = FakePatchServer::Answer;

namespace {

QByteArray archiveOfP1()
{
    return archiveOf("/opt/tavrin/5.9/patched/P1", "text");
}

PatchPage pageWithLink(const QByteArray& link)
{
    return PatchPage().markup(QString::fromUtf8("<li><a href=\"" + link + "\">P1 1 May</a></li>\n") +
                              "<blockquote>text</blockquote>\n");
}

} // namespace

class TstBadLinks : public Test
{
    Q_OBJECT

private slots:
    void linkIsPutBehindTheAddress_data()
    {
        // path: what is asked for; stored: the file in the patches directory; shown: the name in the
        // message
        const Rows<QByteArray, QByteArray, QString, QByteArray, bool> row("link", "path", "stored", "shown",
                                                                          "isUnpacked");
        row("a file", "P1.tar", "/5.9/P1.tar", "P1.tar", "P1.tar", true);
        row("another host", "http://127.0.0.1:1/P1.tar", "/5.9/http://127.0.0.1:1/P1.tar", "P1.tar", "P1.tar", false);
        row("a local file", "file:///etc/P1.tar", "/5.9/file:///etc/P1.tar", "P1.tar", "P1.tar", false);
        row("a host without a scheme", "//127.0.0.1:1/P1.tar", "/5.9///127.0.0.1:1/P1.tar", "P1.tar", "P1.tar", false);
        row("the root", "/P1.tar", "/5.9//P1.tar", "P1.tar", "P1.tar", false);
        row("a folder", "sub/P1.tar", "/5.9/sub/P1.tar", "P1.tar", "P1.tar", false);
        row("the folder above", "../P1.tar", "/P1.tar", "P1.tar", "P1.tar", false);
        row("many folders above", "../../../../etc/P1.tar", "/etc/P1.tar", "P1.tar", "P1.tar", false);
        row("the folder itself", "./P1.tar", "/5.9/P1.tar", "P1.tar", "P1.tar", true);
        row("a query", "P1.tar?a=1&amp;b=2", "/5.9/P1.tar?a=1&b=2", "P1.tar", "P1.tar?a=1&b=2", false);
        row("a fragment", "P1.tar#part", "/5.9/P1.tar", "P1.tar", "P1.tar#part", false);
        row("an encoded letter", "P%31.tar", "/5.9/P1.tar", "P1.tar", "P%31.tar", false);
        row("an encoded slash", "sub%2FP1.tar", "/5.9/sub%2FP1.tar", "P1.tar", "sub%2FP1.tar", false);
        row("encoded dots", "%2e%2e%2fP1.tar", "/5.9/..%2FP1.tar", "P1.tar", "%2e%2e%2fP1.tar", false);
        row("an encoded percent sign", "P1%2531.tar", "/5.9/P1%2531.tar", "P1%31.tar", "P1%2531.tar", false);
        row("a percent sign", "P1%.tar", "/5.9/P1%25.tar", "P1%.tar", "P1%.tar", true);
        row("a backslash", "P1\\b.tar", "/5.9/P1%5Cb.tar", "P1\\b.tar", "P1\\b.tar", true);
        row("a blank", "P1 b.tar", "/5.9/P1%20b.tar", "P1 b.tar", "P1 b.tar", true);
        row("a line break", "P1&#10;.tar", "/5.9/P1%0A.tar", "P1\n.tar", "P1\n.tar", true);
        row("an escape sequence", "P1\xc2\x9b.tar", "/5.9/P1%C2%9B.tar", QString::fromUtf8("P1\xc2\x9b.tar"),
            "P1\xc2\x9b.tar", true);
        row("an umlaut", "P1\xc3\xbc.tar", "/5.9/P1%C3%BC.tar", QString::fromUtf8("P1\xc3\xbc.tar"), "P1\xc3\xbc.tar",
            true);
        row("a colon", "P1:2.tar", "/5.9/P1:2.tar", "P1:2.tar", "P1:2.tar", true);
        row("a plus sign", "P1+.tar", "/5.9/P1+.tar", "P1+.tar", "P1+.tar", true);
        row("brackets", "P1[2].tar", "/5.9/P1[2].tar", "P1[2].tar", "P1[2].tar", true);
        row("a user", "user:word@127.0.0.1:1/P1.tar", "/5.9/user:word@127.0.0.1:1/P1.tar", "P1.tar", "P1.tar", false);
    }

    void linkIsPutBehindTheAddress()
    {
        QFETCH(QByteArray, link);
        QFETCH(QByteArray, path);
        QFETCH(QString, stored);
        QFETCH(QByteArray, shown);
        QFETCH(bool, isUnpacked);
        ServedRelease release(pageWithLink(link));
        release.server.answer(path, Answer::body(archiveOfP1()));
        const bool isMarked = shown.startsWith("P1.") || shown.startsWith("P1?");
        const QByteArray unpacked = isUnpacked ? "x /opt/tavrin/5.9/patched/P1\n\n" : "";
        const QByteArray unmarked =
            isMarked ? QByteArray() : "Internal error: Failed to mark update " + shown + " applied.";
        compareRun(release.run(), 0,
                   untilUnpacking({stored.toUtf8()}) + unpacked + unmarked + installing(shown, {}) + FINISH);
        QCOMPARE(release.server.requestedPaths(), (QList<QByteArray>{"/5.9/", path}));
        QCOMPARE(release.storedArchives(), QStringList{stored});
        QCOMPARE(release.has("patched/P1"), isUnpacked);
        compareRun(release.run({"-L"}), 0,
                   isUnpacked ? compactReportOf("5.9", {"P1"}, {}) : compactReportOf("5.9", {}, {"P1"}));
    }

    void linkWithoutAFileNameEndsTheRun_data()
    {
        // target: what the run tries to write
        const Rows<QByteArray, QByteArray, QByteArray> row("link", "path", "target");
        row("folder", "sub/", "/5.9/sub/", "/opt/tavrin/5.9/patches");
        // The list itself is the answer to this one, and the next two ask for the folder above.
        row("one dot", ".", "/5.9/", "/opt/tavrin/5.9/patches");
        row("two dots", "..", "/", "/opt/tavrin/5.9");
        row("slash", "/", "/5.9//", "/opt/tavrin/5.9/patches");
        row("encoded dots", "%2e%2e", "/", "/opt/tavrin/5.9");
        row("encoded slash", "P1%2F", "/5.9/P1%2F", "/opt/tavrin/5.9/patches");
        row("only a query", "?a", "/5.9/?a", "/opt/tavrin/5.9/patches");
        row("name that is too long", QByteArray(300, 'n') + ".tar", "/5.9/" + QByteArray(300, 'n') + ".tar",
            "/opt/tavrin/5.9/patches/" + QByteArray(300, 'n') + ".tar");
    }

    void linkWithoutAFileNameEndsTheRun()
    {
        QFETCH(QByteArray, link);
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, target);
        ServedRelease release(pageWithLink(link));
        if (path != "/5.9/") {
            release.server.answer(path, Answer::body(archiveOfP1()));
        }
        const QStringList before = release.installation.tree();
        compareRun(release.run(), 1, untilDownload(1), "Failed to open local patch file, " + target + '\n');
        QCOMPARE(release.server.requestedPaths(), (QList<QByteArray>{"/5.9/", path}));
        QCOMPARE(release.installation.tree(), before);
    }

    // Qt warns, twice, and writes to what comes before the NUL; the run then misses its file.
    void linkWithAnEncodedNulIsCut()
    {
        ServedRelease release(pageWithLink("P1%00.tar"));
        release.server.answer("/5.9/P1%00.tar", Answer::body(archiveOfP1()));
        compareRun(release.run(), 1, untilDownload(1),
                   QByteArray("Broken filename passed to function\n").repeated(2) +
                       "No data downloaded for patch file, /opt/tavrin/5.9/patches/P1" + QByteArray(1, '\0') +
                       ".tar\n");
        QCOMPARE(release.storedArchives(), QStringList{"P1"});
        QVERIFY(!release.has("patched/P1"));
    }
};

TAVRIN_TEST_MAIN(TstBadLinks)
#include "tst_bad_links.moc"
