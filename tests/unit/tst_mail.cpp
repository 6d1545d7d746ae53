// The mail of a scheduled run: when it is sent, how the mailer is called, and that its output is returned only when it
// succeeds. A recorder replaces perl.
#include "test.h"
#include "window_logic.h"

namespace {

// A window run with a mail address; a terminal run could end this process.
struct MailingWindow : WindowLogic
{
    explicit MailingWindow(bool verbose = false, const QString& address = "admin@host.test")
        : WindowLogic(mailOptions(verbose, address))
    {
    }

    static CommandLineOptions mailOptions(bool verbose, const QString& address)
    {
        CommandLineOptions options = verbose ? verboseOptions() : quietOptions();
        options.email = address;
        return options;
    }

    void recordPerl(FakeTool tool = FakeTool())
    {
        tool.readsInput = true;
        record("perl", tool);
    }
};

const QString REPORT = "header\nNot Installed: P1\nNot Installed: P2\n";

} // namespace

class TstMail : public Test
{
    Q_OBJECT

private slots:
    void mailerIsCalledWithSubjectAndAddress_data()
    {
        // The quotes and the space after the second one are part of the subject.
        const Rows<bool, QString, QString, QStringList> row("verbose", "address", "call", "events");
        row("quiet", false, "admin@host.test", "perl|rtmail|-s|'2 Tavrin patches available' |admin@host.test", {});
        row("verbose", true, "admin@host.test", "perl|rtmail|-v|-s|'2 Tavrin patches available' |admin@host.test",
            {"log:Executing system command: perl rtmail -v -s '2 Tavrin patches available'  admin@host.test"});
        row("address is one argument", false, "a b@host.test; rm -rf x",
            "perl|rtmail|-s|'2 Tavrin patches available' |a b@host.test; rm -rf x", {});
    }

    void mailerIsCalledWithSubjectAndAddress()
    {
        QFETCH(bool, verbose);
        QFETCH(QString, address);
        QFETCH(QString, call);
        MailingWindow window(verbose, address);
        QCOMPARE(window.initialized, QString());
        window.recordPerl();
        QCOMPARE(window.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(window.tools.callLines(), QStringList{call});
        QCOMPARE(window.tools.calls().first().input, REPORT.toLatin1());
        QCOMPARE(window.tools.calls().first().workingDirectory, QDir::current().canonicalPath());
        QTEST(window.events, "events");
    }

    void subjectCountsWhatIsNotInstalled_data()
    {
        const Rows<QString, QByteArray> row("report", "subject");
        row("one", "Not Installed: P1\n", "'1 Tavrin patches available' ");
        row("three", QString("Not Installed: P\n").repeated(3), "'3 Tavrin patches available' ");
        row("thousands are not grouped", QString("Not Installed: P\n").repeated(1234),
            "'1234 Tavrin patches available' ");
        row("within a line", "xNot Installedx Not Installed", "'2 Tavrin patches available' ");
        row("other letter case does not count", "Not Installed: P1\nnot installed: P2\nNOT INSTALLED\nNot  Installed",
            "'1 Tavrin patches available' ");
    }

    void subjectCountsWhatIsNotInstalled()
    {
        QFETCH(QString, report);
        MailingWindow window;
        window.recordPerl();
        QCOMPARE(window.logic.emailPatchInfo(report), QString());
        QCOMPARE(window.tools.calls().size(), 1);
        QTEST(window.tools.calls().first().arguments.value(2), "subject");
        QCOMPARE(window.tools.calls().first().input, report.toLatin1());
    }

    void nothingIsSentWithoutAMissingPatch_data()
    {
        const Rows<QString> row("report");
        row("empty", {});
        row("header only", "header\nOn host, the Tavrin 5.9 distribution\n");
        row("compact lines", "header\n*  P1\n   P2\n");
        row("other letter case", "not installed: P1\n");
        row("split over two lines", "Not\nInstalled: P1\n");
    }

    void nothingIsSentWithoutAMissingPatch()
    {
        QFETCH(QString, report);
        MailingWindow window(true);
        window.recordPerl(FakeTool::printing("sent", {}));
        QCOMPARE(window.logic.emailPatchInfo(report), QString());
        QVERIFY(window.tools.calls().isEmpty());
        QCOMPARE(window.events, QStringList());
    }

    void bodyIsWrittenInLatin1()
    {
        MailingWindow window;
        window.recordPerl();
        QCOMPARE(window.logic.emailPatchInfo(QString::fromUtf8("Not Installed: P\xc3\xa9\xe2\x82\xac\n")), QString());
        QCOMPARE(window.tools.calls().size(), 1);
        QCOMPARE(window.tools.calls().first().input, QByteArray("Not Installed: P\xe9?\n"));
    }

    void resultIsTheOutputOfASuccessfulMailer_data()
    {
        const Rows<QByteArray, QByteArray, QString> row("output", "errors", "result");
        row("no output", {}, {}, "");
        row("standard error", {}, "queued only\n", "queued only\n");
        row("standard output", "sent\n", {}, "sent\n");
        row("both", "sent\n", "queued only\n", "queued only\n");
    }

    void resultIsTheOutputOfASuccessfulMailer()
    {
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        MailingWindow window;
        window.recordPerl(FakeTool::printing(output, errors));
        QTEST(window.logic.emailPatchInfo(REPORT), "result");
        QCOMPARE(window.events, QStringList()); // the caller reports it
    }

    void failedMailerIsNotReported_data()
    {
        const Rows<int, QByteArray> row("status", "script");
        row("status 1", 1, ":");
        row("status 75", 75, ":");
        row("killed", 0, "kill -KILL $$");
    }

    void failedMailerIsNotReported()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, script);
        MailingWindow window;
        window.recordPerl(FakeTool::running("echo output; echo cannot send >&2; " + script, status));
        QCOMPARE(window.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(window.tools.calls().size(), 1);
        QCOMPARE(window.events, QStringList());
    }

    void missingMailerIsNotReported()
    {
        MailingWindow window;
        window.searchToolsOnly();
        QCOMPARE(window.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(window.events, QStringList());
    }

    void descriptionsDoNotCountButNamesDo()
    {
        MailingWindow window;
        window.recordPerl();
        window.logic.addPatchToList("P1", "P1 1 May 2020", false, "P1.tar", "Has Not Installed twice: Not Installed");
        window.logic.presentPatchList();
        window.logic.addPatchToList("Not Installed", "Not Installed 2 May 2020", false, "P2.tar", "d");
        window.logic.presentPatchList();
        const QList<FakeToolCall> calls = window.tools.calls();
        QCOMPARE(calls.size(), 2);
        QCOMPARE(calls.at(0).arguments.value(2), QByteArray("'1 Tavrin patches available' "));
        QVERIFY2(!calls.at(0).input.contains("twice"), calls.at(0).input.constData());
        QCOMPARE(calls.at(1).arguments.value(2), QByteArray("'3 Tavrin patches available' "));
        QVERIFY(calls.at(1).input.endsWith("Not Installed: P1\nNot Installed: Not Installed\n"));
        QCOMPARE(window.events, QStringList());
    }
};

TAVRIN_TEST_MAIN(TstMail)
#include "tst_mail.moc"
