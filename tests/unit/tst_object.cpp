// The business-logic object itself: its constants, its meta-object, the state of a new one, and how it reports fatal
// errors and progress in window mode. (In terminal mode a fatal error ends the process and progress is printed: see the
// end-to-end tests.)
#include "pidrtsys.h"
#include "recording_translator.h"
#include "tavrin_update_systeminfo.h"
#include "test.h"
#include "window_logic.h"

#include <QMetaMethod>
#include <QNetworkReply>

using Logic = TavrinUpdateBusinessLogic;

class TstObject : public Test
{
    Q_OBJECT

private slots:
    void constantsHaveTheirPublishedValues()
    {
        QCOMPARE(SHOW_PROPOSED_TEXT, QString("Steps that would be taken are:\n\n"));
        QCOMPARE(APPLIED_PATCHES_HTML, QString("applied_patches.html"));
        QCOMPARE(APPLIED_PATCHES_HTML_UPDATER, QString("ozna_installed_patches"));
        QCOMPARE(UNZIP_COMMAND, QString("gunzip"));
        QCOMPARE(HREF_ATTRIBUTE, QString("href"));
        QCOMPARE(NEW_PATCH_HEADER, QString("new patch"));
        QVERIFY(NO_ERROR.isEmpty());
        QCOMPARE(NO_NEW_PATCH_STRING, QString("No new patches"));
        QCOMPARE(NOT_INSTALLED_STRING, QString("Not Installed"));
        QVERIFY(PATCH_URL.startsWith("http://"));
        QVERIFY(PATCH_URL.endsWith("/patches/"));
        QCOMPARE(PATCHED_DIR, QString("patched"));
        QCOMPARE(PATCHES_DIR, QString("patches"));
        QCOMPARE(START_STOP_EXEC_NAME, QString("/etc/init.d/tavrin"));
        QCOMPARE(TAR_COMMAND, QString("bsdtar"));
    }

    void signalsAndSlotsKeepTheirOrder()
    {
        const QMetaObject& meta = Logic::staticMetaObject;
        QStringList methods; // with the names of their arguments
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            const QMetaMethod method = meta.method(i);
            const QString kind = method.methodType() == QMetaMethod::Signal ? "signal " : "slot ";
            const QString access = method.access() == QMetaMethod::Private ? "private " : "public ";
            methods << access + kind + method.methodSignature() + ' ' + method.parameterNames().join(',');
        }
        const QStringList expected{"public signal appendProgress(QString) ",
                                   "public signal patchListReady() ",
                                   "public signal processFailed(QString) ",
                                   "public signal updatePatchStatus() ",
                                   "public slot execute() ",
                                   "private slot downloadComplete(QNetworkReply*) reply",
                                   "private slot patchListReceived(QNetworkReply*) reply"};
        QCOMPARE(methods, expected);
    }

    void argumentsOfPrivateSlotsAreOfAKnownType()
    {
        for (const char* slot : {"downloadComplete(QNetworkReply*)", "patchListReceived(QNetworkReply*)"}) {
            const QMetaMethod method = Logic::staticMetaObject.method(Logic::staticMetaObject.indexOfSlot(slot));
            // Nothing else in this test may register the type before: the slots have to do it.
            const int type = method.parameterType(0);
            QVERIFY(type != QMetaType::UnknownType);
            QCOMPARE(QMetaType::typeName(type), "QNetworkReply*");
        }
    }

    void castsKnowOnlyTheClassAndItsBase()
    {
        Logic logic("tavrin_update");
        QCOMPARE(logic.metaObject()->className(), "TavrinUpdateBusinessLogic");
        QVERIFY(logic.qt_metacast("TavrinUpdateBusinessLogic") == &logic);
        QVERIFY(logic.qt_metacast("QObject") != nullptr);
        QVERIFY(logic.qt_metacast("TavrinUpdateWidget") == nullptr);
        QVERIFY(logic.parent() == nullptr);
    }

    void newObjectIsIdle()
    {
        Logic logic("/usr/bin/tavrin_update");
        QCOMPARE(logic.getReleaseOverriddenWarning(), QString());
        QCOMPARE(logic.getTavrinRelease(), QString());
        QCOMPARE(logic.getDefaultUrlString(), PATCH_URL);
        QCOMPARE(logic.getCurrentUrlString(), QString());
        QVERIFY(logic.urlIsOverridden());
        QCOMPARE(logic.getPatchCount(), 0);
        QVERIFY(!logic.updatesNeeded());
        QCOMPARE(logic.getPatchName(), QString(" "));
        QVERIFY(logic.isArchive("a.bz2") && logic.isArchive("a.tar") && logic.isArchive("a.gz"));
        QVERIFY(logic.isArchive("a.gzip") && logic.isArchive("a.Z"));
    }

    void usageHasItsPublishedTextInTheApplicationsContext()
    {
        const QString usage = "Usage:  tavrin_update [-lLnQtv]] [-m email] [url]";
        RecordingTranslator translator(RecordingTranslator::noAnswer);
        QVERIFY(QCoreApplication::installTranslator(&translator));
        Logic logic("tavrin_update");
        QCOMPARE(logic.getUsageString(), usage);
        QCOMPARE(logic.getWindowTitle(), QString("Update Tavrin version ''"));
        QCOMPARE(translator.takeTexts(), inContext("QApplication", {usage, "Update Tavrin version ''"}));
    }

    void fatalErrorInWindowModeOnlySignals()
    {
        Logic logic("tavrin_update");
        const SignalRecorder recorder(logic);
        qunsetenv("TAVRIN");
        QCOMPARE(logic.initialize(WindowLogic::quietOptions()), QString("\nTAVRIN environment variable is not set.\n"));
        QCOMPARE(recorder.events, QStringList()); // returned, not reported: the caller decides
        logic.failWithMessage("first\nsecond");
        QCOMPARE(recorder.events, QStringList{"fail:first\nsecond"});
    }

    void oneLineBreakAtTheEndIsRemoved_data()
    {
        const Rows<QString, QString> row("text", "shown");
        row("a line", "Done\n", "Done");
        row("no line break", "Done", "Done");
        row("two line breaks", "a\n\n", "a\n");
        row("line breaks elsewhere", "\na\nb", "\na\nb");
        row("a space after it", "a\n ", "a\n ");
        row("a carriage return before it", "a\r\n", "a\r");
        row("a line break alone", "\n", "");
        row("nothing", "", "");
    }

    void oneLineBreakAtTheEndIsRemoved()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        const WindowLogic window;
        window.logic.presentText(text);
        QCOMPARE(window.events, QStringList{"log:" + shown});
    }

    void questionIsNotAskedInWindowMode()
    {
        const WindowLogic window;
        window.logic.allowUserToCancel("Continue?");
        QCOMPARE(window.events, QStringList());
    }

    void restartNoticeGoesToTheLog()
    {
        const WindowLogic window;
        window.logic.informStartTavrin();
        QCOMPARE(window.events, QStringList{logged(RESTART_NOTICE)});
    }

    void platformNamesAreThoseOfThePatchSource()
    {
        QCOMPARE(TavrinUpdateSystemInfo::getOS(), "Linux");
        QCOMPARE(TavrinUpdateSystemInfo::getProcessor(), "x86");
    }

    void fieldTextEndsAtItsNul()
    {
        const char field[8] = {'5', '.', '9', '\0', 'x', 'x', 'x', 'x'};
        QCOMPARE(fieldText(field), QString("5.9"));
        const char umlaut[3] = {'\xc3', '\xa4', '\0'};
        QCOMPARE(fieldText(umlaut), QString::fromUtf8("ä"));
        const char empty[1] = {'\0'};
        QCOMPARE(fieldText(empty), QString());
    }

    void fieldTextStaysWithinItsField()
    {
        struct
        {
            char field[4];
            char neighbour[4];
        } const record = {{'a', 'b', 'c', 'd'}, {'e', 'f', 'g', '\0'}};
        QCOMPARE(fieldText(record.field), QString("abcd"));
    }
};

TAVRIN_TEST_MAIN(TstObject)
#include "tst_object.moc"
