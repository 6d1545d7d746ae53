// In a terminal nothing is unpacked unless every download has ended without an error. One of three downloads fails, in
// every position, after every choice and order of the others, and in every way; then no tool has been started, and the
// installation has nothing new but the archives that were stored before.
#include "expected_texts.h"
#include "fault_answers.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"

#include <QFileInfo>

using Answer = FakePatchServer::Answer;

namespace {

const QByteArray BODY = "this is the text of an archive, which no one reads";

QByteArray nameOf(int patch)
{
    return 'P' + QByteArray::number(patch) + ".tar";
}

} // namespace

class TstUnpackLast : public Test
{
    Q_OBJECT

private slots:
    void failedDownloadAmongOthersStartsNoTool_data()
    {
        // errors: %1 is the address; before: the downloads that have ended when the failing one does, in order
        const Rows<Answer, QByteArray, QVector<int>, int> row("answer", "errors", "before", "failing");
        const QByteArray closed = downloadFailed("%1", "Connection closed");
        const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Length: 50\r\n";
        const struct
        {
            QByteArray name;
            Answer answer;
            QByteArray errors;
        } kinds[] = {
            {"not found", Answer::status(404), downloadFailed("%1", serverReplied("%1"))},
            {"server error with the archive", Answer::status(500, BODY), downloadFailed("%1", serverReplied("%1"))},
            {"redirect", Answer::redirect(302, "/5.9/P1.tar"), "Download request was redirected.\n\n"},
            {"no body", Answer::body({}), "No data downloaded for patch file, /opt/tavrin/5.9/patches/%2\n"},
            {"hang up", Answer::hangUp(), closed},
            {"half of the body", Answer::body(BODY).cutAfter(BODY.size() / 2), closed},
            {"reset inside the body", Answer::raw(head + "\r\n" + BODY.left(20)).thenReset(), closed},
            {"reset inside the head", Answer::raw(head).thenReset(), closed},
            {"no answer at all", Answer::raw("no answer\r\n\r\n"), closed},
            {"damaged encoding", Answer::body(BODY).header("Content-Encoding", "gzip"),
             downloadFailed("%1", "Data corrupted")},
        };
        for (const auto& kind : kinds) {
            for (int failing = 1; failing <= 3; ++failing) {
                const int one = failing == 1 ? 2 : 1;
                const int other = failing == 3 ? 2 : 3;
                const QVector<QVector<int>> orders{{}, {one}, {other}, {one, other}, {other, one}};
                for (const QVector<int>& before : orders) {
                    QByteArray phrase = kind.name + ", P" + QByteArray::number(failing) + " after";
                    for (const int patch : before) {
                        phrase += " P" + QByteArray::number(patch);
                    }
                    row(before.isEmpty() ? phrase + " none" : phrase, kind.answer, kind.errors, before, failing);
                }
            }
        }
    }

    void failedDownloadAmongOthersStartsNoTool()
    {
        QFETCH(Answer, answer);
        QFETCH(QByteArray, errors);
        QFETCH(QVector<int>, before);
        QFETCH(int, failing);
        ServedRelease release(pageWith({"P1.tar", "P2.tar", "P3.tar"}));
        FakeTools tools;
        record(release, tools);
        QList<QByteArray> stored;
        for (int patch = 1; patch <= 3; ++patch) {
            release.server.answer("/5.9/" + nameOf(patch), Answer::body(BODY).held());
        }
        const auto answerInOrder = [&](int patch, Answer told) {
            if (!stored.isEmpty()) {
                told.after("/5.9/" + stored.last());
            }
            release.server.answer("/5.9/" + nameOf(patch), told);
        };
        for (const int patch : qAsConst(before)) {
            answerInOrder(patch, Answer::body(BODY));
            stored << nameOf(patch);
        }
        answerInOrder(failing, answer);
        const QStringList treeBefore = release.installation.tree();
        errors.replace("%1", release.server.url("/5.9/" + nameOf(failing)).toUtf8()).replace("%2", nameOf(failing));
        compareRun(release.run(), 1, untilDownload(3) + downloaded(stored), errors);
        QCOMPARE(tools.callLines(), QStringList());
        for (const QByteArray& name : qAsConst(stored)) {
            QCOMPARE(release.content("patches/" + name), BODY);
            release.installation.without("patches/" + name);
        }
        // An empty body leaves an empty file.
        const QString left = release.installation.path("patches/" + nameOf(failing));
        QVERIFY(QFileInfo(left).size() == 0);
        QFile::remove(left);
        QCOMPARE(release.installation.tree(), treeBefore);
    }

    void toolsAreStartedAfterTheLastDownload()
    {
        ServedRelease release(pageWith({"P1.tar", "P2.tar", "P3.tar"}));
        FakeTools tools;
        record(release, tools);
        release.server.answer("/5.9/P1.tar", Answer::body(BODY));
        release.server.answer("/5.9/P2.tar", Answer::body(BODY).held());
        release.server.answer("/5.9/P3.tar", Answer::body(BODY).after("/5.9/P1.tar"));
        const auto session = release.start({"-Q"});
        QTRY_COMPARE_WITH_TIMEOUT(release.storedArchives(), (QStringList{"P1.tar", "P3.tar"}), LONG_WAIT);
        QCOMPARE(tools.callLines(), QStringList());
        release.server.release("/5.9/P2.tar");
        const ProgramRun run = session->finish();
        QVERIFY2(run.status == 0 && run.errors.isEmpty(), describe(run));
        QStringList calls;
        for (int patch = 1; patch <= 3; ++patch) {
            calls << "bsdtar|-xvPf|" + release.installation.path("patches/" + nameOf(patch));
        }
        QCOMPARE(tools.callLines(), calls << "perl|" + release.installation.path("bin/ozna_installed_patches"));
    }

private:
    static void record(ServedRelease& release, FakeTools& tools)
    {
        release.installation.without("bin/bsdtar");
        tools.addTo(release.installation.path("bin"), "bsdtar");
        tools.add("gunzip");
        tools.add("perl");
        release.program.path(tools.pathDirectory());
    }
};

TAVRIN_TEST_MAIN(TstUnpackLast)
#include "tst_unpack_last.moc"
