// The table of running systems in the update widget and its effects: whether patches may be applied, what the user is
// asked first, and how the Tab key leaves a table that is filled again every second.
#include "expected_texts.h"
#include "paint_counter.h"
#include "recording_translator.h"
#include "window_test.h"

#include <QHeaderView>
#include <QScrollBar>

class TstWidgetSystems : public WindowTest
{
    Q_OBJECT

private slots:
    void firstListStartsTheRefresh()
    {
        openWidget();
        populate();
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 1000);
        QVERIFY(!timer->isSingleShot());
        QCOMPARE(systems->queries(), 1);
        populate();
        QCOMPARE(systems->queries(), 2);
        // Another list makes no second connection: one tick is one query.
        QVERIFY(QMetaObject::invokeMethod(timer, "timeout"));
        QCOMPARE(systems->queries(), 3);
    }

    void tableFollowsTheRunningSystems()
    {
        openWidget();
        populate();
        QCOMPARE(table->rowCount(), 0);
        systems->set(runningSystem("5.7"));
        QTRY_COMPARE(table->rowCount(), 1);
        systems->set({});
        QTRY_COMPARE(table->rowCount(), 0);
    }

    void runningSystemsAreListed()
    {
        openWidget();
        showSystems(runningSystem("5.7", "alice", "/home/alice/run one", 4711) +
                    runningSystem("5.9", "bob", "/srv/b\xc3\xa9", -1));
        QCOMPARE(table->rowCount(), 2);
        QCOMPARE(cells(0), QStringList({"5.7", "No Conflict", "alice", "4711", "/home/alice/run one"}));
        QCOMPARE(cells(1), QStringList({"5.9", "**Conflict**", "bob", "-1", QString::fromUtf8("/srv/b\xc3\xa9")}));
        for (int column = 0; column < 5; ++column) {
            QCOMPARE(table->item(0, column)->textAlignment(), int(Qt::AlignVCenter));
            QCOMPARE(table->horizontalHeader()->sectionResizeMode(column), QHeaderView::ResizeToContents);
        }
        refreshTable();
        QCOMPARE(table->rowCount(), 2);
    }

    void noRunningSystems_data()
    {
        const Rows<QByteArray> row("lines");
        row("null array, no count", {});
        row("null array with a count", "#null 3\n");
        row("null array with a negative count", "#null -1\n");
        row("array with a count of zero", "#count 0\n" + runningSystem());
        row("array with a negative count", "#count -1\n" + runningSystem());
    }

    void noRunningSystems()
    {
        QFETCH(QByteArray, lines);
        openWidget();
        showSystems(runningSystem());
        QCOMPARE(table->rowCount(), 1);
        showSystems(lines);
        QCOMPARE(table->rowCount(), 0);
        QCOMPARE(rtsGroupBox->title(), NO_SYSTEMS);
        // Without a conflict, a patch to apply enables the button.
        addPatches({"P1"});
        logic->determinePatchesApplied();
        widget->enableApplyButton();
        QVERIFY(applyButton->isEnabled());
        QVERIFY(warning->isHidden());
    }

    void titleCountsTheRunningSystems_data()
    {
        const Rows<int, QString> row("count", "title");
        row("none", 0, NO_SYSTEMS);
        row("one", 1, ONE_SYSTEM);
        row("two", 2, "2 running Tavrin Real Time Systems detected");
        row("three", 3, "3 running Tavrin Real Time Systems detected");
        row("fifty", 50, "50 running Tavrin Real Time Systems detected");
    }

    void titleCountsTheRunningSystems()
    {
        QFETCH(int, count);
        QFETCH(QString, title);
        openWidget();
        showSystems(runningSystem("5.7"));
        QCOMPARE(rtsGroupBox->title(), ONE_SYSTEM);
        showSystems(runningSystem("5.8").repeated(count));
        QCOMPARE(rtsGroupBox->title(), title);
        QCOMPARE(table->rowCount(), count);

        RecordingTranslator translator(RecordingTranslator::bracketsIn(""));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        refreshTable();
        QCOMPARE(rtsGroupBox->title(), "QtD_TavrinUpdateMainWindow[" + title + ']');
    }

    void conflictIsAnExactMatch_data()
    {
        const Rows<QByteArray, QString> row("version", "expected");
        row("another release", "5.8", "No Conflict");
        row("the same release", "5.9", "**Conflict**");
        row("a longer name", "5.9p", "No Conflict");
        row("a space at the end", "5.9 ", "No Conflict");
        row("the beginning of it", "5.", "No Conflict");
        row("empty", {}, "No Conflict");
    }

    void conflictIsAnExactMatch()
    {
        QFETCH(QByteArray, version);
        openWidget();
        showSystems(runningSystem(version));
        QTEST(table->item(0, 1)->text(), "expected");
    }

    void firstConflictIsTheCurrentItem()
    {
        openWidget();
        showSystems(runningSystem("5.7").repeated(20) + runningSystem().repeated(2));
        QCOMPARE(table->item(20, 1)->text(), QString("**Conflict**"));
        QCOMPARE(table->item(21, 1)->text(), QString("**Conflict**"));
        QCOMPARE(table->currentItem(), table->item(20, 0));
        QVERIFY(table->viewport()->rect().contains(table->visualItemRect(table->item(20, 0))));
        showSystems(runningSystem("5.7"));
        QCOMPARE(table->currentItem(), static_cast<QTableWidgetItem*>(nullptr));
    }

    void unterminatedFieldsEndWithTheirArrays()
    {
        openWidget();
        showSystems(runningSystem("@fill:v", "@fill:u", "@fill:d", 1));
        QCOMPARE(cells(0),
                 QStringList({QString(1028, 'v'), "No Conflict", QString(1024, 'u'), "1", QString(4096, 'd')}));
    }

    void refreshKeepsOtherScrollPositions()
    {
        openWidget();
        for (int i = 0; i < 100; ++i) {
            addPatches({QString("P%1").arg(i)});
            emit logic->appendProgress(QString("line %1").arg(i));
        }
        systems->set(runningSystem().repeated(50));
        populate();
        QCoreApplication::processEvents();
        tree->verticalScrollBar()->setValue(30);
        progress->verticalScrollBar()->setValue(17);
        refreshTable();
        QCoreApplication::processEvents();
        QCOMPARE(tree->verticalScrollBar()->value(), 30);
        QCOMPARE(progress->verticalScrollBar()->value(), 17);
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
        installation->withPatched("P1");
        systems->set(runningSystem(conflict ? "5.9" : "5.8"));
        openWidget();
        overrideBox->setChecked(overridden);
        listPatches({needed ? "P2" : "P1"});
        QTEST(applyButton->isEnabled(), "enabled");
        QTEST(warning->isVisible(), "warned");
        QCOMPARE(noUpdates->isVisible(), !needed);
    }

    void warningIsHiddenWhenNothingIsNeeded()
    {
        systems->set(runningSystem());
        openPatches({"P1"});
        QVERIFY(warning->isVisible());
        QVERIFY(noUpdates->isHidden());

        installation->withPatched("P1");
        logic->determinePatchesApplied();
        refreshTable();
        QVERIFY(warning->isHidden());
        QVERIFY(noUpdates->isVisible());
        QVERIFY(!applyButton->isEnabled());

        installation->without("patched/P1");
        logic->determinePatchesApplied();
        refreshTable();
        QVERIFY(warning->isVisible());
        QVERIFY(noUpdates->isHidden());
    }

    void overrideIsKeptOnRefresh()
    {
        systems->set(runningSystem());
        openPatches({"P1"});
        QVERIFY(!applyButton->isEnabled());
        QTest::mouseClick(overrideBox, Qt::LeftButton);
        QVERIFY(applyButton->isEnabled());
        refreshTable();
        QVERIFY(overrideBox->isChecked());
        QVERIFY(applyButton->isEnabled());
        showSystems({});
        QVERIFY(applyButton->isEnabled());
        QVERIFY(warning->isHidden());
        showSystems(runningSystem());
        QVERIFY(overrideBox->isChecked());
        QTest::mouseClick(overrideBox, Qt::LeftButton);
        QVERIFY(!applyButton->isEnabled());
    }

    void overrideGreysTheWarning()
    {
        openWidget();
        const QPalette before = warningLabel->palette();
        overrideBox->setChecked(true);
        const QPalette greyed = warningLabel->palette();
        for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
            QCOMPARE(greyed.brush(group, QPalette::WindowText), QBrush(Qt::darkGray, Qt::SolidPattern));
            QCOMPARE(greyed.brush(group, QPalette::Window), before.brush(group, QPalette::Window));
        }
        overrideBox->setChecked(false);
        QCOMPARE(warningLabel->palette(), before);
        overrideBox->setTristate(true);
        overrideBox->setCheckState(Qt::PartiallyChecked);
        QCOMPARE(warningLabel->palette(), greyed);
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
        openWidget();
        showSystems(runningSystem());
        emit logic->appendProgress("something");
        dialogs->answer(QMessageBox::StandardButton(answer));
        apply();
        QCOMPARE(dialogs->dialogs().count(), 1);
        const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
        QCOMPARE(dialog.title, QString("Update Tavrin"));
        QCOMPARE(dialog.text, CONFLICT_QUESTION);
        QCOMPARE(dialog.icon, QMessageBox::Warning);
        QCOMPARE(dialog.buttons, QMessageBox::Yes | QMessageBox::Cancel);
        QVERIFY(!dialog.hasDefaultButton);
        QCOMPARE(dialog.parent, static_cast<QWidget*>(widget));
        QTEST(progress->toPlainText(), "progress");
    }

    void applyWithoutConflictAsksNothing()
    {
        openWidget();
        showSystems(runningSystem("5.8"));
        emit logic->appendProgress("something");
        apply();
        QCOMPARE(progress->toPlainText(), QString("Download patch files ..."));
        QCOMPARE(dialogs->dialogs().count(), 0);
    }

    void tabKeyLeavesTheTable()
    {
        enterTable(runningSystem("5.7").repeated(2));
        table->setCurrentCell(0, 0);
        for (int i = 1; i < 10; ++i) {
            QTest::keyClick(table, Qt::Key_Tab);
            QCOMPARE(table->currentRow() * 5 + table->currentColumn(), i);
            QVERIFY(table->hasFocus());
        }
        QTest::keyClick(table, Qt::Key_Tab);
        QVERIFY(!table->hasFocus());
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(url));
        QVERIFY(table->tabKeyNavigation());

        table->setFocus(Qt::BacktabFocusReason);
        table->setCurrentCell(0, 1);
        QTest::keyClick(table, Qt::Key_Backtab);
        QCOMPARE(table->currentColumn(), 0);
        QTest::keyClick(table, Qt::Key_Backtab);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(doneButton));

        showSystems({});
        table->setFocus(Qt::TabFocusReason);
        QTest::keyClick(table, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(url));
    }

    void tabKeyLeavesATableWithoutACurrentCell()
    {
        enterTable(runningSystem());
        table->setCurrentItem(nullptr);
        QTest::keyClick(table, Qt::Key_Tab);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(url));
    }

    void currentCellIsPaintedWithTheFocus()
    {
        enterTable(runningSystem());
        QCoreApplication::processEvents();
        PaintCounter painted(table->viewport());
        url->setFocus();
        QTRY_COMPARE(painted.count, 1);
        table->setFocus(Qt::TabFocusReason);
        QTRY_COMPARE(painted.count, 2);
    }

    void tabKeyLeavesTheTableAfterARefresh()
    {
        enterTable(runningSystem());
        pressTabToColumn(1);
        refreshTable();
        QCOMPARE(table->currentColumn(), 0);
        QTest::keyClick(table, Qt::Key_Tab);
        QVERIFY(!table->hasFocus());
    }

    void tabKeyContinuesFromACellChosenAfterARefresh()
    {
        enterTable(runningSystem());
        pressTabToColumn(1);
        refreshTable();
        QTest::keyClick(table, Qt::Key_Right);
        QCOMPARE(table->currentColumn(), 1);
        pressTabToColumn(2);
    }

    void tabKeyContinuesWhenTheTableIsEnteredAgain()
    {
        enterTable(runningSystem());
        pressTabToColumn(1);
        refreshTable();
        QTest::mouseClick(url, Qt::LeftButton);
        QVERIFY(url->hasFocus());
        table->setFocus(Qt::TabFocusReason);
        QCOMPARE(table->currentColumn(), 0);
        pressTabToColumn(1);
    }

    void tabKeyContinuesFromAClickedCell()
    {
        enterTable(runningSystem());
        pressTabToColumn(1);
        refreshTable();
        const QRect cell = table->visualItemRect(table->item(0, 2));
        QTest::mouseClick(table->viewport(), Qt::LeftButton, Qt::NoModifier, cell.center());
        QCOMPARE(table->currentColumn(), 2);
        pressTabToColumn(3);
    }

    void tabKeyWithControlIsLeftToTheTable()
    {
        enterTable(runningSystem("5.7"));
        table->setCurrentCell(0, 4);
        QTableWidget bare(1, 5);
        bare.setCurrentCell(0, 4);
        for (QTableWidget* each : {&bare, table}) {
            QTest::keyClick(each, Qt::Key_Tab, Qt::ControlModifier);
        }
        QCOMPARE(table->currentColumn(), bare.currentColumn());
        QVERIFY(bare.currentColumn() != 4);
    }

private:
    void showSystems(const QByteArray& lines)
    {
        systems->set(lines);
        refreshTable();
    }

    void enterTable(const QByteArray& lines)
    {
        openWidget();
        QVERIFY(QTest::qWaitForWindowActive(widget));
        showSystems(lines);
        table->setFocus(Qt::TabFocusReason);
    }

    void pressTabToColumn(int column)
    {
        QTest::keyClick(table, Qt::Key_Tab);
        QVERIFY(table->hasFocus());
        QCOMPARE(table->currentColumn(), column);
    }
};

TAVRIN_GUI_TEST_MAIN(TstWidgetSystems)
#include "tst_widget_systems.moc"
