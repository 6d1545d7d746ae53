// The window for its user: what opens it, its contents, and every way to quit. tst_window_apply tests what is done in
// it.
#include "fake_tools.h"
#include "shown_window_test.h"

#include <functional>

using Way = std::function<void(WindowOnDisplay&)>;

Q_DECLARE_METATYPE(Way)

class TstWindow : public ShownWindowTest
{
    Q_OBJECT

private slots:
    // The drivers for OpenGL, which no part of this window draws with, take longer to load than all the rest and more
    // memory. The bearer plug-ins would look at the network interfaces every ten seconds. A theme or a style would
    // change the look of the window for these tests.
    void windowLoadsNoDriversAndNoDesktopPlugins()
    {
        program->unset("TAVRIN");
        screen->open(program->start({"file:///nowhere/"}), "Update Tavrin version ''");
        const QByteArray memory = contentOf(QString("/proc/%1/maps").arg(screen->session->processId()));
        QVERIFY(memory.contains("/plugins/platforms/libqxcb.so"));
        for (const char* name : {"/plugins/xcbglintegrations/", "/dri/", "/libEGL", "/libGLX_", "/libLLVM",
                                 "/plugins/bearer/", "/plugins/platformthemes/", "/plugins/styles/"}) {
            QVERIFY2(!memory.contains(name), name);
        }
        screen->quit();
    }

    void toolsOfAWindowRunGetTheUsersEnvironment_data()
    {
        const Rows<QList<QByteArray>> row("choice");
        row("nothing about OpenGL", {});
        row("a choice of OpenGL", {"QT_XCB_GL_INTEGRATION=none"});
    }

    // The mailer is also started without -t, where the program is on the display without a window.
    void toolsOfAWindowRunGetTheUsersEnvironment()
    {
        QFETCH(QList<QByteArray>, choice);
        if (!choice.isEmpty()) {
            program->set("QT_XCB_GL_INTEGRATION", "none");
        }
        FakeTools tools;
        program->path(tools.pathDirectory() + ":/usr/bin:/bin");
        FakeTool mailer;
        mailer.readsInput = true;
        tools.add("perl", mailer);
        offer({"P1"});
        const QStringList mail{"-m", "ops@site.test", server->url()};
        compareRun(program->run(QStringList{"-t"} + mail), 0, {});
        compareRun(program->run(mail), 0, {});
        tools.add("perl");
        openList();
        screen->click(APPLY_BUTTON);
        QTRY_COMPARE_WITH_TIMEOUT(tools.calls().size(), 3, PATIENCE);
        screen->quit();

        const QList<FakeToolCall> calls = tools.calls();
        QList<QByteArray> choicesInATerminal;
        for (const QByteArray& setting : calls.first().environment) {
            if (setting.startsWith("QT_XCB_GL_INTEGRATION=")) {
                choicesInATerminal << setting;
            }
        }
        QCOMPARE(choicesInATerminal, choice);
        QCOMPARE(calls.at(1).environment, calls.first().environment);
        QCOMPARE(calls.at(2).environment, calls.first().environment);
    }

    void oneWindowOpensAndFillsItsList()
    {
        server->answer("/", Answer::body(pageOf({"P1", "P2"}).html()).held());
        open();
        QCOMPARE(screen->display.geometryOf(screen->window).size(), QSize(700, 800));
        QTRY_COMPARE_WITH_TIMEOUT(server->requestedPaths(), Paths{"/"}, PATIENCE);
        QVERIFY(!screen->marksAreDrawn());
        server->release("/");
        screen->waitForList();
        screen->waitForMarks();

        screen->compareOnlyWindow();
        screen->quit();
        QCOMPARE(server->requestedPaths(), Paths{"/"});
        compareNewEntries({});
    }

    void everyWayToQuitEndsWithStatusZero_data()
    {
        const Rows<Way, bool> row("way", "downloading");
        // In the window, a negative coordinate counts from the right or the lower edge.
        const QPoint fileMenu(20, 10);
        const QPoint addressField(300, 216);
        const QPoint progressText(-200, -120);
        const auto both = [&row](const QByteArray& name, const Way& way) {
            row(name, way, false);
            row(name + " during a download", way, true);
        };
        both("Ctrl+Q", [](WindowOnDisplay& w) { w.press({"ctrl+q"}); });
        both("Meta+Q", [](WindowOnDisplay& w) { w.press({"super+q"}); });
        both("Ctrl+Q in the address", [=](WindowOnDisplay& w) {
            w.click(addressField);
            w.press({"ctrl+q"});
        });
        both("Meta+Q in the address", [=](WindowOnDisplay& w) {
            w.click(addressField);
            w.press({"super+q"});
        });
        both("Quit by mouse", [=](WindowOnDisplay& w) {
            w.click(fileMenu);
            w.display.click(w.waitForOtherWindow(), QPoint(20, -10));
        });
        both("Quit by keyboard", [](WindowOnDisplay& w) {
            w.press({"Alt_L", "Down"});
            QVERIFY(!w.waitForOtherWindow().isEmpty());
            w.press({"Return"});
        });
        both("Done by mouse", [](WindowOnDisplay& w) { w.click(DONE_BUTTON); });
        both("Done by keyboard", [=](WindowOnDisplay& w) {
            w.click(progressText);
            w.press({"Tab", "Tab", "space"});
        });
        both("closed by the window manager", [](WindowOnDisplay& w) { w.display.close(w.window); });
    }

    void everyWayToQuitEndsWithStatusZero()
    {
        QFETCH(Way, way);
        QFETCH(bool, downloading);
        offer({"P1"});
        server->answer("/P1.tar", archiveFor("P1").held());
        openList();
        Paths requests{"/"};
        if (downloading) {
            screen->click(APPLY_BUTTON);
            requests << "/P1.tar";
        }
        QTRY_COMPARE_WITH_TIMEOUT(server->requestedPaths(), requests, PATIENCE);
        way(*screen);
        screen->compareEnd();
        QCOMPARE(server->requestedPaths(), requests);
        compareNewEntries({});
    }

    void plainQDoesNotEnd()
    {
        offer({"P1"});
        openList();
        screen->press({"q", "shift+q", "alt+q"});
        screen->waitForRefresh();
        QVERIFY(screen->session->isRunning());
        screen->compareOnlyWindow();
        screen->press({"ctrl+shift+q"});
        screen->compareEnd();
    }

    void failedChecksStillOpenTheWindow_data()
    {
        const Rows<bool, QString> row("tavrinIsSet", "title");
        row("no TAVRIN", false, "Update Tavrin version ''");
        row("an installation that cannot be written", true, WINDOW_TITLE);
    }

    void failedChecksStillOpenTheWindow()
    {
        QFETCH(bool, tavrinIsSet);
        QFETCH(QString, title);
        installation->without("patched");
        treeBefore = installation->tree();
        offer({"P1"});
        if (!tavrinIsSet) {
            program->unset("TAVRIN");
        }
        open(title);
        screen->click(APPLY_BUTTON);
        screen->press({"shift+Tab", "Tab", "space", "Tab", "space"}); // the same button, then Done
        screen->compareEnd();
        QCOMPARE(server->requestedPaths(), Paths());
        compareNewEntries({});
    }

    void terminalRunOpensNoWindow_data()
    {
        const Rows<QStringList, QByteArray, QByteArray> row("options", "question", "afterAnswer");
        row("-l", {"-l"}, {}, {});
        row("-t -l", {"-t", "-l"}, {}, {});
        row("-t", {"-t"}, NO_CONFLICT + QUESTION, "\nExiting\n");
    }

    void terminalRunOpensNoWindow()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, question);
        QFETCH(QByteArray, afterAnswer);
        server->answer("/", Answer::body(pageOf({"P1"}).html()).held());
        const auto session = program->start(options + QStringList{server->url()});
        // A window would have been shown before the list is asked for.
        QTRY_COMPARE_WITH_TIMEOUT(server->requestedPaths(), Paths{"/"}, PATIENCE);
        QCOMPARE(screen->display.windows(), QStringList());
        server->release("/");
        const QByteArray asked = reportOf("5.9", {{"P1", "Corrects P1."}}) + question;
        QVERIFY(session->waitForOutput(asked));
        QCOMPARE(screen->display.windows(), QStringList());
        if (!afterAnswer.isEmpty()) {
            session->write("n\n");
        }
        compareRun(session->finish(), 0, asked + afterAnswer);
        QCOMPARE(screen->display.windows(), QStringList());
        compareNewEntries({});
    }
};

TAVRIN_TEST_MAIN(TstWindow)
#include "tst_window.moc"
