// The table of running systems in the update widget, and what follows from it: whether patches may be applied, what the
// user is asked before, and how the keyboard gets out of a table that is filled anew every second.
#include "widget_scene.h"
#include "window_test.h"

#include <QApplication>
#include <QHeaderView>
#include <QScrollBar>

class TstWidgetSystems : public WindowTest
{
    Q_OBJECT

private slots:
    void firstListStartsTheRefresh()
    {
        scene->open();
        scene->populate();
        QVERIFY(scene->timer->isActive());
        QCOMPARE(scene->timer->interval(), 1000);
        QVERIFY(!scene->timer->isSingleShot());
        QCOMPARE(scene->systems.queries(), 1);
        scene->populate();
        QCOMPARE(scene->systems.queries(), 2);
        // Another list makes no second connection: one tick is one query.
        QVERIFY(QMetaObject::invokeMethod(scene->timer, "timeout"));
        QCOMPARE(scene->systems.queries(), 3);
    }

    void tableFollowsTheRunningSystems()
    {
        scene->open();
        scene->populate();
        QCOMPARE(scene->table->rowCount(), 0);
        scene->systems.set(runningSystem("5.7"));
        QTRY_COMPARE(scene->table->rowCount(), 1);
        scene->systems.set(QByteArray());
        QTRY_COMPARE(scene->table->rowCount(), 0);
    }

    void runningSystemsAreListed()
    {
        scene->systems.set(runningSystem("5.7", "alice", "/home/alice/run one", 4711) +
                           runningSystem("5.9", "bob", "/srv/b\xc3\xa9", -1));
        scene->open();
        scene->refreshTable();
        QCOMPARE(scene->table->rowCount(), 2);
        QCOMPARE(scene->cells(0), QStringList({"5.7", "No Conflict", "alice", "4711", "/home/alice/run one"}));
        QCOMPARE(scene->cells(1),
                 QStringList({"5.9", "**Conflict**", "bob", "-1", QString::fromUtf8("/srv/b\xc3\xa9")}));
        for (int column = 0; column < 5; ++column) {
            QCOMPARE(scene->table->item(0, column)->textAlignment(), int(Qt::AlignVCenter));
            QCOMPARE(scene->table->horizontalHeader()->sectionResizeMode(column), QHeaderView::ResizeToContents);
        }
        scene->refreshTable();
        QCOMPARE(scene->table->rowCount(), 2);
    }

    void noRunningSystems_data()
    {
        const Rows<QByteArray> row("lines");
        row("null array, no count", {});
        row("null array with a count", "#null 3\n");
        row("null array with a negative count", "#null -1\n");
        row("array with a count of zero", "#count 0\n" + runningSystem("5.9"));
        row("array with a negative count", "#count -1\n" + runningSystem("5.9"));
    }

    void noRunningSystems()
    {
        QFETCH(QByteArray, lines);
        scene->open();
        scene->systems.set(runningSystem("5.9"));
        scene->refreshTable();
        QCOMPARE(scene->table->rowCount(), 1);
        scene->systems.set(lines);
        scene->refreshTable();
        QCOMPARE(scene->table->rowCount(), 0);
        QCOMPARE(scene->rtsGroupBox->title(), QString("No running Tavrin Real Time Systems detected"));
        // Safe again: with a patch to apply, the button follows.
        scene->addPatches({"P1"});
        scene->logic.determinePatchesApplied();
        scene->widget->enableApplyButton();
        QVERIFY(scene->applyButton->isEnabled());
        QVERIFY(scene->warning->isHidden());
    }

    void titleCountsTheRunningSystems()
    {
        scene->open();
        scene->systems.set(runningSystem("5.7"));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), QString("1 running Tavrin Real Time System detected"));
        scene->systems.set(runningSystem("5.7") + runningSystem("5.8"));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), QString("2 running Tavrin Real Time Systems detected"));
        scene->systems.set(runningSystem("5.7").repeated(50));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), QString("50 running Tavrin Real Time Systems detected"));
        QCOMPARE(scene->table->rowCount(), 50);
    }

    void conflictIsAnExactMatch_data()
    {
        const Rows<QByteArray, QString> row("version", "expected");
        row("another release", "5.8", "No Conflict");
        row("the same release", "5.9", "**Conflict**");
        row("a longer name", "5.9p", "No Conflict");
        row("a blank at the end", "5.9 ", "No Conflict");
        row("the beginning of it", "5.", "No Conflict");
        row("empty", {}, "No Conflict");
    }

    void conflictIsAnExactMatch()
    {
        QFETCH(QByteArray, version);
        scene->systems.set(runningSystem(version));
        scene->open();
        scene->refreshTable();
        QTEST(scene->table->item(0, 1)->text(), "expected");
    }

    void firstConflictIsTheCurrentItem()
    {
        scene->open();
        scene->systems.set(runningSystem("5.7").repeated(20) + runningSystem("5.9").repeated(2));
        scene->refreshTable();
        QCOMPARE(scene->table->item(20, 1)->text(), QString("**Conflict**"));
        QCOMPARE(scene->table->item(21, 1)->text(), QString("**Conflict**"));
        QCOMPARE(scene->table->currentItem(), scene->table->item(20, 0));
        QVERIFY(scene->table->viewport()->rect().contains(scene->table->visualItemRect(scene->table->item(20, 0))));
        scene->systems.set(runningSystem("5.7"));
        scene->refreshTable();
        QCOMPARE(scene->table->currentItem(), static_cast<QTableWidgetItem*>(nullptr));
    }

    void unterminatedFieldsAreCutAtTheirEnds()
    {
        scene->systems.set(runningSystem("@fill:v", "@fill:u", "@fill:d", 1));
        scene->open();
        scene->refreshTable();
        QCOMPARE(scene->cells(0),
                 QStringList({QString(1028, 'v'), "No Conflict", QString(1024, 'u'), "1", QString(4096, 'd')}));
    }

    void titlesAreTranslatedInTheFormsContext()
    {
        scene->open();
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const QString pattern = "QtD_TavrinUpdateMainWindow[%1]";
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), pattern.arg("No running Tavrin Real Time Systems detected"));
        scene->systems.set(runningSystem("5.7"));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), pattern.arg("1 running Tavrin Real Time System detected"));
        scene->systems.set(runningSystem("5.7").repeated(3));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), pattern.arg("3 running Tavrin Real Time Systems detected"));
        QVERIFY(QCoreApplication::removeTranslator(&translator));
    }

    void refreshLeavesOtherScrollPositionsAlone()
    {
        scene->open();
        for (int i = 0; i < 100; ++i) {
            scene->addPatches({QString("P%1").arg(i)});
            emit scene->logic.appendProgress(QString("line %1").arg(i));
        }
        scene->systems.set(runningSystem("5.9").repeated(50));
        scene->populate();
        QCoreApplication::processEvents();
        scene->tree->verticalScrollBar()->setValue(30);
        scene->progress->verticalScrollBar()->setValue(17);
        scene->refreshTable();
        QCoreApplication::processEvents();
        QCOMPARE(scene->tree->verticalScrollBar()->value(), 30);
        QCOMPARE(scene->progress->verticalScrollBar()->value(), 17);
    }

    void applyButtonFollowsItsRule_data()
    {
        const Rows<bool, bool, bool, bool, bool> row("needed", "conflict", "overridden", "enabled", "warned");
        row("patches needed", true, false, false, true, false);
        row("conflict", true, true, false, false, true);
        row("conflict overridden", true, true, true, true, true);
        row("override without a conflict", true, false, true, true, false);
        row("nothing needed", false, false, false, false, false);
        row("nothing needed, conflict", false, true, false, false, false);
        row("nothing needed, conflict overridden", false, true, true, false, false);
    }

    void applyButtonFollowsItsRule()
    {
        QFETCH(bool, needed);
        QFETCH(bool, conflict);
        QFETCH(bool, overridden);
        scene->installation.withPatched("P1");
        scene->systems.set(runningSystem(conflict ? "5.9" : "5.8"));
        scene->open();
        scene->addPatches({needed ? "P2" : "P1"});
        scene->logic.determinePatchesApplied();
        scene->overrideBox->setChecked(overridden);
        scene->populate();
        QTEST(scene->applyButton->isEnabled(), "enabled");
        QTEST(scene->warning->isVisible(), "warned");
        QCOMPARE(scene->noUpdates->isVisible(), !needed);
    }

    void warningGoesWhenNothingIsNeededAnyMore()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        scene->addPatches({"P1"});
        scene->logic.determinePatchesApplied();
        scene->populate();
        QVERIFY(scene->warning->isVisible());
        QVERIFY(scene->noUpdates->isHidden());

        scene->installation.withPatched("P1");
        scene->logic.determinePatchesApplied();
        scene->refreshTable();
        QVERIFY(scene->warning->isHidden());
        QVERIFY(scene->noUpdates->isVisible());
        QVERIFY(!scene->applyButton->isEnabled());

        scene->installation.without("patched/P1");
        scene->logic.determinePatchesApplied();
        scene->refreshTable();
        QVERIFY(scene->warning->isVisible());
        QVERIFY(scene->noUpdates->isHidden());
    }

    void overrideLastsAcrossRefreshes()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        scene->addPatches({"P1"});
        scene->logic.determinePatchesApplied();
        scene->populate();
        QVERIFY(!scene->applyButton->isEnabled());
        QTest::mouseClick(scene->overrideBox, Qt::LeftButton);
        QVERIFY(scene->applyButton->isEnabled());
        scene->refreshTable();
        QVERIFY(scene->overrideBox->isChecked());
        QVERIFY(scene->applyButton->isEnabled());
        scene->systems.set(QByteArray());
        scene->refreshTable();
        QVERIFY(scene->applyButton->isEnabled());
        QVERIFY(scene->warning->isHidden());
        scene->systems.set(runningSystem("5.9"));
        scene->refreshTable();
        QVERIFY(scene->overrideBox->isChecked());
        QTest::mouseClick(scene->overrideBox, Qt::LeftButton);
        QVERIFY(!scene->applyButton->isEnabled());
    }

    void overrideGreysTheWarning()
    {
        scene->open();
        const QPalette before = scene->warningLabel->palette();
        scene->overrideBox->setChecked(true);
        const QPalette greyed = scene->warningLabel->palette();
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            QCOMPARE(greyed.brush(group, QPalette::WindowText), QBrush(Qt::darkGray, Qt::SolidPattern));
            QCOMPARE(greyed.brush(group, QPalette::Window), before.brush(group, QPalette::Window));
        }
        scene->overrideBox->setChecked(false);
        QCOMPARE(scene->warningLabel->palette(), before);
        scene->overrideBox->setTristate(true);
        scene->overrideBox->setCheckState(Qt::PartiallyChecked);
        QCOMPARE(scene->warningLabel->palette(), greyed);
    }

    void applyAsksWhileAConflictingSystemRuns_data()
    {
        const Rows<int, QString> row("answer", "progress");
        row("Yes", int(QMessageBox::Yes), "Download patch files ...");
        row("Cancel", int(QMessageBox::Cancel), "");
        row("Escape key", int(QMessageBox::NoButton), "");
    }

    void applyAsksWhileAConflictingSystemRuns()
    {
        QFETCH(int, answer);
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        scene->refreshTable();
        emit scene->logic.appendProgress("something");
        dialogs->answer(QMessageBox::StandardButton(answer));
        scene->apply();
        QCOMPARE(dialogs->dialogs().count(), 1);
        const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
        QCOMPARE(dialog.title, QString("Update Tavrin"));
        QCOMPARE(dialog.text,
                 QString("You are attempting to update Tavrin while a real-time system is running. This is "
                         "ill-advised as the consequences are, in general, unpredictable.\n"
                         "Proceed anyways?"));
        QCOMPARE(dialog.icon, QMessageBox::Warning);
        QCOMPARE(dialog.buttons, QMessageBox::Yes | QMessageBox::Cancel);
        QVERIFY(!dialog.hasDefaultButton);
        QCOMPARE(dialog.parent, static_cast<QWidget*>(scene->widget.get()));
        QTEST(scene->progress->toPlainText(), "progress");
    }

    void applyWithoutConflictAsksNothing()
    {
        scene->systems.set(runningSystem("5.8"));
        scene->open();
        scene->refreshTable();
        emit scene->logic.appendProgress("something");
        scene->apply();
        QCOMPARE(scene->progress->toPlainText(), QString("Download patch files ..."));
        QCOMPARE(dialogs->dialogs().count(), 0);
    }

    void tabKeyLeavesTheTable()
    {
        scene->systems.set(runningSystem("5.7").repeated(2));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        scene->table->setCurrentCell(0, 0);
        for (int i = 1; i < 10; ++i) {
            QTest::keyClick(scene->table, Qt::Key_Tab);
            QCOMPARE(scene->table->currentRow() * 5 + scene->table->currentColumn(), i);
            QVERIFY(scene->table->hasFocus());
        }
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QVERIFY(!scene->table->hasFocus());
        QCOMPARE(QApplication::focusWidget()->objectName(), QString("urlLineEdit"));
        QVERIFY(scene->table->tabKeyNavigation());

        scene->table->setFocus(Qt::BacktabFocusReason);
        scene->table->setCurrentCell(0, 1);
        QTest::keyClick(scene->table, Qt::Key_Backtab);
        QCOMPARE(scene->table->currentColumn(), 0);
        QTest::keyClick(scene->table, Qt::Key_Backtab);
        QCOMPARE(QApplication::focusWidget()->objectName(), QString("doneButton"));

        scene->systems.set(QByteArray());
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget()->objectName(), QString("urlLineEdit"));
    }

    void refreshDoesNotTrapTheTabKey()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QCOMPARE(scene->table->currentColumn(), 1);
        scene->refreshTable();
        QCOMPARE(scene->table->currentColumn(), 0);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QVERIFY(!scene->table->hasFocus());
    }

    void tabKeyWalksOnFromACellChosenAnew()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        scene->refreshTable();
        QTest::keyClick(scene->table, Qt::Key_Right);
        QCOMPARE(scene->table->currentColumn(), 1);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QVERIFY(scene->table->hasFocus());
        QCOMPARE(scene->table->currentColumn(), 2);
    }

    void tabKeyWalksOnWhenTheTableIsEnteredAgain()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        scene->refreshTable();
        QTest::mouseClick(scene->url, Qt::LeftButton);
        QVERIFY(scene->url->hasFocus());
        scene->table->setFocus(Qt::TabFocusReason);
        QCOMPARE(scene->table->currentColumn(), 0);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QVERIFY(scene->table->hasFocus());
        QCOMPARE(scene->table->currentColumn(), 1);
    }

    void tabKeyWalksOnFromAClickedCell()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        scene->refreshTable();
        const QRect cell = scene->table->visualItemRect(scene->table->item(0, 2));
        QTest::mouseClick(scene->table->viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
        QCOMPARE(scene->table->currentColumn(), 2);
        QTest::keyClick(scene->table, Qt::Key_Tab);
        QVERIFY(scene->table->hasFocus());
        QCOMPARE(scene->table->currentColumn(), 3);
    }

    void tabKeyWithControlIsLeftToTheTable()
    {
        scene->systems.set(runningSystem("5.7"));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->refreshTable();
        scene->table->setFocus(Qt::TabFocusReason);
        scene->table->setCurrentCell(0, 4);
        QTableWidget bare(1, 5);
        bare.setCurrentCell(0, 4);
        for (QTableWidget* table : {&bare, scene->table}) {
            QTest::keyClick(table, Qt::Key_Tab, Qt::ControlModifier);
        }
        QCOMPARE(scene->table->currentColumn(), bare.currentColumn());
        QVERIFY(bare.currentColumn() != 4);
    }

private:
    void setUp() override
    {
        WindowTest::setUp();
        scene = std::make_unique<Scene>();
    }

    void tearDown() override
    {
        scene.reset();
    }

    std::unique_ptr<Scene> scene;
};

TAVRIN_GUI_TEST_MAIN(TstWidgetSystems)
#include "tst_widget_systems.moc"
