// Every text of the window goes through a translation call in its context, and so do the texts that no run shows. Each
// test takes one step and names all that is looked up in it, as often as it is. The terminal's are in tst_translations.
#include "expected_texts.h"
#include "recording_translator.h"
#include "window_test.h"

#include <QApplication>

#include <memory>

namespace {

QStringList formTexts(const QStringList& texts)
{
    return inContext("QtD_TavrinUpdateMainWindow", texts);
}

QStringList widgetTexts(const QStringList& texts)
{
    return inContext("TavrinUpdateWidget", texts);
}

QStringList logicTexts(const QStringList& texts)
{
    return inContext("TavrinUpdateBusinessLogic", texts);
}

// The group's title is looked up a second time for assistive technology.
const QStringList FORM = formTexts(FORM_TEXTS + QStringList{"Running Tavrin Real Time Systems"});

const auto translated = &RecordingTranslator::answerTo;

} // namespace

class TstWindowTranslations : public WindowTest
{
    Q_OBJECT

private slots:
    void windowLooksUpTheTextsOfItsForms()
    {
        initialize();
        showMainWindow();
        // The title is set with the form and by the window.
        compareTexts(FORM + inContext("QApplication", {WINDOW_TITLE, WINDOW_TITLE, "File", "Quit"}));
        QCOMPARE(window->windowTitle(), translated(WINDOW_TITLE));
    }

    void marksOfTheList()
    {
        installation->withPatched("P1");
        openWidget();
        addPatches({"P1", "P2", "P3"});
        logic->determinePatchesApplied();
        compareTexts(FORM);
        populate();
        compareTexts(widgetTexts({"Y", "N", "N"}) + formTexts({NO_SYSTEMS}));
        call("refreshPatchStatus");
        compareTexts(widgetTexts({"Y", "N", "N"}));
    }

    // The title is looked up more often than it is shown, so here it is what shows that counts.
    void runningSystems()
    {
        openWidget();
        refreshTable();
        QCOMPARE(rtsGroupBox->title(), translated(NO_SYSTEMS));
        systems->set(runningSystem("5.9"));
        refreshTable();
        QCOMPARE(rtsGroupBox->title(), translated(ONE_SYSTEM));
        systems->set(runningSystem("5.8") + runningSystem("5.9"));
        refreshTable();
        QCOMPARE(rtsGroupBox->title(), translated("2 running Tavrin Real Time Systems detected"));
        QCOMPARE(cells(0).at(1), translated("No Conflict"));
        QCOMPARE(cells(1).at(1), translated("**Conflict**"));
    }

    void questionBesideARunningSystem()
    {
        openWidget();
        systems->set(runningSystem("5.9"));
        refreshTable();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Cancel);
        apply();
        compareTexts(widgetTexts({"Update Tavrin", CONFLICT_QUESTION}));
    }

    void stepsOfAnOverriddenRelease()
    {
        initializeForOtherRelease();
        showWidget();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Ok);
        apply();
        compareTexts(logicTexts({STEPS_HEADING, "Download and install patch files ...\n", "\nUpdate %1 ...\n",
                                 "\nYou may restart systems now\n"}));
    }

    void failure()
    {
        openWidget();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Ok);
        logic->failWithMessage("What went wrong");
        compareTexts(widgetTexts({"Tavrin Update Warning"}));
    }

    void usage()
    {
        logic->getUsageString();
        compareTexts(inContext("QApplication", {"Usage:  tavrin_update [-lLnQtv]] [-m email] [url]"}));
    }

    void commandChain()
    {
        QByteArray output;
        QVERIFY(!logic->systemCommandChain("/nowhere/first", {"a"}, "/bin/cat", {"-"}, output).isEmpty());
        compareTexts(logicTexts({"System command did not complete\n'%1'\n"}));
        QVERIFY(!logic->systemCommandChain("/bin/echo", {"a"}, "/nowhere/second", {"b"}, output).isEmpty());
        compareTexts(logicTexts({"System command did not complete\n'%1'\n", "Failed to start system command '%1'\n"}));
    }

private:
    void setUp() override
    {
        translator = std::make_unique<RecordingTranslator>();
        QVERIFY(QCoreApplication::installTranslator(translator.get()));
        QCoreApplication::sendPostedEvents(); // the change of language, before there is a window
        WindowTest::setUp();
    }

    void tearDown() override
    {
        WindowTest::tearDown();
        translator.reset();
    }

    // Compares what was looked up since the last call.
    void compareTexts(const QStringList& expected)
    {
        const QString differences = textsComplaint(expected, translator->takeTexts());
        QVERIFY2(differences.isEmpty(), qUtf8Printable(differences));
    }

    std::unique_ptr<RecordingTranslator> translator;
};

TAVRIN_GUI_TEST_MAIN(TstWindowTranslations)
#include "tst_window_translations.moc"
