// Successful downloads and their installation in window mode: which requests are sent, what each step signals, and the
// install sequence after the last download. Failures are tested in tst_download_failures.
#include "download_window.h"
#include "page_reply.h"
#include "test.h"

#include <algorithm>

#include <sys/resource.h>

using Answer = FakePatchServer::Answer;

namespace {

// Leaves the process few open files, until the end of this object.
class LowLimitOfOpenFiles
{
public:
    LowLimitOfOpenFiles() : usual(current())
    {
        set(LOW);
    }

    ~LowLimitOfOpenFiles()
    {
        set(usual);
    }

    LowLimitOfOpenFiles(const LowLimitOfOpenFiles&) = delete;
    LowLimitOfOpenFiles& operator=(const LowLimitOfOpenFiles&) = delete;

    int growth() const
    {
        return static_cast<int>(current()) - static_cast<int>(LOW);
    }

private:
    static constexpr rlim_t LOW = 100;

    static rlim_t current()
    {
        rlimit limit = {};
        getrlimit(RLIMIT_NOFILE, &limit);
        return limit.rlim_cur;
    }

    static void set(rlim_t count)
    {
        rlimit limit = {};
        getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = count;
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
            qFatal("cannot change the limit of open files");
        }
    }

    const rlim_t usual;
};

} // namespace

class TstDownloads : public Test
{
    Q_OBJECT

private slots:
    void missingPatchesAreInstalled()
    {
        DownloadWindow window;
        QCOMPARE(window.initialized, QString());
        window.installation.withPatched("P2");
        window.offer("P1.tar", Answer::body("one"));
        window.list({"P2.tar"});
        window.offer("P3.tar", Answer::body("three").after("/5.9/P1.tar"));
        window.logic.determinePatchesApplied();
        window.install();
        QCOMPARE(window.events, runOf({downloaded("P1.tar"), downloaded("P3.tar")}, {"P1.tar", "P3.tar"}));
        QCOMPARE(window.server.requestedPaths().size(), 2);
        QCOMPARE(window.server.requests().first().method, QByteArray("GET"));
        QCOMPARE(window.tools.callLines(), (QStringList{"bsdtar|-xvPf|/opt/tavrin/5.9/patches/P1.tar",
                                                        "bsdtar|-xvPf|/opt/tavrin/5.9/patches/P3.tar",
                                                        "perl|/opt/tavrin/5.9/bin/ozna_installed_patches"}));
        QCOMPARE(window.filesIn("patches"), (QStringList{"P1.tar", "P3.tar"}));
        QCOMPARE(window.stored("P1.tar"), QByteArray("one"));
        QCOMPARE(window.stored("P3.tar"), QByteArray("three"));
        QCOMPARE(window.appliedMarks(), QString("YYY"));
        QVERIFY(!window.logic.updatesNeeded());
    }

    void allRequestsAreSentAtOnce()
    {
        DownloadWindow window;
        QList<QByteArray> paths;
        for (int i = 1; i <= 6; ++i) { // the number of connections that Qt makes to one host
            const QString archive = QString("P%1.tar").arg(i);
            paths << "/5.9/" + archive.toUtf8();
            window.offer(archive, Answer::body("text").held());
        }
        window.logic.applyPatches();
        QTRY_COMPARE(window.server.requestedPaths().size(), 6);
        QList<QByteArray> requested = window.server.requestedPaths();
        std::sort(requested.begin(), requested.end());
        QCOMPARE(requested, paths);
        QCOMPARE(window.events, QStringList{START});
        QCOMPARE(window.filesIn("patches"), QStringList());

        for (int i = 0; i < 5; ++i) {
            window.server.release(paths.at(i));
        }
        QTRY_COMPARE(window.events.size(), 6);
        QVERIFY(!window.events.contains(INSTALL));
        window.server.release(paths.last());
        window.waitForEnd();
        QCOMPARE(window.events.count(INSTALL), 1);
        QCOMPARE(window.filesIn("patches").size(), 6);
    }

    void nothingHappensWhenEverythingIsApplied()
    {
        DownloadWindow window;
        window.installation.withPatched("P1");
        window.list({"P1.tar"});
        window.logic.determinePatchesApplied();
        window.logic.applyPatches();
        // When this later request has arrived, so has everything that the first call could have sent.
        window.offer("P2.tar", Answer::body("two").held());
        window.logic.applyPatches();
        QTRY_COMPARE(window.server.requestedPaths(), QList<QByteArray>{"/5.9/P2.tar"});
        QCOMPARE(window.events, (QStringList{START, START}));
        QCOMPARE(window.tools.callLines(), QStringList());
        QCOMPARE(window.filesIn("patches"), QStringList());
    }

    void nothingHappensWithoutApplyAndDryRun()
    {
        DownloadWindow window(WindowLogic::quietOptions("file:///nowhere/"));
        window.list({"P1.tar"});
        window.logic.applyPatches();
        QCoreApplication::processEvents();
        QCOMPARE(window.events, QStringList());
        QCOMPARE(window.tools.callLines(), QStringList());
    }

    void dryRunShowsItsStepsOnly()
    {
        LocalSource source{PatchPage()};
        source.withFile("P1.tar", "one");
        WindowLogic::CommandLineOptions options = WindowLogic::quietOptions(source.url());
        options.showProposed = true;
        DownloadWindow window(options);
        window.list({"P1.tar"});
        const QStringList before = window.installation.tree();
        window.logic.applyPatches();
        QCOMPARE(window.events, (QStringList{logged(DRY_DOWNLOAD), logged(PAGE), logged(RESTART_NOTICE)}));
        QCoreApplication::processEvents(); // a local file would be read at once
        QCOMPARE(window.events.size(), 3);
        QCOMPARE(window.tools.callLines(), QStringList());
        QCOMPARE(window.installation.tree(), before);
        QCOMPARE(window.logic.getPatchName(), QString(" ")); // the cursor is after the last patch
    }

    void dryRunAloneDecidesOnTheHeading_data()
    {
        const Rows<bool, bool, QString> row("apply", "showProposed", "heading");
        row("neither", false, false, START);
        row("apply", true, false, START);
        row("dry run", false, true, logged(DRY_DOWNLOAD));
        row("both", true, true, logged(DRY_DOWNLOAD));
    }

    void dryRunAloneDecidesOnTheHeading()
    {
        QFETCH(bool, apply);
        QFETCH(bool, showProposed);
        QFETCH(QString, heading);
        LocalSource source{PatchPage()};
        source.withFile("P1.tar", "one");
        WindowLogic::CommandLineOptions options = WindowLogic::quietOptions(source.url());
        options.apply = apply;
        options.showProposed = showProposed;
        DownloadWindow window(options);
        window.list({"P1.tar"});
        window.logic.beginDownload();
        QCOMPARE(window.events, QStringList{heading});
        QCoreApplication::processEvents(); // a local file is read at once
        QCOMPARE(window.events.contains(downloaded("P1.tar")), apply);
    }

    void addressAndFileFollowTheListedName_data()
    {
        // path: of the request; unpacked: empty when the archive is not found under its listed name
        const Rows<QString, QByteArray, QString, QString> row("archive", "path", "file", "unpacked");
        const QString accented = QString::fromUtf8("P\xc3\xa9.tar");
        row("plain", "P1.tar", "/5.9/P1.tar", "P1.tar", "P1.tar");
        row("space is encoded", "P 1.tar", "/5.9/P%201.tar", "P 1.tar", "P 1.tar");
        row("encoded space is kept", "P%201.tar", "/5.9/P%201.tar", "P 1.tar", "");
        row("not ASCII", accented, "/5.9/P%C3%A9.tar", accented, accented);
        row("not ASCII, encoded", "P%C3%A9.tar", "/5.9/P%C3%A9.tar", accented, "");
        row("single percent sign", "P1%.tar", "/5.9/P1%25.tar", "P1%.tar", "P1%.tar");
        row("encoded percent sign", "P%2541.tar", "/5.9/P%2541.tar", "P%41.tar", "");
        const QString replaced = "P" + QString(QChar::ReplacementCharacter) + ".tar";
        row("encoded byte that is no UTF-8", "P%FF.tar", "/5.9/P%FF.tar", replaced, "");
        row("encoded bytes in lower case", "P%c3%a9.tar", "/5.9/P%C3%A9.tar", accented, "");
        row("encoded way out of the directory", "..%2F..%2FP1.tar", "/5.9/..%2F..%2FP1.tar", "P1.tar", "");
        row("encoded letter", "%50%31.tar", "/5.9/P1.tar", "P1.tar", "");
        row("directory part", "sub/P1.tar", "/5.9/sub/P1.tar", "P1.tar", "");
        row("encoded separator", "sub%2FP1.tar", "/5.9/sub%2FP1.tar", "P1.tar", "");
        row("name with a leading separator", "/P1.tar", "/5.9//P1.tar", "P1.tar", "");
        row("query", "P1.tar?v=2", "/5.9/P1.tar?v=2", "P1.tar", "");
        row("query that ends like an archive", "P1.tar?v=2.tar", "/5.9/P1.tar?v=2.tar", "P1.tar", "");
    }

    void addressAndFileFollowTheListedName()
    {
        QFETCH(QString, archive);
        QFETCH(QByteArray, path);
        QFETCH(QString, file);
        QFETCH(QString, unpacked);
        DownloadWindow window;
        window.server.answer(path, Answer::body("text"));
        window.list({archive});
        window.install();
        QCOMPARE(window.server.requestedPaths(), QList<QByteArray>{path});
        const QString lastPart = archive.mid(archive.lastIndexOf('/') + 1);
        QCOMPARE(window.events, runOf({downloaded(file)}, {lastPart}));
        QCOMPARE(window.filesIn("patches"), QStringList{file});
        QStringList calls;
        if (!unpacked.isEmpty()) {
            calls << "bsdtar|-xvPf|/opt/tavrin/5.9/patches/" + unpacked;
        }
        QCOMPARE(window.tools.callLines(), calls << "perl|/opt/tavrin/5.9/bin/ozna_installed_patches");
    }

    void nameThatNoFileCanHaveIsReported_data()
    {
        // path: of the request; target: below the installation
        const Rows<QString, QByteArray, QString, QString> row("archive", "path", "target", "file");
        row("encoded parent directory", "%2E%2E%2F..", "/5.9/..%2F..", "", "..");
        row("encoded separator at the end", "P1.tar%2F", "/5.9/P1.tar%2F", "patches", "patches");
    }

    void nameThatNoFileCanHaveIsReported()
    {
        QFETCH(QString, archive);
        QFETCH(QByteArray, path);
        QFETCH(QString, target);
        QFETCH(QString, file);
        DownloadWindow window;
        window.server.answer(path, Answer::body("text"));
        window.list({archive});
        const QStringList before = window.installation.tree();
        window.install();
        QCOMPARE(window.server.requestedPaths(), QList<QByteArray>{path});
        const QString failure = "fail:Failed to open local patch file, " + window.installation.path(target);
        QCOMPARE(window.events, runOf({failure, downloaded(file)}, {archive}));
        QCOMPARE(window.installation.tree(), before);
    }

    // The system's file names end there, Qt's do not; the file is beside the others all the same.
    void encodedZeroEndsTheNameOfTheFile()
    {
        DownloadWindow window;
        window.server.answer("/5.9/P%001.tar", Answer::body("text"));
        window.list({"P%001.tar"});
        expectWarning("Broken filename passed to function");
        expectWarning("Broken filename passed to function");
        window.install();
        const QString name = QString("P") + QChar(0) + "1.tar";
        const QString failure = "fail:No data downloaded for patch file, /opt/tavrin/5.9/patches/" + name;
        QCOMPARE(window.events, runOf({failure, downloaded(name)}, {"P%001.tar"}));
        QCOMPARE(window.filesIn("patches"), QStringList{"P"});
        QCOMPARE(window.stored("P"), QByteArray("text"));
    }

    void laterDownloadReplacesTheSameFile()
    {
        DownloadWindow window;
        window.offer("a/P1.tar", Answer::body("first on the list, finished last").after("/5.9/b/P1.tar"));
        window.offer("b/P1.tar", Answer::body("second on the list"));
        window.install();
        QCOMPARE(window.events, runOf({downloaded("P1.tar"), downloaded("P1.tar")}, {"P1.tar", "P1.tar"}));
        QCOMPARE(window.filesIn("patches"), QStringList{"P1.tar"});
        QCOMPARE(window.stored("P1.tar"), QByteArray("first on the list, finished last"));
    }

    void olderFileIsReplacedByTheWholeBody_data()
    {
        const Rows<QByteArray> row("body");
        row("shorter", "new");
        QByteArray large;
        for (int i = 0; large.size() < 3000000; ++i) {
            large += QByteArray::number(i) + '\0';
        }
        row("large", large);
    }

    void olderFileIsReplacedByTheWholeBody()
    {
        QFETCH(QByteArray, body);
        DownloadWindow window;
        window.offer("P1.tar", Answer::body(body));
        window.installation.withFile("patches/P1.tar", "older and longer");
        window.install();
        QVERIFY(window.stored("P1.tar") == body);
    }

    void installationHasTheOrderOfTheList()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one").after("/5.9/P2.tar"));
        window.offer("P2.tar", Answer::body("two").after("/5.9/P3.tar"));
        window.offer("P3.tar", Answer::body("three"));
        window.install();
        QCOMPARE(window.events, runOf({downloaded("P3.tar"), downloaded("P2.tar"), downloaded("P1.tar")},
                                      {"P1.tar", "P2.tar", "P3.tar"}));
    }

    void downloadsCanBeStartedAgain()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.list({"P2.tar"});
        window.install();
        QCOMPARE(window.appliedMarks(), QString("YN"));

        window.events.clear();
        window.server.answer("/5.9/P2.tar", Answer::body("two"));
        window.install();
        QCOMPARE(window.events, runOf({downloaded("P2.tar")}, {"P2.tar"}));
        QCOMPARE(window.appliedMarks(), QString("YY"));
        QCOMPARE(window.server.requestedPaths().last(), QByteArray("/5.9/P2.tar"));
        QCOMPARE(window.server.requestedPaths().size(), 3);

        window.events.clear();
        window.logic.applyPatches();
        QCoreApplication::processEvents();
        QCOMPARE(window.events, QStringList{START});
    }

    // The user can press the button again during the downloads.
    void secondQueueDoesNotWaitForTheFirst()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("slow").held());
        window.server.answer("/quick/P1.tar", Answer::body("quick"));
        window.logic.applyPatches();
        QTRY_COMPARE(window.server.requestedPaths(), QList<QByteArray>{"/5.9/P1.tar"});
        QCOMPARE(window.logic.validateCurrentUrl(window.server.url("/quick/")), QString());
        window.install();
        QCOMPARE(window.events, runOf({START, downloaded("P1.tar")}, {"P1.tar"}));
        QCOMPARE(window.stored("P1.tar"), QByteArray("quick"));

        // The download of the first queue is still accepted, and ends a queue of its own.
        window.events.clear();
        window.server.release("/5.9/P1.tar");
        window.waitForEnd();
        QCOMPARE(window.events, QStringList{downloaded("P1.tar")} + installationOf({}));
        QCOMPARE(window.stored("P1.tar"), QByteArray("slow"));
    }

    void patchesOfALocalSourceAreInstalled()
    {
        LocalSource source{PatchPage()};
        source.withFile("P1.tar", "one").withFile("P 2.tar", "two");
        DownloadWindow window(source.url());
        window.list({"P1.tar", "P 2.tar"});
        window.install();
        QCOMPARE(window.events, runOf({downloaded("P1.tar"), downloaded("P 2.tar")}, {"P1.tar", "P 2.tar"}));
        QCOMPARE(window.stored("P1.tar"), QByteArray("one"));
        QCOMPARE(window.stored("P 2.tar"), QByteArray("two"));
        QCOMPARE(contentOf(source.path() + "/P1.tar"), QByteArray("one"));
    }

    void localFilesMayExceedTheLimitOfOpenFiles()
    {
        const int patches = 150;
        LocalSource source{PatchPage()};
        const LowLimitOfOpenFiles limit;
        DownloadWindow window(source.url());
        QStringList expected{START};
        for (int i = 1; i <= patches; ++i) {
            const QString archive = QStringLiteral("P%1.zip").arg(i); // no archive, so no tool is started for it
            source.withFile(archive, "content of " + archive.toUtf8());
            window.list({archive});
            expected << downloaded(archive);
        }
        window.install();
        QCOMPARE(window.events.mid(0, patches + 1), expected);
        QCOMPARE(window.stored("P150.zip"), QByteArray("content of P150.zip"));

        // Programs that are started later inherit the limit, so it must not grow more than needed.
        QCOMPARE(limit.growth(), patches);
    }

    void limitOfOpenFilesGrowsForASingleDownload()
    {
        const LowLimitOfOpenFiles limit;
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one"));
        window.logic.determinePatchesApplied();
        window.install();
        QCOMPARE(limit.growth(), 1);
    }

    void limitOfOpenFilesGrowsOnlyWithTheDownloads()
    {
        const LowLimitOfOpenFiles limit;
        {
            WindowLogic::CommandLineOptions dryRun = WindowLogic::quietOptions();
            dryRun.showProposed = true;
            DownloadWindow window(dryRun);
            window.list({"P1.tar", "P2.tar"});
            window.logic.applyPatches();
            QCOMPARE(limit.growth(), 0);
        }
        DownloadWindow window;
        window.installation.withPatched("P1");
        window.list({"P1.tar"});
        window.offer("P2.tar", Answer::body("two").held());
        window.offer("P3.tar", Answer::body("three").held());
        window.logic.determinePatchesApplied();
        window.logic.applyPatches();
        QCOMPARE(limit.growth(), 2);
        window.logic.applyPatches(); // while the first downloads are in flight
        QCOMPARE(limit.growth(), 4);
        window.server.release("/5.9/P2.tar");
        window.server.release("/5.9/P3.tar");
        window.waitForEnd();
        window.installation.without("patched/P3");
        window.logic.determinePatchesApplied();
        window.install();
        QCOMPARE(limit.growth(), 4); // there is room for this download already
    }

    void overriddenReleaseKeepsItsPage()
    {
        WindowLogic::CommandLineOptions options = WindowLogic::applyOptions("file:///nowhere/");
        options.release = "5.8";
        const FakeInstallation overriding("5.8");
        DownloadWindow window(options);
        window.tools.addTo(overriding.path("bin"), "bsdtar");
        QCOMPARE(window.initialized, QString());
        window.list({"P1.tar"});
        // With an override nothing is requested, so the reply is one that was not requested.
        window.receiveArchive(new PageReply("one", "http://host.test/5.8/P1.tar"));
        QCOMPARE(window.events,
                 (QStringList{downloaded("P1.tar"), INSTALL, installed("P1.tar"), logged(RESTART_NOTICE), "status"}));
        QCOMPARE(contentOf(overriding.path("patches/P1.tar")), QByteArray("one"));
        QCOMPARE(window.tools.callLines(), QStringList{"bsdtar|-xvPf|/opt/tavrin/5.8/patches/P1.tar"});
    }

    void unrequestedReplyEndsOnlyAnEmptyQueue()
    {
        DownloadWindow window;
        window.offer("P1.tar", Answer::body("one").held());
        window.logic.applyPatches();
        window.receiveArchive(new PageReply("other", "http://host.test/5.9/P9.tar"));
        QCOMPARE(window.events, (QStringList{START, downloaded("P9.tar")}));
        QTRY_COMPARE(window.server.requestedPaths().size(), 1);
        window.server.release("/5.9/P1.tar");
        window.waitForEnd();
        QCOMPARE(window.events, runOf({downloaded("P9.tar"), downloaded("P1.tar")}, {"P1.tar"}));

        window.events.clear();
        window.receiveArchive(new PageReply("another", "http://host.test/5.9/P9.tar"));
        QCOMPARE(window.events, QStringList{downloaded("P9.tar")} + installationOf({}));
        QCOMPARE(window.stored("P9.tar"), QByteArray("another"));
    }

    void repliesAreReleased_data()
    {
        const Rows<int, int, QByteArray> row("status", "error", "body");
        row("good", 200, QNetworkReply::NoError, "text");
        row("empty", 200, QNetworkReply::NoError, {});
        row("redirected", 302, QNetworkReply::NoError, {});
        row("failed", 404, QNetworkReply::ContentNotFoundError, {});
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
        window.receiveArchive(reply);
        QVERIFY(!reply.isNull());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(reply.isNull());
    }
};

TAVRIN_TEST_MAIN(TstDownloads)
#include "tst_downloads.moc"
