// The demonstration in each of its modes: its whole output, its status, and that it leaves no files and no processes.
// What differs between runs is normalised: the server's port and the order of the downloads.
#include "expected_texts.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"
#include "virtual_display.h"

#include <QDir>
#include <QImage>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>

namespace {

const QByteArray BUILDING = "Building tavrin_update ...\n";
const QByteArray URL = "http://127.0.0.1:PORT/patches/5.9/Linux_x86/";

const QList<UnappliedPatch> MISSING{
    {"P5903", "Trends of more than 32 points are drawn without gaps.\n"
              "Stop every trend window before this patch is applied;\nwindows that stay open keep the old drawing."},
    {"P5904", "Search & replace in displays finds names with < and > in them."},
    {"P5905", "Faster start of the historian.\nNeeds P5902."},
    {"P5906", "Adds the units kWh and MWh to the table of units."}};

const QByteArray REPORT_AND_QUESTION = reportOf("5.9", MISSING) + NO_CONFLICT + QUESTION;

const QByteArray INSTALLATION =
    DOWNLOAD + downloaded({"P5903.tar.gz", "P5904.tar.bz2", "P5905.tar.Z", "P5906.tar"}) + APPLY +
    installing("P5903.tar", {"data/pf/trend_colours.pf", "lib/trends.txt", "patched/P5903"}) +
    installing("P5904.tar.bz2", {"bin/display_search", "man/man1/display_search.1", "patched/P5904"}) +
    installing("P5905.tar", {"data/historian.txt", "patched/P5905"}) +
    installing("P5906.tar", {"data/units.txt", "patched/P5906"}) + FINISH;

const QByteArray LIST_COMMAND = "\n$ tavrin_update -t -L " + URL + '\n';
const QByteArray LIST_BEFORE =
    LIST_COMMAND + compactReportOf("5.9", {"P5901", "P5902"}, {"P5903", "P5904", "P5905", "P5906"});
const QByteArray LIST_AFTER =
    LIST_COMMAND + compactReportOf("5.9", {"P5901", "P5902", "P5903", "P5904", "P5905", "P5906"}, {});

// Patches that are applied from the start have no date and no description on the page.
const QByteArray PAGE_BEFORE = "\nThe installation's page /opt/tavrin/5.9/applied_patches.html now says:\n\n"
                               "  P5901\n"
                               "  P5902\n";
const QByteArray PAGE_AFTER = PAGE_BEFORE + "  P5903\n"
                                            "      27 February 2026\n"
                                            "      Trends of more than 32 points are drawn without gaps.\n"
                                            "      Stop every trend window before this patch is applied;\n"
                                            "      windows that stay open keep the old drawing.\n"
                                            "  P5904\n"
                                            "      16 March 2026\n"
                                            "      Search & replace in displays finds names with < and > in them.\n"
                                            "  P5905\n"
                                            "      8 April 2026\n"
                                            "      Faster start of the historian.\n"
                                            "      Needs P5902.\n"
                                            "  P5906\n"
                                            "      21 May 2026\n"
                                            "      Adds the units kWh and MWh to the table of units.\n";

const QByteArray SHELL_GREETING = R"(
The sample installation is in $TAVRIN (/opt/tavrin/5.9), its patch source at $PATCHES
(http://127.0.0.1:PORT/patches/5.9/Linux_x86/). Try for instance:

  tavrin_update -t -l $PATCHES                  what is missing
  tavrin_update -t -n $PATCHES                  what would be done
  tavrin_update -t $PATCHES                     do it
  tavrin_update -t -m you@localhost $PATCHES    mail what is missing; kept in rtmail.mbox where nothing sends mail

"exit" leaves this shell.
)";

// Runs a command and then prints the processes that are left. It runs as the first process of a PID namespace, without
// the processes and real-time systems of other tests.
const QString IN_OWN_PROCESSES = QStringLiteral(R"script(
"$@"
status=$?
for process in /proc/[0-9]*; do
    words=
    [ "$process" = /proc/1 ] || words=$(tr '\0' ' ' 2>/dev/null <"$process/cmdline")
    [ -z "$words" ] || echo "left over: $words" >&2
done
exit $status
)script");

ProgramRun normalised(ProgramRun run)
{
    QString text = QString::fromUtf8(run.output).remove('\r');
    text.replace(QRegularExpression("127\\.0\\.0\\.1:[0-9]+"), "127.0.0.1:PORT");
    QStringList lines = text.split('\n');
    const auto isDownload = [](const QString& line) {
        return line.startsWith("Downloaded ");
    };
    const auto first = std::find_if(lines.begin(), lines.end(), isDownload);
    std::sort(first, std::find_if_not(first, lines.end(), isDownload));
    run.output = lines.join('\n').toUtf8();
    return run;
}

} // namespace

class TstDemo : public Test
{
    Q_OBJECT

private slots:
    void wrongArgumentsShowTheUsage_data()
    {
        const Rows<QString> row("argument");
        row("unknown", "--nonsense");
        row("without its value", "--screenshot");
    }

    void wrongArgumentsShowTheUsage()
    {
        QFETCH(QString, argument);
        const ProgramRun run = demonstrate({argument});
        QVERIFY2(run.status == 2 && run.output.isEmpty(), describe(run));
        QVERIFY2(('\n' + run.errors).contains("\nUsage: scripts/demo"), describe(run));
    }

    void helpShowsTheUsage()
    {
        const ProgramRun run = demonstrate({"--help"});
        QVERIFY2(run.status == 0 && run.errors.isEmpty(), describe(run));
        QVERIFY2(run.output.startsWith("Usage: scripts/demo"), describe(run));
    }

    void withoutATerminalPatchesAreInstalled()
    {
        compareRun(demonstrate({}), 0,
                   BUILDING + LIST_BEFORE + "\n$ echo y | tavrin_update -t " + URL + '\n' + REPORT_AND_QUESTION + '\n' +
                       INSTALLATION + LIST_AFTER + PAGE_AFTER);
    }

    void atATerminalTheUserAnswers()
    {
        const auto session = program->start(inOwnProcesses({"script", "-qec", '\'' + demo() + '\'', "/dev/null"}));
        // With the end of the line, which the echo of the answer must not precede.
        QVERIFY2(session->waitForOutput("[y|n]?\r\n"), session->output());
        session->write("n\n");
        compareRun(normalised(session->finish()), 0,
                   BUILDING + LIST_BEFORE + "\n$ tavrin_update -t " + URL + '\n' + REPORT_AND_QUESTION + "n\n" +
                       EXITING + LIST_BEFORE + PAGE_BEFORE);
    }

    void shellHasTheProgramItsSourceAndItsManual()
    {
        program->input("pwd\n"
                       "ls patched\n"
                       "tavrin_update -t \"$PATCHES\" <<<y >installing.txt\n"
                       "echo \"status $?\"\n"
                       "ls patched\n"
                       "man tavrin_update | grep -F ' - '\n"
                       "exit 3\n");
        compareRun(demonstrate({"--shell"}), 3,
                   BUILDING + SHELL_GREETING +
                       "/opt/tavrin/5.9\n"
                       "P5901\nP5902\n"
                       "status 0\n"
                       "P5901\nP5902\nP5903\nP5904\nP5905\nP5906\n"
                       "       tavrin_update - bring an installed Tavrin release up to date\n");
    }

    void withoutADisplayAPictureOfTheWindowIsTaken_data()
    {
        const Rows<QStringList, QString> row("arguments", "picture");
        row("usual place", {"--window"}, projectBinaryDir() + "/demo-window.png");
        row("chosen place", {"--screenshot", "%1/folder/window.png"}, "%1/folder/window.png");
    }

    // The marker %1 is a folder of the test.
    void withoutADisplayAPictureOfTheWindowIsTaken()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, picture);
        const QTemporaryDir pictures;
        arguments.replaceInStrings("%1", pictures.path());
        picture.replace("%1", pictures.path());
        QFile::remove(picture);
        compareRun(demonstrate(arguments), 0,
                   BUILDING + "\n$ tavrin_update " + URL + "\nA picture of the window is in " + picture.toUtf8() +
                       '\n');
        QCOMPARE(contentOf(picture).left(8), QByteArray("\x89PNG\r\n\x1a\n"));
        const QImage image(picture);
        QCOMPARE(image.size(), QSize(700, 800));
        QSet<QRgb> colours;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                colours.insert(image.pixel(x, y));
            }
        }
        // Antialiased text, buttons and frames; an empty window has fewer colours.
        QVERIFY2(colours.size() >= 50, QByteArray::number(colours.size()));
        QVERIFY(QFile::remove(picture));
    }

    void onADisplayTheWindowIsShown()
    {
        VirtualDisplay display;
        program->set("DISPLAY", display.name()).set("DBUS_SESSION_BUS_ADDRESS", "disabled:");
        const auto session = program->start(inOwnProcesses({demo(), "--window"}));
        const QString title = "^Update Tavrin";
        QTRY_VERIFY_WITH_TIMEOUT(!display.windows(title).isEmpty() || !session->isRunning(), 120000);
        QVERIFY2(session->isRunning(), session->output());
        display.press(display.windows(title).first(), {"ctrl+q"});
        compareRun(normalised(session->finish()), 0,
                   BUILDING + LIST_BEFORE + "\n$ tavrin_update " + URL + '\n' + LIST_BEFORE + PAGE_BEFORE);
    }

private:
    void setUp() override
    {
        folder = std::make_unique<QTemporaryDir>();
        program = std::make_unique<Program>(QStringLiteral("unshare"));
        for (const QString name : {"HOME", "TMPDIR"}) {
            QVERIFY(QDir(folder->path()).mkdir(name));
            program->set(name, folder->filePath(name));
        }
        program->set("TAVRIN_DEMO_BUILD", projectBinaryDir()).timeLimit(300000);
        for (const char* name : {"LD_PRELOAD", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS"}) {
            program->unset(name);
        }
    }

    void tearDown() override
    {
        program.reset();
        QCOMPARE(listingOf(folder->filePath("HOME")), QStringList());
        QCOMPARE(listingOf(folder->filePath("TMPDIR")), QStringList());
        QCOMPARE(listingOf("/opt/tavrin"), QStringList());
        folder.reset();
    }

    static QString demo()
    {
        return projectSourceDir() + "/scripts/demo";
    }

    static QStringList inOwnProcesses(const QStringList& command)
    {
        return QStringList{"--pid", "--fork", "--kill-child", "--mount-proc", "sh", "-c", IN_OWN_PROCESSES, "sh"} +
               command;
    }

    ProgramRun demonstrate(const QStringList& arguments)
    {
        return normalised(program->run(inOwnProcesses(QStringList{demo()} + arguments)));
    }

    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<Program> program;
};

TAVRIN_TEST_MAIN(TstDemo)
#include "tst_demo.moc"
