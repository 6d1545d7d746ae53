// Requests for the list page in window mode: what is requested, what happens on each kind of answer, and that only the
// answer to the last request fills the list. (A terminal run ends its process: see the end-to-end tests.)
#include "fake_patch_server.h"
#include "page_reply.h"
#include "recording_translator.h"
#include "test.h"
#include "window_logic.h"

#include <QTimer>

using Answer = FakePatchServer::Answer;

namespace {

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

// A window run that requests the list of patches.
struct ListWindow : WindowLogic
{
    explicit ListWindow(const QString& url = "file:///nowhere/") : WindowLogic(quietOptions(url))
    {
    }

    QStringList names()
    {
        QStringList list;
        while (logic.nextPatch()) {
            list << logic.getPatchName();
        }
        return list;
    }
};

const QString ADDRESS_OF_REPLY = "http://host.test/5.9/";

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
        TavrinUpdateBusinessLogic logic("tavrin_update");
        PageReply reply("");
        if (status != 0) {
            reply.setStatus(status);
        }
        QTEST(logic.isHttpRedirect(&reply), "redirect");
    }

    void pageOfALocalSourceIsRequested()
    {
        const LocalSource source(pageOf({"P1"}));
        ListWindow window("file://" + source.path());
        QCOMPARE(window.initialized, QString());
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.events, QStringList{"ready"});
        QCOMPARE(window.names(), QStringList{"P1"});
    }

    void urlItselfIsRequestedFromAServer()
    {
        FakePatchServer server;
        server.answer("/5.9/", Answer::body(pageOf({"P1"}).html()));
        ListWindow window(server.url("/5.9/"));
        QCOMPARE(window.initialized, QString());
        window.logic.execute();
        QTRY_COMPARE(window.events, QStringList{"ready"});
        QCOMPARE(window.names(), QStringList{"P1"});
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
    }

    void listIsComparedWithTheInstallation()
    {
        ListWindow window;
        window.installation.withPatched("P1");
        PageReply reply(pageOf({"P1"}).html());
        window.receivePage(&reply);
        QCOMPARE(window.events, QStringList{"ready"});
        QVERIFY(!window.logic.updatesNeeded());
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void failedFetchGoesToTheProgressLog()
    {
        FakePatchServer server;
        const QString url = server.url("/missing/");
        ListWindow window(url);
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.events,
                     QStringList{unreadList(url, "Error transferring " + url + " - server replied: As told\n")});
    }

    void unknownSchemeGetsTheHint()
    {
        ListWindow window("gopher://host.test/");
        window.logic.requestUpdatesList();
        const QString hint = "Begin your URL with 'http://' or, for local files, 'file:///'.";
        QTRY_COMPARE(window.events,
                     QStringList{unreadList("gopher://host.test/", "Protocol \"gopher\" is unknown\n" + hint)});
    }

    void answerIsReadOrReported_data()
    {
        // length: announced by the server; the last byte of a page is a line break after its markup
        const Rows<QByteArray, int, int, QString> row("body", "status", "length", "event");
        const QByteArray page = pageOf({"P1"}).html();
        const int length = page.size();
        const QString failure = unreadList(ADDRESS_OF_REPLY, "Connection closed\n");
        row("whole page", page, 200, length, "ready");
        row("last byte missing", page.chopped(1), 200, length, failure);
        row("no body", {}, 200, length, failure);
        row("status without a body", page.chopped(1), 304, length, "ready");
        row("redirect", page, 302, length, "fail:Request was redirected.\n");
        row("broken page", "<ul><!-- new patch -->", 200, 22, "fail:Premature end of document.");
    }

    void answerIsReadOrReported()
    {
        QFETCH(QByteArray, body);
        QFETCH(int, status);
        QFETCH(int, length);
        QFETCH(QString, event);
        ListWindow window;
        PageReply reply(body);
        reply.setStatus(status);
        reply.announceLength(length);
        window.receivePage(&reply);
        QCOMPARE(window.events, QStringList{event});
        QCOMPARE(window.logic.getPatchCount(), event == "ready" ? 1 : 0);
    }

    void truncatedPageIsReportedInQtsTranslation()
    {
        ListWindow window;
        PageReply reply("");
        reply.setStatus(200);
        reply.announceLength(1);
        const RecordingTranslator::Answer answer = [](const QString& context, const QString& text) {
            return context == "QHttp" && text == "Connection closed" ? QString("Verbindung beendet") : QString();
        };
        RecordingTranslator translator(answer);
        QVERIFY(QCoreApplication::installTranslator(&translator));
        window.receivePage(&reply);
        QCOMPARE(window.events, QStringList{unreadList(ADDRESS_OF_REPLY, "Verbindung beendet\n")});
    }

    void onlyTheLastRequestFillsTheList()
    {
        FakePatchServer server;
        server.answer("/slow/", Answer::body(pageOf({"Slow"}).html()).held());
        server.answer("/fast/", Answer::body(pageOf({"Fast"}).html()));
        ListWindow window(server.url("/slow/"));
        window.logic.requestUpdatesList();
        QTRY_COMPARE(server.requestedPaths().value(0), QByteArray("/slow/"));
        const ReleasedReplies released;
        QCOMPARE(window.logic.setUrl(server.url("/fast/")), QString());
        QTRY_COMPARE(window.events, QStringList{"ready"});
        QTRY_COMPARE(released.addresses, QStringList{server.url("/fast/")});
        QCOMPARE(window.names(), QStringList{"Fast"});

        server.release("/slow/");
        QTRY_COMPARE(released.addresses, (QStringList{server.url("/fast/"), server.url("/slow/")}));
        QCOMPARE(window.logic.setUrl(server.url("/fast/")), QString());
        QTRY_COMPARE(window.events, (QStringList{"ready", "ready"}));
        QCOMPARE(window.names(), QStringList{"Fast"});
    }

    void supersededFileReplyIsReleasedUnread()
    {
        const LocalSource first(pageOf({"one"}));
        const LocalSource second(pageOf({"two"}));
        ListWindow window(first.url());
        const ReleasedReplies released;
        window.logic.requestUpdatesList();
        QCOMPARE(window.logic.setUrl(second.url()), QString());
        QTRY_COMPARE(window.events, QStringList{"ready"});
        QCOMPARE(window.names(), QStringList{"two"});
        QTRY_COMPARE(released.addresses, (QStringList{first.url() + "index.html", second.url() + "index.html"}));
        QCOMPARE(window.events, QStringList{"ready"});
        QCOMPARE(window.names(), QStringList{"two"});
    }

    void unrequestedReplyIsHandled()
    {
        FakePatchServer server;
        server.answer("/slow/", Answer::body(pageOf({"Slow"}).html()).held());
        ListWindow window(server.url("/slow/"));
        window.logic.requestUpdatesList();
        PageReply reply(pageOf({"Other"}).html());
        window.receivePage(&reply);
        QCOMPARE(window.events, QStringList{"ready"});
        QCOMPARE(window.names(), QStringList{"Other"});
    }

    void handledReplyIsReleased_data()
    {
        const Rows<int> row("status");
        row("page", 200);
        row("redirect", 302);
    }

    void handledReplyIsReleased()
    {
        QFETCH(int, status);
        ListWindow window;
        const QPointer<PageReply> reply = new PageReply(pageOf({"P1"}).html());
        reply->setStatus(status);
        window.receivePage(reply);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(reply.isNull());
    }

    void failedReplyIsKept()
    {
        ListWindow window;
        PageReply* const reply = new PageReply("");
        const QPointer<PageReply> watched = reply;
        reply->fail(QNetworkReply::HostNotFoundError, "Host not found");
        window.receivePage(reply);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(!watched.isNull());
        delete reply;
        QCOMPARE(window.events, QStringList{unreadList(ADDRESS_OF_REPLY, "Host not found\n")});
    }

    void unreadableLocalPageIsReportedOnce_data()
    {
        const Rows<QString, QString> row("url", "reason");
        row("missing", "file:///nowhere/", "Error opening /nowhere/index.html: No such file or directory\n");
        row("on a host", "file://elsewhere/", "Request for opening non-local file file://elsewhere/index.html\n");
    }

    void unreadableLocalPageIsReportedOnce()
    {
        QFETCH(QString, url);
        QFETCH(QString, reason);
        ListWindow window(url);
        window.logic.requestUpdatesList();
        const QString failure = unreadList(url + "index.html", reason);
        QTRY_COMPARE(window.events, QStringList{failure});
        waitForAnotherAnswer();
        QCOMPARE(window.events, QStringList{failure});
    }

    void refusedAddressIsNotReportedAfterAFailedCheck()
    {
        FakeInstallation installation;
        qputenv("TAVRIN", installation.path("bin/missing").toUtf8());
        TavrinUpdateBusinessLogic logic("tavrin_update");
        const SignalRecorder recorder(logic);
        QVERIFY(!logic.initialize(WindowLogic::quietOptions()).isEmpty());
        QCOMPARE(logic.setUrl("file://elsewhere/"), QString());
        waitForAnotherAnswer();
        QCOMPARE(recorder.events, QStringList());
    }

private:
    // What was in the queue of events or of timers before has come when this returns.
    static void waitForAnotherAnswer()
    {
        const LocalSource source(pageOf({"P1"}));
        QNetworkAccessManager manager;
        bool isAnswered = false;
        QObject::connect(&manager, &QNetworkAccessManager::finished, [&isAnswered] { isAnswered = true; });
        const std::unique_ptr<QNetworkReply> reply(manager.get(QNetworkRequest(QUrl(source.url() + "index.html"))));
        QTRY_VERIFY(isAnswered);
        bool timersHaveCome = false;
        QTimer::singleShot(0, [&timersHaveCome] { timersHaveCome = true; });
        QTRY_VERIFY(timersHaveCome);
    }
};

TAVRIN_TEST_MAIN(TstListRequest)
#include "tst_list_request.moc"
