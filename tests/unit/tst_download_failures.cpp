// The queue in window mode when a download, an archive or a tool fails: every failure is reported and the run carries
// on to its end.
#include "download_window.h"
#include "fake_patch_server.h"
#include "page_reply.h"
#include "test.h"
#include "test_files.h"

using Answer = FakePatchServer::Answer;
using Logic = TavrinUpdateBusinessLogic;

Q_DECLARE_METATYPE(FakePatchServer::Answer)

class TstDownloadFailures : public Test
{
    Q_OBJECT

private slots:
    void failedDownloadIsReported_data()
    {
        // reason: %1 is the address as Qt shows it
        const Rows<Answer, QString> row("answer", "reason");
        row("not found", Answer::status(404, "no"), "Error transferring %1 - server replied: As told");
        row("forbidden", Answer::status(403, "no"), "Error transferring %1 - server replied: As told");
        row("server error", Answer::status(500), "Error transferring %1 - server replied: As told");
        row("hangs up at once", Answer::hangUp(), "Connection closed");
        row("stops in the middle", Answer::body("a body of some length").cutAfter(6), "Connection closed");
        row("stops before the body", Answer::body("a body of some length").cutAfter(0), "Connection closed");
    }

    void failedDownloadIsReported()
    {
        QFETCH(Answer, answer);
        QFETCH(QString, reason);
        FakePatchServer server;
        server.answer("/5.9/P%20%C3%A9.tar", answer);
        DownloadWindow window(server.url("/5.9/"));
        window.list(QString::fromUtf8("P \xc3\xa9.tar"));
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        // Qt's reason shows the address to be read, the message itself as it was asked for.
        reason.replace("%1", server.url(QString::fromUtf8("/5.9/P \xc3\xa9.tar")));
        const QString failure = "fail:Download of " + server.url("/5.9/P%20%C3%A9.tar") + " failed: " + reason + '\n';
        QCOMPARE(window.events,
                 (QStringList{START, failure, APPLY, installed(QString::fromUtf8("P \xc3\xa9.tar"))} + FINISH));
        QCOMPARE(window.filesIn("patches"), QStringList());
        QCOMPARE(window.tools.callLines(), QStringList{"perl|/opt/tavrin/5.9/bin/ozna_installed_patches"});
        QCOMPARE(window.appliedMarks(), QString("N")); // there is no mark in the installation
    }

    void failedLastDownloadStillStartsTheInstallation()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        server.answer("/5.9/P2.tar", Answer::status(404).after("/5.9/P1.tar"));
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.list("P2.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        const QString address = server.url("/5.9/P2.tar");
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"),
                                             "fail:Download of " + address + " failed: Error transferring " + address +
                                                 " - server replied: As told\n",
                                             APPLY, installed("P1.tar"), installed("P2.tar")} +
                                 FINISH));
        QCOMPARE(window.appliedMarks(), QString("YN"));
    }

    void failedFirstDownloadLeavesTheOthersGoing()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::redirect(302, "/5.9/P2.tar"));
        server.answer("/5.9/P2.tar", Answer::body("two").held());
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.list("P2.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events, (QStringList{START, "fail:Download request was redirected.\n"}));
        QTRY_COMPARE(server.requestedPaths().size(), 2);
        server.release("/5.9/P2.tar");
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, "fail:Download request was redirected.\n", downloaded("P2.tar"),
                                             APPLY, installed("P1.tar"), installed("P2.tar")} +
                                 FINISH));
    }

    void redirectIsRefused()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::redirect(301, "/elsewhere/P1.tar"));
        server.answer("/elsewhere/P1.tar", Answer::body("text"));
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START, "fail:Download request was redirected.\n", APPLY, installed("P1.tar")} + FINISH));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/P1.tar"});
        QCOMPARE(window.filesIn("patches"), QStringList());
    }

    void downloadsGoToTheInstallationWithoutAPatchesDirectory()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        DownloadWindow window(server.url("/5.9/"));
        window.installation.without("patches");
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START, "fail:Failed to access patch download directory, /opt/tavrin/5.9/patches.",
                              downloaded("P1.tar"), APPLY, installed("P1.tar")} +
                  FINISH));
        QCOMPARE(contentOf(window.installation.path("P1.tar")), QByteArray("one"));
        QVERIFY(!QFileInfo::exists(window.installation.path("patches")));
        QCOMPARE(window.tools.callLines().first(), QString("bsdtar|-xvPf|/opt/tavrin/5.9/P1.tar"));
    }

    void unopenedFileIsReportedAndStillDownloaded()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("new"));
        DownloadWindow window(server.url("/5.9/"));
        window.installation.withFile("patches/P1.tar", "older").withMode("patches/P1.tar", 0444);
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        // The older file has a size, so nobody misses the data.
        QCOMPARE(window.events,
                 (QStringList{START, "fail:Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar",
                              downloaded("P1.tar"), APPLY, installed("P1.tar")} +
                  FINISH));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("older"));
    }

    void unwritableDirectoryIsReportedTwice()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("new"));
        DownloadWindow window(server.url("/5.9/"));
        window.installation.withMode("patches", 0555);
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START, "fail:Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar",
                              "fail:No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar",
                              downloaded("P1.tar"), APPLY, installed("P1.tar")} +
                  FINISH));
        QCOMPARE(window.filesIn("patches"), QStringList());
    }

    void emptyBodyIsReportedAndStillDownloaded()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body(""));
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START, "fail:No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar",
                              downloaded("P1.tar"), APPLY, installed("P1.tar")} +
                  FINISH));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray());
    }

    void unpackFailureStillMarksThePatch()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        server.answer("/5.9/P2.tar", Answer::body("two").after("/5.9/P1.tar"));
        DownloadWindow window(server.url("/5.9/"));
        FakeTool archiver;
        archiver.status = 1;
        archiver.errors = "bsdtar: broken\n";
        window.tools.addTo(window.installation.path("bin"), "bsdtar", archiver);
        window.list("P1.tar");
        window.list("P2.tar");
        QString marksAtPage;
        connect(&window.logic, &Logic::appendProgress, this, [&](const QString& text) {
            if (text == "\nUpdate applied_patches.html ...") {
                marksAtPage = window.appliedMarks();
            }
        });
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START, downloaded("P1.tar"), downloaded("P2.tar"), APPLY, "fail:bsdtar: broken\n",
                              installed("P1.tar"), "fail:bsdtar: broken\n", installed("P2.tar")} +
                  FINISH));
        QCOMPARE(marksAtPage, QString("YY"));
        QCOMPARE(window.appliedMarks(), QString("NN"));
    }

    void decompressedFileIsTheOneInstalled()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar.gz", Answer::body("one"));
        DownloadWindow window(server.url("/5.9/"));
        FakeTool decompressor;
        decompressor.script = "/bin/mv \"$1\" \"${1%.gz}\"";
        window.tools.add("gunzip", decompressor);
        window.list("P1.tar.gz");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar.gz"), APPLY, installed("P1.tar")} + FINISH));
        QCOMPARE(window.filesIn("patches"), QStringList{"P1.tar"});
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void unmatchedArchiveIsAnInternalError()
    {
        FakePatchServer server;
        server.answer("/5.9/update.tar", Answer::body("one"));
        DownloadWindow window(server.url("/5.9/"));
        window.logic.addPatchToList("P1", "P1 1 May 2020", false, "update.tar", "d");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("update.tar"), APPLY,
                                             "log:Internal error: Failed to mark update update.tar applied.",
                                             installed("update.tar")} +
                                 FINISH));
    }

    void pageFailureDoesNotStopTheRest()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        DownloadWindow window(server.url("/5.9/"));
        FakeTool perl;
        perl.status = 2;
        perl.errors = "no page\n";
        window.tools.add("perl", perl);
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), APPLY, installed("P1.tar"), FINISH.at(0),
                                             "fail:no page\n", FINISH.at(2), FINISH.at(3)}));
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void stateIsReadAfreshAtTheEnd()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        DownloadWindow window(server.url("/5.9/"));
        FakeTool archiver; // brings the mark of another patch than the one it is listed as
        archiver.script = ": >" + window.installation.path("patched/P2").toUtf8();
        window.tools.addTo(window.installation.path("bin"), "bsdtar", archiver);
        window.installation.withPatched("P3");
        window.list("P1.tar");
        window.list("P2.tar");
        window.list("P3.tar");
        window.logic.determinePatchesApplied();
        QVERIFY(QFile::remove(window.installation.path("patched/P3")));
        server.answer("/5.9/P2.tar", Answer::status(404));
        QString marksAtStatus;
        connect(&window.logic, &Logic::updatePatchStatus, this, [&] { marksAtStatus = window.appliedMarks(); });
        window.logic.applyPatches();
        QTRY_COMPARE(marksAtStatus, QString("NYN"));
        QVERIFY(window.logic.updatesNeeded());
    }

    void missingLocalFileIsReported()
    {
        const QTemporaryDir source;
        DownloadWindow window("file://" + source.path());
        window.list("P 1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START,
                              "fail:Download of file://" + source.path() + "/P%201.tar failed: Error opening " +
                                  source.path() + "/P 1.tar: No such file or directory\n",
                              APPLY, installed("P 1.tar")} +
                  FINISH));
    }

    void fileUrlWithAHostIsReportedOnce()
    {
        DownloadWindow window("file://elsewhere/");
        window.list("P1.tar");
        window.list("P2.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCoreApplication::processEvents();
        QStringList expected{START};
        for (const char* archive : {"P1.tar", "P2.tar"}) {
            expected << QString("fail:Download of file://elsewhere/%1 failed: Request for opening non-local file "
                                "file://elsewhere/%1\n")
                            .arg(archive);
        }
        expected << APPLY << installed("P1.tar") << installed("P2.tar") << FINISH;
        QCOMPARE(window.events, expected);
    }

    void bodyCutShortIsAFailedDownload()
    {
        DownloadWindow window("file:///nowhere/");
        auto* reply = new PageReply("on", "http://host.test/5.9/P1.tar");
        reply->setStatus(200);
        reply->announceLength(3);
        window.receive(reply);
        const QString failure = "fail:Download of http://host.test/5.9/P1.tar failed: Connection closed\n";
        QCOMPARE(window.events, QStringList{failure} + QStringList{APPLY} + FINISH);
        QVERIFY(!QFileInfo::exists(window.installation.path("patches/P1.tar")));
    }
};

TAVRIN_TEST_MAIN(TstDownloadFailures)
#include "tst_download_failures.moc"
