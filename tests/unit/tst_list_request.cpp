// Requests for the list page in window mode: what is asked for, what each kind of answer leads to, and that only the
// last one requested fills the list. (A terminal run ends its process: see the end-to-end tests.)
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "page_reply.h"
#include "patch_source.h"
#include "tavrin_update_bl.h"
#include "test.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTranslator>

using Logic = TavrinUpdateBusinessLogic;

namespace {

QByteArray pageOf(const QByteArray& name)
{
    return "<ul><!-- new patch --><li><a href='" + name + ".tar'>" + name + " 1 May 2020</a></li><blockquote>Mends " +
           name + "</blockquote></ul>";
}

QStringList namesOf(Logic& logic)
{
    QStringList names;
    while (logic.nextPatch()) {
        names << logic.getPatchName();
    }
    return names;
}

// The addresses of the replies that were released with deleteLater(), in order.
class ReleasedReplies : public QObject
{
public:
    ReleasedReplies()
    {
        QCoreApplication::instance()->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        const auto* reply = qobject_cast<QNetworkReply*>(watched);
        if (reply != nullptr && event->type() == QEvent::DeferredDelete) {
            addresses << reply->url().toString();
        }
        return false;
    }

    QStringList addresses;
};

// Knows one of Qt's own texts.
class QtTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* sourceText, const char*, int) const override
    {
        const bool isKnown = qstrcmp(context, "QHttp") == 0 && qstrcmp(sourceText, "Connection closed") == 0;
        return isKnown ? QStringLiteral("Verbindung beendet") : QString();
    }

    bool isEmpty() const override
    {
        return false;
    }
};

// A business-logic object in window mode with what it signals.
struct Window
{
    explicit Window(const QString& url)
        : logic("tavrin_update")
        , ready(&logic, SIGNAL(patchListReady()))
        , progress(&logic, SIGNAL(appendProgress(QString)))
        , failures(&logic, SIGNAL(processFailed(QString)))
    {
        qputenv("TAVRIN", installation.path().toUtf8());
        Logic::CommandLineOptions options;
        options.terminal = false;
        options.showProposed = false;
        options.url = url;
        initialized = logic.initialize(options);
    }

    void receive(PageReply* reply)
    {
        QVERIFY(QMetaObject::invokeMethod(&logic, "patchListReceived", Q_ARG(QNetworkReply*, reply)));
    }

    FakeInstallation installation;
    Logic logic;
    QSignalSpy ready;
    QSignalSpy progress;
    QSignalSpy failures;
    QString initialized;
};

} // namespace

class TstListRequest : public Test
{
    Q_OBJECT

private slots:
    void redirectStatusIsRecognised_data()
    {
        const Rows<int, bool> row("status", "redirect");
        row("no status", 0, false);
        for (const int status : {200, 204, 300, 304, 306, 309, 400, 404, 500}) {
            row(qPrintable(QString::number(status)), status, false);
        }
        for (const int status : {301, 302, 303, 305, 307, 308}) {
            row(qPrintable(QString::number(status)), status, true);
        }
    }

    void redirectStatusIsRecognised()
    {
        QFETCH(int, status);
        Logic logic("tavrin_update");
        PageReply reply("");
        if (status != 0) {
            reply.setStatus(status);
        }
        QTEST(logic.isHttpRedirect(&reply), "redirect");
    }

    void localSourceIsAskedForItsPage()
    {
        const QTemporaryDir source;
        QFile page(source.filePath("index.html"));
        QVERIFY(page.open(QIODevice::WriteOnly));
        page.write(pageOf("P1"));
        page.close();
        Window window("file://" + source.path());
        QCOMPARE(window.initialized, QString());
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.ready.count(), 1);
        QCOMPARE(namesOf(window.logic), QStringList("P1"));
    }

    void serverIsAskedForTheUrlItself()
    {
        FakePatchServer server;
        server.answer("/5.9/", FakePatchServer::Answer::body(pageOf("P1")));
        Window window(server.url("/5.9/"));
        QCOMPARE(window.initialized, QString());
        window.logic.execute();
        QTRY_COMPARE(window.ready.count(), 1);
        QCOMPARE(namesOf(window.logic), QStringList("P1"));
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(window.failures.count(), 0);
        QCOMPARE(window.progress.count(), 0);
    }

    void listIsComparedWithTheInstallation()
    {
        Window window("file:///nowhere/");
        window.installation.withPatched("P1");
        PageReply reply(pageOf("P1"));
        window.receive(&reply);
        QCOMPARE(window.ready.count(), 1);
        QVERIFY(!window.logic.updatesNeeded());
        QVERIFY(window.logic.nextPatch());
        QVERIFY(window.logic.patchIsInstalled());
        QVERIFY(!window.logic.nextPatch());
    }

    void failedFetchGoesToTheProgressLog()
    {
        FakePatchServer server;
        Window window(server.url("/missing/"));
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.progress.count(), 1);
        const QString url = server.url("/missing/");
        QCOMPARE(window.progress.first().first().toString(), "Failed to read patches from\n" + url +
                                                                 "\nError transferring " + url +
                                                                 " - server replied: As told\n");
        QCOMPARE(window.ready.count(), 0);
        QCOMPARE(window.failures.count(), 0);
    }

    void unknownSchemeGetsTheHint()
    {
        Window window("gopher://host.test/");
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.progress.count(), 1);
        QCOMPARE(window.progress.first().first().toString(),
                 QString("Failed to read patches from\ngopher://host.test/\nProtocol \"gopher\" is unknown\n"
                         "Begin your URL with 'http://' or, for local files, 'file:///'."));
    }

    void redirectIsRefused()
    {
        Window window("file:///nowhere/");
        PageReply reply(pageOf("P1"));
        reply.setStatus(302);
        window.receive(&reply);
        QCOMPARE(window.failures.count(), 1);
        QCOMPARE(window.failures.first().first().toString(), QString("Request was redirected.\n"));
        QCOMPARE(window.ready.count(), 0);
        QCOMPARE(window.logic.getPatchCount(), 0);
    }

    void brokenPageIsReportedAsItIs()
    {
        Window window("file:///nowhere/");
        PageReply reply("<ul><!-- new patch -->");
        window.receive(&reply);
        QCOMPARE(window.failures.count(), 1);
        QCOMPARE(window.failures.first().first().toString(), QString("Premature end of document."));
        QCOMPARE(window.ready.count(), 0);
    }

    void pageCutShortIsAFailedFetch_data()
    {
        const Rows<int, int, bool> row("status", "missing", "failed");
        row("whole", 200, 0, false);
        row("last byte missing", 200, 1, true);
        row("no body at all", 200, int(pageOf("P1").size()), true);
        row("answer without a body of its own", 304, 1, false);
    }

    void pageCutShortIsAFailedFetch()
    {
        QFETCH(int, status);
        QFETCH(int, missing);
        QFETCH(bool, failed);
        const QByteArray page = pageOf("P1") + '\n';
        Window window("file:///nowhere/");
        PageReply reply(page.left(page.size() - missing));
        reply.setStatus(status);
        reply.announceLength(page.size());
        window.receive(&reply);
        QCOMPARE(window.ready.count(), failed ? 0 : 1);
        QCOMPARE(window.progress.count(), failed ? 1 : 0);
        QCOMPARE(window.progress.value(0).value(0).toString(),
                 failed ? QString("Failed to read patches from\nhttp://host.test/5.9/\nConnection closed\n")
                        : QString());
        QCOMPARE(window.failures.count(), 0);
    }

    void pageCutShortIsReportedInQtsTranslation()
    {
        Window window("file:///nowhere/");
        PageReply reply("");
        reply.setStatus(200);
        reply.announceLength(1);
        QtTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        window.receive(&reply);
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QCOMPARE(window.progress.value(0).value(0).toString(),
                 QString("Failed to read patches from\nhttp://host.test/5.9/\nVerbindung beendet\n"));
    }

    void onlyTheLastRequestFillsTheList()
    {
        FakePatchServer server;
        server.answer("/slow/", FakePatchServer::Answer::body(pageOf("Slow")).held());
        server.answer("/fast/", FakePatchServer::Answer::body(pageOf("Fast")));
        Window window(server.url("/slow/"));
        window.logic.requestUpdatesList();
        QTRY_COMPARE(server.requestedPaths().value(0), QByteArray("/slow/"));
        const ReleasedReplies released;
        QCOMPARE(window.logic.setUrl(server.url("/fast/")), QString());
        QTRY_COMPARE(window.ready.count(), 1);
        QTRY_COMPARE(released.addresses, QStringList{server.url("/fast/")});
        QCOMPARE(namesOf(window.logic), QStringList("Fast"));

        server.release("/slow/");
        QTRY_COMPARE(released.addresses, (QStringList{server.url("/fast/"), server.url("/slow/")}));
        QCOMPARE(window.logic.setUrl(server.url("/fast/")), QString());
        QTRY_COMPARE(window.ready.count(), 2);
        QCOMPARE(namesOf(window.logic), QStringList("Fast"));
        QCOMPARE(window.failures.count(), 0);
        QCOMPARE(window.progress.count(), 0);
    }

    void supersededFileReplyIsReleasedUnread()
    {
        const QTemporaryDir source;
        for (const QByteArray name : {"one", "two"}) {
            QVERIFY(QDir(source.path()).mkdir(name));
            QFile page(source.path() + '/' + name + "/index.html");
            QVERIFY(page.open(QIODevice::WriteOnly));
            page.write(pageOf(name));
        }
        Window window("file://" + source.path() + "/one");
        const ReleasedReplies released;
        window.logic.requestUpdatesList();
        QCOMPARE(window.logic.setUrl("file://" + source.path() + "/two"), QString());
        QTRY_COMPARE(window.ready.count(), 1);
        QCOMPARE(namesOf(window.logic), QStringList("two"));
        const QString address = "file://" + source.path();
        QTRY_COMPARE(released.addresses, (QStringList{address + "/one/index.html", address + "/two/index.html"}));
        QCOMPARE(window.ready.count(), 1);
        QCOMPARE(namesOf(window.logic), QStringList("two"));
    }

    void replyFromElsewhereIsHandled()
    {
        FakePatchServer server;
        server.answer("/slow/", FakePatchServer::Answer::body(pageOf("Slow")).held());
        Window window(server.url("/slow/"));
        window.logic.requestUpdatesList();
        PageReply reply(pageOf("Other"));
        window.receive(&reply);
        QCOMPARE(window.ready.count(), 1);
        QCOMPARE(namesOf(window.logic), QStringList("Other"));
    }

    void successfulReplyIsReleased()
    {
        Window window("file:///nowhere/");
        const QPointer<PageReply> reply = new PageReply(pageOf("P1"));
        window.receive(reply);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(reply.isNull());
    }

    void failedReplyIsKept()
    {
        Window window("file:///nowhere/");
        PageReply* const reply = new PageReply("");
        const QPointer<PageReply> watched = reply;
        reply->fail(QNetworkReply::HostNotFoundError, "Host is away");
        window.receive(reply);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!watched.isNull());
        delete reply;
        QCOMPARE(window.progress.first().first().toString(),
                 QString("Failed to read patches from\nhttp://host.test/5.9/\nHost is away\n"));
    }

    void fileUrlWithAHostIsAnsweredOnce()
    {
        Window window("file://elsewhere/");
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.progress.count(), 1);
        QCOMPARE(window.progress.first().first().toString(),
                 QString("Failed to read patches from\nfile://elsewhere/index.html\n"
                         "Request for opening non-local file file://elsewhere/index.html\n"));
        QTest::qWait(20); // a second answer would be queued already
        QCOMPARE(window.progress.count(), 1);
    }

    void missingLocalPageIsReportedOnce()
    {
        Window window("file:///nowhere/");
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.progress.count(), 1);
        QTest::qWait(20); // a second answer would be queued already
        QCOMPARE(window.progress.count(), 1);
        QCOMPARE(window.progress.first().first().toString(),
                 QString("Failed to read patches from\nfile:///nowhere/index.html\n"
                         "Error opening /nowhere/index.html: No such file or directory\n"));
    }
};

TAVRIN_TEST_MAIN(TstListRequest)
#include "tst_list_request.moc"
