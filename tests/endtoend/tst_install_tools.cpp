// Installing runs in which a tool is missing, fails or talks: the archive tool, the decompressor, perl and the page
// script that it runs. Recorders stand for the tools where it matters how they are called.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_tools.h"
#include "helper_run.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"
#include "test_files.h"

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

class TstInstallTools : public Test
{
    Q_OBJECT

private slots:
    void toolsAreNoticedToEndWithTheChildSignalBlocked()
    {
        Workshop workshop;
        Program program;
        program.tavrin(workshop.installation.path()).path(workshop.tools.pathDirectory()).input("y\n");
        compareRun(program.blockedChildSignal().run({"-t", workshop.source.url()}), 0,
                   workshop.untilUnpacking() + installing("P1.tar", {}) + FINISH);
    }

    void missingArchiverEndsTheRun()
    {
        Workshop workshop;
        workshop.installation.without("bin/bsdtar");
        compareRun(workshop.run(), 1, workshop.untilUnpacking(),
                   "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " +
                       startErrorOf(workshop.installation.path("bin/bsdtar")).toUtf8() + '\n');
        QCOMPARE(workshop.tools.callLines(), QStringList());
        QCOMPARE(contentOf(workshop.installation.path("patches/P1.tar")), QByteArray("an archive"));
    }

    void archiverMayTalk_data()
    {
        const Rows<QByteArray, QByteArray, QByteArray> row("output", "errors", "shown");
        row("silence", {}, {}, {});
        row("standard output", "said", {}, "said\n");
        row("standard error", {}, "x one\n", "x one\n\n");
        row("both", "said\n", "x one\n", "x one\n\n");
    }

    void archiverMayTalk()
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

    void failingArchiverEndsTheRun_data()
    {
        const Rows<QByteArray, QByteArray, QByteArray> row("output", "errors", "message");
        row("standard output", "broken", {}, "broken\n");
        row("standard error", {}, "x one\nbroken\n", "x one\nbroken\n\n");
        row("both", "said\n", "broken\n", "broken\n\n");
        row("beyond Latin-1", {}, "\xc3\xa9\xe2\x82\xac\n", "\xe9?\n\n");
    }

    void failingArchiverEndsTheRun()
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

    void missingDecompressorDoesNotMatter()
    {
        Workshop workshop("P1.tar.gz");
        workshop.tools.remove("gunzip");
        compareRun(workshop.run(), 0, workshop.untilUnpacking() + installing("P1.tar.gz", {}) + FINISH);
        QCOMPARE(workshop.tools.callLines(), (QStringList{UNPACK + "P1.tar.gz", WRITE_PAGE}));
    }

    void decompressorIsHeardOnlyWhenVerbose_data()
    {
        const Rows<QStringList, QByteArray, QByteArray, QByteArray> row("options", "output", "errors", "shown");
        row("not verbose", {}, "said\n", "complained\n", {});
        row("verbose", {"-v"}, "said\n", "complained\n", "complained\n\nContinuing...\n");
        row("verbose with standard output", {"-v"}, "said", {}, "said\nContinuing...\n");
        row("verbose and silent", {"-v"}, {}, {}, {});
    }

    void decompressorIsHeardOnlyWhenVerbose()
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

    void decompressorThatLosesTheFileEndsTheRun()
    {
        Workshop workshop("P1.tar.gz");
        FakeTool losing;
        losing.script = "/bin/rm \"$1\"";
        workshop.tools.add("gunzip", losing);
        compareRun(workshop.run(), 1, workshop.untilUnpacking(), "Failed to decompress file P1.tar\n");
        QCOMPARE(workshop.tools.callLines(), QStringList{"gunzip|/opt/tavrin/5.9/patches/P1.tar.gz"});
    }

    void failingPageScriptEndsTheRun_data()
    {
        const Rows<QByteArray, QByteArray> row("script", "message");
        row("dies", "die \"no page today\\n\";", "no page today\n\n");
        row("complains on standard output", "print \"no page\"; exit 3;", "no page\n");
        row("kills itself", "print STDERR \"dying\\n\"; kill 'KILL', $$;", "dying\n\n");
    }

    void failingPageScriptEndsTheRun()
    {
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, message);
        FakeInstallation installation;
        installation.withTools().withFile("bin/ozna_installed_patches", script);
        LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
        source.withFile("P1.tar", archiveOf(installation.path("patched/P1"), "text"));
        Program program;
        compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", source.url()}), 1,
                   untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + PAGE,
                   message);
        QCOMPARE(contentOf(installation.path("patched/P1")), QByteArray("text"));
    }

    void missingPageScriptEndsTheRun()
    {
        FakeInstallation installation;
        installation.withTools().without("bin/ozna_installed_patches");
        LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
        source.withFile("P1.tar", archiveOf(installation.path("patched/P1"), "text"));
        Program program;
        compareRun(
            program.tavrin(installation.path()).input("y\n").run({"-t", source.url()}), 1,
            untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + PAGE,
            "Can't open perl script \"/opt/tavrin/5.9/bin/ozna_installed_patches\": No such file or directory\n\n");
    }

    void talkingPageScriptIsNotHeard()
    {
        Workshop workshop;
        FakeTool talking;
        talking.output = "wrote it\n";
        talking.errors = "warning\n";
        workshop.tools.add("perl", talking);
        compareRun(workshop.run(), 0, workshop.untilUnpacking() + installing("P1.tar", {}) + FINISH);
        QCOMPARE(workshop.tools.callLines(), (QStringList{UNPACK + "P1.tar", WRITE_PAGE}));
    }

    void missingPerlEndsTheRun()
    {
        Workshop workshop;
        workshop.tools.remove("perl");
        compareRun(workshop.run(), 1, workshop.untilUnpacking() + installing("P1.tar", {}) + PAGE,
                   "System command 'perl' failed:\n  " + startErrorOf("/nowhere/perl").toUtf8() + '\n');
    }
};

TAVRIN_TEST_MAIN(TstInstallTools)
#include "tst_install_tools.moc"
