// The mail of a scheduled run: when it is sent, how the mailer is called, and that a mailer that fails is silence while
// one that succeeds and talks is a complaint. A recorder stands for perl.
#include "test.h"
#include "window_logic.h"

#include <QDir>

namespace {

// A window run, so that nothing ends this process, with an address to mail to and a recorder for perl.
struct Mailer : WindowLogic
{
    explicit Mailer(bool verbose = false, const QString& address = "admin@host.test")
        : WindowLogic(optionsFor(verbose, address))
    {
    }

    static CommandLineOptions optionsFor(bool verbose, const QString& address)
    {
        CommandLineOptions options = verbose ? verboseOptions() : quietOptions();
        options.email = address;
        return options;
    }

    void recordPerl(FakeTool tool = FakeTool())
    {
        tool.readsInput = true;
        tools.add("perl", tool);
        searchToolsOnly();
    }
};

const QString REPORT = QStringLiteral("header\nNot Installed: P1\nNot Installed: P2\n");

} // namespace

class TstMail : public Test
{
    Q_OBJECT

private slots:
    void mailerIsCalledWithSubjectAndAddress()
    {
        Mailer mailer;
        QCOMPARE(mailer.initialized, QString());
        mailer.recordPerl();
        QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
        const QList<FakeToolCall> calls = mailer.tools.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().tool, QString("perl"));
        // The quotes and the blank in front of the second one belong to the subject.
        QCOMPARE(calls.first().arguments,
                 (QList<QByteArray>{"rtmail", "-s", "'2 Tavrin patches available' ", "admin@host.test"}));
        QCOMPARE(calls.first().input, REPORT.toLatin1());
        QCOMPARE(calls.first().workingDirectory, QDir::current().canonicalPath());
        QCOMPARE(mailer.events, QStringList());
    }

    void verboseStandsBeforeTheSubject()
    {
        Mailer mailer(true);
        mailer.recordPerl();
        QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(mailer.tools.calls().size(), 1);
        QCOMPARE(mailer.tools.calls().first().arguments,
                 (QList<QByteArray>{"rtmail", "-v", "-s", "'2 Tavrin patches available' ", "admin@host.test"}));
        QCOMPARE(mailer.events,
                 QStringList{"log:Executing system command: perl rtmail -v -s '2 Tavrin patches available'  "
                             "admin@host.test"});
    }

    void subjectCountsWhatIsNotInstalled_data()
    {
        const Rows<QString, QByteArray> row("report", "subject");
        row("one", "Not Installed: P1\n", "'1 Tavrin patches available' ");
        row("three", QString("Not Installed: P\n").repeated(3), "'3 Tavrin patches available' ");
        row("thousands are not grouped", QString("Not Installed: P\n").repeated(1234),
            "'1234 Tavrin patches available' ");
        row("within a line", "xNot Installedx Not Installed", "'2 Tavrin patches available' ");
        row("other letters do not count", "Not Installed: P1\nnot installed: P2\nNOT INSTALLED\nNot  Installed",
            "'1 Tavrin patches available' ");
    }

    void subjectCountsWhatIsNotInstalled()
    {
        QFETCH(QString, report);
        Mailer mailer;
        mailer.recordPerl();
        QCOMPARE(mailer.logic.emailPatchInfo(report), QString());
        QCOMPARE(mailer.tools.calls().size(), 1);
        QTEST(mailer.tools.calls().first().arguments.value(2), "subject");
        QCOMPARE(mailer.tools.calls().first().input, report.toLatin1());
    }

    void nothingIsSentWithoutAMissingPatch_data()
    {
        const Rows<QString> row("report");
        row("empty", {});
        row("header only", "header\nOn host, the Tavrin 5.9 distribution\n");
        row("compact lines", "header\n*  P1\n   P2\n");
        row("other letters", "not installed: P1\n");
        row("broken in two", "Not\nInstalled: P1\n");
    }

    void nothingIsSentWithoutAMissingPatch()
    {
        QFETCH(QString, report);
        Mailer mailer(true);
        FakeTool talking;
        talking.output = "sent";
        mailer.recordPerl(talking);
        QCOMPARE(mailer.logic.emailPatchInfo(report), QString());
        QVERIFY(mailer.tools.calls().isEmpty());
        QCOMPARE(mailer.events, QStringList());
    }

    void bodyIsWrittenInLatin1()
    {
        Mailer mailer;
        mailer.recordPerl();
        QCOMPARE(mailer.logic.emailPatchInfo(QString::fromUtf8("Not Installed: P\xc3\xa9\xe2\x82\xac\n")), QString());
        QCOMPARE(mailer.tools.calls().size(), 1);
        QCOMPARE(mailer.tools.calls().first().input, QByteArray("Not Installed: P\xe9?\n"));
    }

    void addressIsOneArgument()
    {
        Mailer mailer(false, "a b@host.test; rm -rf x");
        mailer.recordPerl();
        QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(mailer.tools.calls().size(), 1);
        QCOMPARE(mailer.tools.calls().first().arguments.size(), 4);
        QCOMPARE(mailer.tools.calls().first().arguments.last(), QByteArray("a b@host.test; rm -rf x"));
    }

    void resultIsWhatASuccessfulMailerSaid_data()
    {
        const Rows<QByteArray, QByteArray, QString> row("output", "errors", "result");
        row("silence", {}, {}, "");
        row("standard error", {}, "queued only\n", "queued only\n");
        row("standard output", "sent\n", {}, "sent\n");
        row("both", "sent\n", "queued only\n", "queued only\n");
    }

    void resultIsWhatASuccessfulMailerSaid()
    {
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        Mailer mailer;
        FakeTool talking;
        talking.output = output;
        talking.errors = errors;
        mailer.recordPerl(talking);
        QTEST(mailer.logic.emailPatchInfo(REPORT), "result");
        QCOMPARE(mailer.events, QStringList()); // reporting it is the caller's business
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
        Mailer mailer;
        FakeTool failing;
        failing.status = status;
        failing.script = "echo said; echo no way to send >&2; " + script;
        mailer.recordPerl(failing);
        QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(mailer.tools.calls().size(), 1);
        QCOMPARE(mailer.events, QStringList());
    }

    void missingMailerIsNotReported()
    {
        Mailer mailer;
        mailer.searchToolsOnly();
        QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
        QCOMPARE(mailer.events, QStringList());
    }

    void descriptionsDoNotCountButNamesDo()
    {
        Mailer mailer;
        mailer.recordPerl();
        mailer.logic.addPatchToList("P1", "P1 1 May 2020", false, "P1.tar", "Says Not Installed twice: Not Installed");
        mailer.logic.presentPatchList();
        mailer.logic.addPatchToList("Not Installed", "Not Installed 2 May 2020", false, "P2.tar", "d");
        mailer.logic.presentPatchList();
        const QList<FakeToolCall> calls = mailer.tools.calls();
        QCOMPARE(calls.size(), 2);
        QCOMPARE(calls.at(0).arguments.value(2), QByteArray("'1 Tavrin patches available' "));
        QVERIFY2(!calls.at(0).input.contains("twice"), calls.at(0).input.constData());
        QCOMPARE(calls.at(1).arguments.value(2), QByteArray("'3 Tavrin patches available' "));
        QVERIFY(calls.at(1).input.endsWith("Not Installed: P1\nNot Installed: Not Installed\n"));
        QCOMPARE(mailer.events, QStringList());
    }
};

TAVRIN_TEST_MAIN(TstMail)
#include "tst_mail.moc"
