// The yes/no question before an installation: the meaning of each answer, the end of the input, and that the user sees
// the question before the program waits for the answer.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

namespace {

const QByteArray UNTIL_QUESTION = reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + QUESTION;
const QByteArray INSTALLATION =
    DOWNLOAD + downloaded({"P1.tar"}) + APPLY + installing("P1.tar", {"patched/P1"}) + FINISH;
const QByteArray YES = "\n" + INSTALLATION;

} // namespace

class TstQuestion : public Test
{
    Q_OBJECT

private slots:
    void answerDecides_data()
    {
        const Rows<QByteArray, QByteArray> row("input", "output");
        const QByteArray again = QUESTION_AGAIN;
        row("y", "y\n", YES);
        row("Y", "Y\n", YES);
        row("yes", "yes\n", YES);
        row("Yellow", "Yellow\n", YES);
        row("yno", "yno\n", YES);
        row("y without a line break", "y", YES);
        row("y with a carriage return", "y\r\n", YES);
        row("y, then n", "y\nn\n", YES);
        row("an empty input", {}, INSTALLATION);
        row("an empty line, then the end", "\n", again + INSTALLATION);
        row("an empty line, then y", "\ny\n", again + YES);
        row("a leading space, then y", " y\ny\n", again + YES);
        row("a leading tab, then the end", "\tn\n", again + INSTALLATION);
        row("other words, then yes", "ok\nsure\nyes\n", again + again + YES);
        row("a letter that is not ASCII, then y", "\xc3\xbd\ny\n", again + YES);
        row("a carriage return, then y", "\r\ny\n", again + YES);
        row("a NUL, then y", QByteArray("\0n\ny\n", 5), again + YES);
        row("a long line, then y", QByteArray(100000, 'x') + "\ny\n", again + YES);

        row("n", "n\n", EXITING);
        row("N", "N\n", EXITING);
        row("no", "no\n", EXITING);
        row("No", "No\n", EXITING);
        row("nope", "nope\n", EXITING);
        row("ny", "ny\n", EXITING);
        row("n without a line break", "n", EXITING);
        row("n, then y", "n\ny\n", EXITING);
        row("an empty line, then n", "\nn\n", again + EXITING);
        row("a leading space, then n", " y\nn\n", again + EXITING);
    }

    void answerDecides()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, output);
        InstallableRelease release;
        const QStringList before = release.installation.tree();
        release.program.input(input);
        compareRun(release.run(), 0, UNTIL_QUESTION + output);
        QCOMPARE(release.has("patched/P1"), !output.endsWith(EXITING));
        QCOMPARE(release.installation.tree() == before, output.endsWith(EXITING));
    }

    void missingInputInstalls()
    {
        InstallableRelease release;
        release.program.closedInput();
        compareRun(release.run(), 0, UNTIL_QUESTION + INSTALLATION);
        QVERIFY(release.has("patched/P1"));
    }

    void questionIsSeenBeforeItIsAnswered()
    {
        InstallableRelease release;
        const auto session = release.start();
        QVERIFY(session->waitForOutput(QUESTION));
        QCOMPARE(session->output(), UNTIL_QUESTION);
        session->write("what?\n");
        QVERIFY(session->waitForOutput(QUESTION_AGAIN));
        QCOMPARE(session->output(), UNTIL_QUESTION + QUESTION_AGAIN);
        QVERIFY(session->isRunning());
        QVERIFY(!release.has("patched/P1"));

        session->write("y\n");
        compareRun(session->finish(), 0, UNTIL_QUESTION + QUESTION_AGAIN + YES);
        QVERIFY(release.has("patched/P1"));
    }

    void refusalEndsTheRunWhileTheInputStaysOpen()
    {
        InstallableRelease release;
        const auto session = release.start();
        QVERIFY(session->waitForOutput(QUESTION));
        session->write("n\n");
        compareRun(session->finish(), 0, UNTIL_QUESTION + EXITING);
    }

    void noQuestionWithoutAnInstallation_data()
    {
        const Rows<QStringList, QByteArray> row("options", "output");
        const QByteArray report = reportOf("5.9", {{"P1", "text"}});
        row("-l", {"-l"}, report);
        row("-L", {"-L"}, compactReportOf("5.9", {}, {"P1"}));
        row("-n", {"-n"}, report + DRY_RUN);
        row("-n -Q", {"-n", "-Q"}, report + DRY_RUN);
    }

    // The input stays open: a run that waited for an answer would not end.
    void noQuestionWithoutAnInstallation()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        InstallableRelease release;
        compareRun(release.start(options)->finish(), 0, output);
    }
};

TAVRIN_TEST_MAIN(TstQuestion)
#include "tst_question.moc"
