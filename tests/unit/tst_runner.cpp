// How other programs are run: pipeToSystemCommand() with real programs. The reason why a program cannot be started is
// Qt's text; the test gets it from a QProcess of its own. Chains of programs are tested in tst_runner_chain, the limits
// of 30 seconds in tst_runner_slow.
#include "helper_run.h"
#include "runner_window.h"
#include "test.h"

#include <csignal>
#include <sys/types.h>

using Logic = TavrinUpdateBusinessLogic;

class TstRunner : public Test
{
    Q_OBJECT

private slots:
    void goodRunGivesTheOutput_data()
    {
        const Rows<QString, QStringList, QString, QString> row("command", "arguments", "input", "output");
        const QString accents = QString::fromUtf8("\xc3\xa9\xc3\xbf");
        const QStringList words{"a b", "", "$HOME", "*", "'quoted' ", "\"", ";", "%1", accents};
        row("arguments are passed without a shell", "perl", QStringList{"-e", "print join('|', @ARGV)", "--"} + words,
            {}, words.join('|'));
        row("command is found on the search path", "echo", {"found"}, {}, "found\n");
        row("working directory is inherited", "/bin/sh", {"-c", "pwd -P"}, {}, QDir::current().canonicalPath() + '\n');

        row("null input stays open", "perl", {"-e", TELL_INPUT_STATE}, {}, "open");
        row("empty input stays open", "perl", {"-e", TELL_INPUT_STATE}, "", "open");
        row("given input ends", "perl", {"-e", "<STDIN>; " + TELL_INPUT_STATE}, "a line\n", "ended");
        row("unread input does not matter", "echo", {"did not look"}, QString(MEGABYTE, 'x'), "did not look\n");

        const QStringList printHex{"-e", "binmode STDIN; local $/; my $in = <STDIN>; print unpack('H*', $in)"};
        row("plain input", "perl", printHex, "ab\n", "61620a");
        row("input in Latin-1", "perl", printHex, accents, "e9ff");
        row("input that is not Latin-1", "perl", printHex, QString::fromUtf8("a\xe2\x82\xac\xc5\x82z"), "613f3f7a");
        row("input up to its NUL", "perl", printHex, QString("ab%1cd").arg(QChar(0)), "6162");
        row("input that begins with NUL", "perl", printHex, QString("%1cd").arg(QChar(0)), "");

        const QString lines = QString("line %1\n").arg(QString(90, '-')).repeated(MEGABYTE / 96);
        const QString printMegabyte = QString("print 'o' x %1; ").arg(MEGABYTE);
        const QString complainMegabyte = QString("print STDERR 'e' x %1").arg(MEGABYTE);
        row("large input", "/bin/cat", {}, lines, lines);
        row("large standard output", "perl", {"-e", printMegabyte}, {}, QString(MEGABYTE, 'o'));
        row("large standard error as well", "perl", {"-e", printMegabyte + complainMegabyte}, {},
            QString(MEGABYTE, 'e'));
    }

    void goodRunGivesTheOutput()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, arguments);
        QFETCH(QString, input);
        QFETCH(QString, output);
        const RunnerWindow window;
        QCOMPARE(window.initialized, QString());
        QCOMPARE(window.run(command, arguments, input), success(output));
    }

    void echoIsShownWhenVerbose_data()
    {
        const Rows<QString, QStringList, QString> row("command", "arguments", "line");
        row("two arguments", "/bin/echo", {"a", "b"}, "/bin/echo a b");
        row("space after a command without arguments", "/bin/true", {}, "/bin/true ");
        row("argument with spaces is not quoted", "/bin/echo", {"a  b", "", "c"}, "/bin/echo a  b  c");
        row("place markers are not replaced", "/nowhere/%1", {"%2", "%1", "%L1"}, "/nowhere/%1 %2 %1 %L1");
        row("line break at the end", "/bin/true", {"a\n"}, "/bin/true a\n");
    }

    void echoIsShownWhenVerbose()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, arguments);
        QFETCH(QString, line);
        const RunnerWindow window(WindowLogic::verboseOptions());
        window.run(command, arguments);
        QCOMPARE(window.events, QStringList{"log:Executing system command: " + line});
    }

    void nothingIsShownWhenNotVerbose()
    {
        const RunnerWindow window;
        window.shell("echo output; echo error >&2");
        window.run("/nowhere/program", {});
        window.run("/nowhere/program", {}, "text");
        QCOMPARE(window.events, QStringList());
    }

    void outputIsClearedBeforeTheEcho()
    {
        const RunnerWindow window(WindowLogic::verboseOptions());
        QString output = "left from before";
        QString outputAtEcho = "no echo";
        connect(&window.logic, &Logic::appendProgress, this, [&](const QString&) { outputAtEcho = output; });
        QVERIFY(window.logic.pipeToSystemCommand("/bin/true", {}, output, QString()));
        QCOMPARE(outputAtEcho, QString());
        QCOMPARE(output, QString());
    }

    void outputIsStandardErrorOrElseStandardOutput_data()
    {
        const Rows<QString, QString> row("script", "output");
        row("standard output", "echo output", "output\n");
        row("standard error", "echo error >&2", "error\n");
        row("both", "echo output; echo error >&2; echo again", "error\n");
        row("only a line break on standard error", "echo output; echo >&2", "\n");
        row("nothing", ":", "");
        row("white space is kept", "printf ' a \\n\\n'", " a \n\n");
        row("UTF-8 on standard output", "printf '\\303\\251'", QString::fromUtf8("\xc3\xa9"));
        row("UTF-8 on standard error", "printf '\\342\\202\\254' >&2", QString::fromUtf8("\xe2\x82\xac"));
        row("not UTF-8", "printf '\\351x'", QString(QChar(QChar::ReplacementCharacter)) + 'x');
    }

    void outputIsStandardErrorOrElseStandardOutput()
    {
        QFETCH(QString, script);
        QFETCH(QString, output);
        const RunnerWindow window;
        QCOMPARE(window.shell(script), success(output));
        QCOMPARE(window.shell(script + "; exit 1"), failure(output));
        QCOMPARE(window.shell(script, "not read"), success(output));
    }

    void outputIsUtf8InEveryLocale()
    {
        const RunnerWindow window;
        const LocalEncoding encoding("ISO-8859-1");
        QCOMPARE(window.shell("printf '\\303\\251'"), success(QChar(0xe9)));
        QCOMPARE(window.shell("printf '\\303\\251' >&2"), success(QChar(0xe9)));
    }

    void onlyExitCodeZeroIsASuccess_data()
    {
        const Rows<QString, PipeOutcome> row("script", "outcome");
        row("0", "echo output; exit 0", success("output\n"));
        for (const char* code : {"1", "2", "127", "128", "255"}) {
            row(code, QString("echo output; exit %1").arg(code), failure("output\n"));
        }
        row("killed", "kill -KILL $$", failure(""));
        row("killed after standard output", "echo output; kill -KILL $$", failure("output\n"));
        row("terminated after standard error", "echo output; echo error >&2; kill -TERM $$", failure("error\n"));
    }

    void onlyExitCodeZeroIsASuccess()
    {
        QFETCH(QString, script);
        QTEST(RunnerWindow().shell(script), "outcome");
    }

    void programLeftInTheBackgroundIsNotWaitedFor()
    {
        const RunnerWindow window;
        const auto [succeeded, output] = window.shell("sleep 600 & echo $!"); // it holds both channels open
        const pid_t pid = output.trimmed().toInt();
        QVERIFY2(pid > 0, qPrintable(output));
        QCOMPARE(::kill(pid, SIGKILL), 0);
        QVERIFY(succeeded);
    }

    void programThatCannotStartIsReported_data()
    {
        const Rows<QString, QStringList> row("command", "arguments");
        row("missing", "/nowhere/program", {"-a", "b c"});
        row("no arguments", "/nowhere/program", {});
        row("not on the search path", "no-such-program", {"x"});
        row("not executable", "/etc/passwd", {"x"});
        row("directory", "/etc", {"x"});
        row("place markers are not replaced", "/nowhere/%1", {"%2", "%1"});
        row("command is not split", "/bin/echo one", {});
    }

    void programThatCannotStartIsReported()
    {
        QFETCH(QString, command);
        QFETCH(QStringList, arguments);
        const RunnerWindow window;
        const QString reason = startErrorOf(command);
        QVERIFY(!reason.isEmpty());
        const QString message = "System command '" + command + "' failed:\n  " + reason;
        QCOMPARE(window.run(command, arguments, QString()), failure(message));
        QCOMPARE(window.run(command, arguments, ""), failure(message));
        const QString line = command + ' ' + arguments.join(' ');
        QCOMPARE(window.run(command, arguments, "text"),
                 failure("Failed to start system command: " + line + ":\n" + reason));
    }
};

TAVRIN_TEST_MAIN(TstRunner)
#include "tst_runner.moc"
