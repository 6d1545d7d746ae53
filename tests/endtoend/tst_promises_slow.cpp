// A tool that does not end within its time limit ends a run in a terminal like any other failure, for each patch and
// for the page script, and it is the only process that gets a signal. A mailer that hangs is passed over. All runs wait
// at the same time.
#include "ordered_release.h"
#include "test.h"

#include <map>

namespace {

const QByteArray HANGS = "exec /bin/sleep 600";

struct HangingRun
{
    OrderedRelease release;
    std::unique_ptr<ProgramSession> session;

    explicit HangingRun(const QString& name) : release(name)
    {
    }
};

} // namespace

class TstPromisesSlow : public Test
{
    Q_OBJECT

private slots:
    void firstToolThatHangsEndsTheRun_data()
    {
        // installed: the patches before it
        const Rows<QString, int> row("release", "installed");
        row("first", "first", 0);
        row("second", "second", 1);
        row("third", "third", 2);
        row("page script", "page", 3);
    }

    void firstToolThatHangsEndsTheRun()
    {
        QFETCH(QString, release);
        QFETCH(int, installed);
        HangingRun& run = *runs.at(release);
        const OrderedRelease& place = run.release;
        const bool isPage = installed == 3;
        const QByteArray tool = isPage ? QByteArray("perl") : place.installation.path("bin/bsdtar").toUtf8();
        compareRun(run.session->finish(), 1, place.outputUntil(installed) + (isPage ? PAGE : QByteArray()),
                   "QProcess: Destroyed while process (\"" + tool + "\") is still running.\n" +
                       commandFailed(tool, "Process operation timed out"));
        QCOMPARE(place.tools.callLines(),
                 isPage ? place.callsUntil(3) + QStringList{place.pageCall()} : place.callsUntil(installed + 1));
        QCOMPARE(place.files(), OrderedRelease::filesAfter(installed, {"P1.tar", "P2.tar", "P3.tar"}));
        compareOnlySignal(place);
    }

    void mailerThatHangsIsPassedOver()
    {
        HangingRun& run = *runs.at("mailer");
        compareRun(run.session->finish(), 0, {}, "QProcess: Destroyed while process (\"perl\") is still running.\n");
        QCOMPARE(run.release.files(), OrderedRelease::filesAfter(0, {}));
        compareOnlySignal(run.release);
    }

private:
    // Only the tool that was started last has been killed.
    static void compareOnlySignal(const OrderedRelease& release)
    {
        const QList<SystemCall> calls = release.program.tracedCalls();
        int lastStarted = 0;
        for (const SystemCall& call : calls) {
            lastStarted = call.isOfProgram && call.startsProgram() ? call.process : lastStarted;
        }
        QCOMPARE(signalsOfProgram(calls),
                 QList<QByteArray>{"kill(" + QByteArray::number(lastStarted) + ", SIGKILL) = 0"});
    }

    void setUp() override
    {
        if (runs.empty()) {
            for (int position = 0; position < 3; ++position) {
                started(QStringList{"first", "second", "third"}.at(position)).release.failAt(position, HANGS);
            }
            started("page").release.tools.add("perl", FakeTool::running(HANGS));
            started("mailer").release.tools.add("perl", FakeTool::running(HANGS));
            for (const auto& [name, run] : runs) {
                run->release.program.traceCalls().timeLimit(120000);
                run->session = run->release.start(name == "mailer" ? QStringList{"-m", "ops"} : QStringList());
                run->session->write("y\n");
                run->session->closeInput();
            }
        }
    }

    HangingRun& started(const QString& name)
    {
        runs[name] = std::make_unique<HangingRun>(name);
        return *runs.at(name);
    }

    std::map<QString, std::unique_ptr<HangingRun>> runs;
};

TAVRIN_TEST_MAIN(TstPromisesSlow)
#include "tst_promises_slow.moc"
