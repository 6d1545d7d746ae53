// Installing runs in which a tool is missing, fails or talks: the archive tool, the decompressor, perl and the page
// script that it runs. Recorders stand for the tools where it matters how they are called.
#include "expected_steps.h"
#include "fake_installation.h"
#include "fake_tools.h"
#include "helper_run.h"
#include "message_guard.h"
#include "program_run.h"
#include "test_files.h"
#include "test_main.h"

namespace {

// An installation with recorders for all tools and a local source with one archive, for runs in which a tool fails.
struct Workshop
{
    explicit Workshop(const QString& archive = QStringLiteral("P1.tar"))
        : name(archive), source(PatchPage().entry("P1", "1 May", "text", archive))
    {
        tools.addTo(installation.path("bin"), "bsdtar");
        tools.add("gunzip");
        tools.add("perl");
        source.withFile(archive, "an archive");
    }

    ProgramRun run(const QStringList& options = {})
    {
        Program program;
        program.tavrin(installation.path()).path(tools.pathDirectory()).input("y\n");
        return program.run(QStringList{"-t"} + options + QStringList{source.url()});
    }

    // The output up to the install sequence.
    QByteArray untilUnpacking() const
    {
        return untilDownload(1) + "Downloaded " + name.toUtf8() + '\n' + APPLY;
    }

    QString name;
    FakeInstallation installation;
    FakeTools tools;
    LocalSource source;
};

const QString UNPACK = QStringLiteral("bsdtar|-xvPf|/opt/tavrin/5.9/patches/");
const QString WRITE_PAGE = QStringLiteral("perl|/opt/tavrin/5.9/bin/ozna_installed_patches");

} // namespace

class TstInstallTools : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void toolsAreNoticedToEndWithTheChildSignalBlocked();
    void missingArchiverEndsTheRun();
    void archiverMayTalk_data();
    void archiverMayTalk();
    void failingArchiverEndsTheRun_data();
    void failingArchiverEndsTheRun();
    void missingDecompressorDoesNotMatter();
    void decompressorIsHeardOnlyWhenVerbose_data();
    void decompressorIsHeardOnlyWhenVerbose();
    void decompressorThatLosesTheFileEndsTheRun();
    void failingPageScriptEndsTheRun_data();
    void failingPageScriptEndsTheRun();
    void missingPageScriptEndsTheRun();
    void talkingPageScriptIsNotHeard();
    void missingPerlEndsTheRun();

private:
    QScopedPointer<MessageGuard> guard;
};

void TstInstallTools::init()
{
    guard.reset(new MessageGuard);
}

void TstInstallTools::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstInstallTools::toolsAreNoticedToEndWithTheChildSignalBlocked()
{
    Workshop workshop;
    Program program;
    program.tavrin(workshop.installation.path()).path(workshop.tools.pathDirectory()).input("y\n");
    compareRun(program.blockedChildSignal().run({"-t", workshop.source.url()}), 0,
               workshop.untilUnpacking() + installing("P1.tar", {}) + FINISH);
}

void TstInstallTools::missingArchiverEndsTheRun()
{
    Workshop workshop;
    workshop.installation.without("bin/bsdtar");
    compareRun(workshop.run(), 1, workshop.untilUnpacking(),
               "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " +
                   startErrorOf(workshop.installation.path("bin/bsdtar")).toUtf8() + '\n');
    QCOMPARE(workshop.tools.callLines(), QStringList());
    QCOMPARE(contentOf(workshop.installation.path("patches/P1.tar")), QByteArray("an archive"));
}

void TstInstallTools::archiverMayTalk_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("silence") << QByteArray() << QByteArray() << QByteArray();
    QTest::newRow("standard output") << QByteArray("said") << QByteArray() << QByteArray("said\n");
    QTest::newRow("standard error") << QByteArray() << QByteArray("x one\n") << QByteArray("x one\n\n");
    QTest::newRow("both") << QByteArray("said\n") << QByteArray("x one\n") << QByteArray("x one\n\n");
}

void TstInstallTools::archiverMayTalk()
{
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    QFETCH(QByteArray, shown);
    Workshop workshop;
    FakeTool talking;
    talking.output = output;
    talking.errors = errors;
    workshop.tools.addTo(workshop.installation.path("bin"), "bsdtar", talking);
    compareRun(workshop.run(), 0, workshop.untilUnpacking() + shown + installing("P1.tar", {}) + FINISH);
    QCOMPARE(workshop.tools.callLines(), (QStringList{UNPACK + "P1.tar", WRITE_PAGE}));
}

void TstInstallTools::failingArchiverEndsTheRun_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("standard output") << QByteArray("broken") << QByteArray() << QByteArray("broken\n");
    QTest::newRow("standard error") << QByteArray() << QByteArray("x one\nbroken\n") << QByteArray("x one\nbroken\n\n");
    QTest::newRow("both") << QByteArray("said\n") << QByteArray("broken\n") << QByteArray("broken\n\n");
    QTest::newRow("beyond Latin-1") << QByteArray() << QByteArray("\xc3\xa9\xe2\x82\xac\n") << QByteArray("\xe9?\n\n");
}

void TstInstallTools::failingArchiverEndsTheRun()
{
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    QFETCH(QByteArray, message);
    Workshop workshop;
    FakeTool failing;
    failing.status = 1;
    failing.output = output;
    failing.errors = errors;
    workshop.tools.addTo(workshop.installation.path("bin"), "bsdtar", failing);
    compareRun(workshop.run(), 1, workshop.untilUnpacking(), message);
    QCOMPARE(workshop.tools.callLines(), QStringList{UNPACK + "P1.tar"});
}

void TstInstallTools::missingDecompressorDoesNotMatter()
{
    Workshop workshop("P1.tar.gz");
    workshop.tools.remove("gunzip");
    compareRun(workshop.run(), 0, workshop.untilUnpacking() + installing("P1.tar.gz", {}) + FINISH);
    QCOMPARE(workshop.tools.callLines(), (QStringList{UNPACK + "P1.tar.gz", WRITE_PAGE}));
}

void TstInstallTools::decompressorIsHeardOnlyWhenVerbose_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("not verbose") << QStringList() << QByteArray("said\n") << QByteArray("complained\n") << QByteArray();
    QTest::newRow("verbose") << QStringList{"-v"} << QByteArray("said\n") << QByteArray("complained\n")
                             << QByteArray("complained\n\nContinuing...\n");
    QTest::newRow("verbose with standard output")
        << QStringList{"-v"} << QByteArray("said") << QByteArray() << QByteArray("said\nContinuing...\n");
    QTest::newRow("verbose and silent") << QStringList{"-v"} << QByteArray() << QByteArray() << QByteArray();
}

void TstInstallTools::decompressorIsHeardOnlyWhenVerbose()
{
    QFETCH(QStringList, options);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    QFETCH(QByteArray, shown);
    Workshop workshop("P1.tar.gz");
    FakeTool talking;
    talking.status = 1;
    talking.output = output;
    talking.errors = errors;
    workshop.tools.add("gunzip", talking);
    const ProgramRun run = workshop.run(options);
    const QByteArray file = "/opt/tavrin/5.9/patches/P1.tar.gz\n";
    const bool verbose = options.contains("-v");
    const auto echo = [verbose](const QByteArray& command) {
        return verbose ? "Executing system command: " + command : QByteArray();
    };
    compareRun(run, 0,
               workshop.untilUnpacking() + echo("gunzip " + file) + shown +
                   echo("/opt/tavrin/5.9/bin/bsdtar -xvPf " + file) + installing("P1.tar.gz", {}) + PAGE +
                   echo("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v\n") + PAGE_DONE);
}

void TstInstallTools::decompressorThatLosesTheFileEndsTheRun()
{
    Workshop workshop("P1.tar.gz");
    FakeTool losing;
    losing.script = "/bin/rm \"$1\"";
    workshop.tools.add("gunzip", losing);
    compareRun(workshop.run(), 1, workshop.untilUnpacking(), "Failed to decompress file P1.tar\n");
    QCOMPARE(workshop.tools.callLines(), QStringList{"gunzip|/opt/tavrin/5.9/patches/P1.tar.gz"});
}

void TstInstallTools::failingPageScriptEndsTheRun_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("dies") << QByteArray("die \"no page today\\n\";") << QByteArray("no page today\n\n");
    QTest::newRow("complains on standard output")
        << QByteArray("print \"no page\"; exit 3;") << QByteArray("no page\n");
    QTest::newRow("kills itself") << QByteArray("print STDERR \"dying\\n\"; kill 'KILL', $$;")
                                  << QByteArray("dying\n\n");
}

void TstInstallTools::failingPageScriptEndsTheRun()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, message);
    FakeInstallation installation;
    installation.withTools().withFile("bin/ozna_installed_patches", script);
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    source.withFile("P1.tar", archiveOf(installation.path("patched/P1"), "text"));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", source.url()}), 1,
               untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + PAGE, message);
    QCOMPARE(contentOf(installation.path("patched/P1")), QByteArray("text"));
}

void TstInstallTools::missingPageScriptEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools().without("bin/ozna_installed_patches");
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    source.withFile("P1.tar", archiveOf(installation.path("patched/P1"), "text"));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", source.url()}), 1,
               untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + PAGE,
               "Can't open perl script \"/opt/tavrin/5.9/bin/ozna_installed_patches\": No such file or directory\n\n");
}

void TstInstallTools::talkingPageScriptIsNotHeard()
{
    Workshop workshop;
    FakeTool talking;
    talking.output = "wrote it\n";
    talking.errors = "warning\n";
    workshop.tools.add("perl", talking);
    compareRun(workshop.run(), 0, workshop.untilUnpacking() + installing("P1.tar", {}) + FINISH);
    QCOMPARE(workshop.tools.callLines(), (QStringList{UNPACK + "P1.tar", WRITE_PAGE}));
}

void TstInstallTools::missingPerlEndsTheRun()
{
    Workshop workshop;
    workshop.tools.remove("perl");
    compareRun(workshop.run(), 1, workshop.untilUnpacking() + installing("P1.tar", {}) + PAGE,
               "System command 'perl' failed:\n  " + startErrorOf("/nowhere/perl").toUtf8() + '\n');
}

TAVRIN_TEST_MAIN(TstInstallTools)
#include "tst_install_tools.moc"
