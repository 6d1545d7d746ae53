// Unpacking an archive as the tools see it: how gunzip and the archive tool are called, and what follows when one of
// them talks, fails, or is missing. Recorders stand in their place.
#include "archive_window.h"
#include "helper_run.h"
#include "test.h"
#include "test_files.h"

#include <QDir>
#include <QStandardPaths>

class TstArchiveTools : public Test
{
    Q_OBJECT

private slots:
    void archiverIsCalledWithKeepingAbsolutePaths()
    {
        ArchiveWindow window;
        window.recordArchiver();
        window.installation.withFile("patches/p 1.tar", "text");
        QFileInfo archive(QDir(window.installation.path("patches")), "p 1.tar");
        QCOMPARE(window.logic.decompress(archive), QString());
        const QList<FakeToolCall> calls = window.tools.calls();
        QCOMPARE(calls.size(), 1);
        QCOMPARE(calls.first().arguments, (QList<QByteArray>{"-xvPf", "/opt/tavrin/5.9/patches/p 1.tar"}));
        QCOMPARE(calls.first().workingDirectory, QDir::current().canonicalPath());
    }

    void archiverInputStaysOpen()
    {
        ArchiveWindow window;
        const QByteArray perl = QStandardPaths::findExecutable("perl").toUtf8();
        FakeTool probe;
        probe.script = perl + " -e 'my $s = \"\"; vec($s, 0, 1) = 1; print select($s, undef, undef, 0.5) ? 1 : 0'";
        window.recordArchiver(probe);
        probe.script += " >\"${1%/patches/*}/lib/gunzip-input\"";
        window.recordDecompressor(probe);
        window.installation.withFile("patches/p1.tar.gz", "text");
        QFileInfo archive(window.archivePath("p1.tar.gz"));
        QCOMPARE(window.logic.decompress(archive), QString());
        QCOMPARE(window.shown(), QStringList{"0"});
        QCOMPARE(contentOf(window.installation.path("lib/gunzip-input")), QByteArray("0"));
    }

    void decompressedFileTakesThePlaceOfTheArchive()
    {
        ArchiveWindow window;
        window.recordArchiver();
        FakeTool renaming;
        renaming.script = "/bin/mv \"$1\" \"${1%.gz}\"";
        renaming.status = 1; // does not count
        window.recordDecompressor(renaming);
        window.installation.withFile("patches/p1.5.tar.gz", "text");
        QFileInfo archive(window.archivePath("p1.5.tar.gz"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QCOMPARE(window.tools.callLines(), (QStringList{"gunzip|/opt/tavrin/5.9/patches/p1.5.tar.gz",
                                                        "bsdtar|-xvPf|/opt/tavrin/5.9/patches/p1.5.tar"}));
        QCOMPARE(archive.absoluteFilePath(), window.archivePath("p1.5.tar"));
        QCOMPARE(archive.fileName(), QString("p1.5.tar"));
        QVERIFY(archive.exists());
    }

    void decompressorThatLeavesTheFileIsIgnored()
    {
        ArchiveWindow window;
        window.recordArchiver();
        FakeTool failing;
        failing.status = 2;
        failing.errors = "cannot\n";
        window.recordDecompressor(failing);
        window.installation.withFile("patches/p1.tar.gz", "text");
        QFileInfo archive(window.archivePath("p1.tar.gz"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QCOMPARE(window.tools.callLines(), (QStringList{"gunzip|/opt/tavrin/5.9/patches/p1.tar.gz",
                                                        "bsdtar|-xvPf|/opt/tavrin/5.9/patches/p1.tar.gz"}));
        QCOMPARE(archive.absoluteFilePath(), window.archivePath("p1.tar.gz"));
        QCOMPARE(window.shown(), QStringList());
    }

    void olderDecompressedFileStays()
    {
        ArchiveWindow window(ArchiveWindow::verboseOptions());
        window.pack("p1.tar.gz", {"lib/new.txt"}, {"-z"});
        window.installation.withFile("patches/p1.tar", "older");
        QFileInfo archive(window.archivePath("p1.tar.gz"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QCOMPARE(archive.fileName(), QString("p1.tar.gz"));
        QCOMPARE(contentOf(window.archivePath("p1.tar")), QByteArray("older"));
        QVERIFY(QFileInfo::exists(window.installation.path("lib/new.txt")));
        QVERIFY2(window.shown().value(1).contains("already exists"), qPrintable(window.shown().join('|')));
        QCOMPARE(window.shown().value(2), QString("Continuing..."));
    }

    void fileThatTheDecompressorRemovedIsMissed()
    {
        ArchiveWindow window;
        window.recordArchiver();
        FakeTool removing;
        removing.script = "/bin/rm \"$1\"";
        window.recordDecompressor(removing);
        window.installation.withFile("patches/p1.5.tar.gz", "text");
        QFileInfo archive(window.archivePath("p1.5.tar.gz"));
        QCOMPARE(window.logic.unpackArchive(archive), QString("Failed to decompress file p1.5.tar"));
        QCOMPARE(archive.absoluteFilePath(), window.archivePath("p1.5.tar"));
        QCOMPARE(window.tools.callLines(), QStringList{"gunzip|/opt/tavrin/5.9/patches/p1.5.tar.gz"});
        QCOMPARE(window.shown(), QStringList());
    }

    void missingDecompressorIsIgnored()
    {
        ArchiveWindow window;
        window.pack("p1.tar.gz", {"lib/one.txt"}, {"-z"});
        window.searchToolsOnly();
        QFileInfo archive(window.archivePath("p1.tar.gz"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QCOMPARE(archive.fileName(), QString("p1.tar.gz"));
        QVERIFY(QFileInfo::exists(window.installation.path("lib/one.txt")));
        QCOMPARE(window.shown(), QStringList{"x /opt/tavrin/5.9/lib/one.txt\n"});
    }

    void decompressorTalksOnlyWhenVerbose_data()
    {
        const Rows<bool, QByteArray, QByteArray, QStringList> row("verbose", "output", "errors", "shown");
        const QStringList echoes{"Executing system command: gunzip /opt/tavrin/5.9/patches/p1.tar.gz",
                                 "Executing system command: /opt/tavrin/5.9/bin/bsdtar -xvPf "
                                 "/opt/tavrin/5.9/patches/p1.tar.gz"};
        row("not verbose", false, "said\n", "complained\n", {});
        row("verbose and silent", true, {}, {}, echoes);
        row("verbose with output", true, "said\n", {}, {echoes[0], "said\n", "Continuing...", echoes[1]});
        row("verbose with errors", true, "said\n", "complained", {echoes[0], "complained", "Continuing...", echoes[1]});
    }

    void decompressorTalksOnlyWhenVerbose()
    {
        QFETCH(bool, verbose);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        ArchiveWindow window(verbose ? ArchiveWindow::verboseOptions() : ArchiveWindow::quietOptions());
        window.recordArchiver();
        FakeTool talking;
        talking.output = output;
        talking.errors = errors;
        window.recordDecompressor(talking);
        window.installation.withFile("patches/p1.tar.gz", "text");
        QFileInfo archive(window.archivePath("p1.tar.gz"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QTEST(window.shown(), "shown");
    }

    void listingIsShownWhateverVerbose_data()
    {
        const Rows<bool, QByteArray, QByteArray, QString> row("verbose", "output", "errors", "shown");
        for (const bool verbose : {false, true}) {
            const QByteArray mode = verbose ? "verbose, " : "";
            row(mode + "on standard error", verbose, {}, "x a\nx b\n", "x a\nx b\n");
            row(mode + "on standard output", verbose, "x a", {}, "x a");
            row(mode + "on both", verbose, "x a\n", "note\n", "note\n");
        }
    }

    void listingIsShownWhateverVerbose()
    {
        QFETCH(bool, verbose);
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        ArchiveWindow window(verbose ? ArchiveWindow::verboseOptions() : ArchiveWindow::quietOptions());
        FakeTool talking;
        talking.output = output;
        talking.errors = errors;
        window.recordArchiver(talking);
        window.installation.withFile("patches/p1.tar", "text");
        QFileInfo archive(window.archivePath("p1.tar"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QTEST(window.shown().value(verbose ? 1 : 0), "shown");
        QCOMPARE(window.shown().size(), verbose ? 2 : 1);
    }

    void archiverWithNothingToSayShowsNothing()
    {
        ArchiveWindow window;
        window.recordArchiver();
        window.installation.withFile("patches/p1.tar", "text");
        QFileInfo archive(window.archivePath("p1.tar"));
        QCOMPARE(window.logic.unpackArchive(archive), QString());
        QCOMPARE(window.shown(), QStringList());
        QCOMPARE(window.tools.callLines().size(), 1);
    }

    void failedExtractionReturnsWhatTheArchiverSaid_data()
    {
        const Rows<QByteArray, QByteArray, QString> row("output", "errors", "failure");
        row("standard error", {}, "x a\nbroken\n", "x a\nbroken\n");
        row("standard output", "broken", {}, "broken");
        row("both", "listing\n", "broken\n", "broken\n");
        row("silence looks like success", {}, {}, "");
    }

    void failedExtractionReturnsWhatTheArchiverSaid()
    {
        QFETCH(QByteArray, output);
        QFETCH(QByteArray, errors);
        ArchiveWindow window;
        FakeTool failing;
        failing.status = 1;
        failing.output = output;
        failing.errors = errors;
        window.recordArchiver(failing);
        window.installation.withFile("patches/p1.tar", "text");
        QFileInfo archive(window.archivePath("p1.tar"));
        QTEST(window.logic.unpackArchive(archive), "failure");
        QCOMPARE(window.shown(), QStringList());
    }

    void missingArchiverIsReported()
    {
        ArchiveWindow window;
        window.installation.without("bin/bsdtar").withFile("patches/p1.tar", "text");
        QFileInfo archive(window.archivePath("p1.tar"));
        QCOMPARE(window.logic.unpackArchive(archive), "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " +
                                                          startErrorOf(window.installation.path("bin/bsdtar")));
    }
};

TAVRIN_TEST_MAIN(TstArchiveTools)
#include "tst_archive_tools.moc"
