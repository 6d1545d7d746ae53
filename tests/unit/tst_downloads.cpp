// The queue in window mode when all goes well: which requests go out, what an outcome leads to, step by step, and the
// install sequence after the last download. Failures, which are reported while the run carries on, are the subject of
// tst_download_failures.
#include "download_window.h"
#include "fake_patch_server.h"
#include "page_reply.h"
#include "test.h"
#include "test_files.h"

#include <QPointer>
#include <QScopeGuard>

#include <algorithm>

#include <sys/resource.h>

using Answer = FakePatchServer::Answer;

class TstDownloads : public Test
{
    Q_OBJECT

private slots:
    void missingPatchesAreInstalled()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        server.answer("/5.9/P3.tar", Answer::body("three").after("/5.9/P1.tar"));
        DownloadWindow window(server.url("/5.9"));
        QCOMPARE(window.initialized, QString());
        window.installation.withPatched("P2");
        for (const char* archive : {"P1.tar", "P2.tar", "P3.tar"}) {
            window.list(archive);
        }
        window.logic.determinePatchesApplied();
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), downloaded("P3.tar"), APPLY,
                                             installed("P1.tar"), installed("P3.tar")} +
                                 FINISH));
        QCOMPARE(server.requestedPaths().size(), 2);
        QCOMPARE(server.requests().first().method, QByteArray("GET"));
        QCOMPARE(window.tools.callLines(), (QStringList{"bsdtar|-xvPf|/opt/tavrin/5.9/patches/P1.tar",
                                                        "bsdtar|-xvPf|/opt/tavrin/5.9/patches/P3.tar",
                                                        "perl|/opt/tavrin/5.9/bin/ozna_installed_patches"}));
        QCOMPARE(window.filesIn("patches"), (QStringList{"P1.tar", "P3.tar"}));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("one"));
        QCOMPARE(contentOf(window.installation.path("patches/P3.tar")), QByteArray("three"));
        QCOMPARE(window.appliedMarks(), QString("YYY"));
        QVERIFY(!window.logic.updatesNeeded());
    }

    void requestsGoOutAtOnce()
    {
        FakePatchServer server;
        DownloadWindow window(server.url("/5.9/"));
        QList<QByteArray> paths;
        for (int i = 1; i <= 6; ++i) { // as many as Qt has connections to one host
            const QString archive = QString("P%1.tar").arg(i);
            paths << "/5.9/" + archive.toUtf8();
            server.answer(paths.last(), Answer::body("text").held());
            window.list(archive);
        }
        window.logic.applyPatches();
        QTRY_COMPARE(server.requestedPaths().size(), 6);
        QList<QByteArray> requested = server.requestedPaths();
        std::sort(requested.begin(), requested.end());
        QCOMPARE(requested, paths);
        QCOMPARE(window.events, QStringList{START});
        QCOMPARE(window.filesIn("patches"), QStringList());

        for (int i = 0; i < 5; ++i) {
            server.release(paths.at(i));
        }
        QTRY_COMPARE(window.events.size(), 6);
        QVERIFY(!window.events.contains(APPLY));
        server.release(paths.last());
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events.count(APPLY), 1);
        QCOMPARE(window.filesIn("patches").size(), 6);
    }

    void nothingHappensWhenEverythingIsApplied()
    {
        FakePatchServer server;
        DownloadWindow window(server.url("/5.9/"));
        window.installation.withPatched("P1");
        window.list("P1.tar");
        window.logic.determinePatchesApplied();
        window.logic.applyPatches();
        // A request that goes out afterwards comes back; anything the first call had started would be in before it.
        window.list("P2.tar");
        server.answer("/5.9/P2.tar", Answer::body("two").held());
        window.logic.applyPatches();
        QTRY_COMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/P2.tar"});
        QCOMPARE(window.events, (QStringList{START, START}));
        QCOMPARE(window.tools.callLines(), QStringList());
        QCOMPARE(window.filesIn("patches"), QStringList());
    }

    void nothingHappensWithoutLeaveToDoAnything()
    {
        WindowLogic::CommandLineOptions options = downloadOptions("file:///nowhere/");
        options.apply = false;
        DownloadWindow window(options);
        window.list("P1.tar");
        window.logic.applyPatches();
        QCoreApplication::processEvents();
        QCOMPARE(window.events, QStringList());
        QCOMPARE(window.tools.callLines(), QStringList());
    }

    void dryRunShowsItsStepsOnly()
    {
        const QTemporaryDir source;
        writeTestFile(source.filePath("P1.tar"), "one");
        WindowLogic::CommandLineOptions options = downloadOptions("file://" + source.path());
        options.apply = false;
        options.showProposed = true;
        DownloadWindow window(options);
        window.list("P1.tar");
        const QStringList before = window.installation.tree();
        window.logic.applyPatches();
        QCOMPARE(window.events,
                 (QStringList{"log:Download and install patch files ...", "log:\nUpdate applied_patches.html ...",
                              "log:\nYou may restart systems now"}));
        QCoreApplication::processEvents(); // a local file would come in at once
        QCOMPARE(window.events.size(), 3);
        QCOMPARE(window.tools.callLines(), QStringList());
        QCOMPARE(window.installation.tree(), before);
        QCOMPARE(window.logic.getPatchName(), QString(" ")); // the walk ran to its end
    }

    void headingGoesByTheDryRunAlone_data()
    {
        const Rows<bool, bool, QString> row("apply", "showProposed", "heading");

        row("neither", false, false, START);
        row("leave to apply", true, false, START);
        row("dry run", false, true, "log:Download and install patch files ...");
        row("both", true, true, "log:Download and install patch files ...");
    }

    void headingGoesByTheDryRunAlone()
    {
        QFETCH(bool, apply);
        QFETCH(bool, showProposed);
        QFETCH(QString, heading);
        const QTemporaryDir source;
        writeTestFile(source.filePath("P1.tar"), "one");
        WindowLogic::CommandLineOptions options = downloadOptions("file://" + source.path());
        options.apply = apply;
        options.showProposed = showProposed;
        DownloadWindow window(options);
        window.list("P1.tar");
        window.logic.beginDownload();
        QCOMPARE(window.events, QStringList{heading});
        QCoreApplication::processEvents(); // a local file comes in at once
        QCOMPARE(window.events.contains(downloaded("P1.tar")), apply);
    }

    void addressIsTheUrlWithTheNameBehindIt_data()
    {
        const Rows<QString, QByteArray> row("archive", "path");
        row("name", "P1.tar", "/5.9/P1.tar");
        row("directory part", "sub/P1.tar", "/5.9/sub/P1.tar");
        row("blank is encoded", "P 1.tar", "/5.9/P%201.tar");
        row("encoded stays", "P%201.tar", "/5.9/P%201.tar");
        row("lone percent sign", "P1%.tar", "/5.9/P1%25.tar");
        row("beyond ASCII", QString::fromUtf8("P\xc3\xa9.tar"), "/5.9/P%C3%A9.tar");
        row("query", "P1.tar?v=2", "/5.9/P1.tar?v=2");
        row("no separator is added for a rooted name", "/P1.tar", "/5.9//P1.tar");
    }

    void addressIsTheUrlWithTheNameBehindIt()
    {
        QFETCH(QString, archive);
        QFETCH(QByteArray, path);
        FakePatchServer server;
        server.answer(path, Answer::body("text"));
        DownloadWindow window(server.url("/5.9/"));
        window.list(archive);
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{path});
        QCOMPARE(window.events.filter("fail:"), QStringList());
    }

    void fileIsStoredUnderTheDecodedLastPart_data()
    {
        // unpacked: empty when the archive is not found under its listed name
        const Rows<QString, QString, QString> row("archive", "file", "unpacked");
        row("plain", "P1.tar", "P1.tar", "P1.tar");
        row("blank", "P 1.tar", "P 1.tar", "P 1.tar");
        row("beyond ASCII", QString::fromUtf8("P\xc3\xa9.tar"), QString::fromUtf8("P\xc3\xa9.tar"),
            QString::fromUtf8("P\xc3\xa9.tar"));
        row("encoded blank is looked for as listed", "P%201.tar", "P 1.tar", "");
        row("encoded beyond ASCII", "P%C3%A9.tar", QString::fromUtf8("P\xc3\xa9.tar"), "");
        row("encoded percent sign", "P%2541.tar", "P%41.tar", "");
        row("encoded separator", "sub%2FP1.tar", "P1.tar", "");
        row("directory part is looked for as listed", "sub/P1.tar", "P1.tar", "");
        row("query is no part of the path", "P1.tar?v=2.tar", "P1.tar", "");
    }

    void fileIsStoredUnderTheDecodedLastPart()
    {
        QFETCH(QString, archive);
        QFETCH(QString, file);
        QFETCH(QString, unpacked);
        FakePatchServer server;
        server.answer(QUrl(server.url("/5.9/") + archive).toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority),
                      Answer::body("text"));
        DownloadWindow window(server.url("/5.9/"));
        window.list(archive);
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        const QString lastPart = archive.mid(archive.lastIndexOf('/') + 1);
        QCOMPARE(window.events, (QStringList{START, downloaded(file), APPLY, installed(lastPart)} + FINISH));
        QCOMPARE(window.filesIn("patches"), QStringList{file});
        QStringList calls;
        if (!unpacked.isEmpty()) {
            calls << "bsdtar|-xvPf|/opt/tavrin/5.9/patches/" + unpacked;
        }
        QCOMPARE(window.tools.callLines(), calls << "perl|/opt/tavrin/5.9/bin/ozna_installed_patches");
    }

    void laterDownloadOfTheSameFileStays()
    {
        FakePatchServer server;
        server.answer("/5.9/a/P1.tar", Answer::body("first on the list, finished last").after("/5.9/b/P1.tar"));
        server.answer("/5.9/b/P1.tar", Answer::body("second on the list"));
        DownloadWindow window(server.url("/5.9/"));
        window.list("a/P1.tar");
        window.list("b/P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), downloaded("P1.tar"), APPLY,
                                             installed("P1.tar"), installed("P1.tar")} +
                                 FINISH));
        QCOMPARE(window.filesIn("patches"), QStringList{"P1.tar"});
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("first on the list, finished last"));
    }

    void olderFileIsReplaced()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("new"));
        DownloadWindow window(server.url("/5.9/"));
        window.installation.withFile("patches/P1.tar", "older and longer");
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("new"));
    }

    void largeBodyIsStoredWhole()
    {
        QByteArray body;
        for (int i = 0; body.size() < 3000000; ++i) {
            body += QByteArray::number(i) + '\0';
        }
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body(body));
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QVERIFY(contentOf(window.installation.path("patches/P1.tar")) == body);
    }

    void installationFollowsTheListNotTheDownloads()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one").after("/5.9/P2.tar"));
        server.answer("/5.9/P2.tar", Answer::body("two").after("/5.9/P3.tar"));
        server.answer("/5.9/P3.tar", Answer::body("three"));
        DownloadWindow window(server.url("/5.9/"));
        for (const char* archive : {"P1.tar", "P2.tar", "P3.tar"}) {
            window.list(archive);
        }
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P3.tar"), downloaded("P2.tar"), downloaded("P1.tar"),
                                             APPLY, installed("P1.tar"), installed("P2.tar"), installed("P3.tar")} +
                                 FINISH));
    }

    void downloadsCanBeStartedAgain()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one"));
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.list("P2.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.appliedMarks(), QString("YN"));

        window.events.clear();
        server.answer("/5.9/P2.tar", Answer::body("two"));
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P2.tar"), APPLY, installed("P2.tar")} + FINISH));
        QCOMPARE(window.appliedMarks(), QString("YY"));
        QCOMPARE(server.requestedPaths().last(), QByteArray("/5.9/P2.tar"));
        QCOMPARE(server.requestedPaths().size(), 3);

        window.events.clear();
        window.logic.applyPatches();
        QCoreApplication::processEvents();
        QCOMPARE(window.events, QStringList{START});
    }

    // As when the button is pressed again during the downloads.
    void secondQueueDoesNotWaitForTheFirst()
    {
        FakePatchServer server;
        server.answer("/slow/P1.tar", Answer::body("slow").held());
        server.answer("/quick/P1.tar", Answer::body("quick"));
        DownloadWindow window(server.url("/slow/"));
        window.list("P1.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(server.requestedPaths(), QList<QByteArray>{"/slow/P1.tar"});
        QCOMPARE(window.logic.validateCurrentUrl(server.url("/quick/")), QString());
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, START, downloaded("P1.tar"), APPLY, installed("P1.tar")} + FINISH));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("quick"));

        // The first one's download still counts when it comes, and ends a queue of its own.
        window.events.clear();
        server.release("/slow/P1.tar");
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{downloaded("P1.tar"), APPLY} + FINISH));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("slow"));
    }

    void localSourceIsReadTheSameWay()
    {
        const QTemporaryDir source;
        writeTestFile(source.filePath("P1.tar"), "one");
        writeTestFile(source.filePath("P 2.tar"), "two");
        DownloadWindow window("file://" + source.path());
        window.list("P1.tar");
        window.list("P 2.tar");
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), downloaded("P 2.tar"), APPLY,
                                             installed("P1.tar"), installed("P 2.tar")} +
                                 FINISH));
        QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("one"));
        QCOMPARE(contentOf(window.installation.path("patches/P 2.tar")), QByteArray("two"));
        QCOMPARE(contentOf(source.filePath("P1.tar")), QByteArray("one"));
    }

    void localFilesMayBeMoreThanTheUsualLimitOfOpenFiles()
    {
        const int patches = 150;
        const QTemporaryDir source;
        rlimit usual = {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &usual), 0);
        const auto restored = qScopeGuard([&usual] { setrlimit(RLIMIT_NOFILE, &usual); });
        rlimit low = usual;
        low.rlim_cur = 100;
        QCOMPARE(setrlimit(RLIMIT_NOFILE, &low), 0);

        DownloadWindow window("file://" + source.path());
        QStringList expected{START};
        for (int i = 1; i <= patches; ++i) {
            const QString archive = QStringLiteral("P%1.zip").arg(i); // of no known kind, so nothing is started for it
            writeTestFile(source.filePath(archive), "content of " + archive.toUtf8());
            window.list(archive);
            expected << downloaded(archive);
        }
        window.logic.applyPatches();
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events.mid(0, patches + 1), expected);
        QCOMPARE(contentOf(window.installation.path("patches/P150.zip")), QByteArray("content of P150.zip"));

        // The programs started later inherit the limit, so it grows by no more than was needed.
        rlimit raised = {};
        QCOMPARE(getrlimit(RLIMIT_NOFILE, &raised), 0);
        QCOMPARE(raised.rlim_cur, low.rlim_cur + patches);
    }

    void overriddenReleaseKeepsItsPage()
    {
        WindowLogic::CommandLineOptions options = downloadOptions("file:///nowhere/");
        options.release = "5.8";
        const FakeInstallation overriding("5.8");
        DownloadWindow window(options);
        window.tools.addTo(overriding.path("bin"), "bsdtar");
        QCOMPARE(window.initialized, QString());
        window.list("P1.tar");
        // An override forbids to apply, so a reply can only come from elsewhere.
        window.receive(new PageReply("one", "http://host.test/5.8/P1.tar"));
        QCOMPARE(window.events, (QStringList{downloaded("P1.tar"), APPLY, installed("P1.tar"),
                                             "log:\nYou may restart systems now", "status"}));
        QCOMPARE(contentOf(overriding.path("patches/P1.tar")), QByteArray("one"));
        QCOMPARE(window.tools.callLines(), QStringList{"bsdtar|-xvPf|/opt/tavrin/5.8/patches/P1.tar"});
    }

    void repliesFromElsewhereCountOnlyWhenNoneIsOut()
    {
        FakePatchServer server;
        server.answer("/5.9/P1.tar", Answer::body("one").held());
        DownloadWindow window(server.url("/5.9/"));
        window.list("P1.tar");
        window.logic.applyPatches();
        window.receive(new PageReply("other", "http://host.test/5.9/P9.tar"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P9.tar")}));
        QTRY_COMPARE(server.requestedPaths().size(), 1);
        server.release("/5.9/P1.tar");
        QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
        QCOMPARE(window.events,
                 (QStringList{START, downloaded("P9.tar"), downloaded("P1.tar"), APPLY, installed("P1.tar")} + FINISH));

        window.events.clear();
        window.receive(new PageReply("another", "http://host.test/5.9/P9.tar"));
        QCOMPARE(window.events, (QStringList{downloaded("P9.tar"), APPLY} + FINISH));
        QCOMPARE(contentOf(window.installation.path("patches/P9.tar")), QByteArray("another"));
    }

    void repliesAreReleased_data()
    {
        const Rows<int, int, QByteArray> row("status", "error", "body");
        row("good", 200, int(QNetworkReply::NoError), "text");
        row("empty", 200, int(QNetworkReply::NoError), {});
        row("redirected", 302, int(QNetworkReply::NoError), {});
        row("failed", 404, int(QNetworkReply::ContentNotFoundError), {});
    }

    void repliesAreReleased()
    {
        QFETCH(int, status);
        QFETCH(int, error);
        QFETCH(QByteArray, body);
        DownloadWindow window("file:///nowhere/");
        const QPointer<PageReply> reply = new PageReply(body, "http://host.test/5.9/P1.tar");
        reply->setStatus(status);
        reply->fail(static_cast<QNetworkReply::NetworkError>(error), "text");
        window.receive(reply);
        QVERIFY(!reply.isNull());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(reply.isNull());
    }
};

TAVRIN_TEST_MAIN(TstDownloads)
#include "tst_downloads.moc"
