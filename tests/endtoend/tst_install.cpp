// Whole installing runs in a terminal: what is printed, the status, and the installation afterwards, file by file. The
// good runs use the makers of the sample installation and patch source; the bad ones break one thing each, and the
// first failure ends the run. What bsdtar says about a broken archive is asked of bsdtar afterwards.
#include "expected_report.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "message_guard.h"
#include "program_run.h"
#include "test_main.h"

#include <QCryptographicHash>
#include <QDirIterator>

using Answer = FakePatchServer::Answer;

Q_DECLARE_METATYPE(FakePatchServer::Answer)

namespace {

const QString RELEASE_DIRECTORY = QStringLiteral("/opt/tavrin/5.9");
const QByteArray ARCHIVER = "/opt/tavrin/5.9/bin/bsdtar";

const QByteArray CHECK = "Check for running real time systems ...\n"
                         "No running Tavrin Real Time System of version '5.9' detected.\n";
const QByteArray QUESTION = "\nDo you wish to download and install these patches [y|n]?\n";
const QByteArray DOWNLOAD = "Download patch files ...\n";
const QByteArray APPLY = "\nApply patches to Tavrin installation ...\n\n";
const QByteArray PAGE = "\nUpdate applied_patches.html ...\n";
const QByteArray FINISH = PAGE + "applied_patches.html updated\n\nYou may restart systems now\n";

// One patch of each kind of archive that is unpacked; for make_patch_source.
const QByteArray DESCRIPTION = R"(
patch P1
date 14 January 2026
archive P1.tar
description
> Plain & first.
> Second line.
file lib/one.txt
> one

patch P2
date 2 February 2026
archive P2.tar.gz
description
> Gzip.
file data/pf/two.pf
> 1 blue
> 2 red
file include/two.h
> #pragma once

patch P3
date 3 March 2026
archive P3.tar.bz2
description
> Bzip2.
file bin/three
> #!/bin/sh

patch P4
date 4 April 2026
archive P4.tar.Z
description
> Compress.
file lib/one.txt
> one, mended by P4

patch P5
date 5 May 2026
archive P5.gz
description
> Gzip in two parts.
file man/man1/five.1
> .TH FIVE 1

patch P6
date 6 June 2026
archive P6.Z
description
> Compress in two parts.
file lib/sub/six.txt
> six
)";

const QList<UnappliedPatch> PATCHES{{"P1", "Plain & first.\nSecond line."},
                                    {"P2", "Gzip."},
                                    {"P3", "Bzip2."},
                                    {"P4", "Compress."},
                                    {"P5", "Gzip in two parts."},
                                    {"P6", "Compress in two parts."}};
const QStringList ARCHIVES{"P1.tar", "P2.tar.gz", "P3.tar.bz2", "P4.tar.Z", "P5.gz", "P6.Z"};

QByteArray contentOf(const QString& fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : "cannot read " + fileName.toUtf8();
}

void runHelper(const QString& program, const QStringList& arguments)
{
    QProcess process;
    process.start(program, arguments);
    const bool succeeded =
        process.waitForFinished() && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!succeeded) {
        qFatal("%s failed: %s %s", qUtf8Printable(program), qUtf8Printable(process.errorString()),
               process.readAllStandardError().constData());
    }
}

// Every entry below a directory with its mode and a hash of what is in it.
QStringList listingOf(const QString& directory)
{
    QStringList lines;
    const QDir::Filters filters = QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot;
    QDirIterator walk(directory, filters, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QFileInfo entry(walk.next());
        const QString name = QDir(directory).relativeFilePath(entry.filePath());
        const QByteArray content = entry.isDir() ? QByteArray("directory") : contentOf(entry.filePath());
        const QByteArray hash = QCryptographicHash::hash(content, QCryptographicHash::Sha1).toHex();
        lines << QString("%1 %2 %3").arg(name).arg(int(entry.permissions()), 0, 16).arg(QString::fromLatin1(hash));
    }
    lines.sort();
    return lines;
}

// Why a program at this path cannot be started, in Qt's words.
QByteArray startErrorOf(const QString& program)
{
    QProcess process;
    process.start(program, QStringList());
    process.waitForStarted();
    return process.errorString().toUtf8();
}

QByteArray archiverSays(const QString& archive)
{
    QProcess process;
    process.start(QString::fromUtf8(ARCHIVER), {"-xvPf", archive});
    process.waitForFinished();
    return process.readAllStandardError();
}

// A plain archive with the mark of P1 and a longer file, which does not compress to nothing.
QByteArray twoMembers(const FakeInstallation& installation)
{
    QByteArray content;
    for (int i = 0; i < 3000; ++i) {
        content += QByteArray::number(i * 7919 % 10007) + '\n';
    }
    const QByteArray first = archiveOf(installation.path("patched/P1"), "text");
    const int end = 1024; // of the first archive; with it, the second would not be read
    return first.left(first.size() - end) + archiveOf(installation.path("lib/one.txt"), content);
}

// What an installed archive adds to the output.
QByteArray installing(const QByteArray& file, const QList<QByteArray>& members)
{
    QByteArray text;
    for (const QByteArray& member : members) {
        text += "x /opt/tavrin/5.9/" + member + '\n';
    }
    return text + (members.isEmpty() ? "" : "\n") + " ** installed " + file + "\n\n";
}

QByteArray downloadedAll()
{
    QByteArray text;
    for (const QString& archive : ARCHIVES) {
        text += "Downloaded " + archive.toUtf8() + '\n';
    }
    return text;
}

QByteArray installingAll()
{
    return installing("P1.tar", {"lib/one.txt", "patched/P1"}) +
           installing("P2.tar", {"data/pf/two.pf", "include/two.h", "patched/P2"}) +
           installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + installing("P4.tar", {"lib/one.txt", "patched/P4"}) +
           installing("P5.gz", {"man/man1/five.1", "patched/P5"}) +
           installing("P6.Z", {"lib/sub/six.txt", "patched/P6"});
}

// The sample installation and patch source, made by their makers.
class Sample
{
public:
    explicit Sample(const QStringList& patched = {})
    {
        QStringList arguments;
        for (const QString& name : patched) {
            arguments << "--patched" << name;
        }
        runHelper(projectSourceDir() + "/demo/make_installation", arguments << RELEASE_DIRECTORY);
        writeTestFile(folder.filePath("description"), DESCRIPTION);
        runHelper(projectSourceDir() + "/demo/make_patch_source", {folder.filePath("description"), sourcePath()});
    }

    ~Sample()
    {
        runHelper("rm", {"-r", RELEASE_DIRECTORY});
    }

    Sample(const Sample&) = delete;
    Sample& operator=(const Sample&) = delete;

    QString sourcePath() const
    {
        return folder.filePath("source");
    }

    // Answers for the page and the archives below /5.9/, the archives one after the other.
    void serve(FakePatchServer& server) const
    {
        server.answer("/5.9/", Answer::file(sourcePath() + "/index.html"));
        QByteArray before;
        for (const QString& archive : ARCHIVES) {
            Answer answer = Answer::file(sourcePath() + '/' + archive);
            const QByteArray path = "/5.9/" + archive.toUtf8();
            server.answer(path, before.isEmpty() ? answer : answer.after(before));
            before = path;
        }
    }

    // What the installation has to be like after all archives, worked out on a copy with other means.
    QStringList expectedListing() const
    {
        const QString root = folder.filePath("expected/opt/tavrin/5.9");
        runHelper("mkdir", {"-p", QFileInfo(root).path()});
        runHelper("cp", {"-a", RELEASE_DIRECTORY, root});
        for (const QString& archive : ARCHIVES) {
            const QString source = sourcePath() + '/' + archive;
            const QString kept = root + "/patches/" + archive;
            runHelper("bsdtar", {"-xf", source, "-C", folder.filePath("expected")}); // leaves the leading slash out
            runHelper("cp", {source, kept});
            if (archive.contains(".tar.") && !archive.endsWith(".bz2")) {
                runHelper("gunzip", {kept});
            }
        }
        runHelper("perl", {root + "/bin/ozna_installed_patches"});
        const QStringList listing = listingOf(root);
        runHelper("rm", {"-r", folder.filePath("expected")});
        return listing;
    }

private:
    QTemporaryDir folder;
};

// A small file system on a directory, as long as this object lives.
class SmallDisk
{
public:
    SmallDisk(const QString& directory, qint64 size) : path(directory)
    {
        QString error;
        if (!mountTmpfs(path, size, &error)) {
            qFatal("%s", qUtf8Printable(error));
        }
    }

    ~SmallDisk()
    {
        QString error;
        if (!unmount(path, &error)) {
            qFatal("%s", qUtf8Printable(error));
        }
    }

    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

private:
    QString path;
};

// The output up to the download for a list of patches P1, P2 ... that are all described as "text".
QByteArray untilDownload(int count, const QByteArray& answer = "\n")
{
    QList<UnappliedPatch> patches;
    for (int i = 1; i <= count; ++i) {
        patches.append({QString("P%1").arg(i), "text"});
    }
    return reportOf("5.9", patches) + CHECK + QUESTION + answer + DOWNLOAD;
}

} // namespace

class TstInstall : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void everyKindOfArchiveIsInstalled_data();
    void everyKindOfArchiveIsInstalled();
    void secondRunFindsNothingNew();
    void verboseRunShowsEveryCommand();
    void onlyTheMissingPatchesAreFetched();
    void refusalLeavesEverythingAsItIs();
    void dryRunChangesNothing_data();
    void dryRunChangesNothing();
    void unknownKindsAreKeptUnopened();
    void trialPatchIsNotFoundUnderItsArchiveName();
    void encodedNameIsStoredDecodedAndNotFound();
    void nameWithABlankIsInstalled();
    void sameFileTwiceIsInstalledTwice();
    void downloadsThatFinishInReverseAreInstalledInOrder();
    void archiveThatTheServerCallsEncodedIsInstalled();
    void moreLocalPatchesThanFilesMayBeOpenAreInstalled();

    void failedDownloadEndsTheRun_data();
    void failedDownloadEndsTheRun();
    void missingLocalArchiveEndsTheRun();
    void corruptedArchiveEndsTheRun_data();
    void corruptedArchiveEndsTheRun();
    void corruptedMiddleOfAPlainArchiveIsOnlyListed();
    void missingPatchesDirectoryEndsTheRun();
    void unwritablePatchesDirectoryEndsTheRun();
    void diskThatFillsUpWhileDownloadingEndsTheRun();
    void diskThatIsFullBeforeDownloadingEndsTheRun();
    void diskThatFillsUpWhileUnpackingEndsTheRun();

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

void TstInstall::init()
{
    guard.reset(new MessageGuard);
}

void TstInstall::cleanup()
{
    const QString complaint = guard->complaint();
    guard.reset();
    QCOMPARE(complaint, QString());
}

void TstInstall::everyKindOfArchiveIsInstalled_data()
{
    QTest::addColumn<bool>("local");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<bool>("withInput");
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QByteArray>("dialogue");
    const QByteArray again = "Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.\n";
    for (const bool local : {false, true}) {
        const QByteArray source = local ? "local source, " : "server, ";
        QTest::newRow(source + "yes") << local << QStringList() << true << QByteArray("y\n") << QUESTION + "\n";
        QTest::newRow(source + "end of the input") << local << QStringList() << true << QByteArray() << QUESTION;
        QTest::newRow(source + "no input at all") << local << QStringList() << false << QByteArray() << QUESTION;
        QTest::newRow(source + "no question")
            << local << QStringList{"-Q"} << true << QByteArray("n\n") << QByteArray();
    }
    QTest::newRow("server, yes after other answers")
        << false << QStringList() << true << QByteArray("maybe\n\n Y\nYes\nn\n") << QUESTION + again.repeated(3) + "\n";
}

void TstInstall::everyKindOfArchiveIsInstalled()
{
    QFETCH(bool, local);
    QFETCH(QStringList, options);
    QFETCH(bool, withInput);
    QFETCH(QByteArray, input);
    QFETCH(QByteArray, dialogue);
    const Sample sample;
    const QStringList expected = sample.expectedListing();
    FakePatchServer server;
    sample.serve(server);
    const QString url = local ? "file://" + sample.sourcePath() : server.url("/5.9");
    Program program;
    program.tavrin(RELEASE_DIRECTORY).input(input);
    if (!withInput) {
        program.closedInput();
    }
    compareRun(program.run(QStringList{"-t"} + options + QStringList{url}), 0,
               reportOf("5.9", PATCHES) + CHECK + dialogue + DOWNLOAD + downloadedAll() + APPLY + installingAll() +
                   FINISH);
    QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
    QCOMPARE(contentOf(RELEASE_DIRECTORY + "/lib/one.txt"), QByteArray("one, mended by P4\n"));
    QCOMPARE(contentOf(RELEASE_DIRECTORY + "/lib/sub/six.txt"), QByteArray("six\n"));
    QCOMPARE(QDir(RELEASE_DIRECTORY + "/patches").entryList(QDir::Files),
             (QStringList{"P1.tar", "P2.tar", "P3.tar.bz2", "P4.tar", "P5.gz", "P6.Z"}));
    QCOMPARE(server.requestedPaths().size(), local ? 0 : 7);
    QCOMPARE(QDir(program.home()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).filter(".tar"), QStringList());
}

void TstInstall::secondRunFindsNothingNew()
{
    const Sample sample;
    Program program;
    program.tavrin(RELEASE_DIRECTORY).input("y\n");
    const QString url = "file://" + sample.sourcePath();
    QCOMPARE(program.run({"-t", url}).status, 0);
    const QStringList before = listingOf(RELEASE_DIRECTORY);
    compareRun(program.run({"-t", url}), 0, reportOf("5.9"));
    compareRun(program.run({"-t", "-n", url}), 0, reportOf("5.9"));
    compareRun(program.run({"-t", "-L", url}), 0,
               headerLine("5.9") + "   P1\n   P2\n   P3\n   P4\n   P5\n   P6\n\nNo new patches\n");
    QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
}

void TstInstall::verboseRunShowsEveryCommand()
{
    const Sample sample({"P1", "P4", "P6"});
    Program program;
    const ProgramRun run =
        program.tavrin(RELEASE_DIRECTORY).input("y\n").run({"-t", "-v", "file://" + sample.sourcePath()});
    const QByteArray patches = "/opt/tavrin/5.9/patches/";
    const QByteArray execute = "Executing system command: ";
    compareRun(run, 0,
               reportOf("5.9", {PATCHES.at(1), PATCHES.at(2), PATCHES.at(4)}) + CHECK + QUESTION + "\n" + DOWNLOAD +
                   "Downloaded P2.tar.gz\nDownloaded P3.tar.bz2\nDownloaded P5.gz\n" + APPLY + execute + "gunzip " +
                   patches + "P2.tar.gz\n" + execute + ARCHIVER + " -xvPf " + patches + "P2.tar\n" +
                   installing("P2.tar", {"data/pf/two.pf", "include/two.h", "patched/P2"}) + execute + "gunzip " +
                   patches + "P3.tar.bz2\n" + "gzip: " + patches +
                   "P3.tar.bz2: unknown suffix -- ignored\n\nContinuing...\n" + execute + ARCHIVER + " -xvPf " +
                   patches + "P3.tar.bz2\n" + installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + execute +
                   ARCHIVER + " -xvPf " + patches + "P5.gz\n" + installing("P5.gz", {"man/man1/five.1", "patched/P5"}) +
                   PAGE + execute +
                   "perl /opt/tavrin/5.9/bin/ozna_installed_patches -v\n"
                   "applied_patches.html updated\n\nYou may restart systems now\n");
}

void TstInstall::onlyTheMissingPatchesAreFetched()
{
    const Sample sample({"P1", "P2", "P4", "P5", "P6"});
    FakePatchServer server;
    server.answer("/5.9/", Answer::file(sample.sourcePath() + "/index.html"));
    server.answer("/5.9/P3.tar.bz2", Answer::file(sample.sourcePath() + "/P3.tar.bz2"));
    Program program;
    compareRun(program.tavrin(RELEASE_DIRECTORY).input("y\n").run({"-t", server.url("/5.9/")}), 0,
               reportOf("5.9", {PATCHES.at(2)}) + CHECK + QUESTION + "\n" + DOWNLOAD + "Downloaded P3.tar.bz2\n" +
                   APPLY + installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + FINISH);
    QCOMPARE(server.requestedPaths(), (QList<QByteArray>{"/5.9/", "/5.9/P3.tar.bz2"}));
    QVERIFY(!QFileInfo::exists(RELEASE_DIRECTORY + "/lib/one.txt"));
}

void TstInstall::refusalLeavesEverythingAsItIs()
{
    const Sample sample;
    const QStringList before = listingOf(RELEASE_DIRECTORY);
    FakePatchServer server;
    sample.serve(server);
    Program program;
    compareRun(program.tavrin(RELEASE_DIRECTORY).input("No\n").run({"-t", server.url("/5.9/")}), 0,
               reportOf("5.9", PATCHES) + CHECK + QUESTION + "\nExiting\n");
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
    QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
}

void TstInstall::dryRunChangesNothing_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("alone") << QStringList{"-n"};
    QTest::newRow("verbose") << QStringList{"-n", "-v"};
    QTest::newRow("beside running systems") << QStringList{"-n", "-Q"};
}

void TstInstall::dryRunChangesNothing()
{
    QFETCH(QStringList, options);
    const Sample sample({"P2"});
    const QStringList before = listingOf(RELEASE_DIRECTORY);
    FakePatchServer server;
    sample.serve(server);
    QList<UnappliedPatch> missing = PATCHES;
    missing.removeAt(1);
    Program program;
    compareRun(program.tavrin(RELEASE_DIRECTORY).run(QStringList{"-t"} + options + QStringList{server.url("/5.9/")}), 0,
               reportOf("5.9", missing) + "Steps that would be taken are:\n\n" + CHECK +
                   "Download and install patch files ...\n" + PAGE + "\nYou may restart systems now\n");
    QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
    QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
}

void TstInstall::unknownKindsAreKeptUnopened()
{
    FakeInstallation installation;
    installation.withTools();
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tgz").entry("P2", "2 May", "text", "P2.zip"));
    source.withFile("P1.tgz", archiveOf(installation.path("patched/P1"), "text")).withFile("P2.zip", "PK");
    Program program;
    program.tavrin(installation.path()).input("y\n");
    compareRun(program.run({"-t", source.url()}), 0,
               untilDownload(2) + "Downloaded P1.tgz\nDownloaded P2.zip\n" + APPLY + installing("P1.tgz", {}) +
                   installing("P2.zip", {}) + FINISH);
    QCOMPARE(contentOf(installation.path("patches/P2.zip")), QByteArray("PK"));
    QCOMPARE(QDir(installation.path("patched")).entryList(QDir::Files), QStringList());
    // Nothing was unpacked, so nothing is applied as far as the next run can see.
    compareRun(program.run({"-t", "-L", source.url()}), 0, headerLine("5.9") + "*  P1\n*  P2\n\n");
}

void TstInstall::trialPatchIsNotFoundUnderItsArchiveName()
{
    FakeInstallation installation;
    installation.withTools();
    LocalSource source(PatchPage().entry("TrialPatch-7", "1 May", "text", "TrialPatch-7.tar"));
    source.withFile("TrialPatch-7.tar", archiveOf(installation.path("patched/TrialPatch"), "text"));
    Program program;
    program.tavrin(installation.path()).input("y\n");
    compareRun(program.run({"-t", source.url()}), 0,
               reportOf("5.9", {{"TrialPatch", "text"}}) + CHECK + QUESTION + "\n" + DOWNLOAD +
                   "Downloaded TrialPatch-7.tar\n" + APPLY + "x /opt/tavrin/5.9/patched/TrialPatch\n\n" +
                   "Internal error: Failed to mark update TrialPatch-7.tar applied." +
                   installing("TrialPatch-7.tar", {}) + FINISH);
    compareRun(program.run({"-t", source.url()}), 0, reportOf("5.9"));
}

void TstInstall::encodedNameIsStoredDecodedAndNotFound()
{
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P1%20a.tar").html()));
    server.answer("/5.9/P1%20a.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 0,
               untilDownload(1) + "Downloaded P1 a.tar\n" + APPLY +
                   "Internal error: Failed to mark update P1%20a.tar applied." + installing("P1%20a.tar", {}) + FINISH);
    QCOMPARE(QDir(installation.path("patches")).entryList(QDir::Files), QStringList{"P1 a.tar"});
    QVERIFY(!QFileInfo::exists(installation.path("patched/P1")));
}

void TstInstall::nameWithABlankIsInstalled()
{
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P1 \xc3\xa9.x.tar").html()));
    server.answer("/5.9/P1%20%C3%A9.x.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 0,
               untilDownload(1) + "Downloaded P1 \xc3\xa9.x.tar\n" + APPLY + "x /opt/tavrin/5.9/patched/P1\n\n" +
                   "Internal error: Failed to mark update P1 \xc3\xa9.x.tar applied." +
                   installing("P1 \xc3\xa9.x.tar", {}) + FINISH);
    QCOMPARE(contentOf(installation.path("patched/P1")), QByteArray("text"));
}

void TstInstall::sameFileTwiceIsInstalledTwice()
{
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    server.answer(
        "/5.9/",
        Answer::body(PatchPage().entry("P1", "1 May", "text", "P1.tar").entry("P2", "2 May", "text", "P1.tar").html()));
    server.answer("/5.9/P1.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 0,
               untilDownload(2) + "Downloaded P1.tar\nDownloaded P1.tar\n" + APPLY +
                   installing("P1.tar", {"patched/P1"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
    QCOMPARE(server.requestedPaths().count("/5.9/P1.tar"), 2);
}

void TstInstall::downloadsThatFinishInReverseAreInstalledInOrder()
{
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    PatchPage page;
    for (int i = 1; i <= 4; ++i) {
        const QString name = QString("P%1").arg(i);
        page.entry(name, "1 May", "text", name + ".tar");
        Answer answer = Answer::body(archiveOf(installation.path("patched/" + name), "text"));
        server.answer("/5.9/" + name.toUtf8() + ".tar",
                      i == 4 ? answer : answer.after("/5.9/P" + QByteArray::number(i + 1) + ".tar"));
    }
    server.answer("/5.9/", Answer::body(page.html()));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 0,
               untilDownload(4) + "Downloaded P4.tar\nDownloaded P3.tar\nDownloaded P2.tar\nDownloaded P1.tar\n" +
                   APPLY + installing("P1.tar", {"patched/P1"}) + installing("P2.tar", {"patched/P2"}) +
                   installing("P3.tar", {"patched/P3"}) + installing("P4.tar", {"patched/P4"}) + FINISH);
}

// Many a server announces a compressed archive as an encoded plain one, and Qt decodes it while it comes in.
void TstInstall::archiveThatTheServerCallsEncodedIsInstalled()
{
    const Sample sample({"P1", "P3", "P4", "P5", "P6"});
    FakePatchServer server;
    server.answer("/5.9/", Answer::file(sample.sourcePath() + "/index.html"));
    server.answer("/5.9/P2.tar.gz",
                  Answer::file(sample.sourcePath() + "/P2.tar.gz").header("Content-Encoding", "gzip"));
    Program program;
    compareRun(program.tavrin(RELEASE_DIRECTORY).input("y\n").run({"-t", server.url("/5.9/")}), 0,
               reportOf("5.9", {PATCHES.at(1)}) + CHECK + QUESTION + "\n" + DOWNLOAD + "Downloaded P2.tar.gz\n" +
                   APPLY + installing("P2.tar.gz", {"data/pf/two.pf", "include/two.h", "patched/P2"}) + FINISH);
    QCOMPARE(contentOf(RELEASE_DIRECTORY + "/data/pf/two.pf"), QByteArray("1 blue\n2 red\n"));
}

void TstInstall::moreLocalPatchesThanFilesMayBeOpenAreInstalled()
{
    const int count = 100;
    PatchPage page;
    for (int i = 1; i <= count; ++i) {
        page.entry(QString("P%1").arg(i), "1 May", "text", QString("P%1.dat").arg(i));
    }
    LocalSource source(page);
    for (int i = 1; i <= count; ++i) {
        source.withFile(QString("P%1.dat").arg(i), QByteArray::number(i));
    }
    FakeInstallation installation;
    installation.withTools();
    Program program("/bin/sh");
    const ProgramRun run = program.tavrin(installation.path())
                               .input("y\n")
                               .run({"-c", "ulimit -Sn 50; exec \"$0\" \"$@\"", programPath(), "-t", source.url()});
    QCOMPARE(run.errors, QByteArray());
    QCOMPARE(run.status, 0);
    for (int i = 1; i <= count; ++i) {
        QCOMPARE(contentOf(installation.path(QString("patches/P%1.dat").arg(i))), QByteArray::number(i));
    }
}

void TstInstall::failedDownloadEndsTheRun_data()
{
    QTest::addColumn<Answer>("answer");
    QTest::addColumn<QByteArray>("errors"); // %1 is the address
    QTest::addColumn<QStringList>("stored");
    const QByteArray failed = "Download of %1 failed: ";
    const QByteArray body = archiveOf("/opt/tavrin/5.9/patched/P2", QByteArray(5000, 'x'));
    const QStringList first{"P1.tar"};
    QTest::newRow("not found") << Answer::status(404) << failed + "Error transferring %1 - server replied: As told\n\n"
                               << first;
    QTest::newRow("server error") << Answer::status(500, "sorry")
                                  << failed + "Error transferring %1 - server replied: As told\n\n"
                                  << first;
    QTest::newRow("redirected") << Answer::redirect(302, "/5.9/P1.tar")
                                << QByteArray("Download request was redirected.\n\n") << first;
    QTest::newRow("hangs up") << Answer::hangUp() << failed + "Connection closed\n\n" << first;
    QTest::newRow("stops in the middle") << Answer::body(body).cutAfter(3000) << failed + "Connection closed\n\n"
                                         << first;
    QTest::newRow("stops before the end")
        << Answer::body(body).cutAfter(body.size() - 1) << failed + "Connection closed\n\n"
        << first;
    QTest::newRow("sends nothing") << Answer::body("")
                                   << QByteArray("No data downloaded for patch file, /opt/tavrin/5.9/patches/P2.tar\n")
                                   << QStringList{"P1.tar", "P2.tar"};
    QTest::newRow("no content") << Answer::status(204)
                                << QByteArray("No data downloaded for patch file, "
                                              "/opt/tavrin/5.9/patches/P2.tar\n")
                                << QStringList{"P1.tar", "P2.tar"};
}

void TstInstall::failedDownloadEndsTheRun()
{
    QFETCH(Answer, answer);
    QFETCH(QByteArray, errors);
    QFETCH(QStringList, stored);
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    PatchPage page;
    for (const char* name : {"P1", "P2", "P3"}) {
        page.entry(name, "1 May", "text", QString(name) + ".tar");
    }
    server.answer("/5.9/", Answer::body(page.html()));
    const QByteArray archive = archiveOf(installation.path("patched/P1"), "text");
    server.answer("/5.9/P1.tar", Answer::body(archive));
    server.answer("/5.9/P2.tar", answer.after("/5.9/P1.tar"));
    server.answer("/5.9/P3.tar", Answer::body(archive).held());
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 1,
               untilDownload(3) + "Downloaded P1.tar\n", errors.replace("%1", server.url("/5.9/P2.tar").toUtf8()));
    QCOMPARE(QDir(installation.path("patches")).entryList(QDir::Files), stored);
    QCOMPARE(contentOf(installation.path("patches/P1.tar")), archive);
    QCOMPARE(QFileInfo(installation.path("patches/P2.tar")).size(), qint64(0));
    // Nothing is unpacked before everything is there.
    QCOMPARE(QDir(installation.path("patched")).entryList(QDir::Files), QStringList());
    QVERIFY(!QFileInfo::exists(installation.path("applied_patches.html")));
}

void TstInstall::missingLocalArchiveEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools();
    const LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    const QStringList before = installation.tree();
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", source.url()}), 1, untilDownload(1),
               "Download of " + source.url().toUtf8() + "P1.tar failed: Error opening " + source.path().toUtf8() +
                   "/P1.tar: No such file or directory\n\n");
    QCOMPARE(installation.tree(), before);
}

void TstInstall::corruptedArchiveEndsTheRun_data()
{
    QTest::addColumn<QString>("tool"); // empty for an archive that is not compressed
    QTest::addColumn<QString>("suffix");
    QTest::addColumn<QString>("where");
    const QList<QPair<QString, QString>> kinds{{"gzip", ".tar.gz"}, {"bzip2", ".tar.bz2"}, {"compress", ".tar.Z"}};
    for (const auto& kind : kinds) {
        for (const char* where : {"head", "middle", "end"}) {
            QTest::newRow(qPrintable(kind.second + ' ' + where)) << kind.first << kind.second << QString(where);
        }
    }
    // The middle of a plain one is another matter: see corruptedMiddleOfAPlainArchiveIsOnlyListed().
    QTest::newRow(".tar head") << QString() << ".tar" << QString("head");
    QTest::newRow(".tar end") << QString() << ".tar" << QString("end");
}

void TstInstall::corruptedArchiveEndsTheRun()
{
    QFETCH(QString, tool);
    QFETCH(QString, suffix);
    QFETCH(QString, where);
    FakeInstallation installation;
    installation.withTools();
    QByteArray bytes = twoMembers(installation);
    if (!tool.isEmpty()) {
        const QTemporaryDir folder;
        writeTestFile(folder.filePath("archive"), bytes);
        QProcess process;
        process.setStandardInputFile(folder.filePath("archive"));
        process.start(tool, {"-c"});
        QVERIFY(process.waitForFinished());
        bytes = process.readAllStandardOutput();
        QVERIFY(bytes.size() > 1000);
    }
    if (where == "head") {
        bytes.replace(0, 300, QByteArray(300, '\xff'));
    } else if (where == "middle") {
        bytes.replace(bytes.size() / 2, 200, QByteArray(200, '\xff'));
    } else {
        bytes.truncate(bytes.size() * 7 / 8);
    }
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1" + suffix).entry("P2", "2 May", "text", "P2.tar"));
    source.withFile("P1" + suffix, bytes).withFile("P2.tar", archiveOf(installation.path("patched/P2"), "text"));
    Program program;
    const ProgramRun run = program.tavrin(installation.path()).input("y\n").run({"-t", source.url()});
    const QStringList left = QDir(installation.path("patches")).entryList(QDir::Files);
    QCOMPARE(left.size(), 2);
    const QByteArray said = archiverSays(installation.path("patches/" + left.first()));
    QVERIFY2(said.contains("bsdtar: "), said);
    compareRun(run, 1, untilDownload(2) + "Downloaded P1" + suffix.toUtf8() + "\nDownloaded P2.tar\n" + APPLY,
               said + '\n');
    QVERIFY(!QFileInfo::exists(installation.path("patched/P2")));
    QVERIFY(!QFileInfo::exists(installation.path("applied_patches.html")));
}

// The archive tool skips what it cannot read between two members, complains in its listing and is content.
void TstInstall::corruptedMiddleOfAPlainArchiveIsOnlyListed()
{
    FakeInstallation installation;
    installation.withTools();
    QByteArray bytes = twoMembers(installation);
    bytes.replace(1024, 300, QByteArray(300, '\xff')); // in the second header
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    source.withFile("P1.tar", bytes);
    Program program;
    const ProgramRun run = program.tavrin(installation.path()).input("y\n").run({"-t", source.url()});
    const QByteArray said = archiverSays(installation.path("patches/P1.tar"));
    QVERIFY2(said.contains("Damaged"), said);
    compareRun(run, 0,
               untilDownload(1) + "Downloaded P1.tar\n" + APPLY + said + '\n' + installing("P1.tar", {}) + FINISH);
    QCOMPARE(contentOf(installation.path("patched/P1")), QByteArray("text"));
    QVERIFY(!QFileInfo::exists(installation.path("lib/one.txt")));
}

void TstInstall::missingPatchesDirectoryEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P1.tar").html()));
    server.answer("/5.9/P1.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")).held());
    Program program;
    const auto session = program.tavrin(installation.path()).start({"-t", "-Q", server.url("/5.9/")});
    QTRY_COMPARE(server.requestedPaths().size(), 2);
    installation.without("patches");
    const QStringList before = installation.tree();
    server.release("/5.9/P1.tar");
    compareRun(session->finish(), 1, reportOf("5.9", {{"P1", "text"}}) + CHECK + DOWNLOAD,
               "Failed to access patch download directory, /opt/tavrin/5.9/patches.\n");
    QCOMPARE(installation.tree(), before);
}

void TstInstall::unwritablePatchesDirectoryEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools();
    FakePatchServer server;
    server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P1.tar").html()));
    server.answer("/5.9/P1.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")).held());
    Program program;
    const auto session = program.tavrin(installation.path()).start({"-t", "-Q", server.url("/5.9/")});
    QTRY_COMPARE(server.requestedPaths().size(), 2);
    installation.withMode("patches", 0555);
    const QStringList before = installation.tree();
    server.release("/5.9/P1.tar");
    compareRun(session->finish(), 1, reportOf("5.9", {{"P1", "text"}}) + CHECK + DOWNLOAD,
               "Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar\n");
    QCOMPARE(installation.tree(), before);
}

void TstInstall::diskThatFillsUpWhileDownloadingEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools();
    const SmallDisk disk(installation.path("patches"), 64 << 10);
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    source.withFile("P1.tar", archiveOf(installation.path("lib/big.txt"), QByteArray(200 << 10, 'x')));
    Program program;
    const ProgramRun run = program.tavrin(installation.path()).input("y\n").run({"-t", source.url()});
    const qint64 stored = QFileInfo(installation.path("patches/P1.tar")).size();
    QVERIFY2(stored > 0 && stored <= 64 << 10, qPrintable(QString::number(stored)));
    const QByteArray said = archiverSays(installation.path("patches/P1.tar"));
    QVERIFY2(said.contains("runcated"), said);
    compareRun(run, 1, untilDownload(1) + "Downloaded P1.tar\n" + APPLY, said + '\n');
    QVERIFY(!QFileInfo::exists(installation.path("applied_patches.html")));
}

void TstInstall::diskThatIsFullBeforeDownloadingEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools();
    const SmallDisk disk(installation.path("patches"), 64 << 10);
    installation.withFile("patches/older", QByteArray(64 << 10, 'x'));
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    source.withFile("P1.tar", archiveOf(installation.path("patched/P1"), "text"));
    Program program;
    compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", source.url()}), 1, untilDownload(1),
               "No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar\n");
    QCOMPARE(QFileInfo(installation.path("patches/older")).size(), qint64(64 << 10));
    QVERIFY(!QFileInfo::exists(installation.path("patched/P1")));
}

void TstInstall::diskThatFillsUpWhileUnpackingEndsTheRun()
{
    FakeInstallation installation;
    installation.withTools();
    const SmallDisk disk(installation.path("lib"), 64 << 10);
    LocalSource source(PatchPage().entry("P1", "1 May", "text", "P1.tar"));
    const QByteArray archive = archiveOf(installation.path("lib/big.txt"), QByteArray(200 << 10, 'x'));
    source.withFile("P1.tar", archive);
    Program program;
    const ProgramRun run = program.tavrin(installation.path()).input("y\n").run({"-t", source.url()});
    QCOMPARE(contentOf(installation.path("patches/P1.tar")), archive);
    const QByteArray said = archiverSays(installation.path("patches/P1.tar"));
    QVERIFY2(said.contains("big.txt: "), said);
    compareRun(run, 1, untilDownload(1) + "Downloaded P1.tar\n" + APPLY, said + '\n');
    QVERIFY(contentOf(installation.path("lib/big.txt")) != QByteArray(200 << 10, 'x'));
    QVERIFY(!QFileInfo::exists(installation.path("applied_patches.html")));
}

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

    QStringList calls() const
    {
        QStringList lines;
        const QList<FakeToolCall> recorded = tools.calls();
        for (const FakeToolCall& call : recorded) {
            lines << call.tool + ' ' + QString::fromUtf8(call.arguments.join(' '));
        }
        return lines;
    }

    QString name;
    FakeInstallation installation;
    FakeTools tools;
    LocalSource source;
};

const QString UNPACK = QStringLiteral("bsdtar -xvPf /opt/tavrin/5.9/patches/");
const QString WRITE_PAGE = QStringLiteral("perl /opt/tavrin/5.9/bin/ozna_installed_patches");

} // namespace

void TstInstall::missingArchiverEndsTheRun()
{
    Workshop workshop;
    workshop.installation.without("bin/bsdtar");
    compareRun(workshop.run(), 1, workshop.untilUnpacking(),
               "System command '/opt/tavrin/5.9/bin/bsdtar' failed:\n  " +
                   startErrorOf(workshop.installation.path("bin/bsdtar")) + '\n');
    QCOMPARE(workshop.calls(), QStringList());
    QCOMPARE(contentOf(workshop.installation.path("patches/P1.tar")), QByteArray("an archive"));
}

void TstInstall::archiverMayTalk_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QByteArray>("shown");
    QTest::newRow("silence") << QByteArray() << QByteArray() << QByteArray();
    QTest::newRow("standard output") << QByteArray("said") << QByteArray() << QByteArray("said\n");
    QTest::newRow("standard error") << QByteArray() << QByteArray("x one\n") << QByteArray("x one\n\n");
    QTest::newRow("both") << QByteArray("said\n") << QByteArray("x one\n") << QByteArray("x one\n\n");
}

void TstInstall::archiverMayTalk()
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
    QCOMPARE(workshop.calls(), (QStringList{UNPACK + "P1.tar", WRITE_PAGE}));
}

void TstInstall::failingArchiverEndsTheRun_data()
{
    QTest::addColumn<QByteArray>("output");
    QTest::addColumn<QByteArray>("errors");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("standard output") << QByteArray("broken") << QByteArray() << QByteArray("broken\n");
    QTest::newRow("standard error") << QByteArray() << QByteArray("x one\nbroken\n") << QByteArray("x one\nbroken\n\n");
    QTest::newRow("both") << QByteArray("said\n") << QByteArray("broken\n") << QByteArray("broken\n\n");
    QTest::newRow("beyond Latin-1") << QByteArray() << QByteArray("\xc3\xa9\xe2\x82\xac\n") << QByteArray("\xe9?\n\n");
}

void TstInstall::failingArchiverEndsTheRun()
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
    QCOMPARE(workshop.calls(), QStringList{UNPACK + "P1.tar"});
}

void TstInstall::missingDecompressorDoesNotMatter()
{
    Workshop workshop("P1.tar.gz");
    workshop.tools.remove("gunzip");
    compareRun(workshop.run(), 0, workshop.untilUnpacking() + installing("P1.tar.gz", {}) + FINISH);
    QCOMPARE(workshop.calls(), (QStringList{UNPACK + "P1.tar.gz", WRITE_PAGE}));
}

void TstInstall::decompressorIsHeardOnlyWhenVerbose_data()
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

void TstInstall::decompressorIsHeardOnlyWhenVerbose()
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
               workshop.untilUnpacking() + echo("gunzip " + file) + shown + echo(ARCHIVER + " -xvPf " + file) +
                   installing("P1.tar.gz", {}) + PAGE + echo("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v\n") +
                   "applied_patches.html updated\n\nYou may restart systems now\n");
}

void TstInstall::decompressorThatLosesTheFileEndsTheRun()
{
    Workshop workshop("P1.tar.gz");
    FakeTool losing;
    losing.script = "/bin/rm \"$1\"";
    workshop.tools.add("gunzip", losing);
    compareRun(workshop.run(), 1, workshop.untilUnpacking(), "Failed to decompress file P1.tar\n");
    QCOMPARE(workshop.calls(), QStringList{"gunzip /opt/tavrin/5.9/patches/P1.tar.gz"});
}

void TstInstall::failingPageScriptEndsTheRun_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("dies") << QByteArray("die \"no page today\\n\";") << QByteArray("no page today\n\n");
    QTest::newRow("complains on standard output")
        << QByteArray("print \"no page\"; exit 3;") << QByteArray("no page\n");
    QTest::newRow("kills itself") << QByteArray("print STDERR \"dying\\n\"; kill 'KILL', $$;")
                                  << QByteArray("dying\n\n");
}

void TstInstall::failingPageScriptEndsTheRun()
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

void TstInstall::missingPageScriptEndsTheRun()
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

void TstInstall::talkingPageScriptIsNotHeard()
{
    Workshop workshop;
    FakeTool talking;
    talking.output = "wrote it\n";
    talking.errors = "warning\n";
    workshop.tools.add("perl", talking);
    compareRun(workshop.run(), 0, workshop.untilUnpacking() + installing("P1.tar", {}) + FINISH);
    QCOMPARE(workshop.calls(), (QStringList{UNPACK + "P1.tar", WRITE_PAGE}));
}

void TstInstall::missingPerlEndsTheRun()
{
    Workshop workshop;
    workshop.tools.remove("perl");
    compareRun(workshop.run(), 1, workshop.untilUnpacking() + installing("P1.tar", {}) + PAGE,
               "System command 'perl' failed:\n  " + startErrorOf("/nowhere/perl") + '\n');
}

TAVRIN_TEST_MAIN(TstInstall)
#include "tst_install.moc"
