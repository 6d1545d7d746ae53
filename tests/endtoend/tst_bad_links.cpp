// Installing runs of pages with odd links. A link is put behind the address of the list as it stands, so it is never
// another host. The answer is stored under the last part of its path, decoded; what is unpacked is looked for under the
// whole link. Where both are not the same, the patch is not installed although the run says so, and its mark stays
// away. Links without a name of a file are in tst_promises_files.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

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
};

TAVRIN_TEST_MAIN(TstBadLinks)
#include "tst_bad_links.moc"
