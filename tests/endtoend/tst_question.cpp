// The yes/no question before an installation: which answers mean what, what happens at the end of the input, and that
// a user sees the question before the program waits for the answer.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

namespace {

const QByteArray YES = "\n";

const QByteArray UNTIL_QUESTION = reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + QUESTION;
const QByteArray INSTALLATION =
    DOWNLOAD + downloaded({"P1.tar"}) + APPLY + installing("P1.tar", {"patched/P1"}) + FINISH;

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
        row("an empty line, then the end", "\n", QUESTION_AGAIN);
        row("an empty line, then y", "\ny\n", QUESTION_AGAIN + YES);
        row("a blank in front, then y", " y\ny\n", QUESTION_AGAIN + YES);
        row("a tab in front of n, then the end", "\tn\n", QUESTION_AGAIN);
        row("other words, then yes", "ok\nsure\nyes\n", QUESTION_AGAIN + QUESTION_AGAIN + YES);
        row("a letter beyond ASCII, then y", "\xc3\xbd\ny\n", QUESTION_AGAIN + YES);
        row("a carriage return, then y", "\r\ny\n", QUESTION_AGAIN + YES);
        row("a NUL, then y", QByteArray("\0n\ny\n", 5), QUESTION_AGAIN + YES);
        row("a long line, then y", QByteArray(100000, 'x') + "\ny\n", QUESTION_AGAIN + YES);
    }

    void yesInstalls()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, dialogue);
        InstallableRelease release;
        release.program.input(input);
        compareRun(release.run(), 0, UNTIL_QUESTION + dialogue + INSTALLATION);
        QVERIFY(release.has("patched/P1"));
    }

    void noLeavesEverythingAsItIs_data()
    {
        const Rows<QByteArray, QByteArray> row("input", "dialogue");
        row("n", "n\n", EXITING);
        row("N", "N\n", EXITING);
        row("no", "no\n", EXITING);
        row("No", "No\n", EXITING);
        row("nope", "nope\n", EXITING);
        row("ny", "ny\n", EXITING);
        row("n without a line break", "n", EXITING);
        row("only the first answer counts", "n\ny\n", EXITING);
        row("an empty line first", "\nn\n", QUESTION_AGAIN + EXITING);
        row("a blank in front, then n", " y\nn\n", QUESTION_AGAIN + EXITING);
    }

    void noLeavesEverythingAsItIs()
    {
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, dialogue);
        InstallableRelease release;
        const QStringList before = release.installation.tree();
        release.program.input(input);
        compareRun(release.run(), 0, UNTIL_QUESTION + dialogue);
        QCOMPARE(release.installation.tree(), before);
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
        compareRun(session->finish(), 0, UNTIL_QUESTION + QUESTION_AGAIN + YES + INSTALLATION);
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
