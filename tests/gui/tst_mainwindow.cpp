// The main window: its menu, its title, the keys it leaves alone, and a start on which the environment checks failed.
// The ways of leaving it end the process and are tried from outside.
#include "fake_patch_server.h"
#include "paint_counter.h"
#include "tavrin_update_mainwindow.h"
#include "ui_tavrin_update_mainwindow.h"
#include "window_fixture.h"
#include "window_test.h"

#include <QAccessible>
#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTextEdit>
#include <QTranslator>
#include <QTreeWidget>

#include <cstddef>
#include <memory>

namespace {

using Logic = TavrinUpdateBusinessLogic;

/** Answers every text of the application's context with the text in brackets. */
class BracketTranslator : public QTranslator
{
public:
    QString translate(const char* context, const char* sourceText, const char*, int) const override
    {
        return qstrcmp(context, "QApplication") == 0 ? '[' + QString::fromUtf8(sourceText) + ']' : QString();
    }

    bool isEmpty() const override
    {
        return false;
    }
};

} // namespace

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
        TavrinUpdateMainWindow window(*logic);
        QObject* object = &window;
        QVERIFY(qobject_cast<TavrinUpdateMainWindow*>(object) != nullptr);
        QVERIFY(object->inherits("TavrinUpdateMainWindow"));
    }

    void windowHoldsItsParts()
    {
        TavrinUpdateMainWindow window(*logic);
        QCOMPARE(window.objectName(), QString("tavrinUpdateMainWindow"));
        QCOMPARE(window.size(), QSize(700, 800));
        QCOMPARE(window.windowFlags() & Qt::WindowType_Mask, Qt::WindowFlags(Qt::Window));
        auto* widget = window.findChild<TavrinUpdateWidget*>("tavrinUpdateWidget");
        QVERIFY(widget != nullptr);
        QCOMPARE(window.centralWidget(), static_cast<QWidget*>(widget));
        auto* menuBar = window.findChild<QMenuBar*>("menuBar");
        QVERIFY(menuBar != nullptr);
        QCOMPARE(window.menuBar(), menuBar);
        QCOMPARE(menuBar->parent(), static_cast<QObject*>(&window));
        auto* menu = menuBar->findChild<QMenu*>("menuFile", Qt::FindDirectChildrenOnly);
        QVERIFY(menu != nullptr);
        QCOMPARE(menuBar->actions(), QList<QAction*>{menu->menuAction()});
        QCOMPARE(menu->title(), QString("File"));
        auto* quit = window.findChild<QAction*>("actionQuit", Qt::FindDirectChildrenOnly);
        QVERIFY(quit != nullptr);
        QCOMPARE(menu->actions(), QList<QAction*>{quit});
        QCOMPARE(quit->text(), QString("Quit"));
        QVERIFY(quit->shortcut().isEmpty());
        QCOMPARE(window.findChildren<QMenuBar*>().count(), 1);
    }

    void menuBarStaysInsideTheWindow()
    {
        TavrinUpdateMainWindow window(*logic);
        QVERIFY(!window.menuBar()->isNativeMenuBar());
        UI_TavrinUpdateMainWindow form;
        QMainWindow holder;
        form.setupUi(*logic, &holder);
        QCOMPARE(form.menuBar->geometry(), QRect(0, 0, 762, 20)); // until the window lays it out
    }

    void widgetFillsTheWindow()
    {
        TavrinUpdateMainWindow window(*logic);
        window.show();
        QCOMPARE(window.size(), QSize(700, 800));
        QCOMPARE(window.centralWidget()->width(), 700);
        QCOMPARE(window.centralWidget()->height() + window.menuBar()->height(), 800);
    }

    void titleIsThatOfTheBusinessLogic()
    {
        TavrinUpdateMainWindow window(*logic);
        QCOMPARE(window.windowTitle(), QString("Update Tavrin version '5.9'"));
        Logic idle("tavrin_update");
        TavrinUpdateMainWindow other(idle);
        QCOMPARE(other.windowTitle(), QString("Update Tavrin version ''"));
    }

    void anotherLanguageReplacesTheTexts()
    {
        TavrinUpdateMainWindow window(*logic);
        const auto* menu = window.findChild<QMenu*>("menuFile");
        const auto* quit = window.findChild<QAction*>("actionQuit");
        window.setWindowTitle("another");
        BracketTranslator translator;
        QVERIFY(QCoreApplication::installTranslator(&translator));
        QTRY_COMPARE(menu->title(), QString("[File]"));
        QCOMPARE(quit->text(), QString("[Quit]"));
        QCOMPARE(window.windowTitle(), QString("[Update Tavrin version '5.9']"));
        QVERIFY(QCoreApplication::removeTranslator(&translator));
        QTRY_COMPARE(menu->title(), QString("File"));
        QCOMPARE(window.windowTitle(), QString("Update Tavrin version '5.9'"));
    }

    void otherChangesReachTheBaseClass()
    {
        TavrinUpdateMainWindow window(*logic);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        for (QWidget* widget : {static_cast<QWidget*>(&window), window.centralWidget()}) {
            QCoreApplication::processEvents();
            PaintCounter painted(widget);
            QCoreApplication::processEvents();
            QCOMPARE(painted.count, 0);
            QEvent change(QEvent::PaletteChange); // the base class paints itself anew
            QCoreApplication::sendEvent(widget, &change);
            QTRY_COMPARE(painted.count, 1);
        }
    }

    void plainKeyReachesTheFocusedWidget()
    {
        TavrinUpdateMainWindow window(*logic);
        window.show();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        auto* url = window.findChild<QLineEdit*>("urlLineEdit");
        url->setFocus();
        url->clear();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Q);
        QCOMPARE(url->text(), QString("q"));
    }

    void otherKeysAreLeftToTheBaseClass()
    {
        TavrinUpdateMainWindow window(*logic);
        window.show();
        for (const auto& [key, modifiers] : QList<QPair<Qt::Key, Qt::KeyboardModifiers>>{
                 {Qt::Key_Q, Qt::NoModifier}, {Qt::Key_Q, Qt::AltModifier}, {Qt::Key_W, Qt::ControlModifier}}) {
            QKeyEvent press(QEvent::KeyPress, key, modifiers);
            QCoreApplication::sendEvent(&window, &press);
            QVERIFY(!press.isAccepted());
            QVERIFY(window.isVisible());
        }
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Q, Qt::ControlModifier);
        QCoreApplication::sendEvent(&window, &release);
        QVERIFY(window.isVisible());
    }

    void failureBeforeTheWindowIsNotShown()
    {
        logic->failWithMessage("nobody sees this");
        TavrinUpdateMainWindow window(*logic);
        window.show();
        QCoreApplication::processEvents();
        QCOMPARE(dialogs->dialogs().count(), 0);
    }

    void windowOpensAfterAFailedCheck_data()
    {
        const Rows<QString, QString> row("directory", "failure");
        row("TAVRIN not set", {}, "\nTAVRIN environment variable is not set.\n");
        row("no such release", "/opt/tavrin/0.0", "TAVRIN directory is invalid\n/opt/tavrin/0.0\n");
        row("elsewhere", "/usr",
            "tavrin_update cannot install patches for TAVRIN in non-standard location\n"
            "'/usr'\nYou must copy and install by hand");
    }

    void windowOpensAfterAFailedCheck()
    {
        QFETCH(QString, directory);
        qputenv("TAVRIN", directory.toUtf8());
        FakePatchServer server;
        const RequestsToLoopback loopback(server.serverPort());
        Logic unchecked("tavrin_update");
        QTEST(unchecked.initialize(windowOptions()), "failure");
        systems->set(runningSystem("0.0"));
        TavrinUpdateMainWindow window(unchecked);
        window.show();
        QVERIFY(QMetaObject::invokeMethod(&unchecked, "execute"));
        QCoreApplication::processEvents();
        QVERIFY(window.isVisible());

        auto* url = window.findChild<QLineEdit*>("urlLineEdit");
        auto* progress = window.findChild<QTextEdit*>("progressTextEdit");
        auto* widget = window.findChild<TavrinUpdateWidget*>();
        QVERIFY(window.findChild<QPushButton*>("applyButton")->isEnabled());
        QTest::mouseClick(window.findChild<QPushButton*>("applyButton"), Qt::LeftButton);
        QCOMPARE(progress->toPlainText(), QString("Download patch files ..."));
        QTest::keyClick(url, Qt::Key_Return);
        QCOMPARE(progress->toPlainText(), QString());
        QTest::mouseClick(window.findChild<QPushButton*>("defaultUrlButton"), Qt::LeftButton);
        QTest::mouseClick(window.findChild<QCheckBox*>("overrideCautionCheckBox"), Qt::LeftButton);
        for (const char* slot : {"populateUpdateList", "refreshPatchStatus", "refreshRealTimeSystemTable",
                                 "on_defaultUrlButton_clicked", "on_urlLineEdit_editingFinished"}) {
            QVERIFY(QMetaObject::invokeMethod(widget, slot));
        }
        QCoreApplication::processEvents();
        QCOMPARE(window.findChild<QTreeWidget*>()->topLevelItemCount(), 0);
        QVERIFY(!window.findChild<QPushButton*>("applyButton")->isEnabled());
    }

private:
    void setUp() override
    {
        WindowTest::setUp();
        systems = std::make_unique<OwnRunningSystems>();
        installation = std::make_unique<FakeInstallation>();
        logic = std::make_unique<Logic>("tavrin_update");
        QCOMPARE(initialize(*logic, *installation, "file:///nowhere/"), QString());
    }

    void tearDown() override
    {
        logic.reset();
        installation.reset();
        systems.reset();
    }

    std::unique_ptr<OwnRunningSystems> systems;
    std::unique_ptr<FakeInstallation> installation;
    std::unique_ptr<Logic> logic;
};

TAVRIN_GUI_TEST_MAIN(TstMainwindow)
#include "tst_mainwindow.moc"
