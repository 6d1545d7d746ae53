// After an archive was unpacked: which patch of the list counts as applied, and how the installation's script is made
// to write its page of applied patches. A recorder stands for perl.
#include "expected_texts.h"
#include "helper_run.h"
#include "test.h"
#include "test_files.h"
#include "window_logic.h"

#include <QDir>

namespace {

// A window run with leave to apply, unless a test takes it away, and a recorder for perl.
struct Window : WindowLogic
{
    explicit Window(bool apply = true, bool verbose = false) : WindowLogic(optionsFor(apply, verbose))
    {
    }

    static CommandLineOptions optionsFor(bool apply, bool verbose)
    {
        CommandLineOptions options = verbose ? verboseOptions() : quietOptions();
        options.apply = apply;
        return options;
    }

    void recordPerl(const FakeTool& tool = FakeTool())
    {
        tools.add("perl", tool);
        searchToolsOnly();
    }
};

const QString HEADING = QStringLiteral("log:\nUpdate applied_patches.html ...");
const QString UPDATED = QStringLiteral("log:applied_patches.html updated");

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
        Window window;
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
        Window window;
        window.logic.addPatchToList("P1", "P1", true, "P1.tar", "d");
        window.logic.addPatchToList("P12", "P12", false, "P12.tar", "d");
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
        Window window;
        window.logic.addPatchToList("P1", "P1", false, "P1.tar", "d");
        window.logic.setPatchApplied(QFileInfo(archive));
        QCOMPARE(window.events, QStringList{"log:Internal error: Failed to mark update " + shown + " applied."});
        QCOMPARE(window.appliedMarks(), QString("N"));
    }

    void scriptRunsThroughPerl()
    {
        Window window;
        window.recordPerl();
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, (QStringList{HEADING, UPDATED}));
        const QList<FakeToolCall> calls = window.tools.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().tool, QString("perl"));
        QCOMPARE(calls.first().arguments, QList<QByteArray>{"/opt/tavrin/5.9/bin/ozna_installed_patches"});
        QCOMPARE(calls.first().workingDirectory, QDir::current().canonicalPath());
    }

    void verboseIsPassedOn()
    {
        Window window(true, true);
        window.recordPerl();
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(
            window.events,
            (QStringList{HEADING, "log:Executing system command: perl /opt/tavrin/5.9/bin/ozna_installed_patches -v",
                         UPDATED}));
        QCOMPARE(window.tools.calls().size(), 1);
        QCOMPARE(window.tools.calls().first().arguments,
                 (QList<QByteArray>{"/opt/tavrin/5.9/bin/ozna_installed_patches", "-v"}));
    }

    void successDoesNotDependOnSilence_data()
    {
        const Rows<QByteArray, QByteArray> row("output", "errors");
        row("standard output", "wrote\n", {});
        row("warnings", {}, "warning\n");
        row("both", "wrote\n", "warning\n");
    }

    void successDoesNotDependOnSilence()
    {
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        Window window;
        FakeTool talking;
        talking.output = output;
        talking.errors = errors;
        window.recordPerl(talking);
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, (QStringList{HEADING, UPDATED}));
    }

    void failureReturnsWhatTheScriptSaid_data()
    {
        const Rows<QByteArray, QByteArray, QString> row("output", "errors", "failure");
        row("standard error", {}, "no page\n", "no page\n");
        row("standard output", "no page", {}, "no page");
        row("both", "half a page\n", "no page\n", "no page\n");
        row("silence looks like success but is not said to be one", {}, {}, "");
    }

    void failureReturnsWhatTheScriptSaid()
    {
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        Window window;
        FakeTool failing;
        failing.status = 2;
        failing.output = output;
        failing.errors = errors;
        window.recordPerl(failing);
        QTEST(window.logic.updateAppliedPatchesHtml(), "failure");
        QCOMPARE(window.events, QStringList{HEADING});
    }

    void missingPerlIsReported()
    {
        Window window;
        window.searchToolsOnly();
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), "System command 'perl' failed:\n  " + startErrorOf("perl"));
        QCOMPARE(window.events, QStringList{HEADING});
    }

    void withoutLeaveToApplyOnlyTheHeadingIsShown()
    {
        Window window(false, true);
        window.recordPerl();
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, QStringList{HEADING});
        QVERIFY(window.tools.calls().isEmpty());
    }

    void realScriptWritesThePage()
    {
        Window window;
        window.installation.withTools().withPatched("P1").withPatched("P2");
        QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
        QCOMPARE(window.events, (QStringList{HEADING, UPDATED}));
        QCOMPARE(contentOf(window.installation.path("applied_patches.html")), appliedPage({"P1", "P2"}));
    }
};

TAVRIN_TEST_MAIN(TstAppliedPage)
#include "tst_applied_page.moc"
