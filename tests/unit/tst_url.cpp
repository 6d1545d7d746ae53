// The URL of the patch source, how it is normalised, accepted and changed, and the two text services for the window.
#include "fake_installation.h"
#include "message_guard.h"
#include "tavrin_update_bl.h"
#include "test_main.h"

#include <QSignalSpy>
#include <QTest>

#include <memory>

using Logic = TavrinUpdateBusinessLogic;

namespace {

Logic::CommandLineOptions windowOptions(const QString& url = QString())
{
    Logic::CommandLineOptions options;
    options.terminal = false;
    options.showProposed = false;
    options.verbose = false;
    options.url = url;
    return options;
}

} // namespace

class TstUrl : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void acceptedUrlNamesADirectory_data();
    void acceptedUrlNamesADirectory();
    void invalidUrlIsRefusedWithItsMessage_data();
    void invalidUrlIsRefusedWithItsMessage();
    void invalidUrlLeavesTheOneInUse();
    void defaultUrlIsBuiltFromReleaseAndPlatform();
    void overrideIsComparedExactly_data();
    void overrideIsComparedExactly();
    void settingAUrlAsksForItsList();
    void settingAnInvalidUrlAsksForNothing();
    void settingTheDefaultEndsTheOverride();
    void titleNamesTheRelease();
    void textIsReflowedForTheWindow_data();
    void textIsReflowedForTheWindow();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstUrl::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstUrl::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstUrl::acceptedUrlNamesADirectory_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("accepted");
    QTest::newRow("directory stays") << "http://host.test/a/"
                                     << "http://host.test/a/";
    QTest::newRow("missing slash is added") << "http://host.test/a"
                                            << "http://host.test/a/";
    QTest::newRow("page of a server stays") << "http://host.test/a/index.html"
                                            << "http://host.test/a/index.html/";
    QTest::newRow("page of a local source goes") << "file:///data/patches/index.html"
                                                 << "file:///data/patches/";
    QTest::newRow("letter case of the page is no matter") << "file:///data/patches/INDEX.HTML"
                                                          << "file:///data/patches/";
    QTest::newRow("letter case of the scheme is no matter") << "FILE:///data/Index.Html"
                                                            << "FILE:///data/";
    QTest::newRow("another local page stays") << "file:///data/page.html"
                                              << "file:///data/page.html/";
    QTest::newRow("page with a prefix stays") << "file:///data/myindex.html"
                                              << "file:///data/myindex.html/";
    QTest::newRow("local directory gets its slash") << "file:///data/patches"
                                                    << "file:///data/patches/";
    QTest::newRow("page at the top") << "file:///index.html"
                                     << "file:///";
    QTest::newRow("page of a plain path stays") << "/data/index.html"
                                                << "/data/index.html/";
    QTest::newRow("no scheme") << "relative/dir"
                               << "relative/dir/";
    QTest::newRow("unknown scheme") << "gopher://host.test"
                                    << "gopher://host.test/";
    QTest::newRow("empty") << ""
                           << "/";
    QTest::newRow("blank inside") << "http://host.test/a b"
                                  << "http://host.test/a b/";
    QTest::newRow("percent encoding stays") << "file:///data/a%20b"
                                            << "file:///data/a%20b/";
    QTest::newRow("query") << "http://host.test/?a=b"
                           << "http://host.test/?a=b/";
    QTest::newRow("not ASCII") << QString::fromUtf8("file:///data/é") << QString::fromUtf8("file:///data/é/");
}

void TstUrl::acceptedUrlNamesADirectory()
{
    QFETCH(QString, given);
    QFETCH(QString, accepted);
    Logic logic("tavrin_update");
    QCOMPARE(logic.validateCurrentUrl(given), QString());
    QCOMPARE(logic.getCurrentUrlString(), accepted);
}

void TstUrl::invalidUrlIsRefusedWithItsMessage_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("normalised");
    QTest::newRow("port out of range") << "http://host.test:99999"
                                       << "http://host.test:99999/";
    QTest::newRow("unfinished address") << "http://[::1"
                                        << "http://[::1/";
    QTest::newRow("place markers in the value") << "http://h%2:99999/%1"
                                                << "http://h%2:99999/%1/";
}

void TstUrl::invalidUrlIsRefusedWithItsMessage()
{
    QFETCH(QString, given);
    QFETCH(QString, normalised);
    Logic logic("tavrin_update");
    const QString reason = QUrl(normalised).errorString();
    QVERIFY(!reason.isEmpty());
    QCOMPARE(logic.validateCurrentUrl(given), "Url '" + normalised + "' is invalid.\n" + reason);
}

void TstUrl::invalidUrlLeavesTheOneInUse()
{
    Logic logic("tavrin_update");
    QCOMPARE(logic.validateCurrentUrl("http://host.test/a"), QString());
    QVERIFY(!logic.validateCurrentUrl("http://host.test:99999").isEmpty());
    QCOMPARE(logic.getCurrentUrlString(), QString("http://host.test/a/"));
}

void TstUrl::defaultUrlIsBuiltFromReleaseAndPlatform()
{
    const FakeInstallation installation;
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic logic("tavrin_update");
    QCOMPARE(logic.initialize(windowOptions()), QString());
    QCOMPARE(logic.getDefaultUrlString(), PATCH_URL + "5.9/Linux_x86/");
    QCOMPARE(logic.getCurrentUrlString(), logic.getDefaultUrlString());
    QVERIFY(!logic.urlIsOverridden());
}

void TstUrl::overrideIsComparedExactly_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("overridden");
    QTest::newRow("none given") << QString() << false;
    QTest::newRow("the default") << PATCH_URL + "5.9/Linux_x86/" << false;
    QTest::newRow("the default without its slash") << PATCH_URL + "5.9/Linux_x86" << false;
    QTest::newRow("the default in other letters") << PATCH_URL + "5.9/linux_x86/" << true;
    QTest::newRow("another") << "http://host.test/" << true;
}

void TstUrl::overrideIsComparedExactly()
{
    QFETCH(QString, url);
    const FakeInstallation installation;
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic logic("tavrin_update");
    QCOMPARE(logic.initialize(windowOptions(url)), QString());
    QTEST(logic.urlIsOverridden(), "overridden");
}

void TstUrl::settingAUrlAsksForItsList()
{
    const FakeInstallation installation;
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic logic("tavrin_update");
    QCOMPARE(logic.initialize(windowOptions("file:///nowhere/")), QString());
    QSignalSpy progress(&logic, SIGNAL(appendProgress(QString)));
    QCOMPARE(logic.setUrl("file:///elsewhere/Index.html"), QString());
    QCOMPARE(logic.getCurrentUrlString(), QString("file:///elsewhere/"));
    QTRY_COMPARE(progress.count(), 1);
    QCOMPARE(progress.first().first().toString(),
             QString("Failed to read patches from\nfile:///elsewhere/index.html\n"
                     "Error opening /elsewhere/index.html: No such file or directory\n"));
}

void TstUrl::settingAnInvalidUrlAsksForNothing()
{
    const FakeInstallation installation;
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic logic("tavrin_update");
    QCOMPARE(logic.initialize(windowOptions("file:///nowhere/")), QString());
    QSignalSpy progress(&logic, SIGNAL(appendProgress(QString)));
    const QString failure = logic.setUrl("http://host.test:99999");
    QVERIFY2(failure.startsWith("Url 'http://host.test:99999/' is invalid.\n"), qPrintable(failure));
    QCOMPARE(logic.getCurrentUrlString(), QString("file:///nowhere/"));
    // The answer to a request made after it is the first to come: nothing was asked for in between.
    logic.requestUpdatesList();
    QTRY_COMPARE(progress.count(), 1);
    QVERIFY(progress.first().first().toString().contains("file:///nowhere/index.html"));
    QCoreApplication::processEvents();
    QCOMPARE(progress.count(), 1);
}

void TstUrl::settingTheDefaultEndsTheOverride()
{
    const FakeInstallation installation;
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic logic("tavrin_update");
    QCOMPARE(logic.initialize(windowOptions("file:///nowhere/")), QString());
    QVERIFY(logic.urlIsOverridden());
    QCOMPARE(logic.validateCurrentUrl(logic.getDefaultUrlString()), QString());
    QVERIFY(!logic.urlIsOverridden());
}

void TstUrl::titleNamesTheRelease()
{
    Logic unset("tavrin_update");
    QCOMPARE(unset.getWindowTitle(), QString("Update Tavrin version ''"));
    const FakeInstallation installation;
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic logic("tavrin_update");
    QCOMPARE(logic.initialize(windowOptions()), QString());
    QCOMPARE(logic.getWindowTitle(), QString("Update Tavrin version '5.9'"));
}

void TstUrl::textIsReflowedForTheWindow_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reflowed");
    QTest::newRow("three lines") << "One\ntwo.\nThree"
                                 << "One two.\nThree ";
    QTest::newRow("empty") << ""
                           << " ";
    QTest::newRow("blank line") << "One\n\ntwo"
                                << "One  two ";
    QTest::newRow("line break at the end") << "One.\n"
                                           << "One.\n ";
    QTest::newRow("sentence at the end") << "One."
                                         << "One.\n";
    QTest::newRow("blank after the full stop") << "One. \nTwo"
                                               << "One.  Two ";
}

void TstUrl::textIsReflowedForTheWindow()
{
    QFETCH(QString, text);
    Logic logic("tavrin_update");
    QTEST(logic.formatForGui(text), "reflowed");
}

TAVRIN_TEST_MAIN(TstUrl)
#include "tst_url.moc"
