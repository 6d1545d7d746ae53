// Archives are unpacked in the order of the page. In a terminal the first failure ends the run: for each kind of
// failure and for each patch, the tools that were started, the text, the status and what is left are compared. Tools
// that do not end in time are in tst_promises_slow.
#include "expected_texts.h"
#include "installable_release.h"
#include "ordered_release.h"
#include "test.h"

namespace {

const QByteArray ARCHIVER = "/opt/tavrin/5.9/bin/bsdtar";
const QStringList ARCHIVES{"P1.tar", "P2.tar", "P3.tar"};

} // namespace

class TstPromisesOrder : public Test
{
    Q_OBJECT

private slots:
    void archivesAreUnpackedInPageOrder()
    {
        OrderedRelease release;
        compareRun(release.run(), 0, release.outputUntil(3) + FINISH);
        QCOMPARE(release.tools.callLines(), release.callsUntil(3) + QStringList{release.pageCall()});
        QCOMPARE(release.files(), OrderedRelease::filesAfter(3, ARCHIVES, {"applied_patches.html"}));
    }

    void firstFailingArchiveEndsTheRun_data()
    {
        // script: what the archive tool does with the archive at this position, instead of unpacking it
        // isCalled: whether that call is recorded
        const Rows<int, QByteArray, bool, QByteArray> row("position", "script", "isCalled", "errors");
        for (int position = 0; position < 3; ++position) {
            const auto add = [&](const char* kind, const QByteArray& script, bool isCalled, const QByteArray& errors) {
                row("patch " + QByteArray::number(position + 1) + ' ' + kind, position, script, isCalled, errors);
            };
            add("without the tool", {}, false, commandMissing(ARCHIVER));
            add("with standard error", "echo broken >&2; exit 3", true, "broken\n\n");
            add("with standard output", "echo broken; exit 1", true, "broken\n\n");
            add("with a blank line", "echo; exit 1", true, "\n\n");
            add("with a signal", "echo cut >&2; kill -KILL $$", true, "cut\n\n");
        }
    }

    void firstFailingArchiveEndsTheRun()
    {
        QFETCH(int, position);
        QFETCH(QByteArray, script);
        QFETCH(bool, isCalled);
        QFETCH(QByteArray, errors);
        OrderedRelease release;
        if (isCalled) {
            release.failAt(position, script);
        } else {
            release.loseArchiverBefore(position);
        }
        compareRun(release.run(), 1, release.outputUntil(position), errors);
        QCOMPARE(release.tools.callLines(), release.callsUntil(isCalled ? position + 1 : position));
        QCOMPARE(release.files(), OrderedRelease::filesAfter(position, ARCHIVES));
    }

    void archiveThatDisappearsEndsTheRun_data()
    {
        const Rows<int> row("position");
        row("first", 0);
        row("second", 1);
        row("third", 2);
    }

    // The decompressor removes the compressed file and leaves no other.
    void archiveThatDisappearsEndsTheRun()
    {
        QFETCH(int, position);
        OrderedRelease release("5.9", ".tar.gz");
        release.loseArchiveAt(position);
        const QByteArray name = OrderedRelease::NAMES.at(position).toUtf8();
        compareRun(release.run(), 1, release.outputUntil(position), "Failed to decompress file " + name + ".tar\n");
        QStringList calls = release.callsUntil(position);
        QCOMPARE(release.tools.callLines(), calls << "gunzip|/opt/tavrin/5.9/patches/" + name + ".tar.gz");
        QStringList archives;
        for (int i = 0; i < OrderedRelease::NAMES.size(); ++i) {
            if (i != position) {
                archives << OrderedRelease::NAMES.at(i) + (i < position ? ".tar" : ".tar.gz");
            }
        }
        QCOMPARE(release.files(), OrderedRelease::filesAfter(position, archives));
    }

    void failingPageScriptEndsTheRun_data()
    {
        const Rows<QByteArray, QByteArray> row("script", "errors");
        row("without the tool", {}, commandMissing("perl"));
        row("with standard error", "echo broken >&2; exit 3", "broken\n\n");
        row("with standard output", "echo broken; exit 1", "broken\n\n");
        row("with a signal", "echo cut >&2; kill -KILL $$", "cut\n\n");
    }

    void failingPageScriptEndsTheRun()
    {
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, errors);
        OrderedRelease release;
        const bool isThere = !script.isEmpty();
        if (isThere) {
            release.tools.add("perl", FakeTool::running(script));
        } else {
            release.tools.remove("perl");
        }
        compareRun(release.run(), 1, release.outputUntil(3) + PAGE, errors);
        QCOMPARE(release.tools.callLines(),
                 release.callsUntil(3) + (isThere ? QStringList{release.pageCall()} : QStringList()));
        QCOMPARE(release.files(), OrderedRelease::filesAfter(3, ARCHIVES));
    }
};

TAVRIN_TEST_MAIN(TstPromisesOrder)
#include "tst_promises_order.moc"
