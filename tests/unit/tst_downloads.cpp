// The queue in window mode, where every failure is reported and the run carries on: which requests go out, what each
// outcome of a download leads to, step by step, and the install sequence after the last one. The archive tool, the
// decompressor and perl are recorders here; the tool leaves the mark that an archive of the maker's would bring.
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "message_guard.h"
#include "page_reply.h"
#include "tavrin_update_bl.h"
#include "test_main.h"

#include <QPointer>
#include <QTest>

#include <algorithm>
#include <memory>

using Logic = TavrinUpdateBusinessLogic;
using Answer = FakePatchServer::Answer;

Q_DECLARE_METATYPE(FakePatchServer::Answer)

namespace {

QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "cannot read " + fileName.toUtf8();
}

Logic::CommandLineOptions optionsFor(const QString& url)
{
    Logic::CommandLineOptions options;
    options.apply = true;
    options.showProposed = false;
    options.terminal = false;
    options.verbose = false;
    options.url = url;
    return options;
}

// A business-logic object in window mode on an installation with recorders for its tools, and what it signals, in
// order: "log:" and "fail:" with their texts, and "status".
struct Window
{
    explicit Window(const QString& url) : Window(optionsFor(url))
    {
    }

    explicit Window(const Logic::CommandLineOptions& options) : otherInstallation("5.8"), logic("tavrin_update")
    {
        FakeTool archiver;
        archiver.script = "name=${2##*/}; : >\"" + installation.path("patched").toUtf8() + "/${name%%.*}\"";
        tools.addTo(installation.path("bin"), "bsdtar", archiver);
        tools.addTo(otherInstallation.path("bin"), "bsdtar");
        tools.add("gunzip");
        tools.add("perl");
        qputenv("PATH", tools.pathDirectory().toUtf8() + ':' + qgetenv("PATH"));
        QObject::connect(&logic, &Logic::appendProgress, [this](const QString& text) { events << "log:" + text; });
        QObject::connect(&logic, &Logic::processFailed, [this](const QString& text) { events << "fail:" + text; });
        QObject::connect(&logic, &Logic::updatePatchStatus, [this] { events << "status"; });
        qputenv("TAVRIN", installation.path().toUtf8());
        initialized = logic.initialize(options);
    }

    // Puts a patch on the list; its name is what stands before the first dot of the archive's name.
    void list(const QString& archive)
    {
        const QString name = QFileInfo(archive).baseName();
        logic.addPatchToList(name, name + " 1 May 2020", false, archive, "Mends " + name);
    }

    void receive(QNetworkReply* reply)
    {
        QVERIFY(QMetaObject::invokeMethod(&logic, "downloadComplete", Q_ARG(QNetworkReply*, reply)));
    }

    QString appliedMarks()
    {
        QString marks;
        while (logic.nextPatch()) {
            marks += logic.patchIsInstalled() ? 'Y' : 'N';
        }
        return marks;
    }

    QStringList filesIn(const QString& directory) const
    {
        return QDir(installation.path(directory)).entryList(QDir::Files, QDir::Name);
    }

    QStringList calls() const
    {
        QStringList lines;
        const QList<FakeToolCall> recorded = tools.calls();
        for (const FakeToolCall& call : recorded) {
            lines << call.tool + ' ' + QString::fromUtf8(call.arguments.last());
        }
        return lines;
    }

    FakeInstallation installation;
    FakeInstallation otherInstallation;
    FakeTools tools;
    Logic logic;
    QStringList events;
    QString initialized;
};

const QString START = QStringLiteral("log:Download patch files ...");
const QString APPLY = QStringLiteral("log:\nApply patches to Tavrin installation ...\n");

QString downloaded(const QString& name)
{
    return "log:Downloaded " + name;
}

QString installed(const QString& name)
{
    return "log: ** installed " + name + '\n';
}

const QStringList FINISH{QStringLiteral("log:\nUpdate applied_patches.html ..."),
                         QStringLiteral("log:applied_patches.html updated"),
                         QStringLiteral("log:\nYou may restart systems now"), QStringLiteral("status")};

} // namespace

class TstDownloads : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void missingPatchesAreInstalled();
    void requestsGoOutAtOnce();
    void nothingHappensWhenEverythingIsApplied();
    void nothingHappensWithoutLeaveToDoAnything();
    void dryRunShowsItsStepsOnly();
    void addressIsTheUrlWithTheNameBehindIt_data();
    void addressIsTheUrlWithTheNameBehindIt();
    void fileIsStoredUnderTheDecodedLastPart_data();
    void fileIsStoredUnderTheDecodedLastPart();
    void laterDownloadOfTheSameFileStays();
    void olderFileIsReplaced();
    void largeBodyIsStoredWhole();
    void installationFollowsTheListNotTheDownloads();

    void failedDownloadIsReported_data();
    void failedDownloadIsReported();
    void failedLastDownloadStillStartsTheInstallation();
    void failedFirstDownloadLeavesTheOthersGoing();
    void redirectIsRefused();
    void downloadsGoToTheInstallationWithoutAPatchesDirectory();
    void unopenedFileIsReportedAndStillDownloaded();
    void unwritableDirectoryIsReportedTwice();
    void emptyBodyIsReportedAndStillDownloaded();
    void unpackFailureStillMarksThePatch();
    void decompressedFileIsTheOneInstalled();
    void unmatchedArchiveIsAnInternalError();
    void pageFailureDoesNotStopTheRest();
    void stateIsReadAfreshAtTheEnd();

    void downloadsCanBeStartedAgain();
    void localSourceIsReadTheSameWay();
    void missingLocalFileIsReported();
    void fileUrlWithAHostIsReportedOnce();
    void overriddenReleaseKeepsItsPage();
    void repliesFromElsewhereCountOnlyWhenNoneIsOut();
    void bodyCutShortIsAFailedDownload();
    void repliesAreReleased_data();
    void repliesAreReleased();

private:
    std::unique_ptr<MessageGuard> guard;
    QByteArray searchPath;
};

void TstDownloads::init()
{
    guard = std::make_unique<MessageGuard>();
    searchPath = qgetenv("PATH");
}

void TstDownloads::cleanup()
{
    qputenv("PATH", searchPath);
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstDownloads::missingPatchesAreInstalled()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    server.answer("/5.9/P3.tar", Answer::body("three").after("/5.9/P1.tar"));
    Window window(server.url("/5.9"));
    QCOMPARE(window.initialized, QString());
    window.installation.withPatched("P2");
    for (const char* archive : {"P1.tar", "P2.tar", "P3.tar"}) {
        window.list(archive);
    }
    window.logic.determinePatchesApplied();
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), downloaded("P3.tar"), APPLY, installed("P1.tar"),
                                         installed("P3.tar")} +
                             FINISH));
    QCOMPARE(server.requestedPaths().size(), 2);
    QCOMPARE(server.requests().first().method, QByteArray("GET"));
    QCOMPARE(window.calls(),
             (QStringList{"bsdtar /opt/tavrin/5.9/patches/P1.tar", "bsdtar /opt/tavrin/5.9/patches/P3.tar",
                          "perl /opt/tavrin/5.9/bin/ozna_installed_patches"}));
    QCOMPARE(window.filesIn("patches"), (QStringList{"P1.tar", "P3.tar"}));
    QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("one"));
    QCOMPARE(contentOf(window.installation.path("patches/P3.tar")), QByteArray("three"));
    QCOMPARE(window.appliedMarks(), QString("YYY"));
    QVERIFY(!window.logic.updatesNeeded());
}

void TstDownloads::requestsGoOutAtOnce()
{
    FakePatchServer server;
    Window window(server.url("/5.9/"));
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

void TstDownloads::nothingHappensWhenEverythingIsApplied()
{
    FakePatchServer server;
    Window window(server.url("/5.9/"));
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
    QCOMPARE(window.calls(), QStringList());
    QCOMPARE(window.filesIn("patches"), QStringList());
}

void TstDownloads::nothingHappensWithoutLeaveToDoAnything()
{
    Logic::CommandLineOptions options = optionsFor("file:///nowhere/");
    options.apply = false;
    Window window(options);
    window.list("P1.tar");
    window.logic.applyPatches();
    QCoreApplication::processEvents();
    QCOMPARE(window.events, QStringList());
    QCOMPARE(window.calls(), QStringList());
}

void TstDownloads::dryRunShowsItsStepsOnly()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    Logic::CommandLineOptions options = optionsFor(server.url("/5.9/"));
    options.apply = false;
    options.showProposed = true;
    Window window(options);
    window.list("P1.tar");
    const QStringList before = window.installation.tree();
    window.logic.applyPatches();
    QCOMPARE(window.events,
             (QStringList{"log:Download and install patch files ...", "log:\nUpdate applied_patches.html ...",
                          "log:\nYou may restart systems now"}));
    QCoreApplication::processEvents();
    QCOMPARE(server.requestedPaths(), QList<QByteArray>());
    QCOMPARE(window.events.size(), 3);
    QCOMPARE(window.calls(), QStringList());
    QCOMPARE(window.installation.tree(), before);
    QCOMPARE(window.logic.getPatchName(), QString(" ")); // the walk ran to its end
}

void TstDownloads::addressIsTheUrlWithTheNameBehindIt_data()
{
    QTest::addColumn<QString>("archive");
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("name") << "P1.tar" << QByteArray("/5.9/P1.tar");
    QTest::newRow("directory part") << "sub/P1.tar" << QByteArray("/5.9/sub/P1.tar");
    QTest::newRow("blank is encoded") << "P 1.tar" << QByteArray("/5.9/P%201.tar");
    QTest::newRow("encoded stays") << "P%201.tar" << QByteArray("/5.9/P%201.tar");
    QTest::newRow("lone percent sign") << "P1%.tar" << QByteArray("/5.9/P1%25.tar");
    QTest::newRow("beyond ASCII") << QString::fromUtf8("P\xc3\xa9.tar") << QByteArray("/5.9/P%C3%A9.tar");
    QTest::newRow("query") << "P1.tar?v=2" << QByteArray("/5.9/P1.tar?v=2");
    QTest::newRow("no separator is added for a rooted name") << "/P1.tar" << QByteArray("/5.9//P1.tar");
}

void TstDownloads::addressIsTheUrlWithTheNameBehindIt()
{
    QFETCH(QString, archive);
    QFETCH(QByteArray, path);
    FakePatchServer server;
    server.answer(path, Answer::body("text"));
    Window window(server.url("/5.9/"));
    window.list(archive);
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{path});
    QCOMPARE(window.events.filter("fail:"), QStringList());
}

void TstDownloads::fileIsStoredUnderTheDecodedLastPart_data()
{
    QTest::addColumn<QString>("archive");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("unpacked"); // empty when the archive is not found under its listed name
    QTest::newRow("plain") << "P1.tar"
                           << "P1.tar"
                           << "P1.tar";
    QTest::newRow("blank") << "P 1.tar"
                           << "P 1.tar"
                           << "P 1.tar";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("P\xc3\xa9.tar") << QString::fromUtf8("P\xc3\xa9.tar")
                                  << QString::fromUtf8("P\xc3\xa9.tar");
    QTest::newRow("encoded blank is looked for as listed") << "P%201.tar"
                                                           << "P 1.tar"
                                                           << "";
    QTest::newRow("encoded beyond ASCII") << "P%C3%A9.tar" << QString::fromUtf8("P\xc3\xa9.tar") << "";
    QTest::newRow("encoded percent sign") << "P%2541.tar"
                                          << "P%41.tar"
                                          << "";
    QTest::newRow("encoded separator") << "sub%2FP1.tar"
                                       << "P1.tar"
                                       << "";
    QTest::newRow("directory part is looked for as listed") << "sub/P1.tar"
                                                            << "P1.tar"
                                                            << "";
    QTest::newRow("query is no part of the path") << "P1.tar?v=2.tar"
                                                  << "P1.tar"
                                                  << "";
}

void TstDownloads::fileIsStoredUnderTheDecodedLastPart()
{
    QFETCH(QString, archive);
    QFETCH(QString, file);
    QFETCH(QString, unpacked);
    FakePatchServer server;
    server.answer(QUrl(server.url("/5.9/") + archive).toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority),
                  Answer::body("text"));
    Window window(server.url("/5.9/"));
    window.list(archive);
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    const QString lastPart = archive.mid(archive.lastIndexOf('/') + 1);
    QCOMPARE(window.events, (QStringList{START, downloaded(file), APPLY, installed(lastPart)} + FINISH));
    QCOMPARE(window.filesIn("patches"), QStringList{file});
    QStringList calls;
    if (!unpacked.isEmpty()) {
        calls << "bsdtar /opt/tavrin/5.9/patches/" + unpacked;
    }
    QCOMPARE(window.calls(), calls << "perl /opt/tavrin/5.9/bin/ozna_installed_patches");
}

void TstDownloads::laterDownloadOfTheSameFileStays()
{
    FakePatchServer server;
    server.answer("/5.9/a/P1.tar", Answer::body("first on the list, finished last").after("/5.9/b/P1.tar"));
    server.answer("/5.9/b/P1.tar", Answer::body("second on the list"));
    Window window(server.url("/5.9/"));
    window.list("a/P1.tar");
    window.list("b/P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), downloaded("P1.tar"), APPLY, installed("P1.tar"),
                                         installed("P1.tar")} +
                             FINISH));
    QCOMPARE(window.filesIn("patches"), QStringList{"P1.tar"});
    QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("first on the list, finished last"));
}

void TstDownloads::olderFileIsReplaced()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("new"));
    Window window(server.url("/5.9/"));
    window.installation.withFile("patches/P1.tar", "older and longer");
    window.list("P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("new"));
}

void TstDownloads::largeBodyIsStoredWhole()
{
    QByteArray body;
    for (int i = 0; body.size() < 3000000; ++i) {
        body += QByteArray::number(i) + '\0';
    }
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body(body));
    Window window(server.url("/5.9/"));
    window.list("P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QVERIFY(contentOf(window.installation.path("patches/P1.tar")) == body);
}

void TstDownloads::installationFollowsTheListNotTheDownloads()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one").after("/5.9/P2.tar"));
    server.answer("/5.9/P2.tar", Answer::body("two").after("/5.9/P3.tar"));
    server.answer("/5.9/P3.tar", Answer::body("three"));
    Window window(server.url("/5.9/"));
    for (const char* archive : {"P1.tar", "P2.tar", "P3.tar"}) {
        window.list(archive);
    }
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events, (QStringList{START, downloaded("P3.tar"), downloaded("P2.tar"), downloaded("P1.tar"), APPLY,
                                         installed("P1.tar"), installed("P2.tar"), installed("P3.tar")} +
                             FINISH));
}

void TstDownloads::failedDownloadIsReported_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QString>("reason"); // %1 is the address as Qt shows it
    QTest::newRow("not found") << Answer::status(404, "no") << "Error transferring %1 - server replied: As told";
    QTest::newRow("forbidden") << Answer::status(403, "no") << "Error transferring %1 - server replied: As told";
    QTest::newRow("server error") << Answer::status(500) << "Error transferring %1 - server replied: As told";
    QTest::newRow("hangs up at once") << Answer::hangUp() << "Connection closed";
    QTest::newRow("stops in the middle") << Answer::body("a body of some length").cutAfter(6) << "Connection closed";
    QTest::newRow("stops before the body") << Answer::body("a body of some length").cutAfter(0) << "Connection closed";
}

void TstDownloads::failedDownloadIsReported()
{
    QFETCH(Answer, answer);
    QFETCH(QString, reason);
    FakePatchServer server;
    server.answer("/5.9/P%20%C3%A9.tar", answer);
    Window window(server.url("/5.9/"));
    window.list(QString::fromUtf8("P \xc3\xa9.tar"));
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    // Qt's reason shows the address to be read, the message itself as it was asked for.
    reason.replace("%1", server.url(QString::fromUtf8("/5.9/P \xc3\xa9.tar")));
    const QString failure = "fail:Download of " + server.url("/5.9/P%20%C3%A9.tar") + " failed: " + reason + '\n';
    QCOMPARE(window.events,
             (QStringList{START, failure, APPLY, installed(QString::fromUtf8("P \xc3\xa9.tar"))} + FINISH));
    QCOMPARE(window.filesIn("patches"), QStringList());
    QCOMPARE(window.calls(), QStringList{"perl /opt/tavrin/5.9/bin/ozna_installed_patches"});
    QCOMPARE(window.appliedMarks(), QString("N")); // there is no mark in the installation
}

void TstDownloads::failedLastDownloadStillStartsTheInstallation()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    server.answer("/5.9/P2.tar", Answer::status(404).after("/5.9/P1.tar"));
    Window window(server.url("/5.9/"));
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

void TstDownloads::failedFirstDownloadLeavesTheOthersGoing()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::redirect(302, "/5.9/P2.tar"));
    server.answer("/5.9/P2.tar", Answer::body("two").held());
    Window window(server.url("/5.9/"));
    window.list("P1.tar");
    window.list("P2.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events, (QStringList{START, "fail:Download request was redirected.\n"}));
    QTRY_COMPARE(server.requestedPaths().size(), 2);
    server.release("/5.9/P2.tar");
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events, (QStringList{START, "fail:Download request was redirected.\n", downloaded("P2.tar"), APPLY,
                                         installed("P1.tar"), installed("P2.tar")} +
                             FINISH));
}

void TstDownloads::redirectIsRefused()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::redirect(301, "/elsewhere/P1.tar"));
    server.answer("/elsewhere/P1.tar", Answer::body("text"));
    Window window(server.url("/5.9/"));
    window.list("P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events,
             (QStringList{START, "fail:Download request was redirected.\n", APPLY, installed("P1.tar")} + FINISH));
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/P1.tar"});
    QCOMPARE(window.filesIn("patches"), QStringList());
}

void TstDownloads::downloadsGoToTheInstallationWithoutAPatchesDirectory()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    Window window(server.url("/5.9/"));
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
    QCOMPARE(window.calls().first(), QString("bsdtar /opt/tavrin/5.9/P1.tar"));
}

void TstDownloads::unopenedFileIsReportedAndStillDownloaded()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("new"));
    Window window(server.url("/5.9/"));
    window.installation.withFile("patches/P1.tar", "older").withMode("patches/P1.tar", 0444);
    window.list("P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    // The older file has a size, so nobody misses the data.
    QCOMPARE(window.events, (QStringList{START, "fail:Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar",
                                         downloaded("P1.tar"), APPLY, installed("P1.tar")} +
                             FINISH));
    QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("older"));
}

void TstDownloads::unwritableDirectoryIsReportedTwice()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("new"));
    Window window(server.url("/5.9/"));
    window.installation.withMode("patches", 0555);
    window.list("P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events, (QStringList{START, "fail:Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar",
                                         "fail:No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar",
                                         downloaded("P1.tar"), APPLY, installed("P1.tar")} +
                             FINISH));
    QCOMPARE(window.filesIn("patches"), QStringList());
}

void TstDownloads::emptyBodyIsReportedAndStillDownloaded()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body(""));
    Window window(server.url("/5.9/"));
    window.list("P1.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events,
             (QStringList{START, "fail:No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar",
                          downloaded("P1.tar"), APPLY, installed("P1.tar")} +
              FINISH));
    QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray());
}

void TstDownloads::unpackFailureStillMarksThePatch()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    server.answer("/5.9/P2.tar", Answer::body("two").after("/5.9/P1.tar"));
    Window window(server.url("/5.9/"));
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

void TstDownloads::decompressedFileIsTheOneInstalled()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar.gz", Answer::body("one"));
    Window window(server.url("/5.9/"));
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

void TstDownloads::unmatchedArchiveIsAnInternalError()
{
    FakePatchServer server;
    server.answer("/5.9/update.tar", Answer::body("one"));
    Window window(server.url("/5.9/"));
    window.logic.addPatchToList("P1", "P1 1 May 2020", false, "update.tar", "d");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events,
             (QStringList{START, downloaded("update.tar"), APPLY,
                          "log:Internal error: Failed to mark update update.tar applied.", installed("update.tar")} +
              FINISH));
}

void TstDownloads::pageFailureDoesNotStopTheRest()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    Window window(server.url("/5.9/"));
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

void TstDownloads::stateIsReadAfreshAtTheEnd()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    Window window(server.url("/5.9/"));
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

void TstDownloads::downloadsCanBeStartedAgain()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one"));
    Window window(server.url("/5.9/"));
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

void TstDownloads::localSourceIsReadTheSameWay()
{
    const QTemporaryDir source;
    writeTestFile(source.filePath("P1.tar"), "one");
    writeTestFile(source.filePath("P 2.tar"), "two");
    Window window("file://" + source.path());
    window.list("P1.tar");
    window.list("P 2.tar");
    window.logic.applyPatches();
    QTRY_COMPARE(window.events.value(window.events.size() - 1), QString("status"));
    QCOMPARE(window.events, (QStringList{START, downloaded("P1.tar"), downloaded("P 2.tar"), APPLY, installed("P1.tar"),
                                         installed("P 2.tar")} +
                             FINISH));
    QCOMPARE(contentOf(window.installation.path("patches/P1.tar")), QByteArray("one"));
    QCOMPARE(contentOf(window.installation.path("patches/P 2.tar")), QByteArray("two"));
    QCOMPARE(contentOf(source.filePath("P1.tar")), QByteArray("one"));
}

void TstDownloads::missingLocalFileIsReported()
{
    const QTemporaryDir source;
    Window window("file://" + source.path());
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

void TstDownloads::fileUrlWithAHostIsReportedOnce()
{
    Window window("file://elsewhere/");
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

void TstDownloads::overriddenReleaseKeepsItsPage()
{
    Logic::CommandLineOptions options = optionsFor("file:///nowhere/");
    options.release = "5.8";
    Window window(options);
    QCOMPARE(window.initialized, QString());
    window.list("P1.tar");
    // An override forbids to apply, so a reply can only come from elsewhere.
    window.receive(new PageReply("one", "http://host.test/5.8/P1.tar"));
    QCOMPARE(window.events, (QStringList{downloaded("P1.tar"), APPLY, installed("P1.tar"),
                                         "log:\nYou may restart systems now", "status"}));
    QCOMPARE(contentOf(window.otherInstallation.path("patches/P1.tar")), QByteArray("one"));
    QCOMPARE(window.calls(), QStringList{"bsdtar /opt/tavrin/5.8/patches/P1.tar"});
}

void TstDownloads::repliesFromElsewhereCountOnlyWhenNoneIsOut()
{
    FakePatchServer server;
    server.answer("/5.9/P1.tar", Answer::body("one").held());
    Window window(server.url("/5.9/"));
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

void TstDownloads::bodyCutShortIsAFailedDownload()
{
    Window window("file:///nowhere/");
    auto* reply = new PageReply("on", "http://host.test/5.9/P1.tar");
    reply->setStatus(200);
    reply->announceLength(3);
    window.receive(reply);
    const QString failure = "fail:Download of http://host.test/5.9/P1.tar failed: Connection closed\n";
    QCOMPARE(window.events, QStringList{failure} + QStringList{APPLY} + FINISH);
    QVERIFY(!QFileInfo::exists(window.installation.path("patches/P1.tar")));
}

void TstDownloads::repliesAreReleased_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("error");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("good") << 200 << int(QNetworkReply::NoError) << QByteArray("text");
    QTest::newRow("empty") << 200 << int(QNetworkReply::NoError) << QByteArray();
    QTest::newRow("redirected") << 302 << int(QNetworkReply::NoError) << QByteArray();
    QTest::newRow("failed") << 404 << int(QNetworkReply::ContentNotFoundError) << QByteArray();
}

void TstDownloads::repliesAreReleased()
{
    QFETCH(int, status);
    QFETCH(int, error);
    QFETCH(QByteArray, body);
    Window window("file:///nowhere/");
    const QPointer<PageReply> reply = new PageReply(body, "http://host.test/5.9/P1.tar");
    reply->setStatus(status);
    reply->fail(static_cast<QNetworkReply::NetworkError>(error), "text");
    window.receive(reply);
    QVERIFY(!reply.isNull());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QVERIFY(reply.isNull());
}

TAVRIN_TEST_MAIN(TstDownloads)
#include "tst_downloads.moc"
