// Unpacking an archive as the tools see it: how gunzip and the archive tool are called, and what follows when one of
// them talks, fails, or is missing. Recorders stand in their place.
#include "archive_window.h"
#include "helper_run.h"
#include "message_guard.h"
#include "test_files.h"
#include "test_main.h"

#include <QDir>
#include <QStandardPaths>
#include <QTest>

#include <memory>

class TstArchiveTools : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void archiverIsCalledWithKeepingAbsolutePaths();
    void archiverInputStaysOpen();
    void decompressedFileTakesThePlaceOfTheArchive();
    void decompressorThatLeavesTheFileIsIgnored();
    void olderDecompressedFileStays();
    void fileThatTheDecompressorRemovedIsMissed();
    void missingDecompressorIsIgnored();
    void decompressorTalksOnlyWhenVerbose_data();
    void decompressorTalksOnlyWhenVerbose();
    void listingIsShownWhateverVerbose_data();
    void listingIsShownWhateverVerbose();
    void archiverWithNothingToSayShowsNothing();
    void failedExtractionReturnsWhatTheArchiverSaid_data();
    void failedExtractionReturnsWhatTheArchiverSaid();
    void missingArchiverIsReported();

private:
    std::unique_ptr<MessageGuard> guard;
};

void TstArchiveTools::init()
{
    guard = std::make_unique<MessageGuard>();
}

void TstArchiveTools::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstArchiveTools::archiverIsCalledWithKeepingAbsolutePaths()
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

void TstArchiveTools::archiverInputStaysOpen()
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

void TstArchiveTools::decompressedFileTakesThePlaceOfTheArchive()
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

void TstArchiveTools::decompressorThatLeavesTheFileIsIgnored()
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

void TstArchiveTools::olderDecompressedFileStays()
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

void TstArchiveTools::fileThatTheDecompressorRemovedIsMissed()
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

void TstArchiveTools::missingDecompressorIsIgnored()
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

void TstArchiveTools::decompressorTalksOnlyWhenVerbose_data()
{
    QTest::addColumn<bool>("verbose");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QStringList>("shown");
    const QStringList echoes{"Executing system command: gunzip /opt/tavrin/5.9/patches/p1.tar.gz",
                             "Executing system command: /opt/tavrin/5.9/bin/bsdtar -xvPf "
                             "/opt/tavrin/5.9/patches/p1.tar.gz"};
    QTest::newRow("not verbose") << false << QByteArray("said\n") << QByteArray("complained\n") << QStringList();
    QTest::newRow("verbose and silent") << true << QByteArray() << QByteArray() << echoes;
    QTest::newRow("verbose with output") << true << QByteArray("said\n") << QByteArray()
                                         << QStringList{echoes[0], "said\n", "Continuing...", echoes[1]};
    QTest::newRow("verbose with errors") << true << QByteArray("said\n") << QByteArray("complained")
                                         << QStringList{echoes[0], "complained", "Continuing...", echoes[1]};
}

void TstArchiveTools::decompressorTalksOnlyWhenVerbose()
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

void TstArchiveTools::listingIsShownWhateverVerbose_data()
{
    QTest::addColumn<bool>("verbose");
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QString>("shown");
    for (const bool verbose : {false, true}) {
        const QByteArray mode = verbose ? "verbose, " : "";
        QTest::newRow(mode + "on standard error")
            << verbose << QByteArray() << QByteArray("x a\nx b\n") << "x a\nx b\n";
        QTest::newRow(mode + "on standard output") << verbose << QByteArray("x a") << QByteArray() << "x a";
        QTest::newRow(mode + "on both") << verbose << QByteArray("x a\n") << QByteArray("note\n") << "note\n";
    }
}

void TstArchiveTools::listingIsShownWhateverVerbose()
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

void TstArchiveTools::archiverWithNothingToSayShowsNothing()
{
    ArchiveWindow window;
    window.recordArchiver();
    window.installation.withFile("patches/p1.tar", "text");
    QFileInfo archive(window.archivePath("p1.tar"));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(window.shown(), QStringList());
    QCOMPARE(window.tools.callLines().size(), 1);
}

void TstArchiveTools::failedExtractionReturnsWhatTheArchiverSaid_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QString>("failure");
    QTest::newRow("standard error") << QByteArray() << QByteArray("x a\nbroken\n") << "x a\nbroken\n";
    QTest::newRow("standard output") << QByteArray("broken") << QByteArray() << "broken";
    QTest::newRow("both") << QByteArray("listing\n") << QByteArray("broken\n") << "broken\n";
    QTest::newRow("silence looks like success") << QByteArray() << QByteArray() << "";
}

void TstArchiveTools::failedExtractionReturnsWhatTheArchiverSaid()
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

void TstArchiveTools::missingArchiverIsReported()
{
    ArchiveWindow window;
    window.installation.without("bin/bsdtar").withFile("patches/p1.tar", "text");
    QFileInfo archive(window.archivePath("p1.tar"));
    QCOMPARE(window.logic.unpackArchive(archive), "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " +
                                                      startErrorOf(window.installation.path("bin/bsdtar")));
}

TAVRIN_TEST_MAIN(TstArchiveTools)
#include "tst_archive_tools.moc"
