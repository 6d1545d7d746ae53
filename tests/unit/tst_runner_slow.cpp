// Programs that hang: each wait of the runner ends after 30 seconds, and the program has ended when the runner returns.
// The limit cannot be shortened, so all waits run at the same time, each in a thread of its own, before the first test
// function checks their results.
#include "test.h"
#include "test_files.h"
#include "window_logic.h"

#include <QElapsedTimer>
#include <QThread>

#include <cerrno>
#include <csignal>
#include <functional>
#include <map>
#include <utility>

#include <sys/types.h>

using Logic = TavrinUpdateBusinessLogic;

namespace {

// One call of the runner in a thread of its own, and its results.
class SlowCall : public QThread
{
public:
    // Gets the arguments that make /bin/sh hang. Returns the runner's message, and leaves the output of a chain.
    using Call = std::function<QString(const Logic& logic, const QStringList& hanging, QByteArray& output)>;

    explicit SlowCall(Call givenCall) : call(std::move(givenCall))
    {
        initialized = logic.initialize(WindowLogic::quietOptions());
    }

    QString initialized;
    QString message;
    QByteArray output = "left from before";
    qint64 waited = 0;
    bool shellIsGone = false; // the one that hangs; also false when it was never started

protected:
    void run() override
    {
        const QString file = directory.filePath("pid");
        QElapsedTimer clock;
        clock.start();
        // The shell prints a line, writes its process id to a file, ignores SIGTERM and hangs.
        message = call(logic, {"-c", "echo output; echo $$ >" + file + "; trap '' TERM; exec sleep 600"}, output);
        waited = clock.elapsed();
        const pid_t pid = contentOf(file).trimmed().toInt();
        shellIsGone = pid > 0 && ::kill(pid, 0) == -1 && errno == ESRCH;
    }

private:
    const Call call;
    Logic logic{"tavrin_update"};
    QTemporaryDir directory;
};

SlowCall::Call pipeWithInput(const QString& input)
{
    return [input](const Logic& logic, const QStringList& hanging, QByteArray&) {
        QString text = "left from before";
        const bool succeeded = logic.pipeToSystemCommand("/bin/sh", hanging, text, input);
        return succeeded ? "succeeded: " + text : text;
    };
}

} // namespace

class TstRunnerSlow : public Test
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        installation = std::make_unique<FakeInstallation>();
        qputenv("TAVRIN", installation->path().toUtf8());
        const QString mark = installation->path("lib/second-was-here");
        add("no input", pipeWithInput({}));
        add("input", pipeWithInput("text"));
        add("first of a chain", [mark](const Logic& logic, const QStringList& hanging, QByteArray& output) {
            return logic.systemCommandChain("/bin/sh", hanging, "touch", {mark}, output);
        });
        add("second of a chain", [](const Logic& logic, const QStringList& hanging, QByteArray& output) {
            return logic.systemCommandChain("echo", {"text"}, "/bin/sh", hanging, output);
        });
        add("long chain", [](const Logic& logic, const QStringList&, QByteArray& output) {
            return logic.systemCommandChain("/bin/sh", {"-c", "sleep 17; echo first"}, "/bin/sh",
                                            {"-c", "sleep 17; cat; echo second"}, output);
        });

        MessageGuard warnings;
        for (int hanging = 0; hanging < 4; ++hanging) {
            warnings.expect("QProcess: Destroyed while process (\"/bin/sh\") is still running.");
        }
        for (const auto& [name, call] : calls) {
            call->start();
        }
        for (const auto& [name, call] : calls) {
            call->wait();
        }
        QCOMPARE(warnings.complaint(), QString());
    }

    void cleanupTestCase()
    {
        calls.clear();
        installation.reset();
    }

    void hangingProgramIsKilled_data()
    {
        const Rows<QString> row("message");
        const QString failed = "System command '/bin/sh' failed:\n  Process operation timed out";
        const QString incomplete = "System command did not complete\n'/bin/sh'\nProcess operation timed out";
        row("no input", failed);
        row("input", failed);
        row("first of a chain", incomplete);
        row("second of a chain", incomplete);
    }

    void hangingProgramIsKilled()
    {
        const SlowCall& call = *calls.at(QTest::currentDataTag());
        QTEST(call.message, "message");
        QVERIFY2(call.waited >= 30000 && call.waited < 40000, qPrintable(QString::number(call.waited)));
        QCOMPARE(call.output, QByteArray("left from before"));
        QVERIFY(call.shellIsGone);
    }

    void secondOfAChainIsNotStartedAfterAHangingFirst()
    {
        QVERIFY(!QFileInfo::exists(installation->path("lib/second-was-here")));
    }

    void limitsOfAChainDoNotAddUp()
    {
        const SlowCall& call = *calls.at("long chain");
        QCOMPARE(call.message, QString());
        QCOMPARE(call.output, QByteArray("first\nsecond\n"));
    }

private:
    void add(const QByteArray& name, SlowCall::Call call)
    {
        auto& added = calls[name] = std::make_unique<SlowCall>(std::move(call));
        QCOMPARE(added->initialized, QString());
    }

    std::unique_ptr<FakeInstallation> installation;
    std::map<QByteArray, std::unique_ptr<SlowCall>> calls;
};

TAVRIN_TEST_MAIN(TstRunnerSlow)
#include "tst_runner_slow.moc"
