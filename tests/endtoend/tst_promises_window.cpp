// The window opens the same files for writing as a terminal run and starts the same programs, as strace shows it, and
// it sends no signal.
#include "shown_window_test.h"
#include "test_paths.h"

#include <QStandardPaths>

class TstPromisesWindow : public ShownWindowTest
{
    Q_OBJECT

private slots:
    void windowWritesAndStartsTheSameAsATerminalRun()
    {
        offer({"P1", "P2"});
        program->traceCalls();
        openList();
        screen->click(APPLY_BUTTON);
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation->path("applied_patches.html")), appliedPage({"P1", "P2"}),
                                  PATIENCE);
        screen->quit();
        const QList<SystemCall> calls = program->tracedCalls();
        QList<QByteArray> written;
        for (const QByteArray& file : filesWrittenByProgram(calls)) {
            if (!file.startsWith(program->home().toUtf8())) { // Qt may keep things there
                written << file;
            }
        }
        const QByteArray folder = installation->path("patches/").toUtf8();
        QCOMPARE(written, (QList<QByteArray>{"/dev/null", folder + "P1.tar", folder + "P2.tar"}));
        const QString archiver = installation->path("bin/bsdtar");
        QCOMPARE(commandsStartedByProgram(calls),
                 (QList<QByteArray>{commandOf({programPath(), server->url()}),
                                    commandOf({archiver, "-xvPf", folder + "P1.tar"}),
                                    commandOf({archiver, "-xvPf", folder + "P2.tar"}),
                                    commandOf({QStandardPaths::findExecutable("perl", {"/usr/local/bin", "/usr/bin"}),
                                               installation->path("bin/ozna_installed_patches")})}));
        QCOMPARE(signalsOfProgram(calls), QList<QByteArray>());
    }
};

TAVRIN_TEST_MAIN(TstPromisesWindow)
#include "tst_promises_window.moc"
