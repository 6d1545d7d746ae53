// The window as its user meets it: the built program on a display of its own, with keys and mouse pressed from outside.
// What it did shows on the screen, in the requests that a patch server saw, in the installation's files and, as it asks
// for the running systems whenever it has filled its list and every second from then on, in the number of those calls.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"
#include "test_files.h"
#include "virtual_display.h"

#include <algorithm>

using Answer = FakePatchServer::Answer;
using Paths = QList<QByteArray>;

namespace {

const QString TITLE = QStringLiteral("Update Tavrin version '5.9'");
const QByteArray CONFLICTING_SYSTEM = "5.9\tuser\t/home/user\t4711\n";

// Places in the window; a negative coordinate counts from the right or the lower edge.
const QPoint FILE_MENU(20, 10);
const QPoint APPLY_BUTTON(60, -22);
const QPoint ADDRESS_FIELD(300, 216);
const QPoint DONE_BUTTON(-50, -22);
const QPoint PROGRESS_TEXT(-200, -120);

// The applied marks of a short list, and nothing else; without a list it is blank.
const QRect MARKS(107, 265, 60, 110);

// A machine that does something else besides needs longer for everything; nothing waits this long when all is well.
const int PATIENCE = 60000;

// An archive with a file and the mark that says that the patch is applied.
Answer archiveFor(const FakeInstallation& installation, const QString& name)
{
    const QByteArray mark = archiveOf(installation.path("patched/" + name), QByteArray());
    const int endOfArchive = 1024;
    return Answer::body(mark.chopped(endOfArchive) +
                        archiveOf(installation.path("lib/" + name), "new with " + name.toUtf8()));
}

// A server with the list and an archive for each patch.
void offer(FakePatchServer& server, const FakeInstallation& installation, const QStringList& names)
{
    server.answer("/", Answer::body(pageOf(names).html()));
    for (const QString& name : names) {
        server.answer("/" + name.toUtf8() + ".tar", archiveFor(installation, name));
    }
}

// The names of the entries that came to an installation; anything else that changed in it stands there in full.
QStringList changes(const QStringList& before, const QStringList& after)
{
    QStringList lines;
    for (const QString& line : after) {
        if (!before.contains(line)) {
            lines << line.section(' ', -1);
        }
    }
    for (const QString& line : before) {
        if (!after.contains(line)) {
            lines << "gone: " + line;
        }
    }
    lines.sort();
    return lines;
}

} // namespace

/** A display with the program on it. */
class Desk
{
public:
    Desk();

    /** Starts the program and waits for its window. */
    void open(const QStringList& arguments, const QString& title = TITLE);

    /** Waits until the window has filled its list. */
    void waitForList();

    /** Waits until the window has gone on working for a while, so that what was pressed before has had its effect. */
    void waitForRefresh();

    /** Whether the marks of a list are on the screen. */
    bool marksAreDrawn() const;

    /** The marks, once they are on the screen and everything that was to be drawn has been. */
    QByteArray finalMarks();

    /** The only other window on the screen, once there is one; empty after a while without. */
    QString waitForOtherWindow();

    VirtualDisplay display;
    Program program;
    std::unique_ptr<ProgramSession> session;
    QString window;

private:
    QString theOtherWindow();
};

Desk::Desk()
{
    program.set("DISPLAY", display.name()).set("QT_QPA_PLATFORM", "xcb");
}

void Desk::open(const QStringList& arguments, const QString& title)
{
    session = program.start(arguments);
    const QString pattern = '^' + QString(title).replace('.', "\\.") + '$';
    QTRY_VERIFY_WITH_TIMEOUT(!display.windows(pattern).isEmpty() || !session->isRunning(), PATIENCE);
    if (!session->isRunning()) {
        QFAIL("the program ended instead of opening its window; " + describe(session->finish()));
    }
    window = display.windows(pattern).value(0);
    QCOMPARE(display.windows(), QStringList{window});
}

void Desk::waitForList()
{
    // The first call is that of the start.
    QTRY_VERIFY_WITH_TIMEOUT(program.runningSystemQueries() >= 2, PATIENCE);
}

void Desk::waitForRefresh()
{
    const int before = program.runningSystemQueries();
    QTRY_VERIFY_WITH_TIMEOUT(program.runningSystemQueries() >= before + 2, PATIENCE);
}

bool Desk::marksAreDrawn() const
{
    // Without a window, too, the screen is of one colour.
    const QByteArray picture = display.picture(MARKS);
    return picture != picture.left(4).repeated(picture.size() / 4);
}

QByteArray Desk::finalMarks()
{
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(marksAreDrawn(), PATIENCE);
    }();
    waitForRefresh();
    return display.picture(MARKS);
}

QString Desk::theOtherWindow()
{
    QStringList others = display.windows();
    others.removeAll(window);
    return others.size() == 1 ? others.first() : QString();
}

QString Desk::waitForOtherWindow()
{
    QString other;
    [&] {
        QTRY_VERIFY_WITH_TIMEOUT(!(other = theOtherWindow()).isEmpty(), PATIENCE);
    }();
    return other;
}

class TstWindow : public Test
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        const QString missing = VirtualDisplay::missing();
        if (!missing.isEmpty()) {
            QSKIP(qPrintable(missing));
        }
    }

    // A library for OpenGL that Qt unloads at the end leaves a leak without a name to the sanitizer; a theme or a style
    // has the window look different.
    void windowLoadsNothingOfTheMachinesDesktop()
    {
        Desk desk;
        desk.open({"file:///nowhere/"}, "Update Tavrin version ''");
        QVERIFY(!desk.window.isEmpty());
        const QByteArray memory = contentOf(QString("/proc/%1/maps").arg(desk.session->processId()));
        QVERIFY(memory.contains("/plugins/platforms/libqxcb.so"));
        for (const char* kind : {"xcbglintegrations", "platformthemes", "styles"}) {
            QVERIFY2(!memory.contains(QByteArray("/plugins/") + kind + '/'), kind);
        }
        desk.display.press(desk.window, {"ctrl+q"});
        compareRun(desk.session->finish(), 0, QByteArray());
    }

    void oneWindowOpensAndFillsItsList()
    {
        const FakeInstallation installation;
        const QStringList before = installation.tree();
        FakePatchServer server;
        server.answer("/", Answer::body(pageOf(QStringList{"P1", "P2"}).html()).held());

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.open({server.url()});
        QVERIFY(!desk.window.isEmpty());
        QCOMPARE(desk.display.geometryOf(desk.window).size(), QSize(700, 800));
        QTRY_COMPARE_WITH_TIMEOUT(server.requestedPaths(), Paths{"/"}, PATIENCE);
        QVERIFY(!desk.marksAreDrawn());
        server.release("/");
        desk.waitForList();
        QTRY_VERIFY_WITH_TIMEOUT(desk.marksAreDrawn(), PATIENCE);

        QCOMPARE(desk.display.windows(), QStringList{desk.window});
        desk.display.press(desk.window, {"ctrl+q"});
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(server.requestedPaths(), Paths{"/"});
        QCOMPARE(installation.tree(), before);
    }

    void patchesAreApplied_data()
    {
        // keys: to the button; none for the mouse
        // lists: to leave the field with the address is to ask for the list again
        const Rows<QStringList, int> row("keys", "lists");

        row("with the mouse", {}, 1);
        row("with the Tab key", {"Tab", "Tab", "Tab", "Tab", "Tab", "Tab"}, 2);
        row("with the Tab key backwards", {"shift+Tab", "shift+Tab"}, 1);
    }

    void patchesAreApplied()
    {
        QFETCH(QStringList, keys);
        QFETCH(int, lists);
        FakeInstallation installation;
        installation.withTools().withPatched("P2");
        const QStringList before = installation.tree();
        FakePatchServer server;
        offer(server, installation, {"P1", "P2", "P3"});

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.open({server.url()});
        desk.waitForList();
        QTRY_VERIFY_WITH_TIMEOUT(desk.marksAreDrawn(), PATIENCE);
        if (keys.isEmpty()) {
            desk.display.click(desk.window, APPLY_BUTTON);
        } else {
            // Without a list the button cannot be used, and the keyboard passes it by.
            server.answer("/", Answer::body(pageOf(QStringList{"P1", "P2", "P3"}).html()).held());
            const QString lastKey = keys.takeLast();
            desk.display.press(desk.window, keys);
            QTRY_COMPARE_WITH_TIMEOUT(server.requestedPaths().count("/"), lists, PATIENCE);
            QTRY_COMPARE_WITH_TIMEOUT(desk.marksAreDrawn(), lists == 1, PATIENCE);
            server.release("/");
            QTRY_VERIFY_WITH_TIMEOUT(desk.marksAreDrawn(), PATIENCE);
            desk.display.press(desk.window, {lastKey, "space"});
        }
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation.path("applied_patches.html")), appliedPage({"P1", "P2", "P3"}),
                                  PATIENCE);
        const QStringList expected{"applied_patches.html", "lib/P1",         "lib/P3",        "patched/P1",
                                   "patched/P3",           "patches/P1.tar", "patches/P3.tar"};
        QCOMPARE(changes(before, installation.tree()), expected);
        QCOMPARE(contentOf(installation.path("lib/P1")), QByteArray("new with P1"));
        QCOMPARE(contentOf(installation.path("lib/P3")), QByteArray("new with P3"));
        Paths requested = server.requestedPaths();
        std::sort(requested.begin(), requested.end());
        Paths expectedRequests{"/P1.tar", "/P3.tar"};
        for (int i = 0; i < lists; ++i) {
            expectedRequests.prepend("/");
        }
        QCOMPARE(requested, expectedRequests);

        // Nothing is left to apply.
        desk.waitForRefresh();
        const QStringList after = installation.tree();
        desk.display.click(desk.window, APPLY_BUTTON);
        desk.waitForRefresh();
        QCOMPARE(desk.display.windows(), QStringList{desk.window});
        desk.display.press(desk.window, {"ctrl+q"});
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(server.requestedPaths().size(), expectedRequests.size());
        QCOMPARE(installation.tree(), after);
    }

    // A window that has just been opened reads the marks from the installation; the one that applied the patches is to
    // show the same.
    void marksChangeWithTheInstallation()
    {
        FakeInstallation installation;
        installation.withTools().withPatched("P2");
        FakePatchServer server;
        offer(server, installation, {"P1", "P2", "P3"});

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.open({server.url()});
        desk.waitForList();
        const QByteArray before = desk.finalMarks();
        desk.display.click(desk.window, APPLY_BUTTON);
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation.path("applied_patches.html")), appliedPage({"P1", "P2", "P3"}),
                                  PATIENCE);

        Desk later;
        later.program.tavrin(installation.path());
        later.open({server.url()});
        later.waitForList();
        const QByteArray expected = later.finalMarks();
        QVERIFY(expected != before);
        QTRY_VERIFY_WITH_TIMEOUT(desk.display.picture(MARKS) == expected, PATIENCE);

        for (Desk* each : {&desk, &later}) {
            each->display.press(each->window, {"ctrl+q"});
            compareRun(each->session->finish(), 0, QByteArray());
        }
    }

    void everyWayOutEndsWithStatusZero_data()
    {
        QTest::addColumn<QString>("way");
        QTest::addColumn<bool>("downloading");

        for (const char* way : {"Ctrl+Q", "Meta+Q", "Ctrl+Q in the address", "Meta+Q in the address", "Quit by mouse",
                                "Quit by keyboard", "Done by mouse", "Done by keyboard", "closed in its frame"}) {
            QTest::addRow("%s", way) << QString(way) << false;
            QTest::addRow("%s in the middle of a download", way) << QString(way) << true;
        }
    }

    void everyWayOutEndsWithStatusZero()
    {
        QFETCH(QString, way);
        QFETCH(bool, downloading);
        FakeInstallation installation;
        installation.withTools();
        const QStringList before = installation.tree();
        FakePatchServer server;
        offer(server, installation, {"P1"});
        server.answer("/P1.tar", archiveFor(installation, "P1").held());

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.open({server.url()});
        desk.waitForList();
        Paths requests{"/"};
        if (downloading) {
            desk.display.click(desk.window, APPLY_BUTTON);
            requests << "/P1.tar";
        }
        QTRY_COMPARE_WITH_TIMEOUT(server.requestedPaths(), requests, PATIENCE);

        if (way.endsWith("in the address")) {
            desk.display.click(desk.window, ADDRESS_FIELD);
        }
        if (way == "closed in its frame") {
            desk.display.close(desk.window);
        } else if (way == "Done by mouse") {
            desk.display.click(desk.window, DONE_BUTTON);
        } else if (way == "Done by keyboard") {
            desk.display.click(desk.window, PROGRESS_TEXT);
            desk.display.press(desk.window, {"Tab", "Tab", "space"});
        } else if (way.startsWith("Quit")) {
            if (way == "Quit by mouse") {
                desk.display.click(desk.window, FILE_MENU);
                const QString menu = desk.waitForOtherWindow();
                desk.display.click(menu, QPoint(20, -10));
            } else {
                desk.display.press(desk.window, {"Alt_L", "Down"});
                const QString menu = desk.waitForOtherWindow();
                QVERIFY(!menu.isEmpty());
                desk.display.press(desk.window, {"Return"});
            }
        } else {
            desk.display.press(desk.window, {way.startsWith("Ctrl") ? "ctrl+q" : "super+q"});
        }
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(server.requestedPaths(), requests);
        QCOMPARE(installation.tree(), before);
    }

    void plainQDoesNotEnd()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        offer(server, installation, {"P1"});

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.open({server.url()});
        desk.waitForList();
        desk.display.press(desk.window, {"q", "shift+q", "alt+q"});
        desk.waitForRefresh();
        QVERIFY(desk.session->isRunning());
        QCOMPARE(desk.display.windows(), QStringList{desk.window});
        desk.display.press(desk.window, {"ctrl+shift+q"});
        compareRun(desk.session->finish(), 0, QByteArray());
    }

    void failedDownloadShowsABoxAndTheProgramGoesOn_data()
    {
        const Rows<QString> row("key");

        row("closed with Return", "Return");
        row("closed with Escape", "Escape");
    }

    // The steps after the downloads are taken all the same, and what is still missing can be applied once more.
    void failedDownloadShowsABoxAndTheProgramGoesOn()
    {
        QFETCH(QString, key);
        FakeInstallation installation;
        installation.withTools();
        const QStringList before = installation.tree();
        FakePatchServer server;
        offer(server, installation, {"P1"});
        server.answer("/P1.tar", Answer::status(500));

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.open({server.url()});
        desk.waitForList();
        desk.display.click(desk.window, APPLY_BUTTON);
        const QString box = desk.waitForOtherWindow();
        QVERIFY(!box.isEmpty());
        QCOMPARE(installation.tree(), before);
        desk.display.press(box, {key});
        QTRY_COMPARE_WITH_TIMEOUT(desk.display.windows(), QStringList{desk.window}, PATIENCE);
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation.path("applied_patches.html")), appliedPage({}), PATIENCE);
        desk.waitForRefresh();
        QCOMPARE(desk.display.windows(), QStringList{desk.window});
        QCOMPARE(changes(before, installation.tree()), QStringList{"applied_patches.html"});

        server.answer("/P1.tar", archiveFor(installation, "P1"));
        desk.display.click(desk.window, APPLY_BUTTON);
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation.path("applied_patches.html")), appliedPage({"P1"}), PATIENCE);
        desk.display.click(desk.window, DONE_BUTTON);
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(changes(before, installation.tree()),
                 (QStringList{"applied_patches.html", "lib/P1", "patched/P1", "patches/P1.tar"}));
        QCOMPARE(server.requestedPaths(), (Paths{"/", "/P1.tar", "/P1.tar"}));
    }

    void failedChecksStillOpenTheWindow_data()
    {
        // release: of an installation that lacks a folder; none for no TAVRIN
        const Rows<QString, QString> row("release", "title");

        row("no TAVRIN", {}, "Update Tavrin version ''");
        row("an installation that cannot be written", "5.9", TITLE);
    }

    void failedChecksStillOpenTheWindow()
    {
        QFETCH(QString, release);
        QFETCH(QString, title);
        FakeInstallation installation;
        installation.without("patched");
        const QStringList before = installation.tree();
        FakePatchServer server;
        offer(server, installation, {"P1"});

        Desk desk;
        if (!release.isEmpty()) {
            desk.program.tavrin(installation.path());
        }
        desk.open({server.url()}, title);
        QVERIFY(!desk.window.isEmpty());
        desk.display.click(desk.window, APPLY_BUTTON);
        desk.display.press(desk.window, {"shift+Tab", "Tab", "space", "Tab", "space"}); // the same button, then Done
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(server.requestedPaths(), Paths());
        QCOMPARE(installation.tree(), before);
    }

    void conflictIsOverriddenByKeyboardAndConfirmed()
    {
        FakeInstallation installation;
        installation.withTools();
        const QStringList before = installation.tree();
        FakePatchServer server;
        offer(server, installation, {"P1"});

        Desk desk;
        desk.program.tavrin(installation.path()).runningSystems(CONFLICTING_SYSTEM);
        desk.open({server.url()});
        desk.waitForList();
        desk.display.click(desk.window, APPLY_BUTTON);
        desk.waitForRefresh();
        QCOMPARE(desk.display.windows(), QStringList{desk.window});
        QCOMPARE(server.requestedPaths(), Paths{"/"});

        // The keyboard begins in the table. The refresh takes away the cell that it went to, and then it leaves the
        // table.
        desk.display.press(desk.window, {"Tab"});
        desk.waitForRefresh();
        desk.display.press(desk.window, {"Tab", "space"});

        desk.display.click(desk.window, APPLY_BUTTON);
        const QString refused = desk.waitForOtherWindow();
        QCOMPARE(desk.display.windows("^Update Tavrin$"), QStringList{refused});
        desk.display.press(refused, {"Escape"});
        QTRY_COMPARE_WITH_TIMEOUT(desk.display.windows(), QStringList{desk.window}, PATIENCE);
        desk.waitForRefresh();
        QCOMPARE(server.requestedPaths(), Paths{"/"});
        QCOMPARE(installation.tree(), before);

        desk.display.click(desk.window, APPLY_BUTTON);
        const QString confirmed = desk.waitForOtherWindow();
        QCOMPARE(desk.display.windows("^Update Tavrin$"), QStringList{confirmed});
        desk.display.press(confirmed, {"alt+y"});
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation.path("applied_patches.html")), appliedPage({"P1"}), PATIENCE);
        desk.display.click(desk.window, DONE_BUTTON);
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(changes(before, installation.tree()),
                 (QStringList{"applied_patches.html", "lib/P1", "patched/P1", "patches/P1.tar"}));
        QCOMPARE(server.requestedPaths(), (Paths{"/", "/P1.tar"}));
    }

    void conflictThatGoesAwayFreesTheButton()
    {
        FakeInstallation installation;
        installation.withTools();
        FakePatchServer server;
        offer(server, installation, {"P1"});

        Desk desk;
        desk.program.tavrin(installation.path()).runningSystems(CONFLICTING_SYSTEM);
        desk.open({server.url()});
        desk.waitForList();
        desk.display.click(desk.window, APPLY_BUTTON);
        desk.waitForRefresh();
        QCOMPARE(server.requestedPaths(), Paths{"/"});
        desk.program.runningSystems(QByteArray());
        desk.waitForRefresh();
        desk.display.click(desk.window, APPLY_BUTTON);
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation.path("applied_patches.html")), appliedPage({"P1"}), PATIENCE);
        QCOMPARE(desk.display.windows(), QStringList{desk.window});
        desk.display.press(desk.window, {"ctrl+q"});
        compareRun(desk.session->finish(), 0, QByteArray());
        QCOMPARE(server.requestedPaths(), (Paths{"/", "/P1.tar"}));
    }

    void terminalRunOpensNoWindow_data()
    {
        const Rows<QStringList> row("options");

        row("-l", {"-l"});
        row("-t -l", {"-t", "-l"});
        row("-t", {"-t"});
    }

    void terminalRunOpensNoWindow()
    {
        QFETCH(QStringList, options);
        const FakeInstallation installation;
        const QStringList before = installation.tree();
        FakePatchServer server;
        server.answer("/", Answer::body(pageOf(QStringList{"P1"}).html()).held());

        Desk desk;
        desk.program.tavrin(installation.path());
        desk.session = desk.program.start(options + QStringList{server.url()});
        // A window would have been shown before the list is asked for.
        QTRY_COMPARE_WITH_TIMEOUT(server.requestedPaths(), Paths{"/"}, PATIENCE);
        QCOMPARE(desk.display.windows(), QStringList());
        server.release("/");
        QByteArray expected = reportOf("5.9", {{"P1", "Corrects P1."}});
        if (options == QStringList{"-t"}) {
            expected += "Check for running real time systems ...\n"
                        "No running Tavrin Real Time System of version '5.9' detected.\n"
                        "\nDo you wish to download and install these patches [y|n]?\n";
            QVERIFY(desk.session->waitForOutput(expected));
            QCOMPARE(desk.display.windows(), QStringList());
            desk.session->write("n\n");
            expected += "\nExiting\n";
        }
        compareRun(desk.session->finish(), 0, expected);
        QCOMPARE(desk.display.windows(), QStringList());
        QCOMPARE(installation.tree(), before);
    }
};

TAVRIN_TEST_MAIN(TstWindow)

#include "tst_window.moc"
