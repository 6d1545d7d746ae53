// The window of the built program while a server is silent or has failed: nothing is changed, the window stays usable,
// and Done ends the program at once.
#include "shown_window_test.h"

class TstWindowWaiting : public ShownWindowTest
{
    Q_OBJECT

private slots:
    void doneEndsTheWaitForASilentServer_data()
    {
        const Rows<QByteArray, Answer> row("path", "answer");
        const QByteArray head = "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n";
        for (const char* path : {"/", "/P1.tar"}) {
            const QByteArray asked = path;
            row(asked + ", no answer", asked, Answer::silence());
            row(asked + ", half of a head", asked, Answer::raw(head).thenStay());
            row(asked + ", half of a body", asked, Answer::raw(head + "\r\n" + QByteArray(500, 'x')).thenStay());
        }
    }

    void doneEndsTheWaitForASilentServer()
    {
        QFETCH(QByteArray, path);
        QFETCH(Answer, answer);
        offer({"P1"});
        server->answer(path, answer);
        Paths requests{"/"};
        open();
        if (path != "/") {
            screen->waitForList();
            screen->click(APPLY_BUTTON);
            requests << path;
        }
        QTRY_COMPARE_WITH_TIMEOUT(server->requestedPaths(), requests, PATIENCE);
        screen->click(DONE_BUTTON);
        screen->compareEnd();
        QCOMPARE(server->requestedPaths(), requests);
        compareNewEntries({});
    }

    void redirectedPageShowsABoxAndTheWindowStays()
    {
        server->answer("/", Answer::redirect(302, "/elsewhere").held());
        open();
        QTRY_COMPARE_WITH_TIMEOUT(server->requestedPaths(), Paths{"/"}, PATIENCE);
        server->release("/");
        const QString box = screen->waitForOtherWindow();
        QVERIFY(!box.isEmpty());
        screen->closeOther(box, "Return");
        screen->compareOnlyWindow();
        screen->quit();
        QCOMPARE(server->requestedPaths(), Paths{"/"});
        compareNewEntries({});
    }
};

TAVRIN_TEST_MAIN(TstWindowWaiting)
#include "tst_window_waiting.moc"
