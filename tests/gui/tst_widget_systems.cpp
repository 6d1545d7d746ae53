// The table of running systems in the update widget, and what follows from it: whether patches may be applied, what the
// user is asked before, and how the keyboard gets out of a table that is filled anew every second.
#include "dialog_answerer.h"
#include "message_guard.h"
#include "test_main.h"
#include "widget_scene.h"

#include <QApplication>
#include <QHeaderView>
#include <QScrollBar>

class TstWidgetSystems : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();
    void firstListStartsTheRefresh();
    void tableFollowsTheRunningSystems();
    void runningSystemsAreListed();
    void noRunningSystems_data();
    void noRunningSystems();
    void titleCountsTheRunningSystems();
    void conflictIsAnExactMatch_data();
    void conflictIsAnExactMatch();
    void firstConflictIsTheCurrentItem();
    void unterminatedFieldsAreCutAtTheirEnds();
    void titlesAreTranslatedInTheFormsContext();
    void refreshLeavesOtherScrollPositionsAlone();
    void applyButtonFollowsItsRule_data();
    void applyButtonFollowsItsRule();
    void warningGoesWhenNothingIsNeededAnyMore();
    void overrideLastsAcrossRefreshes();
    void overrideGreysTheWarning();
    void applyAsksWhileAConflictingSystemRuns_data();
    void applyAsksWhileAConflictingSystemRuns();
    void applyWithoutConflictAsksNothing();
    void tabKeyLeavesTheTable();
    void refreshDoesNotTrapTheTabKey();
    void tabKeyWalksOnFromACellChosenAnew();
    void tabKeyWalksOnWhenTheTableIsEnteredAgain();
    void tabKeyWalksOnFromAClickedCell();
    void tabKeyWithControlIsLeftToTheTable();

private:
    std::unique_ptr<MessageGuard> guard;
    std::unique_ptr<DialogAnswerer> dialogs;
    std::unique_ptr<Scene> scene;
};

void TstWidgetSystems::initTestCase()
{
    QCOMPARE(wrongLibraryComplaint(), QString());
}

void TstWidgetSystems::init()
{
    guard = std::make_unique<MessageGuard>();
    dialogs = std::make_unique<DialogAnswerer>();
    scene = std::make_unique<Scene>();
}

void TstWidgetSystems::cleanup()
{
    scene.reset();
    const QString complaint = dialogs->complaint() + guard->complaint();
    dialogs.reset();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstWidgetSystems::firstListStartsTheRefresh()
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

void TstWidgetSystems::tableFollowsTheRunningSystems()
{
    scene->open();
    scene->populate();
    QCOMPARE(scene->table->rowCount(), 0);
    scene->systems.set(RunningSystems::system("5.7"));
    QTRY_COMPARE(scene->table->rowCount(), 1);
    scene->systems.set(QByteArray());
    QTRY_COMPARE(scene->table->rowCount(), 0);
}

void TstWidgetSystems::runningSystemsAreListed()
{
    scene->systems.set(RunningSystems::system("5.7", "alice", "/home/alice/run one", 4711) +
                       RunningSystems::system("5.9", "bob", "/srv/b\xc3\xa9", -1));
    scene->open();
    scene->refreshTable();
    QCOMPARE(scene->table->rowCount(), 2);
    QCOMPARE(scene->cells(0), QStringList({"5.7", "No Conflict", "alice", "4711", "/home/alice/run one"}));
    QCOMPARE(scene->cells(1), QStringList({"5.9", "**Conflict**", "bob", "-1", QString::fromUtf8("/srv/b\xc3\xa9")}));
    for (int column = 0; column < 5; ++column) {
        QCOMPARE(scene->table->item(0, column)->textAlignment(), int(Qt::AlignVCenter));
        QCOMPARE(scene->table->horizontalHeader()->sectionResizeMode(column), QHeaderView::ResizeToContents);
    }
    scene->refreshTable();
    QCOMPARE(scene->table->rowCount(), 2);
}

void TstWidgetSystems::noRunningSystems_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::newRow("null array, no count") << QByteArray();
    QTest::newRow("null array with a count") << QByteArray("#null 3\n");
    QTest::newRow("null array with a negative count") << QByteArray("#null -1\n");
    QTest::newRow("array with a count of zero") << "#count 0\n" + RunningSystems::system("5.9");
    QTest::newRow("array with a negative count") << "#count -1\n" + RunningSystems::system("5.9");
}

void TstWidgetSystems::noRunningSystems()
{
    QFETCH(QByteArray, lines);
    scene->open();
    scene->systems.set(RunningSystems::system("5.9"));
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

void TstWidgetSystems::titleCountsTheRunningSystems()
{
    scene->open();
    scene->systems.set(RunningSystems::system("5.7"));
    scene->refreshTable();
    QCOMPARE(scene->rtsGroupBox->title(), QString("1 running Tavrin Real Time System detected"));
    scene->systems.set(RunningSystems::system("5.7") + RunningSystems::system("5.8"));
    scene->refreshTable();
    QCOMPARE(scene->rtsGroupBox->title(), QString("2 running Tavrin Real Time Systems detected"));
    scene->systems.set(RunningSystems::system("5.7").repeated(50));
    scene->refreshTable();
    QCOMPARE(scene->rtsGroupBox->title(), QString("50 running Tavrin Real Time Systems detected"));
    QCOMPARE(scene->table->rowCount(), 50);
}

void TstWidgetSystems::conflictIsAnExactMatch_data()
{
    QTest::addColumn<QByteArray>("version");
    QTest::addColumn<QString>("expected");
    QTest::newRow("another release") << QByteArray("5.8") << "No Conflict";
    QTest::newRow("the same release") << QByteArray("5.9") << "**Conflict**";
    QTest::newRow("a longer name") << QByteArray("5.9p") << "No Conflict";
    QTest::newRow("a blank at the end") << QByteArray("5.9 ") << "No Conflict";
    QTest::newRow("the beginning of it") << QByteArray("5.") << "No Conflict";
    QTest::newRow("empty") << QByteArray() << "No Conflict";
}

void TstWidgetSystems::conflictIsAnExactMatch()
{
    QFETCH(QByteArray, version);
    scene->systems.set(RunningSystems::system(version));
    scene->open();
    scene->refreshTable();
    QTEST(scene->table->item(0, 1)->text(), "expected");
}

void TstWidgetSystems::firstConflictIsTheCurrentItem()
{
    scene->open();
    scene->systems.set(RunningSystems::system("5.7").repeated(20) + RunningSystems::system("5.9").repeated(2));
    scene->refreshTable();
    QCOMPARE(scene->table->item(20, 1)->text(), QString("**Conflict**"));
    QCOMPARE(scene->table->item(21, 1)->text(), QString("**Conflict**"));
    QCOMPARE(scene->table->currentItem(), scene->table->item(20, 0));
    QVERIFY(scene->table->viewport()->rect().contains(scene->table->visualItemRect(scene->table->item(20, 0))));
    scene->systems.set(RunningSystems::system("5.7"));
    scene->refreshTable();
    QCOMPARE(scene->table->currentItem(), static_cast<QTableWidgetItem*>(nullptr));
}

void TstWidgetSystems::unterminatedFieldsAreCutAtTheirEnds()
{
    scene->systems.set(RunningSystems::system("@fill:v", "@fill:u", "@fill:d", 1));
    scene->open();
    scene->refreshTable();
    QCOMPARE(scene->cells(0),
             QStringList({QString(1028, 'v'), "No Conflict", QString(1024, 'u'), "1", QString(4096, 'd')}));
}

void TstWidgetSystems::titlesAreTranslatedInTheFormsContext()
{
    scene->open();
    BracketTranslator translator;
    QVERIFY(QCoreApplication::installTranslator(&translator));
    const QString pattern = "QtD_TavrinUpdateMainWindow[%1]";
    scene->refreshTable();
    QCOMPARE(scene->rtsGroupBox->title(), pattern.arg("No running Tavrin Real Time Systems detected"));
    scene->systems.set(RunningSystems::system("5.7"));
    scene->refreshTable();
    QCOMPARE(scene->rtsGroupBox->title(), pattern.arg("1 running Tavrin Real Time System detected"));
    scene->systems.set(RunningSystems::system("5.7").repeated(3));
    scene->refreshTable();
    QCOMPARE(scene->rtsGroupBox->title(), pattern.arg("3 running Tavrin Real Time Systems detected"));
    QVERIFY(QCoreApplication::removeTranslator(&translator));
}

void TstWidgetSystems::refreshLeavesOtherScrollPositionsAlone()
{
    scene->open();
    for (int i = 0; i < 100; ++i) {
        scene->addPatches({QString("P%1").arg(i)});
        emit scene->logic.appendProgress(QString("line %1").arg(i));
    }
    scene->systems.set(RunningSystems::system("5.9").repeated(50));
    scene->populate();
    QCoreApplication::processEvents();
    scene->tree->verticalScrollBar()->setValue(30);
    scene->progress->verticalScrollBar()->setValue(17);
    scene->refreshTable();
    QCoreApplication::processEvents();
    QCOMPARE(scene->tree->verticalScrollBar()->value(), 30);
    QCOMPARE(scene->progress->verticalScrollBar()->value(), 17);
}

void TstWidgetSystems::applyButtonFollowsItsRule_data()
{
    QTest::addColumn<bool>("needed");
    QTest::addColumn<bool>("conflict");
    QTest::addColumn<bool>("overridden");
    QTest::addColumn<bool>("enabled");
    QTest::addColumn<bool>("warned");
    QTest::newRow("patches needed") << true << false << false << true << false;
    QTest::newRow("conflict") << true << true << false << false << true;
    QTest::newRow("conflict overridden") << true << true << true << true << true;
    QTest::newRow("override without a conflict") << true << false << true << true << false;
    QTest::newRow("nothing needed") << false << false << false << false << false;
    QTest::newRow("nothing needed, conflict") << false << true << false << false << false;
    QTest::newRow("nothing needed, conflict overridden") << false << true << true << false << false;
}

void TstWidgetSystems::applyButtonFollowsItsRule()
{
    QFETCH(bool, needed);
    QFETCH(bool, conflict);
    QFETCH(bool, overridden);
    scene->installation.withPatched("P1");
    scene->systems.set(RunningSystems::system(conflict ? "5.9" : "5.8"));
    scene->open();
    scene->addPatches({needed ? "P2" : "P1"});
    scene->logic.determinePatchesApplied();
    scene->overrideBox->setChecked(overridden);
    scene->populate();
    QTEST(scene->applyButton->isEnabled(), "enabled");
    QTEST(scene->warning->isVisible(), "warned");
    QCOMPARE(scene->noUpdates->isVisible(), !needed);
}

void TstWidgetSystems::warningGoesWhenNothingIsNeededAnyMore()
{
    scene->systems.set(RunningSystems::system("5.9"));
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

void TstWidgetSystems::overrideLastsAcrossRefreshes()
{
    scene->systems.set(RunningSystems::system("5.9"));
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
    scene->systems.set(RunningSystems::system("5.9"));
    scene->refreshTable();
    QVERIFY(scene->overrideBox->isChecked());
    QTest::mouseClick(scene->overrideBox, Qt::LeftButton);
    QVERIFY(!scene->applyButton->isEnabled());
}

void TstWidgetSystems::overrideGreysTheWarning()
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

void TstWidgetSystems::applyAsksWhileAConflictingSystemRuns_data()
{
    QTest::addColumn<int>("answer");
    QTest::addColumn<QString>("progress");
    QTest::newRow("Yes") << int(QMessageBox::Yes) << "Download patch files ...";
    QTest::newRow("Cancel") << int(QMessageBox::Cancel) << "";
    QTest::newRow("Escape key") << int(QMessageBox::NoButton) << "";
}

void TstWidgetSystems::applyAsksWhileAConflictingSystemRuns()
{
    QFETCH(int, answer);
    scene->systems.set(RunningSystems::system("5.9"));
    scene->open();
    scene->refreshTable();
    emit scene->logic.appendProgress("something");
    dialogs->answer(QMessageBox::StandardButton(answer));
    scene->apply();
    QCOMPARE(dialogs->dialogs().count(), 1);
    const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
    QCOMPARE(dialog.title, QString("Update Tavrin"));
    QCOMPARE(dialog.text, QString("You are attempting to update Tavrin while a real-time system is running. This is "
                                  "ill-advised as the consequences are, in general, unpredictable.\n"
                                  "Proceed anyways?"));
    QCOMPARE(dialog.icon, QMessageBox::Warning);
    QCOMPARE(dialog.buttons, QMessageBox::Yes | QMessageBox::Cancel);
    QVERIFY(!dialog.hasDefaultButton);
    QCOMPARE(dialog.parent, static_cast<QWidget*>(scene->widget.get()));
    QTEST(scene->progress->toPlainText(), "progress");
}

void TstWidgetSystems::applyWithoutConflictAsksNothing()
{
    scene->systems.set(RunningSystems::system("5.8"));
    scene->open();
    scene->refreshTable();
    emit scene->logic.appendProgress("something");
    scene->apply();
    QCOMPARE(scene->progress->toPlainText(), QString("Download patch files ..."));
    QCOMPARE(dialogs->dialogs().count(), 0);
}

void TstWidgetSystems::tabKeyLeavesTheTable()
{
    scene->systems.set(RunningSystems::system("5.7").repeated(2));
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

void TstWidgetSystems::refreshDoesNotTrapTheTabKey()
{
    scene->systems.set(RunningSystems::system("5.9"));
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

void TstWidgetSystems::tabKeyWalksOnFromACellChosenAnew()
{
    scene->systems.set(RunningSystems::system("5.9"));
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

void TstWidgetSystems::tabKeyWalksOnWhenTheTableIsEnteredAgain()
{
    scene->systems.set(RunningSystems::system("5.9"));
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

void TstWidgetSystems::tabKeyWalksOnFromAClickedCell()
{
    scene->systems.set(RunningSystems::system("5.9"));
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

void TstWidgetSystems::tabKeyWithControlIsLeftToTheTable()
{
    scene->systems.set(RunningSystems::system("5.7"));
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

TAVRIN_GUI_TEST_MAIN(TstWidgetSystems)
#include "tst_widget_systems.moc"
