// The update widget: what it shows of the patches, and what its buttons and the URL field do. The business logic behind
// it is the real one. What it makes of running systems has a test program of its own.
#include "fake_patch_server.h"
#include "paint_counter.h"
#include "widget_scene.h"
#include "window_test.h"

#include <QAccessible>
#include <QApplication>
#include <QHeaderView>
#include <QMetaMethod>
#include <QScreen>
#include <QScrollBar>
#include <QSignalSpy>
#include <QSplitter>

using Logic = TavrinUpdateBusinessLogic;

class TstWidget : public WindowTest
{
    Q_OBJECT

private slots:
    void metaObjectNumbersTheSlots()
    {
        const QMetaObject& meta = TavrinUpdateWidget::staticMetaObject;
        QCOMPARE(meta.className(), "TavrinUpdateWidget");
        QStringList methods;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
            methods << meta.method(i).methodSignature();
        }
        const QStringList expected{
            "appendProgress(QString)",
            "on_applyButton_clicked()",
            "on_defaultUrlButton_clicked()",
            "on_doneButton_clicked()",
            "on_overrideCautionCheckBox_stateChanged(int)",
            "populateUpdateList()",
            "presentErrorMessage(QString)",
            "refreshPatchStatus()",
            "refreshRealTimeSystemTable()",
            "on_urlLineEdit_editingFinished()",
        };
        QCOMPARE(methods, expected);
    }

    void metaObjectNamesOneParameter()
    {
        const QMetaObject& meta = TavrinUpdateWidget::staticMetaObject;
        QStringList named;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QByteArrayList names = meta.method(i).parameterNames();
            if (!names.join().isEmpty()) {
                named << meta.method(i).name() + ": " + names.join(", ");
            }
        }
        QCOMPARE(named, QStringList{"on_overrideCautionCheckBox_stateChanged: state"});
    }

    void newWidgetIsEmptyAndIdle()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open(QString());
        QCOMPARE(scene->widget->objectName(), QString("tavrinUpdateWidget"));
        QCOMPARE(scene->tree->topLevelItemCount(), 0);
        QCOMPARE(scene->table->rowCount(), 0);
        QCOMPARE(scene->systems.queries(), 0);
        QVERIFY(scene->warning->isHidden());
        QVERIFY(scene->noUpdates->isHidden());
        QVERIFY(scene->applyButton->isEnabled());
        QVERIFY(!scene->timer->isActive());
        QCOMPARE(scene->rtsGroupBox->title(), QString("Running Tavrin Real Time Systems"));
        QCOMPARE(scene->progress->toPlainText(), QString());
        QHeaderView* rows = scene->table->verticalHeader();
        QCOMPARE(rows->defaultSectionSize(), rows->fontMetrics().height() + 6);
        // Qt raises both to the panes' minimum heights and shares the rest out from there.
        auto* splitter = scene->widget->findChild<QSplitter*>("splitter");
        const QList<int> panes = splitter->sizes();
        QVERIFY(panes.at(0) > panes.at(1));
        splitter->setSizes({13000, 10000});
        QVERIFY(splitter->sizes() != panes);
        splitter->setSizes({13, 10});
        QCOMPARE(splitter->sizes(), panes);
    }

    void urlCanBeEditedOnlyWhenOneWasGiven()
    {
        scene->open(QString());
        QVERIFY(scene->url->isReadOnly());
        QVERIFY(scene->defaultUrlButton->isHidden());
        QCOMPARE(scene->url->text(), scene->logic.getDefaultUrlString());

        QCOMPARE(scene->logic.validateCurrentUrl("file:///elsewhere"), QString());
        scene->openWidget();
        QVERIFY(!scene->url->isReadOnly());
        QVERIFY(scene->defaultUrlButton->isVisible());
        QCOMPARE(scene->url->text(), QString("file:///elsewhere/"));
    }

    void progressIsAppended()
    {
        scene->open();
        emit scene->logic.appendProgress("one\ntwo");
        emit scene->logic.appendProgress("");
        emit scene->logic.appendProgress("three");
        QCOMPARE(scene->progress->toPlainText(), QString("one\ntwo\n\nthree"));
    }

    void titleIsThatOfTheBusinessLogic()
    {
        scene->open();
        QCOMPARE(scene->widget->getWindowTitle(), QString("Update Tavrin version '5.9'"));
        QCOMPARE(scene->widget->windowTitle(), QString());
    }

    void anotherLanguageReplacesTheTexts()
    {
        scene->open();
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        QTRY_COMPARE(scene->applyButton->text(), QString("QtD_TavrinUpdateMainWindow[Apply Patches]"));
        QCOMPARE(scene->rtsGroupBox->title(), QString("QtD_TavrinUpdateMainWindow[Running Tavrin Real Time Systems]"));
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QTRY_COMPARE(scene->applyButton->text(), QString("Apply Patches"));
    }

    void patchesAreListed()
    {
        scene->installation.withPatched("P2");
        PatchPage page;
        page.entry("P1", "1 January 2020", "Corrects\n  the   first.", "P1.tar");
        page.entry("P2", "2 January 2020", "Corrects the second.", "P2.tar");
        const LocalSource source(page);
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        QCOMPARE(scene->marks(), QStringList({"P1 N", "P2 Y"}));
        QTreeWidgetItem* item = scene->tree->topLevelItem(0);
        QCOMPARE(item->text(2), QString());
        QCOMPARE(item->type(), int(QTreeWidgetItem::Type));
        const auto* label = qobject_cast<QLabel*>(scene->tree->itemWidget(item, 2));
        QVERIFY(label != nullptr);
        QCOMPARE(label->text(), QString("Corrects the first."));
        QCOMPARE(label->contentsMargins(), QMargins(0, 4, 0, 4));
        QVERIFY(label->wordWrap());
        QVERIFY(label->isVisible());
        QVERIFY(scene->applyButton->isEnabled());
    }

    void descriptionWithATagShowsWhole()
    {
        PatchPage page;
        page.entry("P1", "1 January 2020", "Repairs the &lt;b&gt; tag in pages of 3 &lt; 4 lines.", "P1.tar");
        const LocalSource source(page);
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        QCoreApplication::processEvents();
        auto* label = qobject_cast<QLabel*>(scene->tree->itemWidget(scene->tree->topLevelItem(0), 2));
        QVERIFY(label != nullptr);
        QCOMPARE(label->text(), QString("Repairs the <b> tag in pages of 3 < 4 lines."));

        QLabel whole(scene->tree->viewport());
        whole.setTextFormat(Qt::PlainText);
        whole.setText(label->text());
        whole.setContentsMargins(0, 4, 0, 4);
        whole.setWordWrap(true);
        whole.setGeometry(label->geometry());
        QCOMPARE(label->sizeHint(), whole.sizeHint());
        QCOMPARE(label->grab().toImage(), whole.grab().toImage());
        whole.setText(QString());
        QVERIFY(label->grab().toImage() != whole.grab().toImage());
        QCOMPARE(label->textFormat(), Qt::PlainText);
    }

    void descriptionIsReadOutInItsCell()
    {
        PatchPage page;
        page.entry("P1", "1 January 2020", "Corrects\n  the   first.", "P1.tar");
        page.entry("P2", "2 January 2020", "Corrects the second.", "P2.tar");
        const LocalSource source(page);
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        QAccessibleInterface* interface = QAccessible::queryAccessibleInterface(scene->tree);
        QVERIFY(interface != nullptr && interface->tableInterface() != nullptr);
        const auto name = [interface](int row, int column) {
            QAccessibleInterface* cell = interface->tableInterface()->cellAt(row, column);
            return cell == nullptr ? QString("no cell") : cell->text(QAccessible::Name);
        };
        QCOMPARE(name(0, 0), QString("P1"));
        QCOMPARE(name(0, 1), QString("N"));
        QCOMPARE(name(0, 2), QString("Corrects the first."));
        QCOMPARE(name(1, 2), QString("Corrects the second."));
        QCOMPARE(scene->tree->topLevelItem(0)->text(2), QString());
    }

    void descriptionShownAgainIsPaintedAlone()
    {
        scene->open();
        QVERIFY(QTest::qWaitForWindowExposed(scene->widget.get()));
        scene->addPatches({"P1", "P2", "P3"});
        scene->populate();
        // What is on the screen; a grab of the widget would paint it again.
        const auto onScreen = [this] {
            return scene->widget->screen()->grabWindow(scene->widget->winId()).toImage();
        };
        const auto labelOf = [this](int row) {
            return scene->tree->itemWidget(scene->tree->topLevelItem(row), 2);
        };
        QCoreApplication::processEvents();
        const QImage before = onScreen();
        labelOf(1)->hide();
        QTRY_VERIFY(onScreen() != before);

        QCoreApplication::processEvents();
        const PaintCounter shown(labelOf(1));
        const PaintCounter above(labelOf(0));
        const PaintCounter below(labelOf(2));
        labelOf(1)->show();
        QTRY_VERIFY(shown.count > 0);
        QCoreApplication::processEvents();
        QVERIFY(onScreen() == before);
        QCOMPARE(above.count, 0);
        QCOMPARE(below.count, 0);
    }

    void trialPatchShowsOnlyAlone_data()
    {
        const Rows<QStringList, QStringList> row("listed", "shown");
        row("no patch at all", {}, {});
        row("ordinary patches", {"P1", "P2"}, {"P1 N", "P2 N"});
        row("alone", {"TrialPatch"}, {"TrialPatch N"});
        row("beside another", {"P1", "TrialPatch"}, {"P1 N"});
        row("two of the kind", {"TrialPatch", "TrialPatch"}, {});
        row("other letter case", {"tRIALpATCH", "P1"}, {"P1 N"});
        row("longer name", {"trialpatch_7", "P1"}, {"P1 N"});
        row("name that only contains it", {"MyTrialPatch", "P1"}, {"MyTrialPatch N", "P1 N"});
    }

    void trialPatchShowsOnlyAlone()
    {
        QFETCH(QStringList, listed);
        scene->open();
        scene->addPatches(listed);
        scene->populate();
        QTEST(scene->marks(), "shown");
    }

    void newListReplacesTheFormer()
    {
        const LocalSource source(pageOf({"P1", "P2"}));
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        QVERIFY(readList(scene->logic));
        QCOMPARE(scene->marks(), QStringList({"P1 N", "P2 N"}));
    }

    void firstPatchNotInstalledIsScrolledTo()
    {
        scene->open();
        for (int i = 0; i < 200; ++i) {
            const QString name = QString("P%1").arg(i);
            scene->addPatches({name});
            if (i != 120 && i != 180) {
                scene->installation.withPatched(name);
            }
        }
        scene->logic.determinePatchesApplied();
        scene->populate();
        QCOMPARE(scene->marks().at(120), QString("P120 N"));
        const QRect view = scene->tree->viewport()->rect();
        QVERIFY(view.contains(scene->tree->visualItemRect(scene->tree->topLevelItem(120))));
        QVERIFY(!view.intersects(scene->tree->visualItemRect(scene->tree->topLevelItem(180))));
        QVERIFY(!view.intersects(scene->tree->visualItemRect(scene->tree->topLevelItem(0))));
    }

    void scrollBarStaysOnceItShowed()
    {
        scene->open();
        scene->addPatches({"P0", "P1"});
        scene->populate();
        QCOMPARE(scene->tree->verticalScrollBarPolicy(), Qt::ScrollBarAsNeeded);
        for (int i = 2; i < 60; ++i) {
            scene->addPatches({QString("P%1").arg(i)});
        }
        scene->populate();
        QCOMPARE(scene->tree->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
        const LocalSource source(pageOf({"P1"}));
        QCOMPARE(scene->logic.validateCurrentUrl(source.url()), QString());
        QVERIFY(readList(scene->logic));
        QCOMPARE(scene->tree->topLevelItemCount(), 1);
        QCOMPARE(scene->tree->verticalScrollBarPolicy(), Qt::ScrollBarAlwaysOn);
        QVERIFY(scene->tree->verticalScrollBar()->isVisible());
    }

    void itemIsFoundByItsExactName()
    {
        scene->open();
        scene->addPatches({"P1", "P2", "P2", "p2"});
        scene->populate();
        QCOMPARE(scene->widget->getTopLevelItem("P2"), scene->tree->topLevelItem(1));
        QCOMPARE(scene->widget->getTopLevelItem("p2"), scene->tree->topLevelItem(3));
        QCOMPARE(scene->widget->getTopLevelItem("P"), static_cast<QTreeWidgetItem*>(nullptr));
        QCOMPARE(scene->widget->getTopLevelItem(QString()), static_cast<QTreeWidgetItem*>(nullptr));
    }

    void marksFollowTheInstallation()
    {
        scene->open();
        scene->addPatches({"P1", "TrialPatch", "P2"});
        scene->logic.determinePatchesApplied();
        scene->populate();
        QCOMPARE(scene->marks(), QStringList({"P1 N", "P2 N"}));
        scene->installation.withPatched("P2").withPatched("TrialPatch");
        scene->logic.determinePatchesApplied();
        emit scene->logic.updatePatchStatus();
        QCOMPARE(scene->marks(), QStringList({"P1 N", "P2 Y"}));
        QVERIFY(scene->applyButton->isEnabled());
        scene->installation.withPatched("P1").without("patched/P2");
        scene->logic.determinePatchesApplied();
        emit scene->logic.updatePatchStatus();
        QCOMPARE(scene->marks(), QStringList({"P1 Y", "P2 N"}));
        scene->installation.withPatched("P2");
        scene->logic.determinePatchesApplied();
        emit scene->logic.updatePatchStatus();
        QVERIFY(!scene->applyButton->isEnabled());
        QVERIFY(scene->noUpdates->isVisible());
    }

    void onlyChangedMarksAreSet()
    {
        scene->open();
        scene->addPatches({"P1", "P2"});
        scene->populate();
        scene->installation.withPatched("P2");
        scene->logic.determinePatchesApplied();
        QSignalSpy changes(scene->tree->model(), SIGNAL(dataChanged(QModelIndex, QModelIndex, QVector<int>)));
        emit scene->logic.updatePatchStatus();
        QCOMPARE(changes.count(), 1);
        QCOMPARE(changes.first().at(0).toModelIndex(), scene->tree->model()->index(1, 1));
    }

    void ofEqualNamesTheFirstIsMarked()
    {
        scene->open();
        scene->addPatches({"P1", "P2", "P1"});
        scene->populate();
        scene->installation.withPatched("P1");
        scene->logic.determinePatchesApplied();
        emit scene->logic.updatePatchStatus();
        QCOMPARE(scene->marks(), QStringList({"P1 Y", "P2 N", "P1 N"}));
    }

    void editedUrlIsRead()
    {
        const LocalSource former(pageOf({"P1"}));
        const LocalSource other(pageOf({"Q1", "Q2"}));
        scene->open(former.url());
        QVERIFY(readList(scene->logic));
        emit scene->logic.appendProgress("something");
        scene->url->setFocus();
        scene->url->selectAll();
        QTest::keyClicks(scene->url, other.url());
        QSignalSpy ready(&scene->logic, SIGNAL(patchListReady()));
        QTest::keyClick(scene->url, Qt::Key_Return);
        QCOMPARE(scene->marks(), QStringList());
        QCOMPARE(scene->progress->toPlainText(), QString());
        QCOMPARE(scene->logic.getCurrentUrlString(), other.url());
        QVERIFY(ready.wait());
        QCOMPARE(scene->marks(), QStringList({"Q1 N", "Q2 N"}));
    }

    void rejectedUrlLeavesItsMessageAlone()
    {
        const LocalSource source(pageOf({"P1"}));
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        emit scene->logic.appendProgress("something");
        scene->url->setText("http://host.test:99999");
        QVERIFY(QMetaObject::invokeMethod(scene->widget.get(), "on_urlLineEdit_editingFinished"));
        QCOMPARE(scene->marks(), QStringList());
        QCOMPARE(scene->progress->toPlainText(),
                 "Url 'http://host.test:99999/' is invalid.\n" + QUrl("http://host.test:99999/").errorString());
        QCOMPARE(scene->logic.getCurrentUrlString(), source.url());
    }

    void defaultUrlIsRestored()
    {
        FakePatchServer server;
        const RequestsToLoopback loopback(server.serverPort());
        const LocalSource source(pageOf({"P1"}));
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        const QString defaultUrl = scene->logic.getDefaultUrlString();
        server.answer(defaultUrl.toUtf8(), FakePatchServer::Answer::body(pageOf({"D1"}).html()));
        emit scene->logic.appendProgress("something");
        QSignalSpy ready(&scene->logic, SIGNAL(patchListReady()));
        QTest::mouseClick(scene->defaultUrlButton, Qt::LeftButton);
        QCOMPARE(scene->marks(), QStringList());
        QCOMPARE(scene->progress->toPlainText(), QString());
        QCOMPARE(scene->url->text(), defaultUrl);
        QVERIFY(!scene->logic.urlIsOverridden());
        QVERIFY(ready.wait());
        QCOMPARE(scene->marks(), QStringList{"D1 N"});
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{defaultUrl.toUtf8()});
    }

    void releaseOverrideWarnsAndShowsTheSteps()
    {
        const FakeInstallation other("5.8");
        qputenv("TAVRIN", QFile::encodeName(scene->installation.path()));
        Logic::CommandLineOptions options = windowOptions("file:///nowhere/");
        options.release = "5.8";
        QCOMPARE(scene->logic.initialize(options), QString());
        scene->openWidget();
        dialogs->answer(QMessageBox::Ok);
        scene->apply();
        QCOMPARE(dialogs->dialogs().count(), 1);
        const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
        QCOMPARE(dialog.title, QString("Apply Patches"));
        QCOMPARE(dialog.text, QString("*** WARNING: Your environment is for Tavrin release '5.9', but you are running "
                                      "tavrin_update with a release override of '5.8'.\n"
                                      "Patches will be listed but not applied.\n"));
        QCOMPARE(dialog.icon, QMessageBox::Warning);
        QCOMPARE(dialog.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QCOMPARE(dialog.parent, static_cast<QWidget*>(scene->widget.get()));
        QCOMPARE(scene->progress->toPlainText(), QString("Steps that would be taken are:\n\n\n"
                                                         "Download and install patch files ...\n"
                                                         "\nUpdate applied_patches.html ...\n"
                                                         "\nYou may restart systems now"));

        // Whatever the answer, it goes on. The title alone is the same in every language.
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        dialogs->answer(QMessageBox::NoButton);
        scene->apply();
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QCOMPARE(dialogs->dialogs().last().title, QString("Apply Patches"));
        QVERIFY(scene->progress->toPlainText().startsWith(
            "TavrinUpdateBusinessLogic[Steps that would be taken are:\n\n]\n"
            "TavrinUpdateBusinessLogic[Download and install patch files ...\n]\n"));
    }

    void failureIsShownInAMessageBox()
    {
        const LocalSource source(pageOf({"P1"}));
        scene->open(source.url());
        QVERIFY(readList(scene->logic));
        dialogs->answer(QMessageBox::Ok);
        emit scene->logic.processFailed("What went wrong\nand why");
        QCOMPARE(dialogs->dialogs().count(), 1);
        const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
        QCOMPARE(dialog.text, QString("Tavrin Update Warning"));
        QCOMPARE(dialog.details, QString("What went wrong\nand why"));
        QCOMPARE(dialog.parent, static_cast<QWidget*>(nullptr));
        QCOMPARE(dialog.icon, QMessageBox::NoIcon);
        QCOMPARE(scene->marks(), QStringList({"P1 N"}));
        QCOMPARE(scene->progress->toPlainText(), QString());
        QVERIFY(scene->applyButton->isEnabled());
    }

    void tabOrderIsReadingOrder()
    {
        scene->systems.set(runningSystem("5.9"));
        scene->open();
        QVERIFY(QTest::qWaitForWindowActive(scene->widget.get()));
        scene->addPatches({"P1"});
        scene->logic.determinePatchesApplied();
        scene->populate();
        QTest::mouseClick(scene->overrideBox, Qt::LeftButton);
        scene->systems.set(runningSystem("5.9"));
        scene->overrideBox->setFocus(Qt::TabFocusReason);
        QStringList stops;
        for (int i = 0; i < 8; ++i) {
            stops << QApplication::focusWidget()->objectName();
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        const QStringList expected{
            "overrideCautionCheckBox", "urlLineEdit",      "defaultUrlButton", "updatesTreeWidget",
            "progressScrollArea",      "progressTextEdit", "applyButton",      "doneButton"};
        QCOMPARE(stops, expected);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(scene->table));
    }

    void namesAreThereForAssistiveTechnology()
    {
        scene->open();
        const auto name = [this](const char* objectName) {
            QAccessibleInterface* interface =
                QAccessible::queryAccessibleInterface(scene->widget->findChild<QWidget*>(objectName));
            return interface == nullptr ? QString() : interface->text(QAccessible::Name);
        };
        QCOMPARE(name("rtsGroupBox"), QString("Running Tavrin Real Time Systems"));
        QCOMPARE(name("rtsTableWidget"), QString("Running Tavrin Real Time Systems"));
        QCOMPARE(name("overrideCautionCheckBox"), QString("override"));
        QCOMPARE(name("updatesGroupBox"), QString("Recommended Patches"));
        QCOMPARE(name("urlLineEdit"), QString("From"));
        QCOMPARE(name("defaultUrlButton"), QString("Restore Default URL"));
        QCOMPARE(name("updatesTreeWidget"), QString("Recommended Patches"));
        QCOMPARE(name("progressGroupBox"), QString("Progress"));
        QCOMPARE(name("progressTextEdit"), QString("Progress"));
        QCOMPARE(name("applyButton"), QString("Apply Patches"));
        QCOMPARE(name("doneButton"), QString("Done"));
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

TAVRIN_GUI_TEST_MAIN(TstWidget)
#include "tst_widget.moc"
