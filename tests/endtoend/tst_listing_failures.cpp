// Listing runs that go wrong: sources that cannot be reached, answers that send elsewhere or break off, and pages that
// are broken at every stage. Each such run prints its one message to standard error, nothing before it, and fails.
#include "expected_report.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "message_guard.h"
#include "program_run.h"
#include "test_main.h"

#include <QDir>
#include <QScopedPointer>
#include <QUrl>
#include <QXmlStreamReader>

namespace {

const QString ENTRY = "<li><a href=\"p.tar\">P1 1 May 2020</a></li><blockquote>text</blockquote>";

// What the markup library says about a page; its words are not the program's.
QByteArray markupError(const QByteArray& page)
{
    QXmlStreamReader reader(page);
    while (!reader.atEnd()) {
        reader.readNext();
    }
    return reader.errorString().toLatin1();
}

QByteArray failedToRead(const QString& url, const QString& reason)
{
    return QStringLiteral("Failed to read patches from\n%1\n%2\n\n").arg(url, reason).toLatin1();
}

QByteArray noListAt(const QString& url)
{
    return "Failed to find list of patches in page source at " + url.toLatin1();
}

QByteArray exiting(const QByteArray& failure)
{
    return failure + "\nExiting\n";
}

} // namespace

class TstListingFailures : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void errorStatusFails_data();
    void errorStatusFails();
    void redirectIsRefusedWithItsMessage_data();
    void redirectIsRefusedWithItsMessage();
    void redirectWithoutATargetIsRefused();
    void notModifiedHasNoPage();
    void refusedConnectionFails();
    void brokenConnectionFails_data();
    void brokenConnectionFails();
    void silentServerIsWaitedFor();
    void unknownSchemeFailsWithAHint_data();
    void unknownSchemeFailsWithAHint();
    void fileUrlWithAHostFailsOnce_data();
    void fileUrlWithAHostFailsOnce();
    void unreadableFileFailsOnce_data();
    void unreadableFileFailsOnce();
    void passwordStaysOutOfTheAddress();
    void pageWithoutAListFails_data();
    void pageWithoutAListFails();
    void pageBrokenBeforeItsListFails_data();
    void pageBrokenBeforeItsListFails();
    void pageBrokenInItsListFails_data();
    void pageBrokenInItsListFails();
    void entryWithoutItsPartsFails_data();
    void entryWithoutItsPartsFails();
    void messagesAreWrittenInLatin1_data();
    void messagesAreWrittenInLatin1();

private:
    ProgramRun list(const QString& url);
    ProgramRun listPage(const QByteArray& page);

    QScopedPointer<MessageGuard> guard;
    QScopedPointer<FakeInstallation> installation;
    QScopedPointer<FakePatchServer> server;
};

void TstListingFailures::init()
{
    guard.reset(new MessageGuard);
    installation.reset(new FakeInstallation);
    server.reset(new FakePatchServer);
}

void TstListingFailures::cleanup()
{
    server.reset();
    installation.reset();
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

ProgramRun TstListingFailures::list(const QString& url)
{
    return Program().tavrin(installation->path()).run({"-t", "-l", url});
}

ProgramRun TstListingFailures::listPage(const QByteArray& page)
{
    server->answer("/", FakePatchServer::Answer::body(page));
    return list(server->url());
}

void TstListingFailures::errorStatusFails_data()
{
    QTest::addColumn<int>("status");

    for (const int status : {400, 403, 404, 405, 408, 410, 500, 501, 503}) {
        QTest::addRow("%d", status) << status;
    }
}

void TstListingFailures::errorStatusFails()
{
    QFETCH(int, status);
    server->answer("/", FakePatchServer::Answer::status(status, PatchPage().markup(ENTRY).html()));

    const QString reason = QStringLiteral("Error transferring %1 - server replied: As told").arg(server->url());
    compareRun(list(server->url()), 1, QByteArray(), failedToRead(server->url(), reason));
    QCOMPARE(server->requestedPaths(), QList<QByteArray>{"/"});
}

void TstListingFailures::redirectIsRefusedWithItsMessage_data()
{
    QTest::addColumn<int>("status");

    for (const int status : {301, 302, 303, 305, 307, 308}) {
        QTest::addRow("%d", status) << status;
    }
}

void TstListingFailures::redirectIsRefusedWithItsMessage()
{
    QFETCH(int, status);
    server->answer("/", FakePatchServer::Answer::redirect(status, server->url("/elsewhere/").toLatin1()));
    server->answer("/elsewhere/", FakePatchServer::Answer::body(PatchPage().markup(ENTRY).html()));

    compareRun(list(server->url()), 1, QByteArray(), "Request was redirected.\n\n");
    QCOMPARE(server->requestedPaths(), QList<QByteArray>{"/"});
}

void TstListingFailures::redirectWithoutATargetIsRefused()
{
    server->answer("/", FakePatchServer::Answer::status(302, PatchPage().markup(ENTRY).html()));
    compareRun(list(server->url()), 1, QByteArray(), "Request was redirected.\n\n");
}

void TstListingFailures::notModifiedHasNoPage()
{
    server->answer("/", FakePatchServer::Answer::status(304));
    compareRun(list(server->url()), 1, QByteArray(),
               exiting(noListAt(server->url()) + ":\n" + markupError(QByteArray()) + "\n"));
}

void TstListingFailures::refusedConnectionFails()
{
    const QString url = FakePatchServer::refusedUrl("/patches/");
    compareRun(list(url), 1, QByteArray(), failedToRead(url, "Connection refused"));
}

void TstListingFailures::brokenConnectionFails_data()
{
    QTest::addColumn<int>("cut");

    QTest::newRow("before the headers") << -1;
    QTest::newRow("before the body") << 0;
    QTest::newRow("within the body, before the list") << 10;
    QTest::newRow("within the list") << 150;
    QTest::newRow("before the last byte") << PatchPage().markup(ENTRY).html().size() - 1;
}

void TstListingFailures::brokenConnectionFails()
{
    QFETCH(int, cut);
    const QByteArray page = PatchPage().markup(ENTRY).html();
    server->answer("/",
                   cut < 0 ? FakePatchServer::Answer::hangUp() : FakePatchServer::Answer::body(page).cutAfter(cut));

    compareRun(list(server->url()), 1, QByteArray(), failedToRead(server->url(), "Connection closed"));
}

void TstListingFailures::silentServerIsWaitedFor()
{
    server->answer("/", FakePatchServer::Answer::body(PatchPage().html()).held());
    Program program;
    const std::unique_ptr<ProgramSession> session =
        program.tavrin(installation->path()).start({"-t", "-l", server->url()});

    QTRY_COMPARE(server->requestedPaths(), QList<QByteArray>{"/"});
    QVERIFY(session->isRunning());
    QCOMPARE(session->output(), QByteArray());
    server->release("/");
    compareRun(session->finish(), 0, reportOf("5.9"));
}

void TstListingFailures::unknownSchemeFailsWithAHint_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("scheme");

    QTest::newRow("a scheme of no meaning") << "gopher://host.test/x"
                                            << "gopher://host.test/x/"
                                            << "gopher";
    QTest::newRow("a mistyped scheme") << "htp://host.test/"
                                       << "htp://host.test/"
                                       << "htp";
    QTest::newRow("a path alone") << "/some/dir"
                                  << "/some/dir/"
                                  << "";
    QTest::newRow("a host alone") << "host.test/patches"
                                  << "host.test/patches/"
                                  << "";
    QTest::newRow("a place marker in it") << "gopher://host.test/%252"
                                          << "gopher://host.test/%252/"
                                          << "gopher";
}

void TstListingFailures::unknownSchemeFailsWithAHint()
{
    QFETCH(QString, given);
    QFETCH(QString, url);
    QFETCH(QString, scheme);

    QByteArray expected = failedToRead(url, QStringLiteral("Protocol \"%1\" is unknown").arg(scheme));
    expected.chop(1);
    expected += "Begin your URL with 'http://' or, for local files, 'file:///'.\n";
    compareRun(list(given), 1, QByteArray(), expected);
}

void TstListingFailures::fileUrlWithAHostFailsOnce_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("url");

    QTest::newRow("a host alone") << "file://x/"
                                  << "file://x/index.html";
    QTest::newRow("a host and a path") << "file://x/some/dir"
                                       << "file://x/some/dir/index.html";
    QTest::newRow("two slashes in place of three") << "file://opt/patches/"
                                                   << "file://opt/patches/index.html";
}

void TstListingFailures::fileUrlWithAHostFailsOnce()
{
    QFETCH(QString, given);
    QFETCH(QString, url);
    compareRun(list(given), 1, QByteArray(),
               failedToRead(url, QStringLiteral("Request for opening non-local file %1").arg(url)));
}

void TstListingFailures::unreadableFileFailsOnce_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<QString>("reason");

    QTest::newRow("no folder") << "missing"
                               << "Error opening %1: No such file or directory";
    QTest::newRow("a folder without a page") << "lib"
                                             << "Error opening %1: No such file or directory";
    QTest::newRow("a page that nobody may read") << "locked"
                                                 << "Error opening %1: Permission denied";
    QTest::newRow("a folder in the page's place") << "strange"
                                                  << "Cannot open file://%1: Path is a directory";
    QTest::newRow("a file in the folder's place") << "file"
                                                  << "Error opening %1: Not a directory";
}

void TstListingFailures::unreadableFileFailsOnce()
{
    QFETCH(QString, folder);
    QFETCH(QString, reason);
    installation->withFile("locked/index.html").withMode("locked/index.html", 0).withFile("file");
    installation->withFile("strange/index.html/file");

    const QString page = installation->path(folder + "/index.html");
    compareRun(list("file://" + installation->path(folder)), 1, QByteArray(),
               failedToRead("file://" + page, reason.arg(page)));
}

void TstListingFailures::passwordStaysOutOfTheAddress()
{
    const QString address = FakePatchServer::refusedUrl("/patches/").mid(static_cast<int>(qstrlen("http://")));
    compareRun(list("http://user:secret@" + address), 1, QByteArray(),
               failedToRead("http://user@" + address, "Connection refused"));
}

void TstListingFailures::pageWithoutAListFails_data()
{
    QTest::addColumn<QByteArray>("page");

    QTest::newRow("no comment") << QByteArray("<html><body>new patch</body></html>");
    QTest::newRow("other comments") << QByteArray("<html><!-- patch --><body><!--newpatch--></body></html>");
    QTest::newRow("the words outside of a comment") << QByteArray("<html><p title=\"new patch\">new patch</p></html>");
    QTest::newRow("the words in CDATA") << QByteArray("<html><![CDATA[<!-- new patch -->]]></html>");
}

void TstListingFailures::pageWithoutAListFails()
{
    QFETCH(QByteArray, page);
    compareRun(listPage(page), 1, QByteArray(), exiting(noListAt(server->url())));
}

void TstListingFailures::pageBrokenBeforeItsListFails_data()
{
    QTest::addColumn<QByteArray>("page");

    const QByteArray list = "<!-- new patch -->" + ENTRY.toLatin1();
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("blank") << QByteArray(" \n ");
    QTest::newRow("no markup") << QByteArray("not found");
    QTest::newRow("an element that stays open") << QByteArray("<html><body></body>");
    QTest::newRow("a wrong end") << "<html><body></html>" + list;
    QTest::newRow("a stray ampersand") << "<html>&" + list + "</html>";
    QTest::newRow("an undeclared entity") << "<html>&nbsp;" + list + "</html>";
    QTest::newRow("an attribute without quotes") << "<html lang=en>" + list + "</html>";
    QTest::newRow("a comment that stays open") << QByteArray("<html><!-- new patch ");
    QTest::newRow("two dashes in the marker") << "<html><!-- new patch -- list -->" + ENTRY.toLatin1() + "</html>";
}

void TstListingFailures::pageBrokenBeforeItsListFails()
{
    QFETCH(QByteArray, page);
    const QByteArray reason = markupError(page);
    QVERIFY(!reason.isEmpty());
    compareRun(listPage(page), 1, QByteArray(), exiting(noListAt(server->url()) + ":\n" + reason + "\n"));
}

void TstListingFailures::pageBrokenInItsListFails_data()
{
    QTest::addColumn<QString>("list");

    QTest::newRow("an end right behind the marker") << "";
    QTest::newRow("a wrong end behind the marker") << "</b></html>";
    QTest::newRow("a stray ampersand in a heading") << "<li>P1 &</li></html>";
    QTest::newRow("an undeclared entity in a heading") << "<li>P1&nbsp;x</li></html>";
    QTest::newRow("an attribute given twice") << "<li><a href=\"a\" href=\"b\">P1</a></li></html>";
    QTest::newRow("an attribute with an undeclared entity") << "<li><a href=\"&nbsp;\">P1 x</a></li></html>";
    QTest::newRow("an item that stays open") << "<li><a href=\"p.tar\">P1 x</a></html>";
    QTest::newRow("an undeclared entity in a description")
        << "<li href=\"p\">P1</li><blockquote>&nbsp;</blockquote></html>";
    QTest::newRow("a break within an element's name") << ENTRY + "<li><a hr";
    QTest::newRow("a break behind an entry") << ENTRY;
    QTest::newRow("a wrong end behind an entry") << ENTRY + "</ul></html>";
    QTest::newRow("markup behind the page's end") << ENTRY + "</html><html/>";
}

void TstListingFailures::pageBrokenInItsListFails()
{
    QFETCH(QString, list);
    const QByteArray page = "<html><!-- new patch -->" + list.toUtf8();
    const QByteArray reason = markupError(page);
    QVERIFY(!reason.isEmpty());
    compareRun(listPage(page), 1, QByteArray(), exiting(reason));
}

void TstListingFailures::entryWithoutItsPartsFails_data()
{
    QTest::addColumn<QString>("entries");
    QTest::addColumn<QByteArray>("failure");

    QTest::newRow("a quote without an item") << "<a href=\"p.tar\"/><blockquote>some text</blockquote>"
                                             << QByteArray("Error obtaining patch name for patch  some text");
    QTest::newRow("a second quote for an item") << ENTRY + "<blockquote>some text</blockquote>"
                                                << QByteArray("Error obtaining patch name for patch  some text");
    QTest::newRow("an empty item") << "<li><a href=\"p.tar\"> </a></li><blockquote>some text</blockquote>"
                                   << QByteArray("Error obtaining patch name for patch  some text");
    QTest::newRow("no link") << "<li>P1 1 May</li><blockquote>some\ntext</blockquote>"
                             << QByteArray("Error obtaining tar file name for patch P1 1 May some\ntext");
    QTest::newRow("an empty link") << "<li><a href=\"\">P1 1 May</a></li><blockquote>text</blockquote>"
                                   << QByteArray("Error obtaining tar file name for patch P1 1 May text");
    QTest::newRow("a link in capitals") << "<li><a HREF=\"p.tar\">P1 1 May</a></li><blockquote>text</blockquote>"
                                        << QByteArray("Error obtaining tar file name for patch P1 1 May text");
    QTest::newRow("no link in a later entry") << ENTRY + "<li>P2 2 May</li><blockquote>text</blockquote>"
                                              << QByteArray("Error obtaining tar file name for patch P2 2 May text");
}

void TstListingFailures::entryWithoutItsPartsFails()
{
    QFETCH(QString, entries);
    QFETCH(QByteArray, failure);
    compareRun(listPage(PatchPage().markup(entries).html()), 1, QByteArray(), exiting(failure));
}

// Standard output follows the locale, standard error never does.
void TstListingFailures::messagesAreWrittenInLatin1_data()
{
    QTest::addColumn<QString>("locale");

    QTest::newRow("C.UTF-8") << "C.UTF-8";
    QTest::newRow("C") << "C";
}

void TstListingFailures::messagesAreWrittenInLatin1()
{
    QFETCH(QString, locale);
    const QString beyond = QString::fromUtf8("\u00e9\u6f22");
    Program program;
    program.locale(locale);

    const QString missing = "/opt/tavrin/" + beyond;
    compareRun(program.tavrin(missing).run({"-t"}), 1, QByteArray(),
               "TAVRIN directory is invalid\n/opt/tavrin/\xe9?\n\n");

    const QString url = "file://" + installation->path(beyond) + "/index.html";
    program.tavrin(installation->path());
    compareRun(program.run({"-t", "-l", "file://" + installation->path(beyond)}), 1, QByteArray(),
               failedToRead(url, QStringLiteral("Error opening %1: No such file or directory")
                                     .arg(installation->path(beyond) + "/index.html")));

    server->answer("/", FakePatchServer::Answer::body(
                            PatchPage().markup("<li>P1 " + beyond + "</li><blockquote>text</blockquote>").html()));
    compareRun(program.run({"-t", "-l", server->url()}), 1, QByteArray(),
               exiting("Error obtaining tar file name for patch P1 \xe9? text"));
}

TAVRIN_TEST_MAIN(TstListingFailures)

#include "tst_listing_failures.moc"
