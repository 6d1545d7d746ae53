// How gunzip and the archive tool are called to unpack an archive, and what happens when one of them prints something,
// fails, or is missing. Recorders replace both.
#include "archive_window.h"
#include "test.h"
#include "test_files.h"

#include <QStandardPaths>

Q_DECLARE_METATYPE(FakeTool)

namespace {

const QString DECOMPRESSION = "gunzip|/opt/tavrin/5.9/patches/";
const QString EXTRACTION = "bsdtar|-xvPf|/opt/tavrin/5.9/patches/";

WindowLogic::CommandLineOptions optionsFor(bool verbose)
{
    return verbose ? WindowLogic::verboseOptions() : WindowLogic::quietOptions();
}

} // namespace

class TstArchiveTools : public Test
{
    Q_OBJECT

private slots:
    void archiverKeepsAbsolutePaths()
    {
        ArchiveWindow window;
        window.recordArchiver();
        window.installation.withFile("patches/p 1.tar", "text");
        QFileInfo archive(QDir(window.installation.path("patches")), "p 1.tar");
        QCOMPARE(window.logic.decompress(archive), QString());
        QCOMPARE(window.tools.callLines(), QStringList{EXTRACTION + "p 1.tar"});
        QCOMPARE(window.tools.calls().first().workingDirectory, QDir::current().canonicalPath());
    }

    void archiverInputStaysOpen()
    {
        ArchiveWindow window;
        const QByteArray perl = QStandardPaths::findExecutable("perl").toUtf8();
        const QByteArray probe =
            perl + " -e 'my $s = \"\"; vec($s, 0, 1) = 1; print select($s, undef, undef, 0.5) ? 1 : 0'";
        window.recordArchiver(FakeTool::running(probe));
        window.record("gunzip", FakeTool::running(probe + " >\"${1%/patches/*}/lib/gunzip-input\""));
        QCOMPARE(window.unpackText("p1.tar.gz"), QString());
        QCOMPARE(window.events, QStringList{"log:0"});
        QCOMPARE(contentOf(window.installation.path("lib/gunzip-input")), QByteArray("0"));
    }

    void fileLeftByTheDecompressorIsUnpacked_data()
    {
        // left: the archive's new name
        const Rows<FakeTool, QString> row("decompressor", "left");
        row("decompressed file", FakeTool::running("/bin/mv \"$1\" \"${1%.gz}\""), "p1.5.tar");
        row("decompressed file after a failure", FakeTool::running("/bin/mv \"$1\" \"${1%.gz}\"", 1), "p1.5.tar");
        row("untouched file after a failure", FakeTool::printing({}, "cannot\n", 2), "p1.5.tar.gz");
    }

    void fileLeftByTheDecompressorIsUnpacked()
    {
        QFETCH(FakeTool, decompressor);
        QFETCH(QString, left);
        ArchiveWindow window;
        window.recordArchiver();
        window.record("gunzip", decompressor);
        QCOMPARE(window.unpackText("p1.5.tar.gz"), QString());
        QCOMPARE(window.tools.callLines(), (QStringList{DECOMPRESSION + "p1.5.tar.gz", EXTRACTION + left}));
        QCOMPARE(window.archive.absoluteFilePath(), window.archivePath(left));
        QCOMPARE(window.archive.fileName(), left);
        QVERIFY(window.archive.exists());
        QCOMPARE(window.events, QStringList());
    }

    void olderDecompressedFileStays()
    {
        ArchiveWindow window(ArchiveWindow::verboseOptions());
        window.pack("p1.tar.gz", {"lib/new.txt"}, {"-z"});
        window.installation.withFile("patches/p1.tar", "older");
        QCOMPARE(window.unpack("p1.tar.gz"), QString());
        QCOMPARE(window.archive.fileName(), QString("p1.tar.gz"));
        QCOMPARE(contentOf(window.archivePath("p1.tar")), QByteArray("older"));
        QVERIFY(QFileInfo::exists(window.installation.path("lib/new.txt")));
        QVERIFY2(window.events.value(1).contains("already exists"), qPrintable(window.events.join('|')));
        QCOMPARE(window.events.value(2), QString("log:Continuing..."));
    }

    void fileRemovedByTheDecompressorIsReported()
    {
        ArchiveWindow window;
        window.recordArchiver();
        window.record("gunzip", FakeTool::running("/bin/rm \"$1\""));
        QCOMPARE(window.unpackText("p1.5.tar.gz"), QString("Failed to decompress file p1.5.tar"));
        QCOMPARE(window.archive.absoluteFilePath(), window.archivePath("p1.5.tar"));
        QCOMPARE(window.tools.callLines(), QStringList{DECOMPRESSION + "p1.5.tar.gz"});
        QCOMPARE(window.events, QStringList());
    }

    void missingDecompressorIsIgnored()
    {
        ArchiveWindow window;
        window.pack("p1.tar.gz", {"lib/one.txt"}, {"-z"});
        window.searchToolsOnly();
        QCOMPARE(window.unpack("p1.tar.gz"), QString());
        QCOMPARE(window.archive.fileName(), QString("p1.tar.gz"));
        QVERIFY(QFileInfo::exists(window.installation.path("lib/one.txt")));
        QCOMPARE(window.events, QStringList{"log:x /opt/tavrin/5.9/lib/one.txt\n"});
    }

    void decompressorOutputIsShownOnlyWhenVerbose_data()
    {
        const Rows<bool, QByteArray, QByteArray, QStringList> row("verbose", "output", "errors", "events");
        const QString first = "log:Executing system command: gunzip /opt/tavrin/5.9/patches/p1.tar.gz";
        const QString last = "log:Executing system command: /opt/tavrin/5.9/bin/bsdtar -xvPf "
                             "/opt/tavrin/5.9/patches/p1.tar.gz";
        row("not verbose", false, "output\n", "error\n", {});
        row("verbose without output", true, {}, {}, {first, last});
        row("verbose with output", true, "output\n", {}, {first, "log:output\n", "log:Continuing...", last});
        row("verbose with errors", true, "output\n", "error", {first, "log:error", "log:Continuing...", last});
    }

    void decompressorOutputIsShownOnlyWhenVerbose()
    {
        QFETCH(bool, verbose);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        ArchiveWindow window(optionsFor(verbose));
        window.recordArchiver();
        window.record("gunzip", FakeTool::printing(output, errors));
        QCOMPARE(window.unpackText("p1.tar.gz"), QString());
        QTEST(window.events, "events");
    }

    void archiverOutputIsShownOrReturned_data()
    {
        const Rows<bool, int, QByteArray, QByteArray, QString, QStringList> row("verbose", "status", "output", "errors",
                                                                                "failure", "shown");
        for (const bool verbose : {false, true}) {
            const QByteArray mode = verbose ? "verbose, " : "";
            row(mode + "no output", verbose, 0, {}, {}, {}, {});
            row(mode + "listing on standard error", verbose, 0, {}, "x a\nx b\n", {}, {"log:x a\nx b\n"});
            row(mode + "listing on standard output", verbose, 0, "x a", {}, {}, {"log:x a"});
            row(mode + "listing on both", verbose, 0, "x a\n", "note\n", {}, {"log:note\n"});
            row(mode + "failure on standard error", verbose, 1, {}, "x a\nbroken\n", "x a\nbroken\n", {});
            row(mode + "failure on standard output", verbose, 1, "broken", {}, "broken", {});
            row(mode + "failure on both", verbose, 1, "listing\n", "broken\n", "broken\n", {});
            row(mode + "failure without output looks like success", verbose, 1, {}, {}, {}, {});
        }
    }

    void archiverOutputIsShownOrReturned()
    {
        QFETCH(bool, verbose);
        QFETCH(int, status);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        ArchiveWindow window(optionsFor(verbose));
        window.recordArchiver(FakeTool::printing(output, errors, status));
        QTEST(window.unpackText("p1.tar"), "failure");
        QTEST(QStringList(window.events.mid(verbose ? 1 : 0)), "shown"); // without the echo of the command
        QCOMPARE(window.tools.callLines().size(), 1);
    }

    void missingArchiverIsReported()
    {
        ArchiveWindow window;
        window.installation.without("bin/bsdtar");
        QCOMPARE(window.unpackText("p1.tar"), "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " +
                                                  startErrorOf(window.installation.path("bin/bsdtar")));
    }
};

TAVRIN_TEST_MAIN(TstArchiveTools)
#include "tst_archive_tools.moc"
