// What the program asks a server for: the page once, each missing archive once, and in a listing nothing but the page.
// Qt itself sends a request again, up to three times, when a kept connection ends before an answer; that is shown too.
#include "expected_texts.h"
#include "fault_answers.h"
#include "installable_release.h"
#include "test.h"

#include <algorithm>

using Answer = FakePatchServer::Answer;
using Paths = QList<QByteArray>;

namespace {

const QByteArray PAGE_PATH = "/5.9/";

QStringList archiveNames(int count)
{
    QStringList names;
    for (int i = 1; i <= count; ++i) {
        names << QString("P%1.tar").arg(i);
    }
    return names;
}

// Sorted, because downloads run side by side.
Paths pathsFor(const QStringList& archives)
{
    Paths paths{PAGE_PATH};
    for (const QString& archive : archives) {
        paths << PAGE_PATH + archive.toUtf8();
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

Paths sorted(Paths paths)
{
    std::sort(paths.begin(), paths.end());
    return paths;
}

} // namespace

class TstRequests : public Test
{
    Q_OBJECT

private slots:
    void listingAsksForThePageAlone_data()
    {
        const Rows<QStringList> row("options");
        row("unapplied patches", {"-l"});
        row("all patches", {"-L"});
        row("dry run", {"-n"});
        row("dry run beside systems", {"-n", "-Q"});
        row("another release", {"-r", "5.8"});
        row("another release, listed", {"-l", "-r", "5.8"});
    }

    void listingAsksForThePageAlone()
    {
        QFETCH(QStringList, options);
        ServedRelease release(archiveNames(3));
        const FakeInstallation other("5.8");
        const ProgramRun run = release.run(options);
        QVERIFY2(run.status == 0 && run.errors.isEmpty(), describe(run));
        QCOMPARE(release.server.requestedPaths(), Paths{PAGE_PATH});
    }

    void installAsksForEachMissingArchiveOnce_data()
    {
        const Rows<int, QStringList, QStringList> row("patches", "applied", "archives");
        row("one", 1, {}, {"P1.tar"});
        row("all applied", 2, {"P1", "P2"}, {});
        row("some applied", 4, {"P1", "P3"}, {"P2.tar", "P4.tar"});
        row("more than Qt has connections for", 20, {}, archiveNames(20));
    }

    void installAsksForEachMissingArchiveOnce()
    {
        QFETCH(int, patches);
        QFETCH(QStringList, applied);
        QFETCH(QStringList, archives);
        ServedRelease release(archiveNames(patches));
        for (const QString& name : qAsConst(applied)) {
            release.installation.withPatched(name);
        }
        const ProgramRun run = release.run();
        QVERIFY2(run.status == 0 && run.errors.isEmpty(), describe(run));
        QCOMPARE(sorted(release.server.requestedPaths()), pathsFor(archives));
        for (const FakePatchServer::Request& request : release.server.requests()) {
            QCOMPARE(request.method, QByteArray("GET"));
        }
        QCOMPARE(release.storedArchives().size(), archives.size());
    }

    void runThatIsDeclinedAsksForThePageAlone()
    {
        ServedRelease release(archiveNames(3));
        release.program.input("n\n");
        QCOMPARE(release.run().status, 0);
        QCOMPARE(release.server.requestedPaths(), Paths{PAGE_PATH});
    }

    // Qt takes what is no head of an answer for the end of a connection that was kept too long.
    void qtRepeatsARequestUpToThreeTimes_data()
    {
        const Rows<QByteArray, int> row("path", "failures");
        for (const int failures : {0, 1, 2, 3}) {
            row("page, " + QByteArray::number(failures), PAGE_PATH, failures);
            row("archive, " + QByteArray::number(failures), PAGE_PATH + "P1.tar", failures);
        }
    }

    void qtRepeatsARequestUpToThreeTimes()
    {
        QFETCH(QByteArray, path);
        QFETCH(int, failures);
        ServedRelease release;
        const Answer archive = Answer::body(archiveOf(release.installation.path("patched/P1"), "text"));
        const Answer page = Answer::body(pageWith({"P1.tar"}).html());
        QList<Answer> answers;
        for (int i = 0; i < failures; ++i) {
            answers << Answer::raw("no answer\r\n\r\n");
        }
        release.server.answerInTurn(path, answers << (path == PAGE_PATH ? page : archive));
        compareRun(release.run(), 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
        Paths expected = pathsFor({"P1.tar"});
        for (int i = 0; i < failures; ++i) {
            expected << path;
        }
        QCOMPARE(sorted(release.server.requestedPaths()), sorted(expected));
    }

    void qtGivesUpAfterTheThirdRepetition()
    {
        ServedRelease release;
        const QByteArray path = PAGE_PATH + "P1.tar";
        release.server.answer(path, Answer::raw("no answer\r\n\r\n"));
        compareRun(release.run(), 1, untilDownload(1),
                   downloadFailed(release.server.url(path).toUtf8(), "Connection closed"));
        QCOMPARE(release.server.requestedPaths(), (Paths{PAGE_PATH, path, path, path, path}));
    }

    // The server says nothing about closing, so Qt may send the next request before it sees the end.
    void keptConnectionsThatEndWithTheAnswerServeAllArchives()
    {
        const QStringList archives = archiveNames(30);
        ServedRelease release(archives);
        for (int i = 1; i <= archives.size(); ++i) {
            const QByteArray archive = archiveOf(release.installation.path(QString("patched/P%1").arg(i)), "text");
            release.server.answer(PAGE_PATH + archives.at(i - 1).toUtf8(),
                                  Answer::raw("HTTP/1.1 200 OK\r\nConnection: keep-alive\r\nContent-Length: " +
                                              QByteArray::number(archive.size()) + "\r\n\r\n" + archive));
        }
        const ProgramRun run = release.run();
        QVERIFY2(run.status == 0 && run.errors.isEmpty(), describe(run));
        QCOMPARE(release.storedArchives().size(), archives.size());
        const Paths paths = release.server.requestedPaths();
        for (const QByteArray& path : pathsFor(archives)) {
            const int most = path == PAGE_PATH ? 1 : 4;
            QVERIFY2(paths.contains(path) && paths.count(path) <= most, path + " among " + paths.join(' '));
        }
    }
};

TAVRIN_TEST_MAIN(TstRequests)
#include "tst_requests.moc"
