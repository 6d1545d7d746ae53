// After an archive was unpacked: which patch of the list counts as applied, and how the installation's script is made
// to write its page of applied patches. A recorder takes the place of perl.
#include "helper_run.h"
#include "test.h"
#include "test_files.h"
#include "window_logic.h"

namespace {

// A window run with leave to apply.
struct ApplyingWindow : WindowLogic
{
    explicit ApplyingWindow(const CommandLineOptions& options = applyOptions()) : WindowLogic(options)
    {
    }
};

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
        row("patch in every upper-case letter", {"P1", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"}, "abcdefghijklmnopqrstuvwxyz.tar",
            "NY");
        row("signs beside the letters", {"`P{", "@P["}, "@p[.tar", "NY");
        row("beyond ASCII", {QString::fromUtf8("P\xc3\x89")}, QString::fromUtf8("p\xc3\xa9.tar"), "Y");
        row("other letters within a name beyond ASCII", {QString::fromUtf8("p\xc3\x89X"), "P1"},
            QString::fromUtf8("P\xc3\xa9x.tar"), "YN");
        // The Kelvin sign, whose lower case is the plain letter, and the dotted capital I, whose lower case is longer.
        row("patch beyond ASCII, archive within", {QString::fromUtf8("\u212A1")}, "k1.tar", "Y");
        row("archive beyond ASCII, patch within", {"K1"}, QString::fromUtf8("\u212A1.tar"), "Y");
        row("lower case is longer", {QString::fromUtf8("P\u01301")}, QString::fromUtf8("p\u01301.tar"), "Y");
        row("beginning of a longer name", {"P1", "P123", "P12"}, "p12.tar", "NYN");
        row("longer than the name", {"P1", "P12"}, "P12.tar", "NY");
        row("not at the beginning", {"XP1", "P1"}, "P1.tar", "NY");
        row("only up to the first dot", {"P1-5.8", "P1-5.9"}, "P1-5.9.tar", "YN");
        row("same name twice", {"P1", "P1"}, "P1.tar", "YN");
        row("directory does not count", three, "P1/P3.tar", "NNY");
        row("nothing before the dot fits all", three, ".tar", "YNN");
    }

    void firstPatchThatBeginsLikeTheArchiveIsMarked()
    {
        QFETCH(QStringList, patches);
        QFETCH(QString, archive);
        ApplyingWindow window;
        QCOMPARE(window.initialized, QString());
        for (const QString& name : patches) {
            window.logic.addPatchToList(name, name, false, name + ".tar", "d");
        }
        window.logic.setPatchApplied(QFileInfo(window.installation.path("patches/" + archive)));
        QTEST(window.appliedMarks(), "marks");
        QCOMPARE(window.events, QStringList());
    }

    void patchThatIsMarkedAlreadyIsFoundAgain()
    {
        ApplyingWindow window;
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
        ApplyingWindow window;
        window.list({"P1.tar"});
        window.logic.setPatchApplied(QFileInfo(archive));
        QCOMPARE(window.events, QStringList{"log:Internal error: Failed to mark update " + shown + " applied."});
        QCOMPARE(window.appliedMarks(), QString("N"));
    }

    void scriptRunsThroughPerl_data()
    {
        const Rows<int, QByteArray, QByteArray, QString> row("status", "output", "errors", "failure");
        row("silence", 0, {}, {}, {});
        row("standard output", 0, "wrote\n", {}, {});
        row("warnings", 0, {}, "warning\n", {});
        row("both", 0, "wrote\n", "warning\n", {});
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
        ApplyingWindow window;
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
        ApplyingWindow window(options);
        window.record("perl");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        const QString echo = "log:Executing system command: perl /opt/tavrin/5.9/bin/ozna_installed_patches -v";
        QCOMPARE(window.events, (QStringList{HEADING, echo, UPDATED}));
        QCOMPARE(window.tools.callLines(), QStringList{CALL + "|-v"});
    }

    void missingPerlIsReported()
    {
        ApplyingWindow window;
        window.searchToolsOnly();
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), "System command 'perl' failed:\n  " + startErrorOf("perl"));
        QCOMPARE(window.events, QStringList{HEADING});
    }

    void withoutLeaveToApplyOnlyTheHeadingIsShown()
    {
        WindowLogic window(WindowLogic::verboseOptions());
        window.record("perl");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, QStringList{HEADING});
        QVERIFY(window.tools.calls().isEmpty());
    }

    void realScriptWritesThePage()
    {
        ApplyingWindow window;
        window.installation.withTools().withPatched("P1").withPatched("P2");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, (QStringList{HEADING, UPDATED}));
        QCOMPARE(contentOf(window.installation.path("applied_patches.html")), appliedPage({"P1", "P2"}));
    }
};

TAVRIN_TEST_MAIN(TstAppliedPage)
#include "tst_applied_page.moc"
