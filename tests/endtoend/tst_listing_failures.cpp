// Listing runs that fail: sources that cannot be reached, and pages with a fault in every part. Each run prints one
// message to standard error, nothing to standard output, and fails. What else a server can do is in tst_page_faults.
#include "expected_texts.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"

#include <QUrl>
#include <QXmlStreamReader>

using Answer = FakePatchServer::Answer;

namespace {

const QByteArray ENTRY = "<li><a href=\"p.tar\">P1 1 May 2020</a></li><blockquote>text</blockquote>";

// The markup library's message about a page.
QByteArray markupError(const QByteArray& page)
{
    QXmlStreamReader reader(page);
    while (!reader.atEnd()) {
        reader.readNext();
    }
    return reader.hasError() ? reader.errorString().toLatin1() : "no error in this page";
}

QByteArray pageWithEntries(const QByteArray& entries)
{
    return PatchPage().markup(entries).html();
}

QByteArray noListAt(const QString& url)
{
    return "Failed to find list of patches in page source at " + url.toLatin1();
}

QByteArray unknownScheme(const QString& url, const QString& scheme)
{
    QByteArray message = failedToRead(url, QStringLiteral("Protocol \"%1\" is unknown").arg(scheme));
    message.chop(1);
    return message + "Begin your URL with 'http://' or, for local files, 'file:///'.\n";
}

// The message about the page in a folder; %1 in the reason is the folder.
QByteArray cannotRead(const QString& folder, const QString& reason)
{
    return failedToRead("file://" + folder + "/index.html", reason.arg(folder));
}

} // namespace

class TstListingFailures : public Test
{
    Q_OBJECT

private slots:
    void lateAnswerIsRead()
    {
        release->server.answer("/5.9/", Answer::body(PatchPage().html()).held());
        const auto session = release->start({"-l"});
        QTRY_COMPARE_WITH_TIMEOUT(release->server.requestedPaths(), QList<QByteArray>{"/5.9/"}, LONG_WAIT);
        QVERIFY(session->isRunning());
        QCOMPARE(session->output(), QByteArray());
        release->server.release("/5.9/");
        compareRun(session->finish(), 0, reportOf("5.9"));
    }

    void sourceThatCannotBeReadFails_data()
    {
        const Rows<QString, QByteArray> row("given", "errors");
        const QString refused = FakePatchServer::refusedUrl("/patches/");
        const QString address = refused.mid(static_cast<int>(qstrlen("http://")));
        row("connection refused", refused, failedToRead(refused, "Connection refused"));
        row("password, which is not shown", "http://user:secret@" + address,
            failedToRead("http://user@" + address, "Connection refused"));

        row("unknown scheme", "gopher://host.test/x", unknownScheme("gopher://host.test/x/", "gopher"));
        row("mistyped scheme", "htp://host.test/", unknownScheme("htp://host.test/", "htp"));
        row("path alone", "/some/dir", unknownScheme("/some/dir/", ""));
        row("host alone", "host.test/patches", unknownScheme("host.test/patches/", ""));
        row("place marker", "gopher://host.test/%252", unknownScheme("gopher://host.test/%252/", "gopher"));

        const QString notLocal = "Request for opening non-local file file://%1/index.html";
        row("file scheme and a host alone", "file://x/", cannotRead("x", notLocal));
        row("file scheme, a host and a path", "file://x/some/dir", cannotRead("x/some/dir", notLocal));
        row("two slashes instead of three", "file://opt/patches/", cannotRead("opt/patches", notLocal));

        const QString notFound = "Error opening %1/index.html: No such file or directory";
        const QString root = "/opt/tavrin/5.9/";
        row("no folder", "file://" + root + "missing", cannotRead(root + "missing", notFound));
        row("folder without a page", "file://" + root + "lib", cannotRead(root + "lib", notFound));
        row("unreadable page", "file://" + root + "locked",
            cannotRead(root + "locked", "Error opening %1/index.html: Permission denied"));
        row("folder instead of the page", "file://" + root + "strange",
            cannotRead(root + "strange", "Cannot open file://%1/index.html: Path is a directory"));
        row("file instead of the folder", "file://" + root + "file",
            cannotRead(root + "file", "Error opening %1/index.html: Not a directory"));
    }

    void sourceThatCannotBeReadFails()
    {
        QFETCH(QString, given);
        QFETCH(QByteArray, errors);
        release->installation.withFile("locked/index.html").withMode("locked/index.html", 0).withFile("file");
        release->installation.withFile("strange/index.html/file");
        compareRun(list(given), 1, {}, errors);
    }

    void unusablePageFails_data()
    {
        // errors: %1 is the address
        const Rows<QByteArray, QByteArray> row("page", "errors");
        const auto withoutList = [&row](const QByteArray& phrase, const QByteArray& page) {
            row(phrase, page, noListAt("%1") + EXITING);
        };
        withoutList("no comment", "<html><body>new patch</body></html>");
        withoutList("other comments", "<html><!-- patch --><body><!--newpatch--></body></html>");
        withoutList("the words outside of a comment", "<html><p title=\"new patch\">new patch</p></html>");
        withoutList("the words in CDATA", "<html><![CDATA[<!-- new patch -->]]></html>");

        const auto brokenBeforeList = [&row](const QByteArray& phrase, const QByteArray& page) {
            row(phrase, page, noListAt("%1") + ":\n" + markupError(page) + "\n" + EXITING);
        };
        const QByteArray list = "<!-- new patch -->" + ENTRY;
        brokenBeforeList("empty", {});
        brokenBeforeList("blank", " \n ");
        brokenBeforeList("no markup", "not found");
        brokenBeforeList("an unclosed element", "<html><body></body>");
        brokenBeforeList("a wrong end tag", "<html><body></html>" + list);
        brokenBeforeList("a stray ampersand", "<html>&" + list + "</html>");
        brokenBeforeList("an undeclared entity", "<html>&nbsp;" + list + "</html>");
        brokenBeforeList("an attribute without quotes", "<html lang=en>" + list + "</html>");
        brokenBeforeList("an unclosed comment", "<html><!-- new patch ");
        brokenBeforeList("two dashes in the marker", "<html><!-- new patch -- list -->" + ENTRY + "</html>");

        const auto brokenInList = [&row](const QByteArray& phrase, const QByteArray& rest) {
            const QByteArray page = "<html><!-- new patch -->" + rest;
            row(phrase, page, markupError(page) + EXITING);
        };
        brokenInList("no markup after the marker", {});
        brokenInList("a wrong end tag after the marker", "</b></html>");
        brokenInList("a stray ampersand in a heading", "<li>P1 &</li></html>");
        brokenInList("an undeclared entity in a heading", "<li>P1&nbsp;x</li></html>");
        brokenInList("an attribute given twice", "<li><a href=\"a\" href=\"b\">P1</a></li></html>");
        brokenInList("an attribute with an undeclared entity", "<li><a href=\"&nbsp;\">P1 x</a></li></html>");
        brokenInList("an unclosed item", "<li><a href=\"p.tar\">P1 x</a></html>");
        brokenInList("an undeclared entity in a description",
                     "<li href=\"p\">P1</li><blockquote>&nbsp;</blockquote></html>");
        brokenInList("an end within an element's name", ENTRY + "<li><a hr");
        brokenInList("an end after an entry", ENTRY);
        brokenInList("a wrong end tag after an entry", ENTRY + "</ul></html>");
        brokenInList("markup after the end of the page", ENTRY + "</html><html/>");

        const auto incomplete = [&row](const QByteArray& phrase, const QByteArray& entries, const QByteArray& errors) {
            row(phrase, pageWithEntries(entries), errors + EXITING);
        };
        const QByteArray noName = "Error obtaining patch name for patch  some text";
        const QByteArray noFile = "Error obtaining tar file name for patch ";
        const QByteArray quote = "<blockquote>some text</blockquote>";
        const QByteArray text = "<blockquote>text</blockquote>";
        incomplete("a quote without an item", "<a href=\"p.tar\"/>" + quote, noName);
        incomplete("a second quote for an item", ENTRY + quote, noName);
        incomplete("an empty item", "<li><a href=\"p.tar\"> </a></li>" + quote, noName);
        incomplete("no link", "<li>P1 1 May</li><blockquote>some\ntext</blockquote>", noFile + "P1 1 May some\ntext");
        incomplete("an empty link", "<li><a href=\"\">P1 1 May</a></li>" + text, noFile + "P1 1 May text");
        incomplete("a link in capitals", "<li><a HREF=\"p.tar\">P1 1 May</a></li>" + text, noFile + "P1 1 May text");
        incomplete("no link in a later entry", ENTRY + "<li>P2 2 May</li>" + text, noFile + "P2 2 May text");
    }

    void unusablePageFails()
    {
        QFETCH(QByteArray, page);
        QFETCH(QByteArray, errors);
        compareRun(listPage(page), 1, {}, errors.replace("%1", url().toLatin1()));
    }

    // Only standard output follows the locale.
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
        release->program.locale(locale);

        compareRun(Program().locale(locale).tavrin("/opt/tavrin/" + beyond).run({"-t"}), 1, {},
                   invalidDirectory("/opt/tavrin/\xe9?"));

        const QString folder = release->installation.path(beyond);
        compareRun(list("file://" + folder), 1, {},
                   failedToRead("file://" + folder + "/index.html",
                                "Error opening " + folder + "/index.html: No such file or directory"));

        const QString entry = "<li>P1 " + beyond + "</li><blockquote>text</blockquote>";
        compareRun(listPage(PatchPage().markup(entry).html()), 1, {},
                   "Error obtaining tar file name for patch P1 \xe9? text" + EXITING);
    }

private:
    void setUp() override
    {
        release = std::make_unique<ServedRelease>(PatchPage());
    }

    void tearDown() override
    {
        release.reset();
    }

    QString url() const
    {
        return release->server.url("/5.9/");
    }

    ProgramRun list(const QString& address)
    {
        return release->program.run({"-t", "-l", address});
    }

    ProgramRun listPage(const QByteArray& page)
    {
        release->server.answer("/5.9/", Answer::body(page));
        return release->run({"-l"});
    }

    std::unique_ptr<ServedRelease> release;
};

TAVRIN_TEST_MAIN(TstListingFailures)
#include "tst_listing_failures.moc"
