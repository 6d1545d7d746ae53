// The URL of the patch source, how it is normalised, accepted and changed, and the two text services for the window.
#include "test.h"
#include "window_logic.h"

using Logic = TavrinUpdateBusinessLogic;

class TstUrl : public Test
{
    Q_OBJECT

private slots:
    void acceptedUrlNamesADirectory_data()
    {
        const Rows<QString, QString> row("given", "accepted");
        row("directory is kept", "http://host.test/a/", "http://host.test/a/");
        row("missing slash is added", "http://host.test/a", "http://host.test/a/");
        row("page of a server is kept", "http://host.test/a/index.html", "http://host.test/a/index.html/");
        row("page of a local source is removed", "file:///data/patches/index.html", "file:///data/patches/");
        row("letter case of the page is ignored", "file:///data/patches/INDEX.HTML", "file:///data/patches/");
        row("letter case of the scheme is ignored", "FILE:///data/Index.Html", "FILE:///data/");
        row("another local page is kept", "file:///data/page.html", "file:///data/page.html/");
        row("page with a prefix is kept", "file:///data/myindex.html", "file:///data/myindex.html/");
        row("local directory gets its slash", "file:///data/patches", "file:///data/patches/");
        row("page at the top", "file:///index.html", "file:///");
        row("page of a plain path is kept", "/data/index.html", "/data/index.html/");
        row("no scheme", "relative/dir", "relative/dir/");
        row("unknown scheme", "gopher://host.test", "gopher://host.test/");
        row("empty", "", "/");
        row("space inside", "http://host.test/a b", "http://host.test/a b/");
        row("percent encoding is kept", "file:///data/a%20b", "file:///data/a%20b/");
        row("query", "http://host.test/?a=b", "http://host.test/?a=b/");
        row("not ASCII", QString::fromUtf8("file:///data/é"), QString::fromUtf8("file:///data/é/"));
    }

    void acceptedUrlNamesADirectory()
    {
        QFETCH(QString, given);
        Logic logic("tavrin_update");
        QCOMPARE(logic.validateCurrentUrl(given), QString());
        QTEST(logic.getCurrentUrlString(), "accepted");
    }

    void invalidUrlIsRefusedWithItsMessage_data()
    {
        const Rows<QString, QString> row("given", "normalised");
        row("port out of range", "http://host.test:99999", "http://host.test:99999/");
        row("unfinished address", "http://[::1", "http://[::1/");
        row("place markers in the value", "http://h%2:99999/%1", "http://h%2:99999/%1/");
    }

    void invalidUrlIsRefusedWithItsMessage()
    {
        QFETCH(QString, given);
        QFETCH(QString, normalised);
        Logic logic("tavrin_update");
        const QString reason = QUrl(normalised).errorString();
        QVERIFY(!reason.isEmpty());
        QCOMPARE(logic.validateCurrentUrl(given), "Url '" + normalised + "' is invalid.\n" + reason);
    }

    void invalidUrlDoesNotReplaceTheCurrentOne()
    {
        Logic logic("tavrin_update");
        QCOMPARE(logic.validateCurrentUrl("http://host.test/a"), QString());
        QVERIFY(!logic.validateCurrentUrl("http://host.test:99999").isEmpty());
        QCOMPARE(logic.getCurrentUrlString(), QString("http://host.test/a/"));
    }

    void overrideIsComparedExactlyWithTheDefault_data()
    {
        const Rows<QString, QString> row("url", "used");
        const QString release = PATCH_URL + "5.9/";
        row("none given", {}, release + "Linux_x86/");
        row("the default", release + "Linux_x86/", release + "Linux_x86/");
        row("the default without its slash", release + "Linux_x86", release + "Linux_x86/");
        row("the default in other letter case", release + "linux_x86/", release + "linux_x86/");
        row("another", "http://host.test/", "http://host.test/");
    }

    void overrideIsComparedExactlyWithTheDefault()
    {
        QFETCH(QString, url);
        QFETCH(QString, used);
        WindowLogic window(WindowLogic::quietOptions(url));
        QCOMPARE(window.initialized, QString());
        const QString defaultUrl = PATCH_URL + "5.9/Linux_x86/";
        QCOMPARE(window.logic.getDefaultUrlString(), defaultUrl);
        QCOMPARE(window.logic.getCurrentUrlString(), used);
        QCOMPARE(window.logic.urlIsOverridden(), used != defaultUrl);
        QCOMPARE(window.logic.validateCurrentUrl(defaultUrl), QString());
        QVERIFY(!window.logic.urlIsOverridden());
    }

    void settingAUrlRequestsItsList()
    {
        WindowLogic window(WindowLogic::quietOptions("file:///nowhere/"));
        QCOMPARE(window.logic.setUrl("file:///elsewhere/Index.html"), QString());
        QCOMPARE(window.logic.getCurrentUrlString(), QString("file:///elsewhere/"));
        const QString reason = "Error opening /elsewhere/index.html: No such file or directory\n";
        QTRY_COMPARE(window.events, QStringList{unreadList("file:///elsewhere/index.html", reason)});
    }

    void settingAnInvalidUrlRequestsNothing()
    {
        WindowLogic window(WindowLogic::quietOptions("file:///nowhere/"));
        const QString failure = window.logic.setUrl("http://host.test:99999");
        QVERIFY2(failure.startsWith("Url 'http://host.test:99999/' is invalid.\n"), qPrintable(failure));
        QCOMPARE(window.logic.getCurrentUrlString(), QString("file:///nowhere/"));
        // The first answer is that to a later request, so nothing was requested before.
        window.logic.requestUpdatesList();
        QTRY_COMPARE(window.events.size(), 1);
        QVERIFY(window.events.first().contains("file:///nowhere/index.html"));
        QCoreApplication::processEvents();
        QCOMPARE(window.events.size(), 1);
    }

    void titleNamesTheRelease()
    {
        QCOMPARE(WindowLogic().logic.getWindowTitle(), QString("Update Tavrin version '5.9'"));
    }

    void textIsReflowedForTheWindow_data()
    {
        const Rows<QString, QString> row("text", "reflowed");
        row("three lines", "One\ntwo.\nThree", "One two.\nThree ");
        row("empty", "", " ");
        row("blank line", "One\n\ntwo", "One  two ");
        row("line break at the end", "One.\n", "One.\n ");
        row("sentence at the end", "One.", "One.\n");
        row("space after the full stop", "One. \nTwo", "One.  Two ");
    }

    void textIsReflowedForTheWindow()
    {
        QFETCH(QString, text);
        Logic logic("tavrin_update");
        QTEST(logic.formatForGui(text), "reflowed");
    }
};

TAVRIN_TEST_MAIN(TstUrl)
#include "tst_url.moc"
