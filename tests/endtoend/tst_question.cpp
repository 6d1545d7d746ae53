// The yes/no question before an installation: which answers mean what, what happens at the end of the input, and that
// a user sees the question before the program waits for the answer.
#include "expected_texts.h"
#include "fake_installation.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"

#include <QScopedPointer>

namespace {

const QByteArray AGAIN = "Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.\n";
const QByteArray YES = "\n";
const QByteArray NO = "\nExiting\n";

QByteArray untilTheQuestion()
{
    return reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + QUESTION;
}

} // namespace

class TstQuestion : public Test
{
    Q_OBJECT

private slots:
    void yesInstalls_data()
    {
        const Rows<QByteArray, QByteArray> row("input", "dialogue");

        row("y", "y\n", YES);
        row("Y", "Y\n", YES);
        row("yes", "yes\n", YES);
        row("Yellow", "Yellow\n", YES);
        row("yno", "yno\n", YES);
        row("y without a line break", "y", YES);
        row("y with a carriage return", "y\r\n", YES);
        row("only the first answer counts", "y\nn\n", YES);
        row("an empty input", {}, {});
        row("an empty line, then the end", "\n", AGAIN);
        row("an empty line, then y", "\ny\n", AGAIN + YES);
        row("a blank in front, then y", " y\ny\n", AGAIN + YES);
        row("a tab in front of n, then the end", "\tn\n", AGAIN);
        row("other words, then yes", "ok\nsure\nyes\n", AGAIN + AGAIN + YES);
        row("a letter beyond ASCII, then y", "\xc3\xbd\ny\n", AGAIN + YES);
        row("a carriage return, then y", "\r\ny\n", AGAIN + YES);
        row("a NUL, then y", QByteArray("\0n\ny\n", 5), AGAIN + YES);
        row("a long line, then y", QByteArray(100000, 'x') + "\ny\n", AGAIN + YES);
    }

    void yesInstalls()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, dialogue);

        Program program;
        compareRun(program.tavrin(installation->path()).input(input).run({"-t", source->url()}), 0,
                   untilTheQuestion() + dialogue + installingOf(mark()));
        QVERIFY(QFileInfo(mark()).isFile());
    }

    void noLeavesEverythingAsItIs_data()
    {
        const Rows<QByteArray, QByteArray> row("input", "dialogue");

        row("n", "n\n", NO);
        row("N", "N\n", NO);
        row("no", "no\n", NO);
        row("No", "No\n", NO);
        row("nope", "nope\n", NO);
        row("ny", "ny\n", NO);
        row("n without a line break", "n", NO);
        row("only the first answer counts", "n\ny\n", NO);
        row("an empty line first", "\nn\n", AGAIN + NO);
        row("a blank in front, then n", " y\nn\n", AGAIN + NO);
    }

    void noLeavesEverythingAsItIs()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, dialogue);
        const QStringList before = installation->tree();

        Program program;
        compareRun(program.tavrin(installation->path()).input(input).run({"-t", source->url()}), 0,
                   untilTheQuestion() + dialogue);
        QCOMPARE(installation->tree(), before);
    }

    void missingInputInstalls()
    {
        Program program;
        compareRun(program.tavrin(installation->path()).closedInput().run({"-t", source->url()}), 0,
                   untilTheQuestion() + installingOf(mark()));
        QVERIFY(QFileInfo(mark()).isFile());
    }

    void questionIsSeenBeforeItIsAnswered()
    {
        Program program;
        const std::unique_ptr<ProgramSession> session =
            program.tavrin(installation->path()).start({"-t", source->url()});
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

    void refusalOnATerminalEndsTheRunAtOnce()
    {
        Program program;
        const std::unique_ptr<ProgramSession> session =
            program.tavrin(installation->path()).start({"-t", source->url()});
        QVERIFY(session->waitForOutput(QUESTION));
        session->write("n\n");
        compareRun(session->finish(), 0, untilTheQuestion() + NO);
    }

    void noQuestionWithoutAnInstallation_data()
    {
        const Rows<QStringList> row("options");

        row("-l", {"-l"});
        row("-L", {"-L"});
        row("-n", {"-n"});
        row("-n -Q", {"-n", "-Q"});
    }

    void noQuestionWithoutAnInstallation()
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

private:
    void setUp() override
    {
        installation.reset(new FakeInstallation);
        installation->withTools();
        source.reset(new LocalSource(PatchPage().entry("P1", "1 May", "text", "P1.tar")));
        source->withFile("P1.tar", archiveOf(mark(), "installed"));
    }

    void tearDown() override
    {
        source.reset();
        installation.reset();
    }

    QString mark() const
    {
        return installation->path("patched/P1");
    }
    QScopedPointer<FakeInstallation> installation;
    QScopedPointer<LocalSource> source;
};

TAVRIN_TEST_MAIN(TstQuestion)

#include "tst_question.moc"
