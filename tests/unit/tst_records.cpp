// The records of the list, the cursor that every consumer shares, and the question which patches are applied.
#include "fake_installation.h"
#include "tavrin_update_bl.h"
#include "test.h"

#include <QDir>
#include <QFile>

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

class TstRecords : public Test
{
    Q_OBJECT

private slots:
    void recordTakesItsFieldsInOrder()
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

    void walkVisitsEveryRecordAndStartsAgain()
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

    void emptyListEndsItsWalkAtOnce()
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

    void gettersOutsideAWalkGiveABlank()
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

    void dateIsTheHeadingFromItsFirstBlank_data()
    {
        const Rows<QString, QString> row("heading", "date");
        row("name and date", "p1 12 March 2019", " 12 March 2019");
        row("no blank", "p1", "p1");
        row("two blanks", "p1  May", "  May");
        row("blank in front", " p1", " p1");
        row("empty", "", "");
    }

    void dateIsTheHeadingFromItsFirstBlank()
    {
        QFETCH(QString, heading);
        Logic logic("tavrin_update");
        logic.addPatchToList("p1", heading, false, "p1.tar", "d");
        QVERIFY(logic.nextPatch());
        QTEST(logic.getPatchDate(), "date");
    }

    void appliedFlagIsSetUnderTheCursor()
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

    void markerFilesDecideWhatIsApplied_data()
    {
        // marker: below the installation; a directory when it ends in a slash
        // marks: of Patch1, TrialPatch, Patch10
        const Rows<QString, QString> row("marker", "marks");
        row("none", "", "NNN");
        row("exact name", "patched/Patch1", "YNN");
        row("trial patch", "patched/TrialPatch", "NYN");
        row("longer name", "patched/Patch10", "NNY");
        row("name with a suffix", "patched/Patch1.txt", "NNN");
        row("name in other letters", "patched/PATCH1", "NNN");
        row("directory", "patched/Patch1/", "NNN");
        row("hidden file", "patched/.Patch1", "NNN");
        row("beside the directory", "Patch1", "NNN");
    }

    void markerFilesDecideWhatIsApplied()
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

    void markerThatCannotBeReadCounts()
    {
        FakeInstallation installation;
        installation.withPatched("Patch1").withMode("patched/Patch1", 0);
        QVERIFY(!QFileInfo(installation.path("patched/Patch1")).isReadable());
        Logic logic("tavrin_update");
        prepare(logic, installation, {"Patch1", "Patch2"});
        logic.determinePatchesApplied();
        QCOMPARE(appliedMarks(logic), QString("YN"));
    }

    void installationItselfIsSearchedWithoutAMarkerDirectory()
    {
        const FakeInstallation installation;
        Logic logic("tavrin_update");
        prepare(logic, installation, {"Patch1", "Patch2"});
        QVERIFY(QDir(installation.path()).rmdir("patched"));
        writeFile(installation.path() + "/Patch2");
        logic.determinePatchesApplied();
        QCOMPARE(appliedMarks(logic), QString("NY"));
    }

    void appliedStateIsWorkedOutAfresh()
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

    void updatesAreNeededWhenOneIsMissing()
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

    void tenThousandPatchesAreLookedUp()
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

    void descriptionIsLaidOutForTheWindow_data()
    {
        const Rows<QString, QString> row("description", "text");
        row("two lines", "line one\nline two", "line one line two");
        row("white space", "  a \t b\n\n c \n", "a b c");
        row("empty", "", "");
    }

    void descriptionIsLaidOutForTheWindow()
    {
        QFETCH(QString, description);
        const FakeInstallation installation;
        Logic logic("tavrin_update");
        prepare(logic, installation, {});
        QTEST(logic.formatPatchDescription(description), "text");
    }

    void descriptionIsLaidOutForATerminal_data()
    {
        const Rows<QString, QString> row("description", "text");
        row("two lines", "line one\nline two", "\tline one\n\tline two");
        row("ends are trimmed", "\n  a\n b \n", "\ta\n\t b");
        row("blank line", "a\n\nb", "\ta\n\t\n\tb");
        row("empty", "", "\t");
    }

    void descriptionIsLaidOutForATerminal()
    {
        QFETCH(QString, description);
        Logic logic("tavrin_update"); // a new object is in terminal mode
        QTEST(logic.formatPatchDescription(description), "text");
    }
};

TAVRIN_TEST_MAIN(TstRecords)
#include "tst_records.moc"
