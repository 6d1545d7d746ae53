// From the list of patches to files in the installation: which archives there are, which names are decompressed first,
// and what the archive tool is asked to do. Real archives go through the real gunzip and bsdtar; recorders stand in
// their place where it matters how they are called. What bsdtar says about a broken archive is asked of bsdtar.
#include "fake_installation.h"
#include "fake_tools.h"
#include "message_guard.h"
#include "tavrin_update_bl.h"
#include "test_main.h"

#include <QProcess>
#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

#include <memory>

using Logic = TavrinUpdateBusinessLogic;

namespace {

QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "cannot read " + fileName.toUtf8();
}

QByteArray runTool(const QString& program, const QStringList& arguments, int* status = nullptr)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished();
    if (status != nullptr) {
        *status = process.exitCode();
    }
    return process.readAllStandardError();
}

// A business-logic object in window mode on an installation with the real archive tool, and what it shows.
struct Window
{
    explicit Window(bool verbose = false) : logic("tavrin_update"), progress(&logic, SIGNAL(appendProgress(QString)))
    {
        installation.withTools();
        qputenv("TAVRIN", installation.path().toUtf8());
        Logic::CommandLineOptions options;
        options.terminal = false;
        options.showProposed = false;
        options.verbose = verbose;
        initialized = logic.initialize(options);
    }

    QString archivePath(const QString& name) const
    {
        return installation.path("patches/" + name);
    }

    // Packs files of the installation under their absolute paths and takes them away from there again.
    void pack(const QString& name, const QStringList& members, const QStringList& compression = QStringList())
    {
        QStringList arguments = QStringList{"-c"} + compression + QStringList{"-Pf", archivePath(name)};
        for (const QString& member : members) {
            installation.withFile(member, "content of " + member.toUtf8() + '\n');
            arguments << installation.path(member);
        }
        QCOMPARE(runTool(QStandardPaths::findExecutable("bsdtar"), arguments), QByteArray());
        for (const QString& member : members) {
            installation.without(member);
        }
    }

    // Makes the archive tool of the installation a recorder.
    void recordArchiver(const FakeTool& tool = FakeTool())
    {
        installation.without("bin/bsdtar");
        tools.addTo(installation.path("bin"), "bsdtar", tool);
    }

    // Puts recorders, and nothing else, on the search path.
    void recordDecompressor(const FakeTool& tool = FakeTool())
    {
        tools.add("gunzip", tool);
        qputenv("PATH", tools.pathDirectory().toUtf8());
    }

    QStringList shown() const
    {
        QStringList texts;
        for (const QList<QVariant>& arguments : progress) {
            texts << arguments.first().toString();
        }
        return texts;
    }

    QStringList calls() const
    {
        QStringList lines;
        const QList<FakeToolCall> recorded = tools.calls();
        for (const FakeToolCall& call : recorded) {
            lines << call.tool + '|' + QString::fromUtf8(call.arguments.join('|'));
        }
        return lines;
    }

    FakeInstallation installation;
    FakeTools tools;
    Logic logic;
    QSignalSpy progress;
    QString initialized;
};

} // namespace

class TstArchives : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void listFollowsThePatchesNotInstalled();
    void listIsAppendedTo();
    void listNamesTheInstallationWithoutAPatchesDirectory();
    void listTakesNamesWhole();

    void suffixMakesAnArchive_data();
    void suffixMakesAnArchive();

    void archiveIsExtracted_data();
    void archiveIsExtracted();
    void relativeMembersLandInTheWorkingDirectory();
    void whatIsNoArchiveIsLeftAlone_data();
    void whatIsNoArchiveIsLeftAlone();
    void partsOfTheNameDecideOnDecompression_data();
    void partsOfTheNameDecideOnDecompression();
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
    void corruptedArchiveIsReported_data();
    void corruptedArchiveIsReported();

private:
    std::unique_ptr<MessageGuard> guard;
    QByteArray searchPath;
};

void TstArchives::init()
{
    guard = std::make_unique<MessageGuard>();
    searchPath = qgetenv("PATH");
}

void TstArchives::cleanup()
{
    qputenv("PATH", searchPath);
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstArchives::listFollowsThePatchesNotInstalled()
{
    Window window;
    QCOMPARE(window.initialized, QString());
    window.installation.withPatched("B").withFile("patches/unlisted.tar");
    for (const char* name : {"C", "B", "A"}) {
        window.logic.addPatchToList(name, name, false, QString(name) + ".tar.gz", "d");
    }
    window.logic.determinePatchesApplied();
    QList<QFileInfo> archives;
    window.logic.buildPatchArchiveList(archives);
    QCOMPARE(archives.size(), 2);
    QCOMPARE(archives.at(0).absoluteFilePath(), window.archivePath("C.tar.gz"));
    QCOMPARE(archives.at(1).absoluteFilePath(), window.archivePath("A.tar.gz"));
    QCOMPARE(window.logic.getPatchName(), QString(" ")); // the walk ran to its end
}

void TstArchives::listIsAppendedTo()
{
    Window window;
    window.logic.addPatchToList("A", "A", false, "A.tar", "d");
    QList<QFileInfo> archives{QFileInfo("/tmp/other.tar")};
    window.logic.buildPatchArchiveList(archives);
    window.logic.buildPatchArchiveList(archives);
    QCOMPARE(archives.size(), 3);
    QCOMPARE(archives.at(0).absoluteFilePath(), QString("/tmp/other.tar"));
    QCOMPARE(archives.at(1).absoluteFilePath(), window.archivePath("A.tar"));
    QCOMPARE(archives.at(2).absoluteFilePath(), window.archivePath("A.tar"));
}

void TstArchives::listNamesTheInstallationWithoutAPatchesDirectory()
{
    Window window;
    window.installation.without("patches");
    window.logic.addPatchToList("A", "A", false, "A.tar", "d");
    QList<QFileInfo> archives;
    window.logic.buildPatchArchiveList(archives);
    QCOMPARE(archives.size(), 1);
    QCOMPARE(archives.first().absoluteFilePath(), window.installation.path("A.tar"));
}

void TstArchives::listTakesNamesWhole()
{
    Window window;
    window.logic.addPatchToList("A", "A", false, "sub/A%201.tar", "d");
    QList<QFileInfo> archives;
    window.logic.buildPatchArchiveList(archives);
    QCOMPARE(archives.size(), 1);
    QCOMPARE(archives.first().absoluteFilePath(), window.archivePath("sub/A%201.tar"));
}

void TstArchives::suffixMakesAnArchive_data()
{
    QTest::addColumn<bool>("archive");
    for (const char* name : {"p1.tar", "p1.tar.gz", "p1.gz", "p1.gzip", "p1.tar.gzip", "p1.bz2", "p1.tar.bz2", "p1.Z",
                             "p1.tar.Z", ".tar", ".gz", "p 1.tar", "p1.zip.tar"}) {
        QTest::newRow(name) << true;
    }
    for (const char* name : {"p1.TAR", "p1.tar.GZ", "p1.Gz", "p1.BZ2", "p1.z", "p1.tgz", "p1.zip", "p1.tbz2", "p1.xz",
                             "p1.tar.xz", "p1tar", "tar", "p1.tar.", "p1.tar ", "p1", ""}) {
        QTest::newRow(name) << false;
    }
}

void TstArchives::suffixMakesAnArchive()
{
    const Window window;
    QTEST(window.logic.isArchive(QTest::currentDataTag()), "archive");
}

void TstArchives::archiveIsExtracted_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("compression");
    QTest::addColumn<QString>("left"); // in the patches directory, and what the archive names afterwards
    QTest::newRow("plain") << "p1.tar" << QStringList() << "p1.tar";
    QTest::newRow("gzip") << "p1.tar.gz" << QStringList{"-z"} << "p1.tar";
    QTest::newRow("compress") << "p1.tar.Z" << QStringList{"-Z"} << "p1.tar";
    QTest::newRow("bzip2 is read by the archiver") << "p1.tar.bz2" << QStringList{"-j"} << "p1.tar.bz2";
    QTest::newRow("gzip in two parts") << "p1.gz" << QStringList{"-z"} << "p1.gz";
    QTest::newRow("compress in two parts") << "p1.Z" << QStringList{"-Z"} << "p1.Z";
    QTest::newRow("bzip2 in two parts") << "p1.bz2" << QStringList{"-j"} << "p1.bz2";
    QTest::newRow("suffix unknown to gunzip") << "p1.tar.gzip" << QStringList{"-z"} << "p1.tar.gzip";
    QTest::newRow("dots in the name of a plain one") << "p1-5.9.tar" << QStringList() << "p1-5.9.tar";
    QTest::newRow("dots in the name of a compressed one") << "p1-5.9.2.tar.gz" << QStringList{"-z"} << "p1-5.9.2.tar";
    QTest::newRow("three parts without tar") << "p1.5.gz" << QStringList{"-z"} << "p1.5";
    QTest::newRow("blanks") << "p 1 b.tar.gz" << QStringList{"-z"} << "p 1 b.tar";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("p\xc3\xa9\xe2\x82\xac.tar.gz") << QStringList{"-z"}
                                  << QString::fromUtf8("p\xc3\xa9\xe2\x82\xac.tar");
    QTest::newRow("quotes and dollars") << "p'1\"$HOME;.tar.gz" << QStringList{"-z"} << "p'1\"$HOME;.tar";
    QTest::newRow("compressed but not called so") << "p1.tar" << QStringList{"-z"} << "p1.tar";
    QTest::newRow("called compressed but not so") << "p1.tar.gz" << QStringList() << "p1.tar.gz";
}

void TstArchives::archiveIsExtracted()
{
    QFETCH(QString, name);
    QFETCH(QStringList, compression);
    QFETCH(QString, left);
    Window window;
    window.pack(name, {"lib/one.txt", "patched/P1"}, compression);
    QFileInfo archive(window.archivePath(name));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(archive.absoluteFilePath(), window.archivePath(left));
    QCOMPARE(QDir(window.installation.path("patches")).entryList(QDir::Files), QStringList{left});
    QCOMPARE(contentOf(window.installation.path("lib/one.txt")), QByteArray("content of lib/one.txt\n"));
    QCOMPARE(contentOf(window.installation.path("patched/P1")), QByteArray("content of patched/P1\n"));
    QCOMPARE(window.shown(), QStringList{"x /opt/tavrin/5.9/lib/one.txt\nx /opt/tavrin/5.9/patched/P1\n"});
}

void TstArchives::relativeMembersLandInTheWorkingDirectory()
{
    Window window;
    const QTemporaryDir elsewhere;
    const QString before = QDir::currentPath();
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    writeTestFile("member.txt", "text");
    runTool("bsdtar", {"-cf", window.archivePath("p1.tar"), "member.txt"});
    QVERIFY(QFile::remove("member.txt"));
    QFileInfo archive(window.archivePath("p1.tar"));
    const QString failure = window.logic.unpackArchive(archive);
    QVERIFY(QDir::setCurrent(before));
    QCOMPARE(failure, QString());
    QCOMPARE(contentOf(elsewhere.filePath("member.txt")), QByteArray("text"));
    QVERIFY(!QFileInfo::exists(window.archivePath("member.txt")));
}

void TstArchives::whatIsNoArchiveIsLeftAlone_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("present");
    QTest::newRow("missing") << "p1.tar.gz" << false;
    QTest::newRow("missing below a missing directory") << "sub/p1.tar.gz" << false;
    QTest::newRow("directory") << "p1.tar.gz/" << true;
    QTest::newRow("tgz") << "p1.tgz" << true;
    QTest::newRow("zip") << "p1.zip" << true;
    QTest::newRow("upper case") << "p1.TAR" << true;
    QTest::newRow("no suffix") << "p1" << true;
}

void TstArchives::whatIsNoArchiveIsLeftAlone()
{
    QFETCH(QString, name);
    QFETCH(bool, present);
    Window window(true);
    window.recordArchiver();
    window.recordDecompressor();
    if (name.endsWith('/')) {
        name.chop(1);
        QVERIFY(QDir().mkdir(window.archivePath(name)));
    } else if (present) {
        window.installation.withFile("patches/" + name, "text");
    }
    const QStringList before = window.installation.tree();
    QFileInfo archive(window.archivePath(name));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(archive.absoluteFilePath(), window.archivePath(name));
    QCOMPARE(window.calls(), QStringList());
    QCOMPARE(window.shown(), QStringList());
    QCOMPARE(window.installation.tree(), before);
}

void TstArchives::partsOfTheNameDecideOnDecompression_data()
{
    QTest::addColumn<bool>("decompressed");
    for (const char* name :
         {"p1.tar", "p1.gz", "p1.Z", "p1.bz2", "p1.gzip", "p1-5.9.tar", "a.b.c.tar", ".gz", ".tar"}) {
        QTest::newRow(name) << false;
    }
    for (const char* name :
         {"p1.tar.gz", "p1.tar.Z", "p1.tar.bz2", "p1.tar.gzip", "p1.5.gz", "a.b.c.gz", "p1..gz", ".p1.gz", "..gz"}) {
        QTest::newRow(name) << true;
    }
}

void TstArchives::partsOfTheNameDecideOnDecompression()
{
    QFETCH(bool, decompressed);
    Window window;
    window.recordArchiver();
    window.recordDecompressor();
    const QString name = QTest::currentDataTag();
    window.installation.withFile("patches/" + name, "text");
    QFileInfo archive(window.archivePath(name));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QStringList expected;
    if (decompressed) {
        expected << "gunzip|" + window.archivePath(name);
    }
    expected << "bsdtar|-xvPf|" + window.archivePath(name);
    QCOMPARE(window.calls(), expected);
}

void TstArchives::archiverIsCalledWithKeepingAbsolutePaths()
{
    Window window;
    window.recordArchiver();
    window.installation.withFile("patches/p 1.tar", "text");
    QFileInfo archive(QDir(window.installation.path("patches")), "p 1.tar");
    QCOMPARE(window.logic.decompress(archive), QString());
    const QList<FakeToolCall> calls = window.tools.calls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.first().arguments, (QList<QByteArray>{"-xvPf", "/opt/tavrin/5.9/patches/p 1.tar"}));
    QCOMPARE(calls.first().workingDirectory, QDir::current().canonicalPath());
}

void TstArchives::archiverInputStaysOpen()
{
    Window window;
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

void TstArchives::decompressedFileTakesThePlaceOfTheArchive()
{
    Window window;
    window.recordArchiver();
    FakeTool renaming;
    renaming.script = "/bin/mv \"$1\" \"${1%.gz}\"";
    renaming.status = 1; // does not count
    window.recordDecompressor(renaming);
    window.installation.withFile("patches/p1.5.tar.gz", "text");
    QFileInfo archive(window.archivePath("p1.5.tar.gz"));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(window.calls(), (QStringList{"gunzip|/opt/tavrin/5.9/patches/p1.5.tar.gz",
                                          "bsdtar|-xvPf|/opt/tavrin/5.9/patches/p1.5.tar"}));
    QCOMPARE(archive.absoluteFilePath(), window.archivePath("p1.5.tar"));
    QCOMPARE(archive.fileName(), QString("p1.5.tar"));
    QVERIFY(archive.exists());
}

void TstArchives::decompressorThatLeavesTheFileIsIgnored()
{
    Window window;
    window.recordArchiver();
    FakeTool failing;
    failing.status = 2;
    failing.errors = "cannot\n";
    window.recordDecompressor(failing);
    window.installation.withFile("patches/p1.tar.gz", "text");
    QFileInfo archive(window.archivePath("p1.tar.gz"));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(window.calls(), (QStringList{"gunzip|/opt/tavrin/5.9/patches/p1.tar.gz",
                                          "bsdtar|-xvPf|/opt/tavrin/5.9/patches/p1.tar.gz"}));
    QCOMPARE(archive.absoluteFilePath(), window.archivePath("p1.tar.gz"));
    QCOMPARE(window.shown(), QStringList());
}

void TstArchives::olderDecompressedFileStays()
{
    Window window(true);
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

void TstArchives::fileThatTheDecompressorRemovedIsMissed()
{
    Window window;
    window.recordArchiver();
    FakeTool removing;
    removing.script = "/bin/rm \"$1\"";
    window.recordDecompressor(removing);
    window.installation.withFile("patches/p1.5.tar.gz", "text");
    QFileInfo archive(window.archivePath("p1.5.tar.gz"));
    QCOMPARE(window.logic.unpackArchive(archive), QString("Failed to decompress file p1.5.tar"));
    QCOMPARE(archive.absoluteFilePath(), window.archivePath("p1.5.tar"));
    QCOMPARE(window.calls(), QStringList{"gunzip|/opt/tavrin/5.9/patches/p1.5.tar.gz"});
    QCOMPARE(window.shown(), QStringList());
}

void TstArchives::missingDecompressorIsIgnored()
{
    Window window;
    window.pack("p1.tar.gz", {"lib/one.txt"}, {"-z"});
    qputenv("PATH", window.tools.pathDirectory().toUtf8());
    QFileInfo archive(window.archivePath("p1.tar.gz"));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(archive.fileName(), QString("p1.tar.gz"));
    QVERIFY(QFileInfo::exists(window.installation.path("lib/one.txt")));
    QCOMPARE(window.shown(), QStringList{"x /opt/tavrin/5.9/lib/one.txt\n"});
}

void TstArchives::decompressorTalksOnlyWhenVerbose_data()
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

void TstArchives::decompressorTalksOnlyWhenVerbose()
{
    QFETCH(bool, verbose);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    Window window(verbose);
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

void TstArchives::listingIsShownWhateverVerbose_data()
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

void TstArchives::listingIsShownWhateverVerbose()
{
    QFETCH(bool, verbose);
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    Window window(verbose);
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

void TstArchives::archiverWithNothingToSayShowsNothing()
{
    Window window;
    window.recordArchiver();
    window.installation.withFile("patches/p1.tar", "text");
    QFileInfo archive(window.archivePath("p1.tar"));
    QCOMPARE(window.logic.unpackArchive(archive), QString());
    QCOMPARE(window.shown(), QStringList());
    QCOMPARE(window.calls().size(), 1);
}

void TstArchives::failedExtractionReturnsWhatTheArchiverSaid_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QString>("failure");
    QTest::newRow("standard error") << QByteArray() << QByteArray("x a\nbroken\n") << "x a\nbroken\n";
    QTest::newRow("standard output") << QByteArray("broken") << QByteArray() << "broken";
    QTest::newRow("both") << QByteArray("listing\n") << QByteArray("broken\n") << "broken\n";
    QTest::newRow("silence looks like success") << QByteArray() << QByteArray() << "";
}

void TstArchives::failedExtractionReturnsWhatTheArchiverSaid()
{
    QFETCH(QByteArray, output);
    QFETCH(QByteArray, errors);
    Window window;
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

void TstArchives::missingArchiverIsReported()
{
    Window window;
    window.installation.without("bin/bsdtar").withFile("patches/p1.tar", "text");
    QFileInfo archive(window.archivePath("p1.tar"));
    QProcess process;
    process.start(window.installation.path("bin/bsdtar"), QStringList());
    QVERIFY(!process.waitForStarted());
    QCOMPARE(window.logic.unpackArchive(archive),
             "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " + process.errorString());
}

void TstArchives::corruptedArchiveIsReported_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("compression");
    QTest::addColumn<QString>("where");
    QTest::addColumn<QString>("left"); // in the patches directory, and what the archive names afterwards
    QTest::addColumn<bool>("isFailure");
    const QList<QPair<QString, QStringList>> kinds{
        {"p1.tar", {}}, {"p1.tar.gz", {"-z"}}, {"p1.tar.bz2", {"-j"}}, {"p1.tar.Z", {"-Z"}}, {"p1.gz", {"-z"}}};
    for (const auto& kind : kinds) {
        for (const QString where : {"head", "middle", "end"}) {
            // The archive tool skips a broken header in its listing and is content; and a file made by compress has no
            // end of its own, so gunzip makes of a short one a short archive.
            const bool isFailure = kind.first != "p1.tar" || where != "middle";
            const bool isDecompressed = kind.first == "p1.tar.Z" && where == "end";
            QTest::newRow(qPrintable(kind.first + ", " + where))
                << kind.first << kind.second << where << (isDecompressed ? "p1.tar" : kind.first) << isFailure;
        }
    }
}

void TstArchives::corruptedArchiveIsReported()
{
    QFETCH(QString, name);
    QFETCH(QStringList, compression);
    QFETCH(QString, where);
    QFETCH(QString, left);
    QFETCH(bool, isFailure);
    Window window;
    window.pack(name, {"lib/one.txt", "lib/two.txt", "lib/three.txt"}, compression);
    QByteArray bytes = contentOf(window.archivePath(name));
    if (where == "head") {
        bytes.replace(0, 64, QByteArray(64, '\xff'));
    } else if (where == "middle") {
        // Of a plain archive the second header, of a compressed one what stands in its midst.
        const int position = compression.isEmpty() ? 1024 : bytes.size() / 2;
        bytes.replace(position, 16, QByteArray(16, '\xff'));
    } else {
        bytes.truncate(compression.isEmpty() ? 2048 + 100 : bytes.size() - 20);
    }
    writeTestFile(window.archivePath(name), bytes);

    QFileInfo archive(window.archivePath(name));
    const QString failure = window.logic.unpackArchive(archive);
    QCOMPARE(archive.absoluteFilePath(), window.archivePath(left));
    QCOMPARE(QDir(window.installation.path("patches")).entryList(QDir::Files), QStringList{left});
    int status = -1;
    const QString said = runTool(window.installation.path("bin/bsdtar"), {"-xvPf", window.archivePath(left)}, &status);
    QVERIFY2(said.contains("bsdtar: "), qPrintable(said));
    QCOMPARE(status, isFailure ? 1 : 0);
    QCOMPARE(failure, isFailure ? said : QString());
    QCOMPARE(window.shown(), isFailure ? QStringList() : QStringList{said});
}

TAVRIN_TEST_MAIN(TstArchives)
#include "tst_archives.moc"
