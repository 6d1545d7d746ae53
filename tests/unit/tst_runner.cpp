// The one door to other programs: pipeToSystemCommand() and systemCommandChain() with real programs. What a program
// that could not be started is said to have died of is Qt's text, asked of a QProcess of the test's own. The limits of
// 30 seconds are in tst_runner_slow.
#include "helper_run.h"
#include "message_guard.h"
#include "test_main.h"
#include "window_logic.h"

#include <QDir>
#include <QTest>
#include <QTextCodec>

#include <csignal>
#include <memory>
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

class TstRunner : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void argumentsArePassedWithoutAShell();
    void commandIsNotSplit();
    void commandIsFoundOnTheSearchPath();
    void workingDirectoryIsInherited();
    void echoIsShownWhenVerbose_data();
    void echoIsShownWhenVerbose();
    void nothingIsShownWhenNotVerbose();
    void outputIsEmptiedBeforeTheEcho();
    void inputIsWrittenInLatin1UpToTheFirstNul_data();
    void inputIsWrittenInLatin1UpToTheFirstNul();
    void withoutInputTheChannelStaysOpen_data();
    void withoutInputTheChannelStaysOpen();
    void inputThatNobodyReadsDoesNotMatter();
    void outputIsStandardErrorOrElseStandardOutput_data();
    void outputIsStandardErrorOrElseStandardOutput();
    void outputIsReadInUtf8WhateverTheLocale_data();
    void outputIsReadInUtf8WhateverTheLocale();
    void exitCodeDecides_data();
    void exitCodeDecides();
    void killedProgramFails_data();
    void killedProgramFails();
    void programLeftInTheBackgroundIsNotWaitedFor();
    void largeOutputComesWhole();
    void largeInputGoesWhole();
    void programThatCannotStartIsReported_data();
    void programThatCannotStartIsReported();

    void chainPassesBytesOn();
    void chainReplacesTheOutput();
    void chainPassesAMegabyte();
    void chainIgnoresExitCodes();
    void chainLeavesTheFirstInputOpen();
    void chainSplitsACommandWithoutArguments();
    void chainDoesNotSplitACommandWithArguments();
    void chainReportsItsFailures_data();
    void chainReportsItsFailures();
    void chainReadsComplaintsInUtf8WhateverTheLocale();
    void chainStopsAtTheFirstComplaint();
    void chainShowsNothing();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstRunner::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstRunner::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstRunner::argumentsArePassedWithoutAShell()
{
    const Window window;
    QCOMPARE(window.initialized, QString());
    const QStringList arguments{"a b", "", "$HOME", "*", "'quoted' ", "\"", ";", "%1", QString::fromUtf8("\xc3\xa9")};
    const Outcome outcome = window.run("perl", QStringList{"-e", "print join('|', @ARGV)", "--"} + arguments);
    QCOMPARE(outcome.output, arguments.join('|'));
    QVERIFY(outcome.succeeded);
}

void TstRunner::commandIsNotSplit()
{
    const Window window;
    const Outcome outcome = window.run("/bin/echo one", {});
    QCOMPARE(outcome.output, "System command '/bin/echo one' failed:\n  " + startErrorOf("/bin/echo one"));
    QVERIFY(!outcome.succeeded);
}

void TstRunner::commandIsFoundOnTheSearchPath()
{
    const Window window;
    const Outcome outcome = window.run("echo", {"found"});
    QCOMPARE(outcome.output, QString("found\n"));
    QVERIFY(outcome.succeeded);
}

void TstRunner::workingDirectoryIsInherited()
{
    const Window window;
    QCOMPARE(window.shell("pwd -P").output, QDir::current().canonicalPath() + '\n');
}

void TstRunner::echoIsShownWhenVerbose_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("line");
    QTest::newRow("two arguments") << "/bin/echo" << QStringList{"a", "b"} << "Executing system command: /bin/echo a b";
    QTest::newRow("no arguments end in the blank")
        << "/bin/true" << QStringList() << "Executing system command: /bin/true ";
    QTest::newRow("argument with blanks is not quoted")
        << "/bin/echo" << QStringList{"a  b", "", "c"} << "Executing system command: /bin/echo a  b  c";
    QTest::newRow("place markers stay") << "/nowhere/%1" << QStringList{"%2", "%1", "%L1"}
                                        << "Executing system command: /nowhere/%1 %2 %1 %L1";
    QTest::newRow("line break at the end")
        << "/bin/true" << QStringList{"a\n"} << "Executing system command: /bin/true a\n";
}

void TstRunner::echoIsShownWhenVerbose()
{
    QFETCH(QString, command);
    QFETCH(QStringList, arguments);
    QFETCH(QString, line);
    const Window window(true);
    window.run(command, arguments);
    QCOMPARE(window.events, QStringList{"log:" + line});
}

void TstRunner::nothingIsShownWhenNotVerbose()
{
    const Window window;
    window.shell("echo said; echo complained >&2");
    window.run("/nowhere/program", {});
    window.run("/nowhere/program", {}, "text");
    QCOMPARE(window.events, QStringList());
}

void TstRunner::outputIsEmptiedBeforeTheEcho()
{
    const Window window(true);
    QString output = "left from before";
    QString outputAtEcho = "no echo came";
    connect(&window.logic, &Logic::appendProgress, this, [&](const QString&) { outputAtEcho = output; });
    QVERIFY(window.logic.pipeToSystemCommand("/bin/true", {}, output, QString()));
    QCOMPARE(outputAtEcho, QString());
    QCOMPARE(output, QString());
}

void TstRunner::inputIsWrittenInLatin1UpToTheFirstNul_data()
{
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("hex");
    QTest::newRow("plain") << "ab\n"
                           << "61620a";
    QTest::newRow("Latin-1") << QString::fromUtf8("\xc3\xa9\xc3\xbf") << "e9ff";
    QTest::newRow("beyond Latin-1") << QString::fromUtf8("a\xe2\x82\xac\xc5\x82z") << "613f3f7a";
    QTest::newRow("NUL in the middle") << QString("ab%1cd").arg(QChar(0)) << "6162";
    QTest::newRow("NUL in front") << QString("%1cd").arg(QChar(0)) << "";
}

void TstRunner::inputIsWrittenInLatin1UpToTheFirstNul()
{
    QFETCH(QString, input);
    const Window window;
    const Outcome outcome = window.run("perl", {"-e", PRINT_INPUT_AS_HEX}, input);
    QTEST(outcome.output, "hex");
    QVERIFY(outcome.succeeded);
}

void TstRunner::withoutInputTheChannelStaysOpen_data()
{
    QTest::addColumn<QString>("input");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString("");
}

void TstRunner::withoutInputTheChannelStaysOpen()
{
    QFETCH(QString, input);
    const Window window;
    const Outcome outcome = window.run("perl", {"-e", TELL_INPUT_STATE}, input);
    QCOMPARE(outcome.output, QString("open"));
    QVERIFY(outcome.succeeded);
    // The same probe sees the end of an input that was given and is read.
    QCOMPARE(window.run("perl", {"-e", "<STDIN>; " + TELL_INPUT_STATE}, "a line\n").output, QString("ended"));
}

void TstRunner::inputThatNobodyReadsDoesNotMatter()
{
    const Window window;
    const Outcome outcome = window.shell("echo did not look", QString(MEGABYTE, 'x'));
    QCOMPARE(outcome.output, QString("did not look\n"));
    QVERIFY(outcome.succeeded);
}

void TstRunner::outputIsStandardErrorOrElseStandardOutput_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("output");
    QTest::newRow("standard output") << "echo said"
                                     << "said\n";
    QTest::newRow("standard error") << "echo complained >&2"
                                    << "complained\n";
    QTest::newRow("both") << "echo said; echo complained >&2; echo again"
                          << "complained\n";
    QTest::newRow("only a line break on standard error") << "echo said; echo >&2"
                                                         << "\n";
    QTest::newRow("nothing") << ":"
                             << "";
    QTest::newRow("blanks are kept") << "printf ' a \\n\\n'"
                                     << " a \n\n";
    QTest::newRow("UTF-8 on standard output") << "printf '\\303\\251'" << QString::fromUtf8("\xc3\xa9");
    QTest::newRow("UTF-8 on standard error") << "printf '\\342\\202\\254' >&2" << QString::fromUtf8("\xe2\x82\xac");
    QTest::newRow("not UTF-8") << "printf '\\351x'" << QString(QChar(QChar::ReplacementCharacter)) + 'x';
}

void TstRunner::outputIsStandardErrorOrElseStandardOutput()
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

void TstRunner::outputIsReadInUtf8WhateverTheLocale_data()
{
    QTest::addColumn<QString>("redirection");
    QTest::newRow("standard output") << "";
    QTest::newRow("standard error") << ">&2";
}

void TstRunner::outputIsReadInUtf8WhateverTheLocale()
{
    QFETCH(QString, redirection);
    const Window window;
    const LocalEncoding encoding("ISO-8859-1");
    const Outcome outcome = window.shell("printf '\\303\\251' " + redirection);
    QCOMPARE(outcome.output, QString(QChar(0xe9)));
    QVERIFY(outcome.succeeded);
}

void TstRunner::exitCodeDecides_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<bool>("succeeded");
    QTest::newRow("0") << 0 << true;
    for (const int code : {1, 2, 127, 128, 255}) {
        QTest::newRow(qPrintable(QString::number(code))) << code << false;
    }
}

void TstRunner::exitCodeDecides()
{
    QFETCH(int, code);
    const Window window;
    const Outcome outcome = window.shell(QString("echo said; exit %1").arg(code));
    QTEST(outcome.succeeded, "succeeded");
    QCOMPARE(outcome.output, QString("said\n"));
}

void TstRunner::killedProgramFails_data()
{
    QTest::addColumn<QString>("script");
    QTest::addColumn<QString>("output");
    QTest::newRow("killed") << "kill -KILL $$"
                            << "";
    QTest::newRow("killed after standard output") << "echo said; kill -KILL $$"
                                                  << "said\n";
    QTest::newRow("terminated after standard error") << "echo said; echo complained >&2; kill -TERM $$"
                                                     << "complained\n";
}

void TstRunner::killedProgramFails()
{
    QFETCH(QString, script);
    const Window window;
    const Outcome outcome = window.shell(script);
    QTEST(outcome.output, "output");
    QVERIFY(!outcome.succeeded);
}

void TstRunner::programLeftInTheBackgroundIsNotWaitedFor()
{
    const Window window;
    const Outcome outcome = window.shell("sleep 600 & echo $!"); // it holds both channels open
    const pid_t pid = outcome.output.trimmed().toInt();
    QVERIFY2(pid > 0, qPrintable(outcome.output));
    QCOMPARE(::kill(pid, SIGKILL), 0);
    QVERIFY(outcome.succeeded);
}

void TstRunner::largeOutputComesWhole()
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

void TstRunner::largeInputGoesWhole()
{
    const Window window;
    const QString input = QString("line %1\n").arg(QString(90, '-')).repeated(MEGABYTE / 96);
    const Outcome outcome = window.run("/bin/cat", {}, input);
    QVERIFY(outcome.succeeded);
    QVERIFY(outcome.output == input);
}

void TstRunner::programThatCannotStartIsReported_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("withoutInput"); // before Qt's reason
    QTest::addColumn<QString>("withInput");
    QTest::newRow("missing") << "/nowhere/program" << QStringList{"-a", "b c"}
                             << "System command '/nowhere/program' failed:\n  "
                             << "Failed to start system command: /nowhere/program -a b c:\n";
    QTest::newRow("no arguments") << "/nowhere/program" << QStringList()
                                  << "System command '/nowhere/program' failed:\n  "
                                  << "Failed to start system command: /nowhere/program :\n";
    QTest::newRow("not on the search path")
        << "no-such-program" << QStringList{"x"} << "System command 'no-such-program' failed:\n  "
        << "Failed to start system command: no-such-program x:\n";
    QTest::newRow("not executable") << "/etc/passwd" << QStringList{"x"} << "System command '/etc/passwd' failed:\n  "
                                    << "Failed to start system command: /etc/passwd x:\n";
    QTest::newRow("directory") << "/etc" << QStringList{"x"} << "System command '/etc' failed:\n  "
                               << "Failed to start system command: /etc x:\n";
    QTest::newRow("place markers stay") << "/nowhere/%1" << QStringList{"%2", "%1"}
                                        << "System command '/nowhere/%1' failed:\n  "
                                        << "Failed to start system command: /nowhere/%1 %2 %1:\n";
}

void TstRunner::programThatCannotStartIsReported()
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

void TstRunner::chainPassesBytesOn()
{
    const Window window;
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("printf", {"a\\000b\\377\\n"}, "cat", {"-"}, output), QString());
    QCOMPARE(output, QByteArray("a\0b\377\n", 5));
}

void TstRunner::chainReplacesTheOutput()
{
    const Window window;
    QByteArray output = "left from before";
    QCOMPARE(window.logic.systemCommandChain("echo", {"b"}, "sed", {"s/^/ /"}, output), QString());
    QCOMPARE(output, QByteArray(" b\n"));
    QCOMPARE(window.logic.systemCommandChain("echo", {"b"}, "sed", {"d"}, output), QString());
    QCOMPARE(output, QByteArray());
}

void TstRunner::chainPassesAMegabyte()
{
    const Window window;
    QByteArray output;
    const QString script = QString("print 'o' x %1").arg(MEGABYTE);
    QCOMPARE(window.logic.systemCommandChain("perl", {"-e", script}, "cat", {"-"}, output), QString());
    QVERIFY(output == QByteArray(MEGABYTE, 'o'));
    QCOMPARE(window.logic.systemCommandChain("perl", {"-e", script}, "echo", {"not read"}, output), QString());
    QCOMPARE(output, QByteArray("not read\n"));
}

void TstRunner::chainIgnoresExitCodes()
{
    const Window window;
    QByteArray output;
    QCOMPARE(
        window.logic.systemCommandChain("/bin/sh", {"-c", "echo a; exit 3"}, "/bin/sh", {"-c", "cat; exit 4"}, output),
        QString());
    QCOMPARE(output, QByteArray("a\n"));
    QCOMPARE(window.logic.systemCommandChain("/bin/sh", {"-c", "echo b; kill -KILL $$"}, "/bin/sh",
                                             {"-c", "cat; kill -KILL $$"}, output),
             QString());
    QCOMPARE(output, QByteArray("b\n"));
}

void TstRunner::chainLeavesTheFirstInputOpen()
{
    const Window window;
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("perl", {"-e", TELL_INPUT_STATE}, "perl",
                                             {"-e", "print <STDIN>, ' '; " + TELL_INPUT_STATE}, output),
             QString());
    QCOMPARE(output, QByteArray("open ended"));
}

void TstRunner::chainSplitsACommandWithoutArguments()
{
    const Window window;
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("printf \"%s-\" \"a b\"  c", {}, "sed \"s/a b/x y/\"", {}, output),
             QString());
    QCOMPARE(output, QByteArray("x y-c-"));
}

void TstRunner::chainDoesNotSplitACommandWithArguments()
{
    const Window window;
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("echo a", {"b"}, "cat", {}, output),
             "System command did not complete\n'echo a'\n" + startErrorOf("echo a"));
    QCOMPARE(window.logic.systemCommandChain("echo", {"b"}, "cat -", {"-"}, output),
             "Failed to start system command 'cat -'\n" + startErrorOf("cat -"));
}

void TstRunner::chainReportsItsFailures_data()
{
    QTest::addColumn<QString>("first");
    QTest::addColumn<QStringList>("firstArguments");
    QTest::addColumn<QString>("second");
    QTest::addColumn<QStringList>("secondArguments");
    QTest::addColumn<QString>("failure");
    const QString reason = startErrorOf("/nowhere/%1");
    const QStringList good{"-c", "cat </dev/null; echo said"};
    const QStringList complaining{"-c", QString::fromUtf8("echo said; echo 'caf\xc3\xa9' >&2")};
    const QString complaint = QString::fromUtf8("caf\xc3\xa9\n");
    QTest::newRow("first does not start") << "/nowhere/%1" << QStringList{"%2"} << "/bin/sh" << good
                                          << "System command did not complete\n'/nowhere/%1'\n" + reason;
    QTest::newRow("first without arguments does not start")
        << "/nowhere/%1" << QStringList() << "/bin/sh" << good
        << "System command did not complete\n'/nowhere/%1'\n" + reason;
    QTest::newRow("first complains") << "/bin/sh" << complaining << "/bin/sh" << good << complaint;
    QTest::newRow("second does not start") << "/bin/sh" << good << "/nowhere/%1" << QStringList{"%2"}
                                           << "Failed to start system command '/nowhere/%1'\n" + reason;
    QTest::newRow("second without arguments does not start")
        << "/bin/sh" << good << "/nowhere/%1" << QStringList()
        << "Failed to start system command '/nowhere/%1'\n" + reason;
    QTest::newRow("second complains") << "/bin/sh" << good << "/bin/sh" << complaining << complaint;
    QTest::newRow("command line is kept in the text")
        << "/nowhere/a \"b c\"" << QStringList() << "/bin/sh" << good
        << "System command did not complete\n'/nowhere/a \"b c\"'\n" + reason;
}

void TstRunner::chainReportsItsFailures()
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

void TstRunner::chainReadsComplaintsInUtf8WhateverTheLocale()
{
    const Window window;
    const LocalEncoding encoding("ISO-8859-1");
    const QStringList complaining{"-c", "printf '\\303\\251' >&2"};
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("/bin/sh", complaining, "/bin/cat", {"-"}, output), QString(QChar(0xe9)));
    QCOMPARE(window.logic.systemCommandChain("/bin/echo", {"a"}, "/bin/sh", complaining, output), QString(QChar(0xe9)));
}

void TstRunner::chainStopsAtTheFirstComplaint()
{
    const Window window;
    const QString mark = window.installation.path("lib/second-was-here");
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("/bin/sh", {"-c", "echo one >&2"}, "/bin/sh",
                                             {"-c", "echo two >&2; : >" + mark}, output),
             QString("one\n"));
    QVERIFY(!QFileInfo::exists(mark));
}

void TstRunner::chainShowsNothing()
{
    const Window window(true);
    QByteArray output;
    QCOMPARE(window.logic.systemCommandChain("echo", {"a"}, "cat", {"-"}, output), QString());
    QCOMPARE(output, QByteArray("a\n"));
    QCOMPARE(window.events, QStringList());
}

TAVRIN_TEST_MAIN(TstRunner)
#include "tst_runner.moc"
