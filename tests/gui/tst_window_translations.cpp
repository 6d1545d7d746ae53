// Every text of the window is translated in its context, and so are the texts that no run shows. Each test makes one
// step and lists all texts that are looked up in it, with repetitions. tst_translations has those of terminal runs.
#include "expected_texts.h"
#include "recording_translator.h"
#include "window_test.h"

namespace {

// The contexts.
const char FORM[] = "QtD_TavrinUpdateMainWindow";
const char WIDGET[] = "TavrinUpdateWidget";
const char LOGIC[] = "TavrinUpdateBusinessLogic";

// The group's title is looked up a second time for assistive technology.
const QStringList ALL_OF_FORM = inContext(FORM, FORM_TEXTS + QStringList{"Running Tavrin Real Time Systems"});

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
        // The form and the window both set the title.
        compareTexts(ALL_OF_FORM + inContext("QApplication", {WINDOW_TITLE, WINDOW_TITLE, "File", "Quit"}));
        QCOMPARE(window->windowTitle(), translated(WINDOW_TITLE));
    }

    void marksOfTheListAreTranslated()
    {
        installation->withPatched("P1");
        openWidget();
        addPatches({"P1", "P2", "P3"});
        logic->determinePatchesApplied();
        compareTexts(ALL_OF_FORM);
        populate();
        compareTexts(inContext(WIDGET, {"Y", "N", "N"}) + inContext(FORM, {NO_SYSTEMS}));
        call("refreshPatchStatus");
        compareTexts(inContext(WIDGET, {"Y", "N", "N"}));
    }

    // The title is looked up more often than it is shown, so this test compares what is shown.
    void tableOfRunningSystemsIsTranslated()
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

    void questionAboutARunningSystemIsTranslated()
    {
        openWidget();
        systems->set(runningSystem("5.9"));
        refreshTable();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Cancel);
        apply();
        compareTexts(inContext(WIDGET, {"Update Tavrin", CONFLICT_QUESTION}));
    }

    void stepsOfAnOverriddenReleaseAreTranslated()
    {
        initializeForOtherRelease();
        showWidget();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Ok);
        apply();
        compareTexts(inContext(LOGIC, {STEPS_HEADING, "Download and install patch files ...\n", "\nUpdate %1 ...\n",
                                       "\nYou may restart systems now\n"}));
    }

    void titleOfAFailureIsTranslated()
    {
        openWidget();
        translator->takeTexts();
        dialogs->answer(QMessageBox::Ok);
        logic->failWithMessage("A failure");
        compareTexts(inContext(WIDGET, {"Tavrin Update Warning"}));
    }

    void usageIsTranslated()
    {
        logic->getUsageString();
        compareTexts(inContext("QApplication", {"Usage:  tavrin_update [-lLnQtv]] [-m email] [url]"}));
    }

    void failuresOfACommandChainAreTranslated()
    {
        QByteArray output;
        QVERIFY(!logic->systemCommandChain("/nowhere/first", {"a"}, "/bin/cat", {"-"}, output).isEmpty());
        compareTexts(inContext(LOGIC, {"System command did not complete\n'%1'\n"}));
        QVERIFY(!logic->systemCommandChain("/bin/echo", {"a"}, "/nowhere/second", {"b"}, output).isEmpty());
        compareTexts(
            inContext(LOGIC, {"System command did not complete\n'%1'\n", "Failed to start system command '%1'\n"}));
    }

private:
    void setUp() override
    {
        translator = std::make_unique<RecordingTranslator>();
        QVERIFY(QCoreApplication::installTranslator(translator.get()));
        QCoreApplication::sendPostedEvents(); // the language changes before there is a window
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
