// The yes/no question before an installation: which answers mean what, what happens at the end of the input, and that
// a user sees the question before the program waits for the answer.
#include "expected_report.h"
#include "fake_installation.h"
#include "message_guard.h"
#include "program_run.h"
#include "test_main.h"

#include <QScopedPointer>

namespace {

const QByteArray QUESTION = "\nDo you wish to download and install these patches [y|n]?\n";
const QByteArray AGAIN = "Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.\n";
const QByteArray YES = "\n";
const QByteArray NO = "\nExiting\n";

QByteArray untilTheQuestion()
{
    return reportOf("5.9", {{"P1", "text"}}) +
           "Check for running real time systems ...\n"
           "No running Tavrin Real Time System of version '5.9' detected.\n" +
           QUESTION;
}

} // namespace

class TstQuestion : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void yesInstalls_data();
    void yesInstalls();
    void noLeavesEverythingAsItIs_data();
    void noLeavesEverythingAsItIs();
    void missingInputInstalls();
    void questionIsSeenBeforeItIsAnswered();
    void refusalOnATerminalEndsTheRunAtOnce();
    void noQuestionWithoutAnInstallation_data();
    void noQuestionWithoutAnInstallation();

private:
    QString mark() const;

    QScopedPointer<MessageGuard> guard;
    QScopedPointer<FakeInstallation> installation;
    QScopedPointer<LocalSource> source;
};

void TstQuestion::init()
{
    guard.reset(new MessageGuard);
    installation.reset(new FakeInstallation);
    installation->withTools();
    source.reset(new LocalSource(PatchPage().entry("P1", "1 May", "text", "P1.tar")));
    source->withFile("P1.tar", archiveOf(mark(), "installed"));
}

void TstQuestion::cleanup()
{
    source.reset();
    installation.reset();
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

QString TstQuestion::mark() const
{
    return installation->path("patched/P1");
}

void TstQuestion::yesInstalls_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("dialogue");

    QTest::newRow("y") << QByteArray("y\n") << YES;
    QTest::newRow("Y") << QByteArray("Y\n") << YES;
    QTest::newRow("yes") << QByteArray("yes\n") << YES;
    QTest::newRow("Yellow") << QByteArray("Yellow\n") << YES;
    QTest::newRow("yno") << QByteArray("yno\n") << YES;
    QTest::newRow("y without a line break") << QByteArray("y") << YES;
    QTest::newRow("y with a carriage return") << QByteArray("y\r\n") << YES;
    QTest::newRow("only the first answer counts") << QByteArray("y\nn\n") << YES;
    QTest::newRow("an empty input") << QByteArray() << QByteArray();
    QTest::newRow("an empty line, then the end") << QByteArray("\n") << AGAIN;
    QTest::newRow("an empty line, then y") << QByteArray("\ny\n") << AGAIN + YES;
    QTest::newRow("a blank in front, then y") << QByteArray(" y\ny\n") << AGAIN + YES;
    QTest::newRow("a tab in front of n, then the end") << QByteArray("\tn\n") << AGAIN;
    QTest::newRow("other words, then yes") << QByteArray("ok\nsure\nyes\n") << AGAIN + AGAIN + YES;
    QTest::newRow("a letter beyond ASCII, then y") << QByteArray("\xc3\xbd\ny\n") << AGAIN + YES;
    QTest::newRow("a carriage return, then y") << QByteArray("\r\ny\n") << AGAIN + YES;
    QTest::newRow("a NUL, then y") << QByteArray("\0n\ny\n", 5) << AGAIN + YES;
    QTest::newRow("a long line, then y") << QByteArray(100000, 'x') + "\ny\n" << AGAIN + YES;
}

void TstQuestion::yesInstalls()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, dialogue);

    Program program;
    compareRun(program.tavrin(installation->path()).input(input).run({"-t", source->url()}), 0,
               untilTheQuestion() + dialogue + installingOf(mark()));
    QVERIFY(QFileInfo(mark()).isFile());
}

void TstQuestion::noLeavesEverythingAsItIs_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("dialogue");

    QTest::newRow("n") << QByteArray("n\n") << NO;
    QTest::newRow("N") << QByteArray("N\n") << NO;
    QTest::newRow("no") << QByteArray("no\n") << NO;
    QTest::newRow("No") << QByteArray("No\n") << NO;
    QTest::newRow("nope") << QByteArray("nope\n") << NO;
    QTest::newRow("ny") << QByteArray("ny\n") << NO;
    QTest::newRow("n without a line break") << QByteArray("n") << NO;
    QTest::newRow("only the first answer counts") << QByteArray("n\ny\n") << NO;
    QTest::newRow("an empty line first") << QByteArray("\nn\n") << AGAIN + NO;
    QTest::newRow("a blank in front, then n") << QByteArray(" y\nn\n") << AGAIN + NO;
}

void TstQuestion::noLeavesEverythingAsItIs()
{
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, dialogue);
    const QStringList before = installation->tree();

    Program program;
    compareRun(program.tavrin(installation->path()).input(input).run({"-t", source->url()}), 0,
               untilTheQuestion() + dialogue);
    QCOMPARE(installation->tree(), before);
}

void TstQuestion::missingInputInstalls()
{
    Program program;
    compareRun(program.tavrin(installation->path()).closedInput().run({"-t", source->url()}), 0,
               untilTheQuestion() + installingOf(mark()));
    QVERIFY(QFileInfo(mark()).isFile());
}

void TstQuestion::questionIsSeenBeforeItIsAnswered()
{
    Program program;
    const std::unique_ptr<ProgramSession> session = program.tavrin(installation->path()).start({"-t", source->url()});
    QVERIFY(session->waitForOutput(QUESTION));
    QCOMPARE(session->output(), untilTheQuestion());
    session->write("what?\n");
    QVERIFY(session->waitForOutput(AGAIN));
    QCOMPARE(session->output(), untilTheQuestion() + AGAIN);
    QVERIFY(session->isRunning());
    QVERIFY(!QFileInfo::exists(mark()));

    session->write("y\n");
    compareRun(session->finish(), 0, untilTheQuestion() + AGAIN + YES + installingOf(mark()));
    QVERIFY(QFileInfo(mark()).isFile());
}

void TstQuestion::refusalOnATerminalEndsTheRunAtOnce()
{
    Program program;
    const std::unique_ptr<ProgramSession> session = program.tavrin(installation->path()).start({"-t", source->url()});
    QVERIFY(session->waitForOutput(QUESTION));
    session->write("n\n");
    compareRun(session->finish(), 0, untilTheQuestion() + NO);
}

void TstQuestion::noQuestionWithoutAnInstallation_data()
{
    QTest::addColumn<QStringList>("options");

    QTest::newRow("-l") << QStringList{"-l"};
    QTest::newRow("-L") << QStringList{"-L"};
    QTest::newRow("-n") << QStringList{"-n"};
    QTest::newRow("-n -Q") << QStringList{"-n", "-Q"};
}

void TstQuestion::noQuestionWithoutAnInstallation()
{
    QFETCH(QStringList, options);
    Program program;
    // The input stays open: a run that waited for an answer would not end.
    const std::unique_ptr<ProgramSession> session =
        program.tavrin(installation->path()).start(QStringList{"-t"} + options + QStringList{source->url()});
    const ProgramRun run = session->finish();
    QVERIFY2(run.status == 0 && !run.timedOut, describe(run));
    QVERIFY2(!run.output.contains(QUESTION.trimmed()), describe(run));
}

TAVRIN_TEST_MAIN(TstQuestion)

#include "tst_question.moc"
