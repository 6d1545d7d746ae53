// Downloads and their installation in window mode when a download, an archive or a tool fails: every failure is
// reported, and the run continues to its end.
#include "download_window.h"
#include "page_reply.h"
#include "test.h"

using Answer = FakePatchServer::Answer;
using Logic = TavrinUpdateBusinessLogic;

namespace {

const QString REDIRECTED = "fail:Download request was redirected.\n";
const QString NOT_OPENED = "fail:Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar";
const QString NO_DATA = "fail:No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar";

} // namespace

class TstDownloadFailures : public Test
{
    Q_OBJECT

private slots:
    // Qt's reason has the decoded address, the message itself the encoded one.
    void failedDownloadIsReportedWithBothAddresses()
    {
        const QString archive = QString::fromUtf8("P \xc3\xa9.tar");
        DownloadWindow window;
        window.offer(archive, Answer::status(404, "no"));
        window.install();
        const QString failure = "fail:Download of " + window.server.url("/5.9/P%20%C3%A9.tar") +
                                " failed: Error transferring " + window.server.url("/5.9/" + archive) +
                                " - server replied: As told\n";
        QCOMPARE(window.events, runOf({failure}, {archive}));
        QCOMPARE(window.filesIn("patches"), QStringList());
        QCOMPARE(window.tools.callLines(), QStringList{"perl|/opt/tavrin/5.9/bin/ozna_installed_patches"});
        QCOMPARE(window.appliedMarks(), QString("N")); // the installation has no mark
    }

    void failedLastDownloadStillStartsTheInstallation()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.offer("P2.tar", Answer::status(404).after("/5.9/P1.tar"));
        window.install();
        const QString address = window.server.url("/5.9/P2.tar");
        const QString failure =
            "fail:Download of " + address + " failed: Error transferring " + address + " - server replied: As told\n";
        QCOMPARE(window.events, runOf({downloaded("P1.tar"), failure}, {"P1.tar", "P2.tar"}));
        QCOMPARE(window.appliedMarks(), QString("YN"));
    }

    void failedFirstDownloadDoesNotStopTheOthers()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::redirect(302, "/5.9/P2.tar"));
        window.offer("P2.tar", Answer::body("two").held());
        window.logic.applyPatches();
        QTRY_COMPARE(window.events, (QStringList{START, REDIRECTED}));
        QTRY_COMPARE(window.server.requestedPaths().size(), 2);
        window.server.release("/5.9/P2.tar");
        window.waitForEnd();
        QCOMPARE(window.events, runOf({REDIRECTED, downloaded("P2.tar")}, {"P1.tar", "P2.tar"}));
    }

    void downloadsGoToTheInstallationWithoutAPatchesDirectory()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.installation.without("patches");
        window.install();
        const QString failure = "fail:Failed to access patch download directory, /opt/tavrin/5.9/patches.";
        QCOMPARE(window.events, runOf({failure, downloaded("P1.tar")}, {"P1.tar"}));
        QCOMPARE(contentOf(window.installation.path("P1.tar")), QByteArray("one"));
        QVERIFY(!QFileInfo::exists(window.installation.path("patches")));
        QCOMPARE(window.tools.callLines().first(), QString("bsdtar|-xvPf|/opt/tavrin/5.9/P1.tar"));
    }

    void unopenedFileIsReportedAndStillDownloaded()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("new"));
        window.installation.withFile("patches/P1.tar", "older").withMode("patches/P1.tar", 0444);
        window.install();
        // The older file is not empty, so no missing data is reported.
        QCOMPARE(window.events, runOf({NOT_OPENED, downloaded("P1.tar")}, {"P1.tar"}));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("older"));
    }

    void unwritableDirectoryIsReportedTwice()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("new"));
        window.installation.withMode("patches", 0555);
        window.install();
        QCOMPARE(window.events, runOf({NOT_OPENED, NO_DATA, downloaded("P1.tar")}, {"P1.tar"}));
        QCOMPARE(window.filesIn("patches"), QStringList());
    }

    void emptyBodyIsReportedAndStillDownloaded()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body(""));
        window.install();
        QCOMPARE(window.events, runOf({NO_DATA, downloaded("P1.tar")}, {"P1.tar"}));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray());
    }

    void unpackFailureStillMarksThePatch()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.offer("P2.tar", Answer::body("two").after("/5.9/P1.tar"));
        window.recordArchiver(FakeTool::printing({}, "bsdtar: broken\n", 1));
        QString marksAtPage;
        connect(&window.logic, &Logic::appendProgress, this, [&](const QString& text) {
            if ("log:" + text == logged(PAGE)) {
                marksAtPage = window.appliedMarks();
            }
        });
        window.install();
        QCOMPARE(window.events,
                 (QStringList{START, downloaded("P1.tar"), downloaded("P2.tar"), INSTALL, "fail:bsdtar: broken\n",
                              installed("P1.tar"), "fail:bsdtar: broken\n", installed("P2.tar")} +
                  FINISHED));
        QCOMPARE(marksAtPage, QString("YY"));
        QCOMPARE(window.appliedMarks(), QString("NN"));
    }

    void decompressedFileIsTheOneInstalled()
    {
        DownloadWindow window;
        window.offer("P1.tar.gz", Answer::body("one"));
        window.record("gunzip", FakeTool::running("/bin/mv \"$1\" \"${1%.gz}\""));
        window.install();
        QCOMPARE(window.events, runOf({downloaded("P1.tar.gz")}, {"P1.tar"}));
        QCOMPARE(window.filesIn("patches"), QStringList{"P1.tar"});
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void unmatchedArchiveIsAnInternalError()
    {
        DownloadWindow window;
        window.server.answer("/5.9/update.tar", Answer::body("one"));
        window.logic.addPatchToList("P1", "P1 1 May 2020", false, "update.tar", "d");
        window.install();
        const QString failure = "log:Internal error: Failed to mark update update.tar applied.";
        QCOMPARE(window.events,
                 (QStringList{START, downloaded("update.tar"), INSTALL, failure, installed("update.tar")} + FINISHED));
    }

    void pageFailureDoesNotStopTheRest()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.record("perl", FakeTool::printing({}, "no page\n", 2));
        window.install();
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), INSTALL, installed("P1.tar"), logged(PAGE),
                                             "fail:no page\n", logged(RESTART_NOTICE), "status"}));
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void appliedStateIsDeterminedAgainAtTheEnd()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.offer("P2.tar", Answer::status(404));
        window.list({"P3.tar"});
        // The archive contains the mark of another patch than its own.
        const QByteArray otherMark = window.installation.path("patched/P2").toUtf8();
        window.recordArchiver(FakeTool::running(": >" + otherMark));
        window.installation.withPatched("P3");
        window.logic.determinePatchesApplied();
        window.installation.without("patched/P3");
        QString marksAtStatus;
        connect(&window.logic, &Logic::updatePatchStatus, this, [&] { marksAtStatus = window.appliedMarks(); });
        window.install();
        QCOMPARE(marksAtStatus, QString("NYN"));
        QVERIFY(window.logic.updatesNeeded());
    }

    void missingLocalFileIsReported()
    {
        const QTemporaryDir source;
        DownloadWindow window("file://" + source.path());
        window.list({"P 1.tar"});
        window.install();
        const QString failure = "fail:Download of file://" + source.path() + "/P%201.tar failed: Error opening " +
                                source.path() + "/P 1.tar: No such file or directory\n";
        QCOMPARE(window.events, runOf({failure}, {"P 1.tar"}));
    }

    void fileUrlWithAHostIsReportedOnce()
    {
        DownloadWindow window("file://elsewhere/");
        window.list({"P1.tar", "P2.tar"});
        window.install();
        QCoreApplication::processEvents();
        QStringList expected{START};
        for (const char* archive : {"P1.tar", "P2.tar"}) {
            expected << QString("fail:Download of file://elsewhere/%1 failed: Request for opening non-local file "
                                "file://elsewhere/%1\n")
                            .arg(archive);
        }
        QCOMPARE(window.events, expected + installationOf({"P1.tar", "P2.tar"}));
    }

    void truncatedBodyIsAFailedDownload()
    {
        DownloadWindow window("file:///nowhere/");
        auto* reply = new PageReply("on", "http://host.test/5.9/P1.tar");
        reply->setStatus(200);
        reply->announceLength(3);
        window.receiveArchive(reply);
        const QString failure = "fail:Download of http://host.test/5.9/P1.tar failed: Connection closed\n";
        QCOMPARE(window.events, QStringList{failure} + installationOf({}));
        QVERIFY(!QFileInfo::exists(window.installation.path("patches/P1.tar")));
    }
};

TAVRIN_TEST_MAIN(TstDownloadFailures)
#include "tst_download_failures.moc"
