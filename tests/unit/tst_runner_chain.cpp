// Two programs of which the second reads what the first one prints: systemCommandChain() with real programs. The limits
// of 30 seconds are tested in tst_runner_slow.
#include "helper_run.h"
#include "runner_window.h"
#include "test.h"

class TstRunnerChain : public Test
{
    Q_OBJECT

private slots:
    void secondReadsWhatTheFirstPrints_data()
    {
        const Rows<QStringList, QStringList, QByteArray> row("first", "second", "output");
        row("any byte", {"printf", "a\\000b\\377\\n"}, {"cat", "-"}, QByteArray("a\0b\377\n", 5));
        row("output is replaced", {"echo", "b"}, {"sed", "s/^/ /"}, " b\n");
        row("output is replaced by nothing", {"echo", "b"}, {"sed", "d"}, {});
        const QStringList megabyte{"perl", "-e", QString("print 'o' x %1").arg(MEGABYTE)};
        row("megabyte", megabyte, {"cat", "-"}, QByteArray(MEGABYTE, 'o'));
        row("megabyte that is not read", megabyte, {"echo", "not read"}, "not read\n");
        row("exit codes are ignored", {"sh", "-c", "echo a; exit 3"}, {"sh", "-c", "cat; exit 4"}, "a\n");
        row("killed programs as well", {"sh", "-c", "echo b; kill -KILL $$"}, {"sh", "-c", "cat; kill -KILL $$"},
            "b\n");
        row("input of the first stays open", {"perl", "-e", TELL_INPUT_STATE},
            {"perl", "-e", "print <STDIN>, ' '; " + TELL_INPUT_STATE}, "open ended");
        row("command without arguments is split", {"printf \"%s-\" \"a b\"  c"}, {"sed \"s/a b/x y/\""}, "x y-c-");
    }

    void secondReadsWhatTheFirstPrints()
    {
        QFETCH(QStringList, first);
        QFETCH(QStringList, second);
        QFETCH(QByteArray, output);
        const RunnerWindow window(WindowLogic::verboseOptions());
        QCOMPARE(window.chain(first.first(), first.mid(1), second.first(), second.mid(1)),
                 ChainOutcome(QString(), output));
        QCOMPARE(window.events, QStringList()); // no command is shown
    }

    void failuresAreReported_data()
    {
        const Rows<QStringList, QStringList, QString> row("first", "second", "failure");
        const QString reason = startErrorOf("/nowhere/%1");
        const QStringList good{"/bin/sh", "-c", "cat </dev/null; echo output"};
        const QStringList failing{"/bin/sh", "-c", QString::fromUtf8("echo output; echo 'caf\xc3\xa9' >&2")};
        const QString error = QString::fromUtf8("caf\xc3\xa9\n");
        row("first does not start", {"/nowhere/%1", "%2"}, good,
            "System command did not complete\n'/nowhere/%1'\n" + reason);
        row("first without arguments does not start", {"/nowhere/%1"}, good,
            "System command did not complete\n'/nowhere/%1'\n" + reason);
        row("first with arguments is not split", {"echo a", "b"}, {"cat"},
            "System command did not complete\n'echo a'\n" + startErrorOf("echo a"));
        row("first prints an error", failing, good, error);
        row("second does not start", good, {"/nowhere/%1", "%2"},
            "Failed to start system command '/nowhere/%1'\n" + reason);
        row("second without arguments does not start", good, {"/nowhere/%1"},
            "Failed to start system command '/nowhere/%1'\n" + reason);
        row("second with arguments is not split", {"echo", "b"}, {"cat -", "-"},
            "Failed to start system command 'cat -'\n" + startErrorOf("cat -"));
        row("second prints an error", good, failing, error);
        row("command line is not changed in the text", {"/nowhere/a \"b c\""}, good,
            "System command did not complete\n'/nowhere/a \"b c\"'\n" + reason);
    }

    void failuresAreReported()
    {
        QFETCH(QStringList, first);
        QFETCH(QStringList, second);
        QFETCH(QString, failure);
        const RunnerWindow window;
        QCOMPARE(window.chain(first.first(), first.mid(1), second.first(), second.mid(1)),
                 ChainOutcome(failure, OUTPUT_BEFORE));
    }

    void errorsAreUtf8InEveryLocale()
    {
        const RunnerWindow window;
        const LocalEncoding encoding("ISO-8859-1");
        QCOMPARE(window.shellChain("printf '\\303\\251' >&2", "cat").first, QString(QChar(0xe9)));
        QCOMPARE(window.shellChain("echo a", "printf '\\303\\251' >&2").first, QString(QChar(0xe9)));
    }

    void errorOfTheFirstEndsTheChain()
    {
        const RunnerWindow window;
        const QString mark = window.installation.path("lib/second-was-here");
        QCOMPARE(window.shellChain("echo one >&2", "echo two >&2; : >" + mark).first, QString("one\n"));
        QVERIFY(!QFileInfo::exists(mark));
    }
};

TAVRIN_TEST_MAIN(TstRunnerChain)
#include "tst_runner_chain.moc"
