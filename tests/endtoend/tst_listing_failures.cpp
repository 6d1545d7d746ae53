// Listing runs that go wrong: sources that cannot be reached, answers that send elsewhere or break off, and pages that
// are broken at every stage. Each such run prints its one message to standard error, nothing before it, and fails.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"

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

class TstListingFailures : public Test
{
    Q_OBJECT

private slots:
    void errorStatusFails_data()
    {
        QTest::addColumn<int>("status");

        for (const int status : {400, 403, 404, 405, 408, 410, 500, 501, 503}) {
            QTest::addRow("%d", status) << status;
        }
    }

    void errorStatusFails()
    {
        QFETCH(int, status);
        server->answer("/", FakePatchServer::Answer::status(status, PatchPage().markup(ENTRY).html()));

        const QString reason = QStringLiteral("Error transferring %1 - server replied: As told").arg(server->url());
        compareRun(list(server->url()), 1, QByteArray(), failedToRead(server->url(), reason));
        QCOMPARE(server->requestedPaths(), QList<QByteArray>{"/"});
    }

    void redirectIsRefusedWithItsMessage_data()
    {
        QTest::addColumn<int>("status");

        for (const int status : {301, 302, 303, 305, 307, 308}) {
            QTest::addRow("%d", status) << status;
        }
    }

    void redirectIsRefusedWithItsMessage()
    {
        QFETCH(int, status);
        server->answer("/", FakePatchServer::Answer::redirect(status, server->url("/elsewhere/").toLatin1()));
        server->answer("/elsewhere/", FakePatchServer::Answer::body(PatchPage().markup(ENTRY).html()));

        compareRun(list(server->url()), 1, QByteArray(), "Request was redirected.\n\n");
        QCOMPARE(server->requestedPaths(), QList<QByteArray>{"/"});
    }

    void redirectWithoutATargetIsRefused()
    {
        server->answer("/", FakePatchServer::Answer::status(302, PatchPage().markup(ENTRY).html()));
        compareRun(list(server->url()), 1, QByteArray(), "Request was redirected.\n\n");
    }

    void notModifiedHasNoPage()
    {
        server->answer("/", FakePatchServer::Answer::status(304));
        compareRun(list(server->url()), 1, QByteArray(),
                   exiting(noListAt(server->url()) + ":\n" + markupError(QByteArray()) + "\n"));
    }

    void refusedConnectionFails()
    {
        const QString url = FakePatchServer::refusedUrl("/patches/");
        compareRun(list(url), 1, QByteArray(), failedToRead(url, "Connection refused"));
    }

    void brokenConnectionFails_data()
    {
        const Rows<int> row("cut");

        row("before the headers", -1);
        row("before the body", 0);
        row("within the body, before the list", 10);
        row("within the list", 150);
        row("before the last byte", PatchPage().markup(ENTRY).html().size() - 1);
    }

    void brokenConnectionFails()
    {
        QFETCH(int, cut);
        const QByteArray page = PatchPage().markup(ENTRY).html();
        server->answer("/",
                       cut < 0 ? FakePatchServer::Answer::hangUp() : FakePatchServer::Answer::body(page).cutAfter(cut));

        compareRun(list(server->url()), 1, QByteArray(), failedToRead(server->url(), "Connection closed"));
    }

    void silentServerIsWaitedFor()
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

    void unknownSchemeFailsWithAHint_data()
    {
        const Rows<QString, QString, QString> row("given", "url", "scheme");

        row("a scheme of no meaning", "gopher://host.test/x", "gopher://host.test/x/", "gopher");
        row("a mistyped scheme", "htp://host.test/", "htp://host.test/", "htp");
        row("a path alone", "/some/dir", "/some/dir/", "");
        row("a host alone", "host.test/patches", "host.test/patches/", "");
        row("a place marker in it", "gopher://host.test/%252", "gopher://host.test/%252/", "gopher");
    }

    void unknownSchemeFailsWithAHint()
    {
        QFETCH(QString, given);
        QFETCH(QString, url);
        QFETCH(QString, scheme);

        QByteArray expected = failedToRead(url, QStringLiteral("Protocol \"%1\" is unknown").arg(scheme));
        expected.chop(1);
        expected += "Begin your URL with 'http://' or, for local files, 'file:///'.\n";
        compareRun(list(given), 1, QByteArray(), expected);
    }

    void fileUrlWithAHostFailsOnce_data()
    {
        const Rows<QString, QString> row("given", "url");

        row("a host alone", "file://x/", "file://x/index.html");
        row("a host and a path", "file://x/some/dir", "file://x/some/dir/index.html");
        row("two slashes in place of three", "file://opt/patches/", "file://opt/patches/index.html");
    }

    void fileUrlWithAHostFailsOnce()
    {
        QFETCH(QString, given);
        QFETCH(QString, url);
        compareRun(list(given), 1, QByteArray(),
                   failedToRead(url, QStringLiteral("Request for opening non-local file %1").arg(url)));
    }

    void unreadableFileFailsOnce_data()
    {
        const Rows<QString, QString> row("folder", "reason");

        row("no folder", "missing", "Error opening %1: No such file or directory");
        row("a folder without a page", "lib", "Error opening %1: No such file or directory");
        row("a page that nobody may read", "locked", "Error opening %1: Permission denied");
        row("a folder in the page's place", "strange", "Cannot open file://%1: Path is a directory");
        row("a file in the folder's place", "file", "Error opening %1: Not a directory");
    }

    void unreadableFileFailsOnce()
    {
        QFETCH(QString, folder);
        QFETCH(QString, reason);
        installation->withFile("locked/index.html").withMode("locked/index.html", 0).withFile("file");
        installation->withFile("strange/index.html/file");

        const QString page = installation->path(folder + "/index.html");
        compareRun(list("file://" + installation->path(folder)), 1, QByteArray(),
                   failedToRead("file://" + page, reason.arg(page)));
    }

    void passwordStaysOutOfTheAddress()
    {
        const QString address = FakePatchServer::refusedUrl("/patches/").mid(static_cast<int>(qstrlen("http://")));
        compareRun(list("http://user:secret@" + address), 1, QByteArray(),
                   failedToRead("http://user@" + address, "Connection refused"));
    }

    void pageWithoutAListFails_data()
    {
        const Rows<QByteArray> row("page");

        row("no comment", "<html><body>new patch</body></html>");
        row("other comments", "<html><!-- patch --><body><!--newpatch--></body></html>");
        row("the words outside of a comment", "<html><p title=\"new patch\">new patch</p></html>");
        row("the words in CDATA", "<html><![CDATA[<!-- new patch -->]]></html>");
    }

    void pageWithoutAListFails()
    {
        QFETCH(QByteArray, page);
        compareRun(listPage(page), 1, QByteArray(), exiting(noListAt(server->url())));
    }

    void pageBrokenBeforeItsListFails_data()
    {
        const Rows<QByteArray> row("page");

        const QByteArray list = "<!-- new patch -->" + ENTRY.toLatin1();
        row("empty", {});
        row("blank", " \n ");
        row("no markup", "not found");
        row("an element that stays open", "<html><body></body>");
        row("a wrong end", "<html><body></html>" + list);
        row("a stray ampersand", "<html>&" + list + "</html>");
        row("an undeclared entity", "<html>&nbsp;" + list + "</html>");
        row("an attribute without quotes", "<html lang=en>" + list + "</html>");
        row("a comment that stays open", "<html><!-- new patch ");
        row("two dashes in the marker", "<html><!-- new patch -- list -->" + ENTRY.toLatin1() + "</html>");
    }

    void pageBrokenBeforeItsListFails()
    {
        QFETCH(QByteArray, page);
        const QByteArray reason = markupError(page);
        QVERIFY(!reason.isEmpty());
        compareRun(listPage(page), 1, QByteArray(), exiting(noListAt(server->url()) + ":\n" + reason + "\n"));
    }

    void pageBrokenInItsListFails_data()
    {
        const Rows<QString> row("list");

        row("an end right behind the marker", "");
        row("a wrong end behind the marker", "</b></html>");
        row("a stray ampersand in a heading", "<li>P1 &</li></html>");
        row("an undeclared entity in a heading", "<li>P1&nbsp;x</li></html>");
        row("an attribute given twice", "<li><a href=\"a\" href=\"b\">P1</a></li></html>");
        row("an attribute with an undeclared entity", "<li><a href=\"&nbsp;\">P1 x</a></li></html>");
        row("an item that stays open", "<li><a href=\"p.tar\">P1 x</a></html>");
        row("an undeclared entity in a description", "<li href=\"p\">P1</li><blockquote>&nbsp;</blockquote></html>");
        row("a break within an element's name", ENTRY + "<li><a hr");
        row("a break behind an entry", ENTRY);
        row("a wrong end behind an entry", ENTRY + "</ul></html>");
        row("markup behind the page's end", ENTRY + "</html><html/>");
    }

    void pageBrokenInItsListFails()
    {
        QFETCH(QString, list);
        const QByteArray page = "<html><!-- new patch -->" + list.toUtf8();
        const QByteArray reason = markupError(page);
        QVERIFY(!reason.isEmpty());
        compareRun(listPage(page), 1, QByteArray(), exiting(reason));
    }

    void entryWithoutItsPartsFails_data()
    {
        const Rows<QString, QByteArray> row("entries", "failure");

        row("a quote without an item", "<a href=\"p.tar\"/><blockquote>some text</blockquote>",
            "Error obtaining patch name for patch  some text");
        row("a second quote for an item", ENTRY + "<blockquote>some text</blockquote>",
            "Error obtaining patch name for patch  some text");
        row("an empty item", "<li><a href=\"p.tar\"> </a></li><blockquote>some text</blockquote>",
            "Error obtaining patch name for patch  some text");
        row("no link", "<li>P1 1 May</li><blockquote>some\ntext</blockquote>",
            "Error obtaining tar file name for patch P1 1 May some\ntext");
        row("an empty link", "<li><a href=\"\">P1 1 May</a></li><blockquote>text</blockquote>",
            "Error obtaining tar file name for patch P1 1 May text");
        row("a link in capitals", "<li><a HREF=\"p.tar\">P1 1 May</a></li><blockquote>text</blockquote>",
            "Error obtaining tar file name for patch P1 1 May text");
        row("no link in a later entry", ENTRY + "<li>P2 2 May</li><blockquote>text</blockquote>",
            "Error obtaining tar file name for patch P2 2 May text");
    }

    void entryWithoutItsPartsFails()
    {
        QFETCH(QString, entries);
        QFETCH(QByteArray, failure);
        compareRun(listPage(PatchPage().markup(entries).html()), 1, QByteArray(), exiting(failure));
    }

    // Standard output follows the locale, standard error never does.
    void messagesAreWrittenInLatin1_data()
    {
        const Rows<QString> row("locale");

        row("C.UTF-8", "C.UTF-8");
        row("C", "C");
    }

    void messagesAreWrittenInLatin1()
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

private:
    void setUp() override
    {
        installation.reset(new FakeInstallation);
        server.reset(new FakePatchServer);
    }

    void tearDown() override
    {
        server.reset();
        installation.reset();
    }

    ProgramRun list(const QString& url)
    {
        return Program().tavrin(installation->path()).run({"-t", "-l", url});
    }

    ProgramRun listPage(const QByteArray& page)
    {
        server->answer("/", FakePatchServer::Answer::body(page));
        return list(server->url());
    }
    QScopedPointer<FakeInstallation> installation;
    QScopedPointer<FakePatchServer> server;
};

TAVRIN_TEST_MAIN(TstListingFailures)

#include "tst_listing_failures.moc"
