// Every text of the window goes through a translation call in its context, and so do the texts that no run shows. Each
// test takes one step and names all that is looked up in it, as often as it is. The terminal's are in tst_translations.
#include "recording_translator.h"
#include "tavrin_update_mainwindow.h"
#include "widget_scene.h"
#include "window_test.h"

#include <QApplication>

#include <memory>

namespace {

const QStringList FORM =
    inContext("QtD_TavrinUpdateMainWindow",
              {"Running Tavrin Real Time Systems", "Version", "Conflict?", "User Name", "rtexec pid",
               "Working Directory", "'Apply Patches' button disabled due to conflict with running real-time systems",
               "override", "Recommended Patches", "From", "Restore Default URL", "Description", "Applied?", "Patch",
               "No new patches", "Progress", "Apply Patches", "Done",
               "Running Tavrin Real Time Systems"}); // the second time for assistive technology

QStringList widgetTexts(const QStringList& texts)
{
    return inContext("TavrinUpdateWidget", texts);
}

QStringList logicTexts(const QStringList& texts)
{
    return inContext("TavrinUpdateBusinessLogic", texts);
}

} // namespace

class TstWindowTranslations : public WindowTest
{
    Q_OBJECT

private slots:
    void window()
    {
        QCOMPARE(initialize(scene->logic, scene->installation, "file:///nowhere/"), QString());
        const TavrinUpdateMainWindow mainWindow(scene->logic);
        const QString title = "Update Tavrin version '5.9'"; // set with the form and by the window
        compareTexts(FORM + inContext("QApplication", {title, title, "File", "Quit"}));
        QCOMPARE(mainWindow.windowTitle(), RecordingTranslator::answerTo(title));
    }

    void marksOfTheList()
    {
        scene->installation.withPatched("P1");
        scene->open();
        scene->addPatches({"P1", "P2", "P3"});
        scene->logic.determinePatchesApplied();
        compareTexts(FORM);
        scene->populate();
        compareTexts(widgetTexts({"Y", "N", "N"}) +
                     inContext("QtD_TavrinUpdateMainWindow", {"No running Tavrin Real Time Systems detected"}));
        QVERIFY(QMetaObject::invokeMethod(scene->widget.get(), "refreshPatchStatus"));
        compareTexts(widgetTexts({"Y", "N", "N"}));
    }

    // The title is looked up more often than it is shown, so here it is what shows that counts.
    void runningSystems()
    {
        const auto translated = &RecordingTranslator::answerTo;
        scene->open();
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), translated("No running Tavrin Real Time Systems detected"));
        scene->systems.set(runningSystem("5.9"));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), translated("1 running Tavrin Real Time System detected"));
        scene->systems.set(runningSystem("5.8") + runningSystem("5.9"));
        scene->refreshTable();
        QCOMPARE(scene->rtsGroupBox->title(), translated("2 running Tavrin Real Time Systems detected"));
        QCOMPARE(scene->cells(0).at(1), translated("No Conflict"));
        QCOMPARE(scene->cells(1).at(1), translated("**Conflict**"));
    }

    void questionBesideARunningSystem()
    {
        scene->open();
        scene->systems.set(runningSystem("5.9"));
        scene->refreshTable();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Cancel);
        scene->apply();
        compareTexts(widgetTexts({"Update Tavrin", "You are attempting to update Tavrin while a real-time system is "
                                                   "running. This is ill-advised as the consequences are, in general, "
                                                   "unpredictable.\nProceed anyways?"}));
    }

    void stepsOfAnOverriddenRelease()
    {
        const FakeInstallation overriding("5.8");
        qputenv("TAVRIN", scene->installation.path().toUtf8());
        TavrinUpdateBusinessLogic::CommandLineOptions options = windowOptions("file:///nowhere/");
        options.release = "5.8";
        QCOMPARE(scene->logic.initialize(options), QString());
        scene->openWidget();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Ok);
        scene->apply();
        compareTexts(logicTexts({"Steps that would be taken are:\n\n", "Download and install patch files ...\n",
                                 "\nUpdate %1 ...\n", "\nYou may restart systems now\n"}));
    }

    void failure()
    {
        scene->open();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Ok);
        scene->logic.failWithMessage("What went wrong");
        compareTexts(widgetTexts({"Tavrin Update Warning"}));
    }

    void usage()
    {
        scene->logic.getUsageString();
        compareTexts(inContext("QApplication", {"Usage:  tavrin_update [-lLnQtv]] [-m email] [url]"}));
    }

    void commandChain()
    {
        QByteArray output;
        QVERIFY(!scene->logic.systemCommandChain("/nowhere/first", {"a"}, "/bin/cat", {"-"}, output).isEmpty());
        compareTexts(logicTexts({"System command did not complete\n'%1'\n"}));
        QVERIFY(!scene->logic.systemCommandChain("/bin/echo", {"a"}, "/nowhere/second", {"b"}, output).isEmpty());
        compareTexts(logicTexts({"System command did not complete\n'%1'\n", "Failed to start system command '%1'\n"}));
    }

private:
    void setUp() override
    {
        WindowTest::setUp();
        translator = std::make_unique<RecordingTranslator>();
        QVERIFY(QCoreApplication::installTranslator(translator.get()));
        QCoreApplication::sendPostedEvents(); // the change of language, before there is a window
        scene = std::make_unique<Scene>();
    }

    void tearDown() override
    {
        scene.reset();
        QVERIFY(QCoreApplication::removeTranslator(translator.get()));
        translator.reset();
    }

    // Compares what was looked up since the last call.
    void compareTexts(const QStringList& expected)
    {
        const QString complaint = textsComplaint(expected, translator->takeTexts());
        QVERIFY2(complaint.isEmpty(), qUtf8Printable(complaint));
    }
    std::unique_ptr<Scene> scene;
    std::unique_ptr<RecordingTranslator> translator;
};

TAVRIN_GUI_TEST_MAIN(TstWindowTranslations)
#include "tst_window_translations.moc"
