// The one door to other programs: pipeToSystemCommand() and systemCommandChain() with real programs. What a program
// that could not be started is said to have died of is Qt's text, asked of a QProcess of the test's own. The limits of
// 30 seconds are in tst_runner_slow.
#include "helper_run.h"
#include "test.h"
#include "window_logic.h"

#include <QDir>
#include <QTextCodec>

#include <csignal>
#include <sys/types.h>

using Logic = TavrinUpdateBusinessLogic;

namespace {

const QString PRINT_INPUT_AS_HEX = QStringLiteral("binmode STDIN; local $/; my $in = <STDIN>; print unpack('H*', $in)");

// Says whether standard input still has a writer: an input at its end is readable, one nobody has ended is not. The
// half second is there for an end that comes late.
const QString TELL_INPUT_STATE =
    QStringLiteral("my $set = ''; vec($set, 0, 1) = 1; print select($set, undef, undef, 0.5) ? 'ended' : 'open'");

constexpr int MEGABYTE = 1 << 20;

// Another local encoding as long as this object lives.
class LocalEncoding
{
public:
    explicit LocalEncoding(const char* name) : before(QTextCodec::codecForLocale())
    {
        QTextCodec::setCodecForLocale(QTextCodec::codecForName(name));
    }

    ~LocalEncoding()
    {
        QTextCodec::setCodecForLocale(before);
    }

    LocalEncoding(const LocalEncoding&) = delete;
    LocalEncoding& operator=(const LocalEncoding&) = delete;

private:
    QTextCodec* before;
};

struct Outcome
{
    bool succeeded = false;
    QString output;
};

// A window run that starts programs.
struct Window : WindowLogic
{
    explicit Window(bool verbose = false) : WindowLogic(verbose ? verboseOptions() : quietOptions())
    {
    }

    Outcome run(const QString& command, const QStringList& arguments, const QString& input = QString()) const
    {
        Outcome outcome;
        outcome.output = "left from before";
        outcome.succeeded = logic.pipeToSystemCommand(command, arguments, outcome.output, input);
        return outcome;
    }

    Outcome shell(const QString& script, const QString& input = QString()) const
    {
        return run("/bin/sh", {"-c", script}, input);
    }
};

} // namespace

class TstRunner : public Test
{
    Q_OBJECT

private slots:
    void argumentsArePassedWithoutAShell()
    {
        const Window window;
        QCOMPARE(window.initialized, QString());
        const QStringList arguments{
            "a b", "", "$HOME", "*", "'quoted' ", "\"", ";", "%1", QString::fromUtf8("\xc3\xa9")};
        const Outcome outcome = window.run("perl", QStringList{"-e", "print join('|', @ARGV)", "--"} + arguments);
        QCOMPARE(outcome.output, arguments.join('|'));
        QVERIFY(outcome.succeeded);
    }

    void commandIsNotSplit()
    {
        const Window window;
        const Outcome outcome = window.run("/bin/echo one", {});
        QCOMPARE(outcome.output, "System command '/bin/echo one' failed:\n  " + startErrorOf("/bin/echo one"));
        QVERIFY(!outcome.succeeded);
    }

    void commandIsFoundOnTheSearchPath()
    {
        const Window window;
        const Outcome outcome = window.run("echo", {"found"});
        QCOMPARE(outcome.output, QString("found\n"));
        QVERIFY(outcome.succeeded);
    }

    void workingDirectoryIsInherited()
    {
        const Window window;
        QCOMPARE(window.shell("pwd -P").output, QDir::current().canonicalPath() + '\n');
    }

    void echoIsShownWhenVerbose_data()
    {
        const Rows<QString, QStringList, QString> row("command", "arguments", "line");
        row("two arguments", "/bin/echo", {"a", "b"}, "Executing system command: /bin/echo a b");
        row("no arguments end in the blank", "/bin/true", {}, "Executing system command: /bin/true ");
        row("argument with blanks is not quoted", "/bin/echo", {"a  b", "", "c"},
            "Executing system command: /bin/echo a  b  c");
        row("place markers stay", "/nowhere/%1", {"%2", "%1", "%L1"},
            "Executing system command: /nowhere/%1 %2 %1 %L1");
        row("line break at the end", "/bin/true", {"a\n"}, "Executing system command: /bin/true a\n");
    }

    void echoIsShownWhenVerbose()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        const Window window(true);
        window.run(command, arguments);
        QCOMPARE(window.events, QStringList{"log:" + line});
    }

    void nothingIsShownWhenNotVerbose()
    {
        const Window window;
        window.shell("echo said; echo complained >&2");
        window.run("/nowhere/program", {});
        window.run("/nowhere/program", {}, "text");
        QCOMPARE(window.events, QStringList());
    }

    void outputIsEmptiedBeforeTheEcho()
    {
        const Window window(true);
        QString output = "left from before";
        QString outputAtEcho = "no echo came";
        connect(&window.logic, &Logic::appendProgress, this, [&](const QString&) { outputAtEcho = output; });
        QVERIFY(window.logic.pipeToSystemCommand("/bin/true", {}, output, QString()));
        QCOMPARE(outputAtEcho, QString());
        QCOMPARE(output, QString());
    }

    void inputIsWrittenInLatin1UpToTheFirstNul_data()
    {
        const Rows<QString, QString> row("input", "hex");
        row("plain", "ab\n", "61620a");
        row("Latin-1", QString::fromUtf8("\xc3\xa9\xc3\xbf"), "e9ff");
        row("beyond Latin-1", QString::fromUtf8("a\xe2\x82\xac\xc5\x82z"), "613f3f7a");
        row("NUL in the middle", QString("ab%1cd").arg(QChar(0)), "6162");
        row("NUL in front", QString("%1cd").arg(QChar(0)), "");
    }

    void inputIsWrittenInLatin1UpToTheFirstNul()
    {
        QFETCH(QString, input);
        const Window window;
        const Outcome outcome = window.run("perl", {"-e", PRINT_INPUT_AS_HEX}, input);
        QTEST(outcome.output, "hex");
        QVERIFY(outcome.succeeded);
    }

    void withoutInputTheChannelStaysOpen_data()
    {
        const Rows<QString> row("input");
        row("null", {});
        row("empty", "");
    }

    void withoutInputTheChannelStaysOpen()
    {
        QFETCH(QString, input);
        const Window window;
        const Outcome outcome = window.run("perl", {"-e", TELL_INPUT_STATE}, input);
        QCOMPARE(outcome.output, QString("open"));
        QVERIFY(outcome.succeeded);
        // The same probe sees the end of an input that was given and is read.
        QCOMPARE(window.run("perl", {"-e", "<STDIN>; " + TELL_INPUT_STATE}, "a line\n").output, QString("ended"));
    }

    void inputThatNobodyReadsDoesNotMatter()
    {
        const Window window;
        const Outcome outcome = window.shell("echo did not look", QString(MEGABYTE, 'x'));
        QCOMPARE(outcome.output, QString("did not look\n"));
        QVERIFY(outcome.succeeded);
    }

    void outputIsStandardErrorOrElseStandardOutput_data()
    {
        const Rows<QString, QString> row("script", "output");
        row("standard output", "echo said", "said\n");
        row("standard error", "echo complained >&2", "complained\n");
        row("both", "echo said; echo complained >&2; echo again", "complained\n");
        row("only a line break on standard error", "echo said; echo >&2", "\n");
        row("nothing", ":", "");
        row("blanks are kept", "printf ' a \\n\\n'", " a \n\n");
        row("UTF-8 on standard output", "printf '\\303\\251'", QString::fromUtf8("\xc3\xa9"));
        row("UTF-8 on standard error", "printf '\\342\\202\\254' >&2", QString::fromUtf8("\xe2\x82\xac"));
        row("not UTF-8", "printf '\\351x'", QString(QChar(QChar::ReplacementCharacter)) + 'x');
    }

    void outputIsStandardErrorOrElseStandardOutput()
    {
        QFETCH(QString, script);
        const Window window;
        const Outcome good = window.shell(script);
        QTEST(good.output, "output");
        QVERIFY(good.succeeded);
        const Outcome bad = window.shell(script + "; exit 1");
        QTEST(bad.output, "output");
        QVERIFY(!bad.succeeded);
        const Outcome withInput = window.shell(script, "read by nobody");
        QTEST(withInput.output, "output");
        QVERIFY(withInput.succeeded);
    }

    void outputIsReadInUtf8WhateverTheLocale_data()
    {
        const Rows<QString> row("redirection");
        row("standard output", "");
        row("standard error", ">&2");
    }

    void outputIsReadInUtf8WhateverTheLocale()
    {
        QFETCH(QString, redirection);
        const Window window;
        const LocalEncoding encoding("ISO-8859-1");
        const Outcome outcome = window.shell("printf '\\303\\251' " + redirection);
        QCOMPARE(outcome.output, QString(QChar(0xe9)));
        QVERIFY(outcome.succeeded);
    }

    void exitCodeDecides_data()
    {
        const Rows<int, bool> row("code", "succeeded");
        row("0", 0, true);
        for (const int code : {1, 2, 127, 128, 255}) {
            row(qPrintable(QString::number(code)), code, false);
        }
    }

    void exitCodeDecides()
    {
        QFETCH(int, code);
        const Window window;
        const Outcome outcome = window.shell(QString("echo said; exit %1").arg(code));
        QTEST(outcome.succeeded, "succeeded");
        QCOMPARE(outcome.output, QString("said\n"));
    }

    void killedProgramFails_data()
    {
        const Rows<QString, QString> row("script", "output");
        row("killed", "kill -KILL $$", "");
        row("killed after standard output", "echo said; kill -KILL $$", "said\n");
        row("terminated after standard error", "echo said; echo complained >&2; kill -TERM $$", "complained\n");
    }

    void killedProgramFails()
    {
        QFETCH(QString, script);
        const Window window;
        const Outcome outcome = window.shell(script);
        QTEST(outcome.output, "output");
        QVERIFY(!outcome.succeeded);
    }

    void programLeftInTheBackgroundIsNotWaitedFor()
    {
        const Window window;
        const Outcome outcome = window.shell("sleep 600 & echo $!"); // it holds both channels open
        const pid_t pid = outcome.output.trimmed().toInt();
        QVERIFY2(pid > 0, qPrintable(outcome.output));
        QCOMPARE(::kill(pid, SIGKILL), 0);
        QVERIFY(outcome.succeeded);
    }

    void largeOutputComesWhole()
    {
        const Window window;
        const QString errorsOnTop = QString("print 'o' x %1; print STDERR 'e' x %1").arg(MEGABYTE);
        const Outcome both = window.run("perl", {"-e", errorsOnTop});
        QVERIFY(both.succeeded);
        QVERIFY(both.output == QString(MEGABYTE, 'e'));
        const Outcome one = window.run("perl", {"-e", QString("print 'o' x %1").arg(MEGABYTE)});
        QVERIFY(one.succeeded);
        QVERIFY(one.output == QString(MEGABYTE, 'o'));
    }

    void largeInputGoesWhole()
    {
        const Window window;
        const QString input = QString("line %1\n").arg(QString(90, '-')).repeated(MEGABYTE / 96);
        const Outcome outcome = window.run("/bin/cat", {}, input);
        QVERIFY(outcome.succeeded);
        QVERIFY(outcome.output == input);
    }

    void programThatCannotStartIsReported_data()
    {
        // withoutInput: before Qt's reason
        const Rows<QString, QStringList, QString, QString> row("command", "arguments", "withoutInput", "withInput");
        row("missing", "/nowhere/program", {"-a", "b c"}, "System command '/nowhere/program' failed:\n  ",
            "Failed to start system command: /nowhere/program -a b c:\n");
        row("no arguments", "/nowhere/program", {}, "System command '/nowhere/program' failed:\n  ",
            "Failed to start system command: /nowhere/program :\n");
        row("not on the search path", "no-such-program", {"x"}, "System command 'no-such-program' failed:\n  ",
            "Failed to start system command: no-such-program x:\n");
        row("not executable", "/etc/passwd", {"x"}, "System command '/etc/passwd' failed:\n  ",
            "Failed to start system command: /etc/passwd x:\n");
        row("directory", "/etc", {"x"}, "System command '/etc' failed:\n  ",
            "Failed to start system command: /etc x:\n");
        row("place markers stay", "/nowhere/%1", {"%2", "%1"}, "System command '/nowhere/%1' failed:\n  ",
            "Failed to start system command: /nowhere/%1 %2 %1:\n");
    }

    void programThatCannotStartIsReported()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, arguments);
        QFETCH(QString, withoutInput);
        QFETCH(QString, withInput);
        const Window window;
        const QString reason = startErrorOf(command);
        QVERIFY(!reason.isEmpty());
        for (const QString& input : {QString(), QString("")}) {
            const Outcome outcome = window.run(command, arguments, input);
            QCOMPARE(outcome.output, withoutInput + reason);
            QVERIFY(!outcome.succeeded);
        }
        const Outcome outcome = window.run(command, arguments, "text");
        QCOMPARE(outcome.output, withInput + reason);
        QVERIFY(!outcome.succeeded);
    }

    void chainPassesBytesOn()
    {
        const Window window;
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("printf", {"a\\000b\\377\\n"}, "cat", {"-"}, output), QString());
        QCOMPARE(output, QByteArray("a\0b\377\n", 5));
    }

    void chainReplacesTheOutput()
    {
        const Window window;
        QByteArray output = "left from before";
        QCOMPARE(window.logic.systemCommandChain("echo", {"b"}, "sed", {"s/^/ /"}, output), QString());
        QCOMPARE(output, QByteArray(" b\n"));
        QCOMPARE(window.logic.systemCommandChain("echo", {"b"}, "sed", {"d"}, output), QString());
        QCOMPARE(output, QByteArray());
    }

    void chainPassesAMegabyte()
    {
        const Window window;
        QByteArray output;
        const QString script = QString("print 'o' x %1").arg(MEGABYTE);
        QCOMPARE(window.logic.systemCommandChain("perl", {"-e", script}, "cat", {"-"}, output), QString());
        QVERIFY(output == QByteArray(MEGABYTE, 'o'));
        QCOMPARE(window.logic.systemCommandChain("perl", {"-e", script}, "echo", {"not read"}, output), QString());
        QCOMPARE(output, QByteArray("not read\n"));
    }

    void chainIgnoresExitCodes()
    {
        const Window window;
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("/bin/sh", {"-c", "echo a; exit 3"}, "/bin/sh", {"-c", "cat; exit 4"},
                                                 output),
                 QString());
        QCOMPARE(output, QByteArray("a\n"));
        QCOMPARE(window.logic.systemCommandChain("/bin/sh", {"-c", "echo b; kill -KILL $$"}, "/bin/sh",
                                                 {"-c", "cat; kill -KILL $$"}, output),
                 QString());
        QCOMPARE(output, QByteArray("b\n"));
    }

    void chainLeavesTheFirstInputOpen()
    {
        const Window window;
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("perl", {"-e", TELL_INPUT_STATE}, "perl",
                                                 {"-e", "print <STDIN>, ' '; " + TELL_INPUT_STATE}, output),
                 QString());
        QCOMPARE(output, QByteArray("open ended"));
    }

    void chainSplitsACommandWithoutArguments()
    {
        const Window window;
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("printf \"%s-\" \"a b\"  c", {}, "sed \"s/a b/x y/\"", {}, output),
                 QString());
        QCOMPARE(output, QByteArray("x y-c-"));
    }

    void chainDoesNotSplitACommandWithArguments()
    {
        const Window window;
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("echo a", {"b"}, "cat", {}, output),
                 "System command did not complete\n'echo a'\n" + startErrorOf("echo a"));
        QCOMPARE(window.logic.systemCommandChain("echo", {"b"}, "cat -", {"-"}, output),
                 "Failed to start system command 'cat -'\n" + startErrorOf("cat -"));
    }

    void chainReportsItsFailures_data()
    {
        const Rows<QString, QStringList, QString, QStringList, QString> row("first", "firstArguments", "second",
                                                                            "secondArguments", "failure");
        const QString reason = startErrorOf("/nowhere/%1");
        const QStringList good{"-c", "cat </dev/null; echo said"};
        const QStringList complaining{"-c", QString::fromUtf8("echo said; echo 'caf\xc3\xa9' >&2")};
        const QString complaint = QString::fromUtf8("caf\xc3\xa9\n");
        row("first does not start", "/nowhere/%1", {"%2"}, "/bin/sh", good,
            "System command did not complete\n'/nowhere/%1'\n" + reason);
        row("first without arguments does not start", "/nowhere/%1", {}, "/bin/sh", good,
            "System command did not complete\n'/nowhere/%1'\n" + reason);
        row("first complains", "/bin/sh", complaining, "/bin/sh", good, complaint);
        row("second does not start", "/bin/sh", good, "/nowhere/%1", {"%2"},
            "Failed to start system command '/nowhere/%1'\n" + reason);
        row("second without arguments does not start", "/bin/sh", good, "/nowhere/%1", {},
            "Failed to start system command '/nowhere/%1'\n" + reason);
        row("second complains", "/bin/sh", good, "/bin/sh", complaining, complaint);
        row("command line is kept in the text", "/nowhere/a \"b c\"", {}, "/bin/sh", good,
            "System command did not complete\n'/nowhere/a \"b c\"'\n" + reason);
    }

    void chainReportsItsFailures()
    {
        QFETCH(QString, first);
        QFETCH(QStringList, firstArguments);
        QFETCH(QString, second);
        QFETCH(QStringList, secondArguments);
        const Window window;
        QByteArray output = "left from before";
        QTEST(window.logic.systemCommandChain(first, firstArguments, second, secondArguments, output), "failure");
        QCOMPARE(output, QByteArray("left from before"));
    }

    void chainReadsComplaintsInUtf8WhateverTheLocale()
    {
        const Window window;
        const LocalEncoding encoding("ISO-8859-1");
        const QStringList complaining{"-c", "printf '\\303\\251' >&2"};
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("/bin/sh", complaining, "/bin/cat", {"-"}, output),
                 QString(QChar(0xe9)));
        QCOMPARE(window.logic.systemCommandChain("/bin/echo", {"a"}, "/bin/sh", complaining, output),
                 QString(QChar(0xe9)));
    }

    void chainStopsAtTheFirstComplaint()
    {
        const Window window;
        const QString mark = window.installation.path("lib/second-was-here");
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("/bin/sh", {"-c", "echo one >&2"}, "/bin/sh",
                                                 {"-c", "echo two >&2; : >" + mark}, output),
                 QString("one\n"));
        QVERIFY(!QFileInfo::exists(mark));
    }

    void chainShowsNothing()
    {
        const Window window(true);
        QByteArray output;
        QCOMPARE(window.logic.systemCommandChain("echo", {"a"}, "cat", {"-"}, output), QString());
        QCOMPARE(output, QByteArray("a\n"));
        QCOMPARE(window.events, QStringList());
    }
};

TAVRIN_TEST_MAIN(TstRunner)
#include "tst_runner.moc"
