// The update widget over the real business logic: its initial state, its buttons, its URL field, its message boxes, and
// its use with the keyboard. tst_widget_patches tests its tree, tst_widget_systems its table.
#include "expected_texts.h"
#include "fake_patch_server.h"
#include "recording_translator.h"
#include "window_test.h"

#include <QAccessible>
#include <QHeaderView>
#include <QMetaMethod>
#include <QSplitter>

class TstWidget : public WindowTest
{
    Q_OBJECT

private slots:
    void slotsKeepTheirOrder()
    {
        const QMetaObject& meta = TavrinUpdateWidget::staticMetaObject;
        QCOMPARE(meta.className(), "TavrinUpdateWidget");
        QStringList methods; // with the names of their arguments
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
            methods << meta.method(i).methodSignature() + ' ' + meta.method(i).parameterNames().join(',');
        }
        const QStringList expected{
            "appendProgress(QString) ",
            "on_applyButton_clicked() ",
            "on_defaultUrlButton_clicked() ",
            "on_doneButton_clicked() ",
            "on_overrideCautionCheckBox_stateChanged(int) state",
            "populateUpdateList() ",
            "presentErrorMessage(QString) ",
            "refreshPatchStatus() ",
            "refreshRealTimeSystemTable() ",
            "on_urlLineEdit_editingFinished() ",
        };
        QCOMPARE(methods, expected);
    }

    void newWidgetIsEmptyAndIdle()
    {
        systems->set(runningSystem());
        openWidget(QString());
        QCOMPARE(widget->objectName(), QString("tavrinUpdateWidget"));
        QCOMPARE(tree->topLevelItemCount(), 0);
        QCOMPARE(table->rowCount(), 0);
        QCOMPARE(systems->queries(), 0);
        QVERIFY(warning->isHidden());
        QVERIFY(noUpdates->isHidden());
        QVERIFY(applyButton->isEnabled());
        QVERIFY(!timer->isActive());
        QCOMPARE(rtsGroupBox->title(), QString("Running Tavrin Real Time Systems"));
        QCOMPARE(progress->toPlainText(), QString());
        QHeaderView* rows = table->verticalHeader();
        QCOMPARE(rows->defaultSectionSize(), rows->fontMetrics().height() + 6);
        // Qt raises both to the panes' minimum heights and then divides the rest.
        auto* splitter = widget->findChild<QSplitter*>("splitter");
        const QList<int> panes = splitter->sizes();
        QVERIFY(panes.at(0) > panes.at(1));
        splitter->setSizes({13000, 10000});
        QVERIFY(splitter->sizes() != panes);
        splitter->setSizes({13, 10});
        QCOMPARE(splitter->sizes(), panes);
    }

    void urlIsEditableOnlyWhenOneWasGiven()
    {
        openWidget(QString());
        QVERIFY(url->isReadOnly());
        QVERIFY(defaultUrlButton->isHidden());
        QCOMPARE(url->text(), logic->getDefaultUrlString());

        QCOMPARE(logic->validateCurrentUrl("file:///elsewhere"), QString());
        showWidget();
        QVERIFY(!url->isReadOnly());
        QVERIFY(defaultUrlButton->isVisible());
        QCOMPARE(url->text(), QString("file:///elsewhere/"));
    }

    void progressIsAppended()
    {
        openWidget();
        emit logic->appendProgress("one\ntwo");
        emit logic->appendProgress("");
        emit logic->appendProgress("three");
        QCOMPARE(progress->toPlainText(), QString("one\ntwo\n\nthree"));
    }

    void titleIsThatOfTheBusinessLogic()
    {
        openWidget();
        QCOMPARE(widget->getWindowTitle(), WINDOW_TITLE);
        QCOMPARE(widget->windowTitle(), QString());
    }

    void anotherLanguageReplacesTheTexts()
    {
        openWidget();
        RecordingTranslator translator(RecordingTranslator::bracketsIn(""));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        QTRY_COMPARE(applyButton->text(), QString("QtD_TavrinUpdateMainWindow[Apply Patches]"));
        const QString title = "QtD_TavrinUpdateMainWindow[Running Tavrin Real Time Systems]";
        QCOMPARE(rtsGroupBox->title(), title);
        QCOMPARE(table->accessibleName(), title);
        QCOMPARE(progress->accessibleName(), QString("QtD_TavrinUpdateMainWindow[Progress]"));
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QTRY_COMPARE(applyButton->text(), QString("Apply Patches"));
        QCOMPARE(table->accessibleName(), QString("Running Tavrin Real Time Systems"));
    }

    void editedUrlIsRead()
    {
        const LocalSource other(pageOf({"Q1", "Q2"}));
        openList(pageOf({"P1"}));
        emit logic->appendProgress("something");
        url->setFocus();
        url->selectAll();
        QTest::keyClicks(url, other.url());
        QSignalSpy ready(logic.get(), SIGNAL(patchListReady()));
        QTest::keyClick(url, Qt::Key_Return);
        QCOMPARE(marks(), QStringList());
        QCOMPARE(progress->toPlainText(), QString());
        QCOMPARE(logic->getCurrentUrlString(), other.url());
        QVERIFY(ready.wait());
        QCOMPARE(marks(), QStringList({"Q1 N", "Q2 N"}));
    }

    void rejectedUrlLeavesOnlyItsMessage()
    {
        openList(pageOf({"P1"}));
        emit logic->appendProgress("something");
        url->setText("http://host.test:99999");
        call("on_urlLineEdit_editingFinished");
        QCOMPARE(marks(), QStringList());
        QCOMPARE(progress->toPlainText(),
                 "Url 'http://host.test:99999/' is invalid.\n" + QUrl("http://host.test:99999/").errorString());
        QCOMPARE(logic->getCurrentUrlString(), source->url());
    }

    void defaultUrlIsRestored()
    {
        FakePatchServer server;
        const RequestsToLoopback loopback(server.serverPort());
        openList(pageOf({"P1"}));
        const QString defaultUrl = logic->getDefaultUrlString();
        server.answer(defaultUrl.toUtf8(), FakePatchServer::Answer::body(pageOf({"D1"}).html()));
        emit logic->appendProgress("something");
        QSignalSpy ready(logic.get(), SIGNAL(patchListReady()));
        QTest::mouseClick(defaultUrlButton, Qt::LeftButton);
        QCOMPARE(marks(), QStringList());
        QCOMPARE(progress->toPlainText(), QString());
        QCOMPARE(url->text(), defaultUrl);
        QVERIFY(!logic->urlIsOverridden());
        QVERIFY(ready.wait());
        QCOMPARE(marks(), QStringList{"D1 N"});
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{defaultUrl.toUtf8()});
    }

    void releaseOverrideWarnsAndShowsTheSteps()
    {
        initializeForOtherRelease();
        showWidget();
        dialogs->answer(QMessageBox::Ok);
        apply();
        QCOMPARE(dialogs->dialogs().count(), 1);
        const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
        QCOMPARE(dialog.title, QString("Apply Patches"));
        QCOMPARE(dialog.text, QString("*** WARNING: Your environment is for Tavrin release '5.9', but you are running "
                                      "tavrin_update with a release override of '5.8'.\n"
                                      "Patches will be listed but not applied.\n"));
        QCOMPARE(dialog.icon, QMessageBox::Warning);
        QCOMPARE(dialog.buttons, QMessageBox::StandardButtons(QMessageBox::Ok));
        QCOMPARE(dialog.parent, static_cast<QWidget*>(widget));
        QCOMPARE(progress->toPlainText(), QString("Steps that would be taken are:\n\n\n"
                                                  "Download and install patch files ...\n"
                                                  "\nUpdate applied_patches.html ...\n"
                                                  "\nYou may restart systems now"));

        // Any answer continues. The title is the same in every language.
        RecordingTranslator translator(RecordingTranslator::bracketsIn(""));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        dialogs->answer(QMessageBox::NoButton);
        apply();
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QCOMPARE(dialogs->dialogs().last().title, QString("Apply Patches"));
        QVERIFY(
            progress->toPlainText().startsWith("TavrinUpdateBusinessLogic[Steps that would be taken are:\n\n]\n"
                                               "TavrinUpdateBusinessLogic[Download and install patch files ...\n]\n"));
    }

    void failureIsShownInAMessageBox()
    {
        openList(pageOf({"P1"}));
        dialogs->answer(QMessageBox::Ok);
        emit logic->processFailed("First line\nsecond line");
        QCOMPARE(dialogs->dialogs().count(), 1);
        const DialogAnswerer::Dialog& dialog = dialogs->dialogs().first();
        QCOMPARE(dialog.text, QString("Tavrin Update Warning"));
        QCOMPARE(dialog.details, QString("First line\nsecond line"));
        QCOMPARE(dialog.parent, static_cast<QWidget*>(nullptr));
        QCOMPARE(dialog.icon, QMessageBox::NoIcon);
        QCOMPARE(marks(), QStringList({"P1 N"}));
        QCOMPARE(progress->toPlainText(), QString());
        QVERIFY(applyButton->isEnabled());
    }

    void tabOrderIsReadingOrder()
    {
        systems->set(runningSystem());
        openWidget();
        QVERIFY(QTest::qWaitForWindowActive(widget));
        listPatches({"P1"});
        QTest::mouseClick(overrideBox, Qt::LeftButton);
        overrideBox->setFocus(Qt::TabFocusReason);
        QStringList stops;
        for (int i = 0; i < 8; ++i) {
            stops << QApplication::focusWidget()->objectName();
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        const QStringList expected{
            "overrideCautionCheckBox", "urlLineEdit",      "defaultUrlButton", "updatesTreeWidget",
            "progressScrollArea",      "progressTextEdit", "applyButton",      "doneButton"};
        QCOMPARE(stops, expected);
        QCOMPARE(QApplication::focusWidget(), static_cast<QWidget*>(table));
    }

    void assistiveTechnologyGetsNames()
    {
        openWidget();
        const auto name = [this](const char* objectName) {
            QAccessibleInterface* interface =
                QAccessible::queryAccessibleInterface(widget->findChild<QWidget*>(objectName));
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
};

TAVRIN_GUI_TEST_MAIN(TstWidget)
#include "tst_widget.moc"
