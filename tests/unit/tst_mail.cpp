// The mail of a scheduled run: when it is sent, how the mailer is called, and that a mailer that fails is silence while
// one that succeeds and talks is a complaint. A recorder stands for perl.
#include "message_guard.h"
#include "test_main.h"
#include "window_logic.h"

#include <QDir>
#include <QTest>

#include <memory>

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

class TstMail : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void mailerIsCalledWithSubjectAndAddress();
    void verboseStandsBeforeTheSubject();
    void subjectCountsWhatIsNotInstalled_data();
    void subjectCountsWhatIsNotInstalled();
    void nothingIsSentWithoutAMissingPatch_data();
    void nothingIsSentWithoutAMissingPatch();
    void bodyIsWrittenInLatin1();
    void addressIsOneArgument();
    void resultIsWhatASuccessfulMailerSaid_data();
    void resultIsWhatASuccessfulMailerSaid();
    void failedMailerIsNotReported_data();
    void failedMailerIsNotReported();
    void missingMailerIsNotReported();
    void descriptionsDoNotCountButNamesDo();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstMail::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstMail::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstMail::mailerIsCalledWithSubjectAndAddress()
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

void TstMail::verboseStandsBeforeTheSubject()
{
    Mailer mailer(true);
    mailer.recordPerl();
    QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
    QCOMPARE(mailer.tools.calls().size(), 1);
    QCOMPARE(mailer.tools.calls().first().arguments,
             (QList<QByteArray>{"rtmail", "-v", "-s", "'2 Tavrin patches available' ", "admin@host.test"}));
    QCOMPARE(mailer.events, QStringList{"log:Executing system command: perl rtmail -v -s '2 Tavrin patches available'  "
                                        "admin@host.test"});
}

void TstMail::subjectCountsWhatIsNotInstalled_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<QByteArray>("subject");
    QTest::newRow("one") << "Not Installed: P1\n" << QByteArray("'1 Tavrin patches available' ");
    QTest::newRow("three") << QString("Not Installed: P\n").repeated(3) << QByteArray("'3 Tavrin patches available' ");
    QTest::newRow("thousands are not grouped")
        << QString("Not Installed: P\n").repeated(1234) << QByteArray("'1234 Tavrin patches available' ");
    QTest::newRow("within a line") << "xNot Installedx Not Installed" << QByteArray("'2 Tavrin patches available' ");
    QTest::newRow("other letters do not count") << "Not Installed: P1\nnot installed: P2\nNOT INSTALLED\nNot  Installed"
                                                << QByteArray("'1 Tavrin patches available' ");
}

void TstMail::subjectCountsWhatIsNotInstalled()
{
    QFETCH(QString, report);
    Mailer mailer;
    mailer.recordPerl();
    QCOMPARE(mailer.logic.emailPatchInfo(report), QString());
    QCOMPARE(mailer.tools.calls().size(), 1);
    QTEST(mailer.tools.calls().first().arguments.value(2), "subject");
    QCOMPARE(mailer.tools.calls().first().input, report.toLatin1());
}

void TstMail::nothingIsSentWithoutAMissingPatch_data()
{
    QTest::addColumn<QString>("report");
    QTest::newRow("empty") << QString();
    QTest::newRow("header only") << "header\nOn host, the Tavrin 5.9 distribution\n";
    QTest::newRow("compact lines") << "header\n*  P1\n   P2\n";
    QTest::newRow("other letters") << "not installed: P1\n";
    QTest::newRow("broken in two") << "Not\nInstalled: P1\n";
}

void TstMail::nothingIsSentWithoutAMissingPatch()
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

void TstMail::bodyIsWrittenInLatin1()
{
    Mailer mailer;
    mailer.recordPerl();
    QCOMPARE(mailer.logic.emailPatchInfo(QString::fromUtf8("Not Installed: P\xc3\xa9\xe2\x82\xac\n")), QString());
    QCOMPARE(mailer.tools.calls().size(), 1);
    QCOMPARE(mailer.tools.calls().first().input, QByteArray("Not Installed: P\xe9?\n"));
}

void TstMail::addressIsOneArgument()
{
    Mailer mailer(false, "a b@host.test; rm -rf x");
    mailer.recordPerl();
    QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
    QCOMPARE(mailer.tools.calls().size(), 1);
    QCOMPARE(mailer.tools.calls().first().arguments.size(), 4);
    QCOMPARE(mailer.tools.calls().first().arguments.last(), QByteArray("a b@host.test; rm -rf x"));
}

void TstMail::resultIsWhatASuccessfulMailerSaid_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QString>("result");
    QTest::newRow("silence") << QByteArray() << QByteArray() << "";
    QTest::newRow("standard error") << QByteArray() << QByteArray("queued only\n") << "queued only\n";
    QTest::newRow("standard output") << QByteArray("sent\n") << QByteArray() << "sent\n";
    QTest::newRow("both") << QByteArray("sent\n") << QByteArray("queued only\n") << "queued only\n";
}

void TstMail::resultIsWhatASuccessfulMailerSaid()
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

void TstMail::failedMailerIsNotReported_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QByteArray>("script");
    QTest::newRow("status 1") << 1 << QByteArray(":");
    QTest::newRow("status 75") << 75 << QByteArray(":");
    QTest::newRow("killed") << 0 << QByteArray("kill -KILL $$");
}

void TstMail::failedMailerIsNotReported()
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

void TstMail::missingMailerIsNotReported()
{
    Mailer mailer;
    mailer.searchToolsOnly();
    QCOMPARE(mailer.logic.emailPatchInfo(REPORT), QString());
    QCOMPARE(mailer.events, QStringList());
}

void TstMail::descriptionsDoNotCountButNamesDo()
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

TAVRIN_TEST_MAIN(TstMail)
#include "tst_mail.moc"
