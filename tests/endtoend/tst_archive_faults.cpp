// An installing run against everything that a server can do when it is asked for an archive. Output, installation and
// requests are compared with what the same bytes give when they are stored and unpacked by hand.
#include "expected_texts.h"
#include "fault_answers.h"
#include "helper_run.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"

#include <QDir>

namespace {

const QByteArray PAGE_PATH = "/5.9/";
const QByteArray PATH = "/5.9/P1.tar";
const QByteArray ADDRESS = "%1"; // as in the outcomes

// The mark comes last; half of the archive is half of the other file.
QByteArray wholeArchive()
{
    QByteArray content;
    for (int i = 0; i < 500; ++i) {
        content += QByteArray::number(i * 7919 % 10007) + '\n';
    }
    const int endOfArchive = 1024;
    return archiveOf("/opt/tavrin/5.9/lib/one.txt", content).chopped(endOfArchive) +
           archiveOf("/opt/tavrin/5.9/patched/P1", {});
}

QByteArray describe(const ProgramRun& run, const QStringList& tree)
{
    return describe(run) + "installation:\n" + tree.join('\n').toUtf8() + '\n';
}

// What a run with this outcome of its one download has to leave, with "%1" for the address.
QByteArray resultOf(const FaultOutcome& outcome)
{
    FakeInstallation installation;
    installation.withTools();
    ProgramRun run;
    run.status = 1;
    run.output = untilDownload(1);
    switch (outcome.kind) {
    case FaultOutcome::Kind::Failure:
        run.errors = downloadFailed(ADDRESS, outcome.text);
        return describe(run, installation.tree());
    case FaultOutcome::Kind::Redirect:
        run.errors = "Download request was redirected.\n\n";
        return describe(run, installation.tree());
    case FaultOutcome::Kind::Waiting:
        run.status = SIGTERM;
        run.crashed = true;
        run.output.chop(DOWNLOAD.size()); // still in the buffer of standard output
        return describe(run, installation.tree());
    case FaultOutcome::Kind::Body:
        break;
    }
    installation.withFile("patches/P1.tar", outcome.text);
    if (outcome.text.isEmpty()) {
        run.errors = "No data downloaded for patch file, " + installation.path("patches/P1.tar").toUtf8() + '\n';
        return describe(run, installation.tree());
    }
    run.output = untilUnpacking({"P1.tar"});
    const HelperRun unpacked =
        runHelper(installation.path("bin/bsdtar"), {"-xvPf", installation.path("patches/P1.tar")});
    if (unpacked.status != 0) {
        run.errors = unpacked.errors + '\n';
        return describe(run, installation.tree());
    }
    run.status = 0;
    run.output += unpacked.errors + '\n' + installing("P1.tar", {}) + FINISH;
    // The archive tool passes over damage between two members, with the mark if that is lost.
    const QStringList marks = QDir(installation.path("patched")).entryList(QDir::Files);
    installation.withFile("applied_patches.html", appliedPage(marks));
    return describe(run, installation.tree());
}

} // namespace

class TstArchiveFaults : public Test
{
    Q_OBJECT

private slots:
    void archiveIsInstalledOrReported_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : endingFaults(wholeArchive())) {
            row(fault.name, fault);
        }
    }

    void archiveIsInstalledOrReported()
    {
        QFETCH(Fault, fault);
        const QList<QByteArray> possible = possibleResults(fault);
        ServedRelease release(pageWith({"P1.tar"}));
        release.server.answer(PATH, fault.answer);
        compareResult(release.run(), release, fault, possible);
    }

    void brokenEndIsInstalledReportedOrWaitedFor_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : uncertainFaults(wholeArchive())) {
            row(fault.name, fault);
        }
    }

    // Qt can overlook that the connection has ended, and nothing tells the program.
    void brokenEndIsInstalledReportedOrWaitedFor()
    {
        QFETCH(Fault, fault);
        const QList<QByteArray> possible = possibleResults(fault);
        ServedRelease release(pageWith({"P1.tar"}));
        release.server.answer(PATH, fault.answer);
        const auto session = release.start();
        session->write("y\n");
        QTRY_VERIFY_WITH_TIMEOUT(release.server.requestedPaths().contains(PATH), LONG_WAIT);
        QTRY_VERIFY_WITH_TIMEOUT(!session->isRunning() || release.isAtRestDuringAnotherRun(*session), LONG_WAIT);
        if (session->isRunning()) {
            session->sendSignal(SIGTERM);
        }
        compareResult(session->finish(), release, fault, possible);
    }

    void silentServerIsWaitedFor_data()
    {
        const Rows<Fault> row("fault");
        for (const Fault& fault : silentFaults(wholeArchive())) {
            row(fault.name, fault);
        }
    }

    // There is no time limit for a server. SIGTERM ends the wait.
    void silentServerIsWaitedFor()
    {
        QFETCH(Fault, fault);
        ServedRelease release(pageWith({"P1.tar"}));
        const QStringList before = release.installation.tree();
        release.server.answer(PATH, fault.answer);
        const auto session = release.start({"-Q"});
        const QList<QByteArray> paths{PAGE_PATH, PATH};
        QTRY_COMPARE_WITH_TIMEOUT(release.server.requestedPaths(), paths, LONG_WAIT);
        session->sendSignal(SIGTERM);
        const ProgramRun run = session->finish();
        QVERIFY(run.crashed && !run.timedOut);
        QCOMPARE(run.status, SIGTERM);
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(release.server.requestedPaths(), paths);
        QCOMPARE(release.installation.tree(), before);
    }

    // Nothing tells that such a body was cut. The mark comes last, so the next run installs the patch again.
    void cutBetweenTwoMembersWithoutALengthIsNotNoticed()
    {
        ServedRelease release(pageWith({"P1.tar"}));
        const QByteArray archive = wholeArchive();
        const QByteArray begin = archive.left(archive.indexOf("/opt/tavrin/5.9/patched/P1"));
        release.server.answer(PATH, FakePatchServer::Answer::raw("HTTP/1.1 200 OK\r\n\r\n" + begin));
        compareRun(release.run(), 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"lib/one.txt"}) + FINISH);
        compareRun(release.run({"-L"}), 0, compactReportOf("5.9", {}, {"P1"}));
        release.server.answer(PATH, FakePatchServer::Answer::body(archive));
        compareRun(release.run(), 0,
                   untilUnpacking({"P1.tar"}) + installing("P1.tar", {"lib/one.txt", "patched/P1"}) + FINISH);
    }

    // Qt undoes the encoding of the answer, so the file under the archive's name is not compressed any more.
    void compressedArchiveInAnEncodedAnswerIsInstalled()
    {
        ServedRelease release(pageWith({"P1.tar.gz"}));
        const QByteArray archive = wholeArchive();
        release.server.answer("/5.9/P1.tar.gz",
                              FakePatchServer::Answer::body(gzipped(archive)).header("Content-Encoding", "gzip"));
        compareRun(release.run(), 0,
                   untilUnpacking({"P1.tar.gz"}) + installing("P1.tar.gz", {"lib/one.txt", "patched/P1"}) + FINISH);
        QCOMPARE(release.content("patches/P1.tar.gz"), archive);
    }

private:
    // Made before the run, because only one installation can be there.
    static QList<QByteArray> possibleResults(const Fault& fault)
    {
        QList<QByteArray> results;
        for (const FaultOutcome& outcome : fault.outcomes) {
            results << resultOf(outcome);
        }
        return results;
    }

    static void compareResult(const ProgramRun& run, const ServedRelease& release, const Fault& fault,
                              const QList<QByteArray>& possible)
    {
        const QByteArray url = release.server.url(PATH).toUtf8();
        const QByteArray result = describe(run, release.installation.tree()).replace(url, ADDRESS);
        QVERIFY2(possible.contains(result), result + "\nis none of:\n" + possible.join("\nor\n"));
        QList<QByteArray> paths = release.server.requestedPaths();
        QCOMPARE(paths.takeFirst(), PAGE_PATH);
        QVERIFY2(fault.explains(paths, PATH), paths.join('\n'));
    }
};

TAVRIN_TEST_MAIN(TstArchiveFaults)
#include "tst_archive_faults.moc"
