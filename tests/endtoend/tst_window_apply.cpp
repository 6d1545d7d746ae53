// Patches applied in the window by its user, with the mouse and with the keyboard: with a running system, after a
// failed download, and whether the screen shows the state of the installation.
#include "shown_window_test.h"

#include <algorithm>

class TstWindowApply : public ShownWindowTest
{
    Q_OBJECT

private slots:
    void patchesAreAppliedWithTheMouse()
    {
        openListOfThree();
        screen->click(APPLY_BUTTON);
        compareApplied({"/", "/P1.tar", "/P3.tar"});
    }

    void patchesAreAppliedWithTheKeyboard_data()
    {
        // keys: to the button
        // lists: leaving the URL field requests the list again
        const Rows<QStringList, int, Paths> row("keys", "lists", "requests");
        row("Tab key", {"Tab", "Tab", "Tab", "Tab", "Tab", "Tab"}, 2, {"/", "/", "/P1.tar", "/P3.tar"});
        row("Tab key backwards", {"shift+Tab", "shift+Tab"}, 1, {"/", "/P1.tar", "/P3.tar"});
    }

    void patchesAreAppliedWithTheKeyboard()
    {
        QFETCH(QStringList, keys);
        QFETCH(int, lists);
        QFETCH(Paths, requests);
        openListOfThree();
        // Without a list the button is disabled, and the Tab key skips it.
        server->answer("/", Answer::body(pageOf({"P1", "P2", "P3"}).html()).held());
        const QString lastKey = keys.takeLast();
        screen->press(keys);
        QTRY_COMPARE_WITH_TIMEOUT(server->requestedPaths().count("/"), lists, PATIENCE);
        QTRY_COMPARE_WITH_TIMEOUT(screen->marksAreDrawn(), lists == 1, PATIENCE);
        server->release("/");
        screen->waitForMarks();
        screen->press({lastKey, "space"});
        compareApplied(requests);
    }

    // A new window reads the marks from the installation; the window that applied the patches must show the same.
    void marksChangeWithTheInstallation()
    {
        openListOfThree();
        const QByteArray earlierMarks = screen->finalMarks();
        screen->click(APPLY_BUTTON);
        waitForPage({"P1", "P2", "P3"});

        Program laterProgram;
        laterProgram.tavrin(installation->path());
        WindowOnDisplay later(laterProgram);
        later.open(laterProgram.start({server->url()}));
        later.waitForList();
        const QByteArray expected = later.finalMarks();
        QVERIFY(expected != earlierMarks);
        QTRY_VERIFY_WITH_TIMEOUT(screen->marks() == expected, PATIENCE);
        screen->quit();
        later.quit();
    }

    void failedDownloadShowsABoxAndTheRunContinues_data()
    {
        const Rows<QString> row("key");
        row("closed with Return", "Return");
        row("closed with Escape", "Escape");
    }

    // The steps after the downloads are still done, and the missing patch can be applied again.
    void failedDownloadShowsABoxAndTheRunContinues()
    {
        QFETCH(QString, key);
        offer({"P1"});
        server->answer("/P1.tar", Answer::status(500));
        openList();
        screen->click(APPLY_BUTTON);
        const QString box = screen->waitForOtherWindow();
        QVERIFY(!box.isEmpty());
        compareNewEntries({});
        screen->closeOther(box, key);
        waitForPage({});
        screen->waitForRefresh();
        screen->compareOnlyWindow();
        compareNewEntries({"applied_patches.html"});

        server->answer("/P1.tar", archiveFor("P1"));
        screen->click(APPLY_BUTTON);
        endAfterP1();
        QCOMPARE(server->requestedPaths(), (Paths{"/", "/P1.tar", "/P1.tar"}));
    }

    void conflictIsOverriddenByKeyboardAndConfirmed()
    {
        offer({"P1"});
        program->runningSystems(runningSystem());
        openList();
        screen->click(APPLY_BUTTON);
        screen->waitForRefresh();
        screen->compareOnlyWindow();
        QCOMPARE(server->requestedPaths(), Paths{"/"});

        // The focus starts in the table. The refresh removes its current cell, so the next Tab key leaves the table.
        screen->press({"Tab"});
        screen->waitForRefresh();
        screen->press({"Tab", "space"});

        screen->closeOther(questionAfterApply(), "Escape");
        screen->waitForRefresh();
        QCOMPARE(server->requestedPaths(), Paths{"/"});
        compareNewEntries({});

        screen->display.press(questionAfterApply(), {"alt+y"});
        endAfterP1();
        QCOMPARE(server->requestedPaths(), (Paths{"/", "/P1.tar"}));
    }

    void conflictThatEndsEnablesTheButton()
    {
        offer({"P1"});
        program->runningSystems(runningSystem());
        openList();
        screen->click(APPLY_BUTTON);
        screen->waitForRefresh();
        QCOMPARE(server->requestedPaths(), Paths{"/"});
        program->runningSystems({});
        screen->waitForRefresh();
        screen->click(APPLY_BUTTON);
        waitForPage({"P1"});
        screen->compareOnlyWindow();
        screen->quit();
        QCOMPARE(server->requestedPaths(), (Paths{"/", "/P1.tar"}));
    }

private:
    // P2 is applied already.
    void openListOfThree()
    {
        installation->withPatched("P2");
        treeBefore = installation->tree();
        offer({"P1", "P2", "P3"});
        openList();
        screen->waitForMarks();
    }

    // Waits for the page of the applied patches, the last file that a run writes.
    void waitForPage(const QStringList& names) const
    {
        QTRY_COMPARE_WITH_TIMEOUT(contentOf(installation->path("applied_patches.html")), appliedPage(names), PATIENCE);
    }

    // Compares what is left when P1 and P3 have been applied; nothing more can be applied then.
    void compareApplied(const Paths& requests)
    {
        waitForPage({"P1", "P2", "P3"});
        compareNewEntries({"applied_patches.html", "lib/P1", "lib/P3", "patched/P1", "patched/P3", "patches/P1.tar",
                           "patches/P3.tar"});
        QCOMPARE(contentOf(installation->path("lib/P1")), QByteArray("new with P1"));
        QCOMPARE(contentOf(installation->path("lib/P3")), QByteArray("new with P3"));
        Paths requested = server->requestedPaths();
        std::sort(requested.begin(), requested.end());
        QCOMPARE(requested, requests);

        screen->waitForRefresh();
        const QStringList after = installation->tree();
        screen->click(APPLY_BUTTON);
        screen->waitForRefresh();
        screen->compareOnlyWindow();
        screen->quit();
        QCOMPARE(server->requestedPaths().size(), requests.size());
        QCOMPARE(installation->tree(), after);
    }

    QString questionAfterApply()
    {
        screen->click(APPLY_BUTTON);
        const QString question = screen->waitForOtherWindow();
        [&] {
            QCOMPARE(screen->display.windows("^Update Tavrin$"), QStringList{question});
        }();
        return question;
    }

    void endAfterP1()
    {
        waitForPage({"P1"});
        screen->click(DONE_BUTTON);
        screen->compareEnd();
        compareNewEntries({"applied_patches.html", "lib/P1", "patched/P1", "patches/P1.tar"});
    }
};

TAVRIN_TEST_MAIN(TstWindowApply)
#include "tst_window_apply.moc"
