// The records of the list, the cursor that every consumer shares, and the question which patches are applied.
#include "fake_installation.h"
#include "message_guard.h"
#include "tavrin_update_bl.h"
#include "test_main.h"

#include <QDir>
#include <QFile>
#include <QTest>

#include <memory>

using Logic = TavrinUpdateBusinessLogic;

namespace {

void writeFile(const QString& path)
{
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
}

// An object in window mode on the installation, listing the patches given by their names.
void prepare(Logic& logic, const FakeInstallation& installation, const QStringList& names)
{
    qputenv("TAVRIN", installation.path().toUtf8());
    Logic::CommandLineOptions options;
    options.terminal = false;
    options.showProposed = false;
    QCOMPARE(logic.initialize(options), QString());
    for (const QString& name : names) {
        logic.addPatchToList(name, name + " 1 May 2020", false, name + ".tar", "Mends " + name);
    }
}

QString appliedMarks(Logic& logic)
{
    QString marks;
    while (logic.nextPatch()) {
        marks += logic.patchIsInstalled() ? 'Y' : 'N';
    }
    return marks;
}

} // namespace

class TstRecords : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void recordTakesItsFieldsInOrder();
    void walkVisitsEveryRecordAndStartsAgain();
    void emptyListEndsItsWalkAtOnce();
    void gettersOutsideAWalkGiveABlank();
    void dateIsTheHeadingFromItsFirstBlank_data();
    void dateIsTheHeadingFromItsFirstBlank();
    void appliedFlagIsSetUnderTheCursor();
    void markerFilesDecideWhatIsApplied_data();
    void markerFilesDecideWhatIsApplied();
    void markerThatCannotBeReadCounts();
    void installationItselfIsSearchedWithoutAMarkerDirectory();
    void appliedStateIsWorkedOutAfresh();
    void updatesAreNeededWhenOneIsMissing();
    void tenThousandPatchesAreLookedUp();
    void descriptionIsLaidOutForTheWindow_data();
    void descriptionIsLaidOutForTheWindow();
    void descriptionIsLaidOutForATerminal_data();
    void descriptionIsLaidOutForATerminal();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstRecords::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstRecords::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstRecords::recordTakesItsFieldsInOrder()
{
    const Logic::PatchInfo patch("name", "heading", true, "file", "description");
    QCOMPARE(patch.name, QString("name"));
    QCOMPARE(patch.heading, QString("heading"));
    QVERIFY(patch.applied);
    QCOMPARE(patch.tarFileName, QString("file"));
    QCOMPARE(patch.description, QString("description"));
    const Logic::PatchInfo copy = patch;
    QCOMPARE(copy.description, patch.description);
    QVERIFY(copy.applied);
}

void TstRecords::walkVisitsEveryRecordAndStartsAgain()
{
    Logic logic("tavrin_update");
    logic.addPatchToList("A", "A one", false, "a.tar", "first");
    logic.addPatchToList("B", "B two", true, "b.tar", "second");
    QCOMPARE(logic.getPatchCount(), 2);
    for (int walk = 0; walk < 2; ++walk) {
        QVERIFY(logic.nextPatch());
        QCOMPARE(logic.getPatchName(), QString("A"));
        QCOMPARE(logic.getTarFileName(), QString("a.tar"));
        QCOMPARE(logic.getPatchDescription(), QString("first"));
        QCOMPARE(logic.getPatchDate(), QString(" one"));
        QVERIFY(!logic.patchIsInstalled());
        QVERIFY(logic.nextPatch());
        QCOMPARE(logic.getPatchName(), QString("B"));
        QVERIFY(logic.patchIsInstalled());
        QVERIFY(!logic.nextPatch());
    }
}

void TstRecords::emptyListEndsItsWalkAtOnce()
{
    Logic logic("tavrin_update");
    QVERIFY(!logic.nextPatch());
    QVERIFY(!logic.nextPatch());
    QVERIFY(!logic.updatesNeeded());
    logic.addPatchToList("A", "A one", false, "a.tar", "first");
    QVERIFY(logic.nextPatch());
    QCOMPARE(logic.getPatchName(), QString("A"));
    QVERIFY(!logic.nextPatch());
}

void TstRecords::gettersOutsideAWalkGiveABlank()
{
    Logic logic("tavrin_update");
    logic.addPatchToList("A", "A one", true, "a.tar", "first");
    for (int walk = 0; walk < 2; ++walk) {
        QCOMPARE(logic.getPatchName(), QString(" "));
        QCOMPARE(logic.getTarFileName(), QString(" "));
        QCOMPARE(logic.getPatchDescription(), QString(" "));
        QCOMPARE(logic.getPatchDate(), QString(" "));
        QVERIFY(!logic.patchIsInstalled());
        while (logic.nextPatch()) {
            QCOMPARE(logic.getPatchName(), QString("A"));
        }
    }
}

void TstRecords::dateIsTheHeadingFromItsFirstBlank_data()
{
    QTest::addColumn<QString>("heading");
    QTest::addColumn<QString>("date");
    QTest::newRow("name and date") << "p1 12 March 2019"
                                   << " 12 March 2019";
    QTest::newRow("no blank") << "p1"
                              << "p1";
    QTest::newRow("two blanks") << "p1  May"
                                << "  May";
    QTest::newRow("blank in front") << " p1"
                                    << " p1";
    QTest::newRow("empty") << ""
                           << "";
}

void TstRecords::dateIsTheHeadingFromItsFirstBlank()
{
    QFETCH(QString, heading);
    Logic logic("tavrin_update");
    logic.addPatchToList("p1", heading, false, "p1.tar", "d");
    QVERIFY(logic.nextPatch());
    QTEST(logic.getPatchDate(), "date");
}

void TstRecords::appliedFlagIsSetUnderTheCursor()
{
    Logic logic("tavrin_update");
    for (const char* name : {"A", "B", "C"}) {
        logic.addPatchToList(name, name, false, "a.tar", "d");
    }
    QVERIFY(logic.nextPatch());
    QVERIFY(logic.nextPatch());
    logic.setPatchApplied(true);
    QVERIFY(logic.patchIsInstalled());
    QVERIFY(logic.nextPatch());
    QVERIFY(!logic.nextPatch());
    QCOMPARE(appliedMarks(logic), QString("NYN"));
}

void TstRecords::markerFilesDecideWhatIsApplied_data()
{
    QTest::addColumn<QString>("marker"); // below the installation; a directory when it ends in a slash
    QTest::addColumn<QString>("marks");  // of Patch1, TrialPatch, Patch10
    QTest::newRow("none") << ""
                          << "NNN";
    QTest::newRow("exact name") << "patched/Patch1"
                                << "YNN";
    QTest::newRow("trial patch") << "patched/TrialPatch"
                                 << "NYN";
    QTest::newRow("longer name") << "patched/Patch10"
                                 << "NNY";
    QTest::newRow("name with a suffix") << "patched/Patch1.txt"
                                        << "NNN";
    QTest::newRow("name in other letters") << "patched/PATCH1"
                                           << "NNN";
    QTest::newRow("directory") << "patched/Patch1/"
                               << "NNN";
    QTest::newRow("hidden file") << "patched/.Patch1"
                                 << "NNN";
    QTest::newRow("beside the directory") << "Patch1"
                                          << "NNN";
}

void TstRecords::markerFilesDecideWhatIsApplied()
{
    QFETCH(QString, marker);
    const FakeInstallation installation;
    Logic logic("tavrin_update");
    prepare(logic, installation, {"Patch1", "TrialPatch", "Patch10"});
    if (marker.endsWith('/')) {
        QVERIFY(QDir(installation.path()).mkdir(marker));
    } else if (!marker.isEmpty()) {
        writeFile(installation.path() + '/' + marker);
    }
    logic.determinePatchesApplied();
    QTEST(appliedMarks(logic), "marks");
}

void TstRecords::markerThatCannotBeReadCounts()
{
    FakeInstallation installation;
    installation.withPatched("Patch1").withMode("patched/Patch1", 0);
    QVERIFY(!QFileInfo(installation.path("patched/Patch1")).isReadable());
    Logic logic("tavrin_update");
    prepare(logic, installation, {"Patch1", "Patch2"});
    logic.determinePatchesApplied();
    QCOMPARE(appliedMarks(logic), QString("YN"));
}

void TstRecords::installationItselfIsSearchedWithoutAMarkerDirectory()
{
    const FakeInstallation installation;
    Logic logic("tavrin_update");
    prepare(logic, installation, {"Patch1", "Patch2"});
    QVERIFY(QDir(installation.path()).rmdir("patched"));
    writeFile(installation.path() + "/Patch2");
    logic.determinePatchesApplied();
    QCOMPARE(appliedMarks(logic), QString("NY"));
}

void TstRecords::appliedStateIsWorkedOutAfresh()
{
    const FakeInstallation installation;
    Logic logic("tavrin_update");
    prepare(logic, installation, {"A", "B"});
    writeFile(installation.path() + "/patched/A");
    logic.determinePatchesApplied();
    QCOMPARE(appliedMarks(logic), QString("YN"));
    QVERIFY(QFile::rename(installation.path() + "/patched/A", installation.path() + "/patched/B"));
    logic.determinePatchesApplied();
    QCOMPARE(appliedMarks(logic), QString("NY"));
}

void TstRecords::updatesAreNeededWhenOneIsMissing()
{
    const FakeInstallation installation;
    Logic logic("tavrin_update");
    prepare(logic, installation, {"A", "B"});
    QVERIFY(!logic.updatesNeeded()); // nobody has looked yet
    logic.determinePatchesApplied();
    QVERIFY(logic.updatesNeeded());
    writeFile(installation.path() + "/patched/A");
    logic.determinePatchesApplied();
    QVERIFY(logic.updatesNeeded());
    writeFile(installation.path() + "/patched/B");
    logic.determinePatchesApplied();
    QVERIFY(!logic.updatesNeeded());
}

void TstRecords::tenThousandPatchesAreLookedUp()
{
    const FakeInstallation installation;
    QStringList names;
    QString marks;
    for (int i = 0; i < 10000; ++i) {
        names << QString("P%1").arg(i);
        marks += i % 50 == 0 ? 'Y' : 'N';
        if (i % 50 == 0) {
            writeFile(installation.path() + "/patched/" + names.last());
        }
    }
    Logic logic("tavrin_update");
    prepare(logic, installation, names);
    logic.determinePatchesApplied();
    QCOMPARE(appliedMarks(logic), marks);
}

void TstRecords::descriptionIsLaidOutForTheWindow_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("text");
    QTest::newRow("two lines") << "line one\nline two"
                               << "line one line two";
    QTest::newRow("white space") << "  a \t b\n\n c \n"
                                 << "a b c";
    QTest::newRow("empty") << ""
                           << "";
}

void TstRecords::descriptionIsLaidOutForTheWindow()
{
    QFETCH(QString, description);
    const FakeInstallation installation;
    Logic logic("tavrin_update");
    prepare(logic, installation, {});
    QTEST(logic.formatPatchDescription(description), "text");
}

void TstRecords::descriptionIsLaidOutForATerminal_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QString>("text");
    QTest::newRow("two lines") << "line one\nline two"
                               << "\tline one\n\tline two";
    QTest::newRow("ends are trimmed") << "\n  a\n b \n"
                                      << "\ta\n\t b";
    QTest::newRow("blank line") << "a\n\nb"
                                << "\ta\n\t\n\tb";
    QTest::newRow("empty") << ""
                           << "\t";
}

void TstRecords::descriptionIsLaidOutForATerminal()
{
    QFETCH(QString, description);
    Logic logic("tavrin_update"); // a new object is in terminal mode
    QTEST(logic.formatPatchDescription(description), "text");
}

TAVRIN_TEST_MAIN(TstRecords)
#include "tst_records.moc"
