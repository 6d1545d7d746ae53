// How the process ends while Qt's network threads run: at once, with its status and all output, and without destroying
// anything that a thread still uses. The preloaded library reports on standard error when libraries are unloaded before
// the threads have ended, so every test of the program checks that, too.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_paths.h"

#include <QElapsedTimer>

using Answer = FakePatchServer::Answer;

namespace {

// Less than the 5 seconds for which Qt waits for a thread; in milliseconds.
const int PATIENCE = 4500;

} // namespace

class TstProcessEnd : public Test
{
    Q_OBJECT

private slots:
    void failedCheckKeepsItsStatusWhileNetworkThreadsStart()
    {
        Program program;
        compareRun(program.preload(lateThreadsPath()).run({"-t"}), 1, {}, TAVRIN_NOT_SET);
    }

    void refusedDownloadsEndWithoutWaitingForThreads_data()
    {
        const Rows<Answer, QByteArray> row("answer", "reason");
        row("password required", Answer::status(401).header("WWW-Authenticate", "Basic realm=\"patches\""),
            "Host requires authentication");
        row("password for the proxy required",
            Answer::status(407).header("Proxy-Authenticate", "Basic realm=\"patches\""),
            "Proxy requires authentication");
    }

    // A network thread asks the main thread about each refusal and cannot end while it waits for the answer: Qt waits 5
    // seconds for it.
    void refusedDownloadsEndWithoutWaitingForThreads()
    {
        QFETCH(Answer, answer);
        QFETCH(QByteArray, reason);
        QStringList archives;
        for (int i = 1; i <= 40; ++i) {
            archives << QString("P%1.tar").arg(i);
        }
        ServedRelease release(archives);
        for (const QString& archive : archives) {
            release.server.answer("/5.9/" + archive.toUtf8(), answer);
        }
        for (int round = 0; round < 6; ++round) {
            const auto session = release.start();
            QVERIFY(session->waitForOutput(QUESTION));
            QElapsedTimer clock;
            clock.start();
            session->write("y\n");
            const ProgramRun run = session->finish();
            QVERIFY2(clock.elapsed() < PATIENCE, qPrintable(QString("took %1 ms").arg(clock.elapsed())));
            QVERIFY2(run.errors.startsWith("Download of " + release.server.url("/5.9/").toUtf8() + 'P'), describe(run));
            QVERIFY2(run.errors.endsWith(".tar failed: " + reason + "\n\n"), describe(run));
            QCOMPARE(run.errors.count("\n"), 2);
            QCOMPARE(run.output, untilDownload(40));
            QVERIFY2(run.status == 1 && !run.crashed, describe(run));
        }
    }

    void failedEncryptionEndsWithoutWaitingForThreads()
    {
        const FakeInstallation installation;
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress::LocalHost));
        connect(&server, &QTcpServer::newConnection, &server, [&server] {
            QTcpSocket* connection = server.nextPendingConnection();
            connection->write("no handshake\n");
            connection->disconnectFromHost();
        });
        const QString url = QString("https://127.0.0.1:%1/").arg(server.serverPort());
        for (int round = 0; round < 6; ++round) {
            QElapsedTimer clock;
            clock.start();
            const ProgramRun run = Program().tavrin(installation.path()).run({"-t", "-l", url});
            QVERIFY2(clock.elapsed() < PATIENCE, qPrintable(QString("took %1 ms").arg(clock.elapsed())));
            QVERIFY2(run.errors.startsWith("Failed to read patches from\n" + url.toUtf8() + '\n'), describe(run));
            QVERIFY2(!run.errors.contains("fake_pidrtsys"), describe(run));
            QVERIFY2(run.status == 1 && !run.crashed, describe(run));
        }
    }
};

TAVRIN_TEST_MAIN(TstProcessEnd)
#include "tst_process_end.moc"
