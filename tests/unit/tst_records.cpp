// The records of the list, the cursor that all consumers share, and how the applied patches are found.
#include "test.h"
#include "window_logic.h"

#include <QScopeGuard>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Logic = TavrinUpdateBusinessLogic;

namespace {

// The record under the cursor.
QString recordOf(const Logic& logic)
{
    const QString state = logic.patchIsInstalled() ? "installed" : "missing";
    return QStringList{logic.getPatchName(), logic.getPatchDate(), logic.getTarFileName(), logic.getPatchDescription(),
                       state}
        .join('|');
}

const QString LETTERS = QString::fromUtf8("Gr\u00f6\u00dfe-\u6f22");

const QString MARKED = QChar(QChar::ByteOrderMark) + QStringLiteral("P1");

const QString OUTSIDE_A_WALK = " | | | |missing";

bool typesAreKnown = true;

} // namespace

// Instead of the C library's function: not every file system says of which type its entries are.
dirent* readdir(DIR* directory) // NOLINT(readability-inconsistent-declaration-parameter-name): its own is reserved
{
    static const auto read = reinterpret_cast<decltype(&readdir)>(dlsym(RTLD_NEXT, "readdir"));
    dirent* entry = read(directory);
    if (entry != nullptr && !typesAreKnown) {
        entry->d_type = DT_UNKNOWN;
    }
    return entry;
}

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
        QVERIFY(copy.description == patch.description && copy.applied);
    }

    void walkVisitsEveryRecordAndStartsAgain()
    {
        Logic logic("tavrin_update");
        logic.addPatchToList("A", "A one", false, "a.tar", "first");
        logic.addPatchToList("B", "B two", true, "b.tar", "second");
        QCOMPARE(logic.getPatchCount(), 2);
        for (int walk = 0; walk < 2; ++walk) {
            QCOMPARE(recordOf(logic), OUTSIDE_A_WALK);
            QVERIFY(logic.nextPatch());
            QCOMPARE(recordOf(logic), QString("A| one|a.tar|first|missing"));
            QVERIFY(logic.nextPatch());
            QCOMPARE(recordOf(logic), QString("B| two|b.tar|second|installed"));
            QVERIFY(!logic.nextPatch());
        }
        QCOMPARE(recordOf(logic), OUTSIDE_A_WALK);
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

    void dateIsTheHeadingFromItsFirstSpace_data()
    {
        const Rows<QString, QString> row("heading", "date");
        row("name and date", "p1 12 March 2019", " 12 March 2019");
        row("no space", "p1", "p1");
        row("two spaces", "p1  May", "  May");
        row("leading space", " p1", " p1");
        row("empty", "", "");
    }

    void dateIsTheHeadingFromItsFirstSpace()
    {
        QFETCH(QString, heading);
        Logic logic("tavrin_update");
        logic.addPatchToList("p1", heading, false, "p1.tar", "d");
        QVERIFY(logic.nextPatch());
        QTEST(logic.getPatchDate(), "date");
    }

    void appliedFlagIsSetUnderTheCursor()
    {
        WindowLogic window;
        window.list({"A.tar", "B.tar", "C.tar"});
        QVERIFY(window.logic.nextPatch());
        QVERIFY(window.logic.nextPatch());
        window.logic.setPatchApplied(true);
        QVERIFY(window.logic.patchIsInstalled());
        QVERIFY(window.logic.nextPatch());
        QVERIFY(!window.logic.nextPatch());
        QCOMPARE(window.appliedMarks(), QString("NYN"));
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
        row("other letter case", "patched/PATCH1", "NNN");
        row("directory", "patched/Patch1/", "NNN");
        row("hidden file", "patched/.Patch1", "NNN");
        row("outside of the directory", "Patch1", "NNN");
    }

    void markerFilesDecideWhatIsApplied()
    {
        QFETCH(QString, marker);
        WindowLogic window;
        QCOMPARE(window.initialized, QString());
        window.list({"Patch1.tar", "TrialPatch.tar", "Patch10.tar"});
        if (marker.endsWith('/')) {
            QVERIFY(QDir(window.installation.path()).mkdir(marker));
        } else if (!marker.isEmpty()) {
            window.installation.withFile(marker);
        }
        window.logic.determinePatchesApplied();
        QTEST(window.appliedMarks(), "marks");
    }

    // The kinds of entries that a directory can have, with names of several alphabets.
    void markersAreThePlainFilesThatQtLists_data()
    {
        const Rows<bool, bool> row("isAscii", "withTypes");
        row("a list of ASCII names", true, true);
        row("a list with another name", false, true);
        row("a file system without types", true, false);
    }

    void markersAreThePlainFilesThatQtLists()
    {
        QFETCH(bool, isAscii);
        QFETCH(bool, withTypes);
        typesAreKnown = withTypes;
        const auto knowTypes = qScopeGuard([] { typesAreKnown = true; });
        WindowLogic window;
        const QString folder = window.installation.path("patched");
        const QByteArray nativeFolder = QFile::encodeName(folder) + '/';
        window.installation.withPatched("file").withPatched("file2").withPatched(".hidden");
        window.installation.withPatched(LETTERS).withPatched(MARKED);
        QVERIFY(QDir(folder).mkdir("folder"));
        QCOMPARE(::mkfifo(nativeFolder + "fifo", 0600), 0);
        const QList<QPair<QByteArray, QByteArray>> links{{"file", "linkToFile"},        {"linkToFile", "linkToLink"},
                                                         {"folder", "linkToFolder"},    {"fifo", "linkToFifo"},
                                                         {"/dev/null", "linkToDevice"}, {"missing", "brokenLink"}};
        for (const auto& [target, link] : links) {
            QCOMPARE(::symlink(target, nativeFolder + link), 0);
        }
        const QByteArray notText = nativeFolder + '\xff';
        const int descriptor = ::creat(notText, 0600);
        QVERIFY(descriptor >= 0);
        ::close(descriptor);
        const auto removal = qScopeGuard([&notText] { ::unlink(notText); }); // Qt does not see this file

        QStringList names{"file",       "file2",      "FILE",         "missing",    ".hidden",      "folder",    "fifo",
                          "linkToFile", "linkToLink", "linkToFolder", "linkToFifo", "linkToDevice", "brokenLink"};
        if (!isAscii) {
            names << LETTERS << MARKED << QString(QChar(0xfffd)) << QString(LETTERS).toLower();
        }
        const QStringList listed = QDir(folder).entryList(QDir::Files, QDir::NoSort);
        QVERIFY(listed.contains("file") && listed.contains("linkToFifo") && listed.contains(LETTERS) &&
                listed.contains(MARKED));
        QString marks;
        for (const QString& name : qAsConst(names)) {
            window.logic.addPatchToList(name, name + " 1 May", false, name + ".tar", "text");
            marks += listed.contains(name) ? 'Y' : 'N';
        }
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), marks);
    }

    void markerWithTheFirstCharacterBeyondAsciiCounts_data()
    {
        const Rows<QString> row("name");
        row("after a letter", QStringLiteral("P") + QChar(0x80));
        row("alone", QChar(0x80));
    }

    void markerWithTheFirstCharacterBeyondAsciiCounts()
    {
        QFETCH(QString, name);
        WindowLogic window;
        window.installation.withPatched(name);
        window.logic.addPatchToList(name, name + " 1 May", false, "P.tar", "text");
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), QString("Y"));
    }

    void unreadableMarkerCounts()
    {
        WindowLogic window;
        window.installation.withPatched("Patch1").withMode("patched/Patch1", 0);
        QVERIFY(!QFileInfo(window.installation.path("patched/Patch1")).isReadable());
        window.list({"Patch1.tar", "Patch2.tar"});
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), QString("YN"));
    }

    void markersAreInTheInstallationWithoutAMarkerDirectory()
    {
        WindowLogic window;
        window.list({"Patch1.tar", "Patch2.tar"});
        window.installation.without("patched").withFile("Patch2");
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), QString("NY"));
    }

    void appliedStateFollowsTheInstallation()
    {
        WindowLogic window;
        window.list({"A.tar", "B.tar"});
        QVERIFY(!window.logic.updatesNeeded()); // not determined yet
        const auto marks = [&window] {
            window.logic.determinePatchesApplied();
            return window.appliedMarks();
        };
        QCOMPARE(marks(), QString("NN"));
        QVERIFY(window.logic.updatesNeeded());
        window.installation.withPatched("A");
        QCOMPARE(marks(), QString("YN"));
        QVERIFY(window.logic.updatesNeeded());
        window.installation.without("patched/A").withPatched("B");
        QCOMPARE(marks(), QString("NY"));
        window.installation.withPatched("A");
        QCOMPARE(marks(), QString("YY"));
        QVERIFY(!window.logic.updatesNeeded());
    }

    void tenThousandPatchesAreLookedUp()
    {
        WindowLogic window;
        QString marks;
        for (int i = 0; i < 10000; ++i) {
            const QString name = QString("P%1").arg(i);
            window.list({name + ".tar"});
            marks += i % 50 == 0 ? 'Y' : 'N';
            if (i % 50 == 0) {
                window.installation.withPatched(name);
            }
        }
        window.logic.determinePatchesApplied();
        QCOMPARE(window.appliedMarks(), marks);
    }

    void descriptionIsFormattedForItsMode_data()
    {
        const Rows<bool, QString, QString> row("terminal", "description", "text");
        row("window, two lines", false, "line one\nline two", "line one line two");
        row("window, white space", false, "  a \t b\n\n c \n", "a b c");
        row("window, empty", false, "", "");
        row("terminal, two lines", true, "line one\nline two", "\tline one\n\tline two");
        row("terminal, ends are trimmed", true, "\n  a\n b \n", "\ta\n\t b");
        row("terminal, blank line", true, "a\n\nb", "\ta\n\t\n\tb");
        row("terminal, empty", true, "", "\t");
    }

    void descriptionIsFormattedForItsMode()
    {
        QFETCH(bool, terminal);
        QFETCH(QString, description);
        const Logic newObject("tavrin_update"); // in terminal mode, as every new one
        const WindowLogic window;
        const Logic& logic = terminal ? newObject : window.logic;
        QTEST(logic.formatPatchDescription(description), "text");
    }
};

TAVRIN_TEST_MAIN(TstRecords)
#include "tst_records.moc"
