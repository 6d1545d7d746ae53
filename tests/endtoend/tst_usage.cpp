// Command lines that the program does not understand: Qt's message on standard error, status 1, and nothing else
// happens, not even the checks of the installation.
#include "message_guard.h"
#include "program_run.h"
#include "test_main.h"

#include <QScopedPointer>

class TstUsage : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void faultyCommandLineEndsTheRun_data();
    void faultyCommandLineEndsTheRun();
    void windowRunEndsTheSameWay();
    void commandLineComesBeforeTheInstallation();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstUsage::init()
{
    guard.reset(new MessageGuard);
}

void TstUsage::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstUsage::faultyCommandLineEndsTheRun_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("errors");

    QTest::newRow("-h") << QStringList{"-t", "-h"} << QByteArray("tavrin_update: Unknown option 'h'.\n");
    QTest::newRow("--help") << QStringList{"-t", "--help"} << QByteArray("tavrin_update: Unknown option 'help'.\n");
    QTest::newRow("--help-all") << QStringList{"-t", "--help-all"}
                                << QByteArray("tavrin_update: Unknown option 'help-all'.\n");
    QTest::newRow("--version") << QStringList{"-t", "--version"}
                               << QByteArray("tavrin_update: Unknown option 'version'.\n");
    QTest::newRow("an unknown letter") << QStringList{"-t", "-x"} << QByteArray("tavrin_update: Unknown option 'x'.\n");
    QTest::newRow("a known letter in capitals")
        << QStringList{"-t", "-V"} << QByteArray("tavrin_update: Unknown option 'V'.\n");
    QTest::newRow("an unknown letter in a cluster")
        << QStringList{"-t", "-lx"} << QByteArray("tavrin_update: Unknown option 'x'.\n");
    QTest::newRow("two unknown options") << QStringList{"-t", "-x", "-y"}
                                         << QByteArray("tavrin_update: Unknown options: x, y.\n");
    QTest::newRow("-m without a value") << QStringList{"-t", "-m"}
                                        << QByteArray("tavrin_update: Missing value after '-m'.\n");
    QTest::newRow("-r without a value") << QStringList{"-t", "-r"}
                                        << QByteArray("tavrin_update: Missing value after '-r'.\n");
    QTest::newRow("a value where none belongs")
        << QStringList{"-t", "-l=x"} << QByteArray("tavrin_update: Unexpected value after '-l'.\n");
}

void TstUsage::faultyCommandLineEndsTheRun()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, errors);
    compareRun(Program().run(arguments), 1, QByteArray(), errors);
}

void TstUsage::windowRunEndsTheSameWay()
{
    compareRun(Program().offscreen().run({"-h"}), 1, QByteArray(), "tavrin_update: Unknown option 'h'.\n");
}

void TstUsage::commandLineComesBeforeTheInstallation()
{
    Program program;
    program.tavrin("/nowhere");
    compareRun(program.run({"-t", "-x"}), 1, QByteArray(), "tavrin_update: Unknown option 'x'.\n");
    QCOMPARE(program.runningSystemQueries(), 0);
}

TAVRIN_TEST_MAIN(TstUsage)

#include "tst_usage.moc"
