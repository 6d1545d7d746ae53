// The main window: its menu, its title, the keys that it does not handle, and its start after a failed check of the
// environment. Leaving it ends the process; tst_window tests that from outside.
#include "expected_texts.h"
#include "fake_patch_server.h"
#include "paint_counter.h"
#include "recording_translator.h"
#include "ui_tavrin_update_mainwindow.h"
#include "window_test.h"

class TstMainwindow : public WindowTest
{
    Q_OBJECT

private slots:
    void membersKeepTheirOrder()
    {
        using Form = UI_TavrinUpdateMainWindow;
        QCOMPARE(offsetof(Form, tavrinUpdateWidget), std::size_t(0));
        QCOMPARE(offsetof(Form, menuBar), sizeof(void*));
        QCOMPARE(offsetof(Form, menuFile), 2 * sizeof(void*));
        QCOMPARE(offsetof(Form, actionQuit), 3 * sizeof(void*));
        QCOMPARE(sizeof(Form), 4 * sizeof(void*));
    }

    void metaObjectHasNothingOfItsOwn()
    {
        const QMetaObject& meta = TavrinUpdateMainWindow::staticMetaObject;
        QCOMPARE(meta.className(), "TavrinUpdateMainWindow");
        QCOMPARE(meta.methodCount(), meta.methodOffset());
        QCOMPARE(meta.propertyCount(), meta.propertyOffset());
        showMainWindow();
        QVERIFY(qobject_cast<TavrinUpdateMainWindow*>(static_cast<QObject*>(window)) != nullptr);
        QVERIFY(window->inherits("TavrinUpdateMainWindow"));
    }

    void windowHoldsItsParts()
    {
        showMainWindow();
        QCOMPARE(window->objectName(), QString("tavrinUpdateMainWindow"));
        QCOMPARE(window->size(), QSize(700, 800));
        QCOMPARE(widget->size(), QSize(700, 800 - window->menuBar()->height()));
        QCOMPARE(window->windowFlags() & Qt::WindowType_Mask, Qt::WindowFlags(Qt::Window));
        QCOMPARE(widget->objectName(), QString("tavrinUpdateWidget"));
        QCOMPARE(window->centralWidget(), static_cast<QWidget*>(widget));
        auto* menuBar = window->findChild<QMenuBar*>("menuBar");
        QVERIFY(menuBar != nullptr);
        QCOMPARE(window->menuBar(), menuBar);
        QCOMPARE(menuBar->parent(), static_cast<QObject*>(window));
        auto* menu = menuBar->findChild<QMenu*>("menuFile", Qt::FindDirectChildrenOnly);
        QVERIFY(menu != nullptr);
        QCOMPARE(menuBar->actions(), QList<QAction*>{menu->menuAction()});
        QCOMPARE(menu->title(), QString("File"));
        auto* quit = window->findChild<QAction*>("actionQuit", Qt::FindDirectChildrenOnly);
        QVERIFY(quit != nullptr);
        QCOMPARE(menu->actions(), QList<QAction*>{quit});
        QCOMPARE(quit->text(), QString("Quit"));
        QVERIFY(quit->shortcut().isEmpty());
        QCOMPARE(window->findChildren<QMenuBar*>().count(), 1);
    }

    void menuBarStaysInsideTheWindow()
    {
        showMainWindow();
        QVERIFY(!window->menuBar()->isNativeMenuBar());
        UI_TavrinUpdateMainWindow form;
        QMainWindow holder;
        form.setupUi(*logic, &holder);
        QCOMPARE(form.menuBar->geometry(), QRect(0, 0, 762, 20)); // until the window lays it out
    }

    void titleIsThatOfTheBusinessLogic()
    {
        showMainWindow();
        QCOMPARE(window->windowTitle(), WINDOW_TITLE);
        Logic idle("tavrin_update");
        const TavrinUpdateMainWindow other(idle);
        QCOMPARE(other.windowTitle(), QString("Update Tavrin version ''"));
    }

    void anotherLanguageReplacesTheTexts()
    {
        showMainWindow();
        const auto* menu = window->findChild<QMenu*>("menuFile");
        const auto* quit = window->findChild<QAction*>("actionQuit");
        window->setWindowTitle("another");
        RecordingTranslator translator(RecordingTranslator::bracketsIn("QApplication"));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        QTRY_COMPARE(menu->title(), QString("[File]"));
        QCOMPARE(quit->text(), QString("[Quit]"));
        QCOMPARE(window->windowTitle(), '[' + WINDOW_TITLE + ']');
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QTRY_COMPARE(menu->title(), QString("File"));
        QCOMPARE(window->windowTitle(), WINDOW_TITLE);
    }

    void otherChangeEventsReachTheBaseClass()
    {
        showMainWindow();
        QVERIFY(QTest::qWaitForWindowExposed(window));
        for (QWidget* each : {static_cast<QWidget*>(window), static_cast<QWidget*>(widget)}) {
            QCoreApplication::processEvents();
            PaintCounter painted(each);
            QCoreApplication::processEvents();
            QCOMPARE(painted.count, 0);
            QEvent change(QEvent::PaletteChange); // the base class repaints the widget
            QCoreApplication::sendEvent(each, &change);
            QTRY_COMPARE(painted.count, 1);
        }
    }

    void plainKeyReachesTheFocusedWidget()
    {
        showMainWindow();
        QVERIFY(QTest::qWaitForWindowActive(window));
        url->setFocus();
        url->clear();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Q);
        QCOMPARE(url->text(), QString("q"));
    }

    void otherKeysAreLeftToTheBaseClass()
    {
        showMainWindow();
        for (const auto& [key, modifiers] : QList<QPair<Qt::Key, Qt::KeyboardModifiers>>{
                 {Qt::Key_Q, Qt::NoModifier}, {Qt::Key_Q, Qt::AltModifier}, {Qt::Key_W, Qt::ControlModifier}}) {
            QKeyEvent press(QEvent::KeyPress, key, modifiers);
            QCoreApplication::sendEvent(window, &press);
            QVERIFY(!press.isAccepted());
            QVERIFY(window->isVisible());
        }
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Q, Qt::ControlModifier);
        QCoreApplication::sendEvent(window, &release);
        QVERIFY(window->isVisible());
    }

    void failureBeforeTheWindowIsNotShown()
    {
        logic->failWithMessage("no one sees this");
        showMainWindow();
        QCoreApplication::processEvents();
        QCOMPARE(dialogs->dialogs().count(), 0);
    }

    void windowOpensAfterAFailedCheck_data()
    {
        const Rows<QString, QString> row("directory", "failure");
        row("TAVRIN not set", {}, "\nTAVRIN environment variable is not set.\n");
        row("no such release", "/opt/tavrin/0.0", "TAVRIN directory is invalid\n/opt/tavrin/0.0\n");
        row("non-standard location", "/usr",
            "tavrin_update cannot install patches for TAVRIN in non-standard location\n"
            "'/usr'\nYou must copy and install by hand");
    }

    void windowOpensAfterAFailedCheck()
    {
        QFETCH(QString, directory);
        qputenv("TAVRIN", directory.toUtf8());
        FakePatchServer server;
        const RequestsToLoopback loopback(server.serverPort());
        logic = std::make_unique<Logic>("tavrin_update");
        QTEST(logic->initialize(windowOptions()), "failure");
        systems->set(runningSystem("0.0"));
        showMainWindow();
        QVERIFY(QMetaObject::invokeMethod(logic.get(), "execute"));
        QCoreApplication::processEvents();
        QVERIFY(window->isVisible());

        QVERIFY(applyButton->isEnabled());
        QTest::mouseClick(applyButton, Qt::LeftButton);
        QCOMPARE(progress->toPlainText(), QString("Download patch files ..."));
        QTest::keyClick(url, Qt::Key_Return);
        QCOMPARE(progress->toPlainText(), QString());
        QTest::mouseClick(defaultUrlButton, Qt::LeftButton);
        QTest::mouseClick(overrideBox, Qt::LeftButton);
        for (const char* slot : {"populateUpdateList", "refreshPatchStatus", "refreshRealTimeSystemTable",
                                 "on_defaultUrlButton_clicked", "on_urlLineEdit_editingFinished"}) {
            call(slot);
        }
        QCoreApplication::processEvents();
        QCOMPARE(tree->topLevelItemCount(), 0);
        QVERIFY(!applyButton->isEnabled());
    }

private:
    void setUp() override
    {
        WindowTest::setUp();
        initialize();
    }
};

TAVRIN_GUI_TEST_MAIN(TstMainwindow)
#include "tst_mainwindow.moc"
