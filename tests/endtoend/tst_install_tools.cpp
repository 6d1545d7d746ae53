// Installing runs in which a tool is missing, fails or prints something: the archive tool, the decompressor, perl and
// the page script. Recorders replace the tools where their calls are compared.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"

namespace {

const QByteArray ARCHIVER = "/opt/tavrin/5.9/bin/bsdtar";
const QString UNPACK = QStringLiteral("bsdtar|-xvPf|/opt/tavrin/5.9/patches/");
const QString WRITE_PAGE = QStringLiteral("perl|/opt/tavrin/5.9/bin/ozna_installed_patches");

const QByteArray UNTIL_UNPACKING = untilUnpacking({"P1.tar"});
const QByteArray INSTALLED = installing("P1.tar", {});
const QByteArray UNTIL_UNPACKING_GZ = untilUnpacking({"P1.tar.gz"});
const QByteArray INSTALLED_GZ = installing("P1.tar.gz", {});

} // namespace

class TstInstallTools : public Test
{
    Q_OBJECT

private slots:
    void toolsMayEndWithTheChildSignalBlocked()
    {
        RecordedRelease release;
        release.program.blockedChildSignal();
        compareRun(release.run(), 0, UNTIL_UNPACKING + INSTALLED + FINISH);
    }

    void missingArchiverEndsTheRun()
    {
        RecordedRelease release;
        release.installation.without("bin/bsdtar");
        compareRun(release.run(), 1, UNTIL_UNPACKING, commandMissing(ARCHIVER));
        QCOMPARE(release.tools.callLines(), QStringList());
        QCOMPARE(release.content("patches/P1.tar"), QByteArray("an archive"));
    }

    void statusOfTheArchiverDecides_data()
    {
        const Rows<int, QByteArray, QByteArray, QByteArray> row("status", "output", "errors", "shown");
        row("no output", 0, {}, {}, {});
        row("standard output", 0, "output", {}, "output\n");
        row("standard error", 0, {}, "x one\n", "x one\n\n");
        row("both", 0, "output\n", "x one\n", "x one\n\n");
        row("failing, standard output", 1, "broken", {}, "broken\n");
        row("failing, standard error", 1, {}, "x one\nbroken\n", "x one\nbroken\n\n");
        row("failing, both", 1, "output\n", "broken\n", "broken\n\n");
        row("failing, not in Latin-1", 1, {}, "\xc3\xa9\xe2\x82\xac\n", "\xe9?\n\n");
    }

    void statusOfTheArchiverDecides()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        QFETCH(QByteArray, shown);
        RecordedRelease release;
        release.setTool("bsdtar", FakeTool::printing(output, errors, status));
        const bool fails = status != 0;
        compareRun(release.run(), status, UNTIL_UNPACKING + (fails ? QByteArray() : shown + INSTALLED + FINISH),
                   fails ? shown : QByteArray());
        const QStringList unpack{UNPACK + "P1.tar"};
        QCOMPARE(release.tools.callLines(), fails ? unpack : unpack + QStringList{WRITE_PAGE});
    }

    void missingDecompressorDoesNotMatter()
    {
        RecordedRelease release("P1.tar.gz");
        release.tools.remove("gunzip");
        compareRun(release.run(), 0, UNTIL_UNPACKING_GZ + INSTALLED_GZ + FINISH);
        QCOMPARE(release.tools.callLines(), (QStringList{UNPACK + "P1.tar.gz", WRITE_PAGE}));
    }

    void decompressorsOutputIsShownOnlyWhenVerbose_data()
    {
        const Rows<QStringList, QByteArray, QByteArray, QByteArray> row("options", "output", "errors", "shown");
        row("not verbose", {}, "output\n", "error\n", {});
        row("verbose", {"-v"}, "output\n", "error\n", "error\n\nContinuing...\n");
        row("verbose with standard output", {"-v"}, "output", {}, "output\nContinuing...\n");
        row("verbose without output", {"-v"}, {}, {}, {});
    }

    void decompressorsOutputIsShownOnlyWhenVerbose()
    {
        QFETCH(QStringList, options);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        QFETCH(QByteArray, shown);
        RecordedRelease release("P1.tar.gz");
        release.setTool("gunzip", FakeTool::printing(output, errors, 1));
        const auto echo = [&options](const QByteArray& command) {
            return options.contains("-v") ? executing(command) : QByteArray();
        };
        const QByteArray file = " /opt/tavrin/5.9/patches/P1.tar.gz";
        compareRun(release.run(options), 0,
                   UNTIL_UNPACKING_GZ + echo("gunzip" + file) + shown + echo(ARCHIVER + " -xvPf" + file) +
                       INSTALLED_GZ + PAGE + echo("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v") + PAGE_DONE);
    }

    void decompressorThatRemovesTheFileEndsTheRun()
    {
        RecordedRelease release("P1.tar.gz");
        release.setTool("gunzip", FakeTool::running("/bin/rm \"$1\""));
        compareRun(release.run(), 1, UNTIL_UNPACKING_GZ, "Failed to decompress file P1.tar\n");
        QCOMPARE(release.tools.callLines(), QStringList{"gunzip|/opt/tavrin/5.9/patches/P1.tar.gz"});
    }

    void failingPageScriptEndsTheRun_data()
    {
        // script: empty for an installation without one
        const Rows<QByteArray, QByteArray> row("script", "message");
        row("dies", "die \"no page\\n\";", "no page\n\n");
        row("fails with standard output", "print \"no page\"; exit 3;", "no page\n");
        row("kills itself", "print STDERR \"dying\\n\"; kill 'KILL', $$;", "dying\n\n");
        row("missing", {},
            "Can't open perl script \"/opt/tavrin/5.9/bin/ozna_installed_patches\": No such file or directory\n\n");
    }

    void failingPageScriptEndsTheRun()
    {
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, message);
        InstallableRelease release;
        if (script.isEmpty()) {
            release.installation.without("bin/ozna_installed_patches");
        } else {
            release.installation.withFile("bin/ozna_installed_patches", script);
        }
        compareRun(release.run(), 1, UNTIL_UNPACKING + installing("P1.tar", {"patched/P1"}) + PAGE, message);
        QCOMPARE(release.content("patched/P1"), QByteArray("text"));
    }

    void outputOfThePageScriptIsNotShown()
    {
        RecordedRelease release;
        release.setTool("perl", FakeTool::printing("wrote it\n", "warning\n"));
        compareRun(release.run(), 0, UNTIL_UNPACKING + INSTALLED + FINISH);
        QCOMPARE(release.tools.callLines(), (QStringList{UNPACK + "P1.tar", WRITE_PAGE}));
    }

    void missingPerlEndsTheRun()
    {
        RecordedRelease release;
        release.tools.remove("perl");
        compareRun(release.run(), 1, UNTIL_UNPACKING + INSTALLED + PAGE, commandMissing("perl"));
    }
};

TAVRIN_TEST_MAIN(TstInstallTools)
#include "tst_install_tools.moc"
