// After an archive was unpacked: which patch of the list counts as applied, and how the installation's script is made
// to write its page of applied patches. A recorder stands for perl.
#include "helper_run.h"
#include "message_guard.h"
#include "test_files.h"
#include "test_main.h"
#include "window_logic.h"

#include <QDir>
#include <QTest>

#include <memory>

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

class TstAppliedPage : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void firstPatchThatBeginsLikeTheArchiveIsMarked_data();
    void firstPatchThatBeginsLikeTheArchiveIsMarked();
    void patchThatIsMarkedAlreadyIsFoundAgain();
    void archiveWithoutAPatchIsAnInternalError_data();
    void archiveWithoutAPatchIsAnInternalError();
    void scriptRunsThroughPerl();
    void verboseIsPassedOn();
    void successDoesNotDependOnSilence_data();
    void successDoesNotDependOnSilence();
    void failureReturnsWhatTheScriptSaid_data();
    void failureReturnsWhatTheScriptSaid();
    void missingPerlIsReported();
    void withoutLeaveToApplyOnlyTheHeadingIsShown();
    void realScriptWritesThePage();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstAppliedPage::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstAppliedPage::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstAppliedPage::firstPatchThatBeginsLikeTheArchiveIsMarked_data()
{
    QTest::addColumn<QStringList>("patches");
    QTest::addColumn<QString>("archive");
    QTest::addColumn<QString>("marks");
    const QStringList three{"P1", "P2", "P3"};
    QTest::newRow("plain") << three << "P2.tar"
                           << "NYN";
    QTest::newRow("compressed") << three << "P2.tar.gz"
                                << "NYN";
    QTest::newRow("without a suffix") << three << "P3"
                                      << "NNY";
    QTest::newRow("archive in upper case") << QStringList{"abc-1"} << "Abc-1.tar.gz"
                                           << "Y";
    QTest::newRow("patch in upper case") << QStringList{"ABC-1"} << "abc-1.tar.gz"
                                         << "Y";
    QTest::newRow("patch in every upper-case letter")
        << QStringList{"P1", "ABCDEFGHIJKLMNOPQRSTUVWXYZ"} << "abcdefghijklmnopqrstuvwxyz.tar"
        << "NY";
    QTest::newRow("signs beside the letters") << QStringList{"`P{", "@P["} << "@p[.tar"
                                              << "NY";
    QTest::newRow("beyond ASCII") << QStringList{QString::fromUtf8("P\xc3\x89")} << QString::fromUtf8("p\xc3\xa9.tar")
                                  << "Y";
    QTest::newRow("other letters within a name beyond ASCII")
        << QStringList{QString::fromUtf8("p\xc3\x89X"), "P1"} << QString::fromUtf8("P\xc3\xa9x.tar") << "YN";
    // The Kelvin sign, whose lower case is the plain letter, and the dotted capital I, whose lower case is longer.
    QTest::newRow("patch beyond ASCII, archive within") << QStringList{QString::fromUtf8("\u212A1")} << "k1.tar"
                                                        << "Y";
    QTest::newRow("archive beyond ASCII, patch within") << QStringList{"K1"} << QString::fromUtf8("\u212A1.tar") << "Y";
    QTest::newRow("lower case is longer")
        << QStringList{QString::fromUtf8("P\u01301")} << QString::fromUtf8("p\u01301.tar") << "Y";
    QTest::newRow("beginning of a longer name") << QStringList{"P1", "P123", "P12"} << "p12.tar"
                                                << "NYN";
    QTest::newRow("longer than the name") << QStringList{"P1", "P12"} << "P12.tar"
                                          << "NY";
    QTest::newRow("not at the beginning") << QStringList{"XP1", "P1"} << "P1.tar"
                                          << "NY";
    QTest::newRow("only up to the first dot") << QStringList{"P1-5.8", "P1-5.9"} << "P1-5.9.tar"
                                              << "YN";
    QTest::newRow("same name twice") << QStringList{"P1", "P1"} << "P1.tar"
                                     << "YN";
    QTest::newRow("directory does not count") << three << "P1/P3.tar"
                                              << "NNY";
    QTest::newRow("nothing before the dot fits all") << three << ".tar"
                                                     << "YNN";
}

void TstAppliedPage::firstPatchThatBeginsLikeTheArchiveIsMarked()
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

void TstAppliedPage::patchThatIsMarkedAlreadyIsFoundAgain()
{
    Window window;
    window.logic.addPatchToList("P1", "P1", true, "P1.tar", "d");
    window.logic.addPatchToList("P12", "P12", false, "P12.tar", "d");
    window.logic.setPatchApplied(QFileInfo("P1.tar"));
    QCOMPARE(window.appliedMarks(), QString("YN"));
    QCOMPARE(window.events, QStringList());
}

void TstAppliedPage::archiveWithoutAPatchIsAnInternalError_data()
{
    QTest::addColumn<QString>("archive");
    QTest::addColumn<QString>("shown");
    QTest::newRow("other name") << "P9.tar.gz"
                                << "P9.tar.gz";
    QTest::newRow("longer name") << "P1a.tar"
                                 << "P1a.tar";
    QTest::newRow("place marker") << "%1.tar"
                                  << "%1.tar";
    QTest::newRow("directory is not shown") << "/opt/tavrin/5.9/patches/P9.tar"
                                            << "P9.tar";
}

void TstAppliedPage::archiveWithoutAPatchIsAnInternalError()
{
    QFETCH(QString, archive);
    QFETCH(QString, shown);
    Window window;
    window.logic.addPatchToList("P1", "P1", false, "P1.tar", "d");
    window.logic.setPatchApplied(QFileInfo(archive));
    QCOMPARE(window.events, QStringList{"log:Internal error: Failed to mark update " + shown + " applied."});
    QCOMPARE(window.appliedMarks(), QString("N"));
}

void TstAppliedPage::scriptRunsThroughPerl()
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

void TstAppliedPage::verboseIsPassedOn()
{
    Window window(true, true);
    window.recordPerl();
    QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
    QCOMPARE(window.events,
             (QStringList{HEADING, "log:Executing system command: perl /opt/tavrin/5.9/bin/ozna_installed_patches -v",
                          UPDATED}));
    QCOMPARE(window.tools.calls().size(), 1);
    QCOMPARE(window.tools.calls().first().arguments,
             (QList<QByteArray>{"/opt/tavrin/5.9/bin/ozna_installed_patches", "-v"}));
}

void TstAppliedPage::successDoesNotDependOnSilence_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::newRow("standard output") << QByteArray("wrote\n") << QByteArray();
    QTest::newRow("warnings") << QByteArray() << QByteArray("warning\n");
    QTest::newRow("both") << QByteArray("wrote\n") << QByteArray("warning\n");
}

void TstAppliedPage::successDoesNotDependOnSilence()
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

void TstAppliedPage::failureReturnsWhatTheScriptSaid_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QString>("failure");
    QTest::newRow("standard error") << QByteArray() << QByteArray("no page\n") << "no page\n";
    QTest::newRow("standard output") << QByteArray("no page") << QByteArray() << "no page";
    QTest::newRow("both") << QByteArray("half a page\n") << QByteArray("no page\n") << "no page\n";
    QTest::newRow("silence looks like success but is not said to be one") << QByteArray() << QByteArray() << "";
}

void TstAppliedPage::failureReturnsWhatTheScriptSaid()
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

void TstAppliedPage::missingPerlIsReported()
{
    Window window;
    window.searchToolsOnly();
    QCOMPARE(window.logic.updateAppliedPatchesHtml(), "System command 'perl' failed:\n  " + startErrorOf("perl"));
    QCOMPARE(window.events, QStringList{HEADING});
}

void TstAppliedPage::withoutLeaveToApplyOnlyTheHeadingIsShown()
{
    Window window(false, true);
    window.recordPerl();
    QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
    QCOMPARE(window.events, QStringList{HEADING});
    QVERIFY(window.tools.calls().isEmpty());
}

void TstAppliedPage::realScriptWritesThePage()
{
    Window window;
    window.installation.withTools().withPatched("P1").withPatched("P2");
    QCOMPARE(window.logic.updateAppliedPatchesHtml(), QString());
    QCOMPARE(window.events, (QStringList{HEADING, UPDATED}));
    QCOMPARE(contentOf(window.installation.path("applied_patches.html")),
             QByteArray("<html><body><table>\n<tr><td>P1</td></tr>\n<tr><td>P2</td></tr>\n"
                        "</table></body></html>\n"));
}

TAVRIN_TEST_MAIN(TstAppliedPage)
#include "tst_applied_page.moc"
