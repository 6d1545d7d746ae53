// After an archive is unpacked: which patch of the list is marked as applied, and how the script that writes the page
// of applied patches is run. A recorder replaces perl.
#include "helper_run.h"
#include "test.h"
#include "test_files.h"
#include "window_logic.h"

namespace {

const QString HEADING = logged(PAGE);
const QString UPDATED = logged(PAGE_UPDATED);
const QString CALL = "perl|/opt/tavrin/5.9/bin/ozna_installed_patches";

} // namespace

class TstAppliedPage : public Test
{
    Q_OBJECT

private slots:
    void firstPatchThatBeginsLikeTheArchiveIsMarked_data()
    {
        const Rows<QStringList, QString, QString> row("patches", "archive", "marks");
        const QStringList three{"P1", "P2", "P3"};
        row("plain", three, "P2.tar", "NYN");
        row("compressed", three, "P2.tar.gz", "NYN");
        row("without a suffix", three, "P3", "NNY");
        row("archive in upper case", {"abc-1"}, "Abc-1.tar.gz", "Y");
        row("patch in upper case", {"ABC-1"}, "abc-1.tar.gz", "Y");
        row("patch with all upper-case letters", {"P1", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"}, "abcdefghijklmnopqrstuvwxyz.tar",
            "NY");
        row("characters next to the letters in ASCII", {"`P{", "@P["}, "@p[.tar", "NY");
        row("non-ASCII name", {QString::fromUtf8("P\xc3\x89")}, QString::fromUtf8("p\xc3\xa9.tar"), "Y");
        row("letter case within a non-ASCII name", {QString::fromUtf8("p\xc3\x89X"), "P1"},
            QString::fromUtf8("P\xc3\xa9x.tar"), "YN");
        // The Kelvin sign, whose lower case is the plain letter, and the dotted capital I, whose lower case is longer.
        row("non-ASCII patch, ASCII archive", {QString::fromUtf8("\u212A1")}, "k1.tar", "Y");
        row("ASCII patch, non-ASCII archive", {"K1"}, QString::fromUtf8("\u212A1.tar"), "Y");
        row("lower case is longer", {QString::fromUtf8("P\u01301")}, QString::fromUtf8("p\u01301.tar"), "Y");
        row("beginning of a longer name", {"P1", "P123", "P12"}, "p12.tar", "NYN");
        row("longer than the name", {"P1", "P12"}, "P12.tar", "NY");
        row("not at the beginning", {"XP1", "P1"}, "P1.tar", "NY");
        row("only up to the first dot", {"P1-5.8", "P1-5.9"}, "P1-5.9.tar", "YN");
        row("same name twice", {"P1", "P1"}, "P1.tar", "YN");
        row("directory is ignored", three, "P1/P3.tar", "NNY");
        row("empty base name matches every patch", three, ".tar", "YNN");
    }

    void firstPatchThatBeginsLikeTheArchiveIsMarked()
    {
        QFETCH(QStringList, patches);
        QFETCH(QString, archive);
        WindowLogic window(WindowLogic::applyOptions());
        QCOMPARE(window.initialized, QString());
        for (const QString& name : patches) {
            window.logic.addPatchToList(name, name, false, name + ".tar", "d");
        }
        window.logic.setPatchApplied(QFileInfo(window.installation.path("patches/" + archive)));
        QTEST(window.appliedMarks(), "marks");
        QCOMPARE(window.events, QStringList());
    }

    void markedPatchIsFoundAgain()
    {
        WindowLogic window(WindowLogic::applyOptions());
        window.logic.addPatchToList("P1", "P1", true, "P1.tar", "d");
        window.list({"P12.tar"});
        window.logic.setPatchApplied(QFileInfo("P1.tar"));
        QCOMPARE(window.appliedMarks(), QString("YN"));
        QCOMPARE(window.events, QStringList());
    }

    void archiveWithoutAPatchIsAnInternalError_data()
    {
        const Rows<QString, QString> row("archive", "shown");
        row("other name", "P9.tar.gz", "P9.tar.gz");
        row("longer name", "P1a.tar", "P1a.tar");
        row("place marker", "%1.tar", "%1.tar");
        row("directory is not shown", "/opt/tavrin/5.9/patches/P9.tar", "P9.tar");
    }

    void archiveWithoutAPatchIsAnInternalError()
    {
        QFETCH(QString, archive);
        QFETCH(QString, shown);
        WindowLogic window(WindowLogic::applyOptions());
        window.list({"P1.tar"});
        window.logic.setPatchApplied(QFileInfo(archive));
        QCOMPARE(window.events, QStringList{"log:Internal error: Failed to mark update " + shown + " applied."});
        QCOMPARE(window.appliedMarks(), QString("N"));
    }

    void scriptRunsThroughPerl_data()
    {
        const Rows<int, QByteArray, QByteArray, QString> row("status", "output", "errors", "failure");
        row("no output", 0, {}, {}, {});
        row("standard output", 0, "wrote\n", {}, {});
        row("warnings", 0, {}, "warning\n", {});
        row("standard output and warnings", 0, "wrote\n", "warning\n", {});
        row("failure on standard error", 2, {}, "no page\n", "no page\n");
        row("failure on standard output", 2, "no page", {}, "no page");
        row("failure on both", 2, "half a page\n", "no page\n", "no page\n");
        row("failure without a message", 2, {}, {}, {});
    }

    void scriptRunsThroughPerl()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        WindowLogic window(WindowLogic::applyOptions());
        window.record("perl", FakeTool::printing(output, errors, status));
        QTEST(window.logic.updateAppliedPatchesHtml(), "failure");
        QCOMPARE(window.events, status == 0 ? (QStringList{HEADING, UPDATED}) : QStringList{HEADING});
        QCOMPARE(window.tools.callLines(), QStringList{CALL});
        QCOMPARE(window.tools.calls().first().workingDirectory, QDir::current().canonicalPath());
    }

    void verboseIsPassedOn()
    {
        WindowLogic::CommandLineOptions options = WindowLogic::applyOptions();
        options.verbose = true;
        WindowLogic window(options);
        window.record("perl");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        const QString echo = "log:Executing system command: perl /opt/tavrin/5.9/bin/ozna_installed_patches -v";
        QCOMPARE(window.events, (QStringList{HEADING, echo, UPDATED}));
        QCOMPARE(window.tools.callLines(), QStringList{CALL + "|-v"});
    }

    void missingPerlIsReported()
    {
        WindowLogic window(WindowLogic::applyOptions());
        window.searchToolsOnly();
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), "System command 'perl' failed:\n  " + startErrorOf("perl"));
        QCOMPARE(window.events, QStringList{HEADING});
    }

    void withoutApplyOptionOnlyTheHeadingIsShown()
    {
        WindowLogic window(WindowLogic::verboseOptions());
        window.record("perl");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, QStringList{HEADING});
        QVERIFY(window.tools.calls().isEmpty());
    }

    void realScriptWritesThePage()
    {
        WindowLogic window(WindowLogic::applyOptions());
        window.installation.withTools().withPatched("P1").withPatched("P2");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, (QStringList{HEADING, UPDATED}));
        QCOMPARE(contentOf(window.installation.path("applied_patches.html")), appliedPage({"P1", "P2"}));
    }
};

TAVRIN_TEST_MAIN(TstAppliedPage)
#include "tst_applied_page.moc"
