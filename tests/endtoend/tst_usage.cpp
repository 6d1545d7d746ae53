// Command lines that the program does not accept: Qt's message on standard error, status 1, and nothing else, not even
// the checks of the installation.
#include "program_run.h"
#include "test.h"

class TstUsage : public Test
{
    Q_OBJECT

private slots:
    void faultyCommandLineEndsTheRun_data()
    {
        const Rows<QStringList, QByteArray> row("arguments", "errors");
        row("-h", {"-t", "-h"}, "tavrin_update: Unknown option 'h'.\n");
        row("--help", {"-t", "--help"}, "tavrin_update: Unknown option 'help'.\n");
        row("--help-all", {"-t", "--help-all"}, "tavrin_update: Unknown option 'help-all'.\n");
        row("--version", {"-t", "--version"}, "tavrin_update: Unknown option 'version'.\n");
        row("an unknown letter", {"-t", "-x"}, "tavrin_update: Unknown option 'x'.\n");
        row("a known letter in capitals", {"-t", "-V"}, "tavrin_update: Unknown option 'V'.\n");
        row("an unknown letter in a cluster", {"-t", "-lx"}, "tavrin_update: Unknown option 'x'.\n");
        row("two unknown options", {"-t", "-x", "-y"}, "tavrin_update: Unknown options: x, y.\n");
        row("-m without a value", {"-t", "-m"}, "tavrin_update: Missing value after '-m'.\n");
        row("-r without a value", {"-t", "-r"}, "tavrin_update: Missing value after '-r'.\n");
        row("a value for an option without one", {"-t", "-l=x"}, "tavrin_update: Unexpected value after '-l'.\n");
    }

    void faultyCommandLineEndsTheRun()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QByteArray, errors);
        compareRun(Program().run(arguments), 1, {}, errors);
    }

    void windowRunEndsTheSameWay()
    {
        compareRun(Program().offscreen().run({"-h"}), 1, {}, "tavrin_update: Unknown option 'h'.\n");
    }

    void commandLineComesBeforeTheInstallation()
    {
        Program program;
        program.tavrin("/nowhere");
        compareRun(program.run({"-t", "-x"}), 1, {}, "tavrin_update: Unknown option 'x'.\n");
        QCOMPARE(program.runningSystemQueries(), 0);
    }
};

TAVRIN_TEST_MAIN(TstUsage)
#include "tst_usage.moc"
