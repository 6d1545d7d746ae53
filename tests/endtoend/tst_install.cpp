// Whole installing runs in a terminal on the sample installation and patch source: what is printed, the status, and the
// installation afterwards, file by file. Odd names and orders are the subject of tst_install_names; runs that end early
// are in tst_install_failures and tst_install_tools.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "patch_source.h"
#include "program_run.h"
#include "sample_release.h"
#include "test.h"
#include "test_files.h"

#include <QDir>

#include <memory>

using Answer = FakePatchServer::Answer;

class TstInstall : public Test
{
    Q_OBJECT

private slots:
    void everyKindOfArchiveIsInstalled_data()
    {
        const Rows<bool, QStringList, bool, QByteArray, QByteArray> row("local", "options", "withInput", "input",
                                                                        "dialogue");
        const QByteArray again = "Please enter 'y' if you wish to proceed, or 'n' if you wish to quit.\n";
        for (const bool local : {false, true}) {
            const QByteArray source = local ? "local source, " : "server, ";
            row(source + "yes", local, {}, true, "y\n", QUESTION + "\n");
            row(source + "end of the input", local, {}, true, {}, QUESTION);
            row(source + "no input at all", local, {}, false, {}, QUESTION);
            row(source + "no question", local, {"-Q"}, true, "n\n", {});
        }
        row("server, yes after other answers", false, {}, true, "maybe\n\n Y\nYes\nn\n",
            QUESTION + again.repeated(3) + "\n");
    }

    void everyKindOfArchiveIsInstalled()
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
                   reportOf("5.9", PATCHES) + NO_CONFLICT + dialogue + DOWNLOAD + downloadedAll() + APPLY +
                       installingAll() + FINISH);
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
        QCOMPARE(contentOf(RELEASE_DIRECTORY + "/lib/one.txt"), QByteArray("one, mended by P4\n"));
        QCOMPARE(contentOf(RELEASE_DIRECTORY + "/lib/sub/six.txt"), QByteArray("six\n"));
        QCOMPARE(QDir(RELEASE_DIRECTORY + "/patches").entryList(QDir::Files),
                 (QStringList{"P1.tar", "P2.tar", "P3.tar.bz2", "P4.tar", "P5.gz", "P6.Z"}));
        QCOMPARE(server.requestedPaths().size(), local ? 0 : 7);
        QCOMPARE(QDir(program.home()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).filter(".tar"), QStringList());
    }

    void closedStreamsDoNotGetIntoTheFiles_data()
    {
        const Rows<QVector<int>> row("closed");
        row("input", {0});
        row("output", {1});
        row("errors", {2});
        row("input and output", {0, 1});
        row("input and errors", {0, 2});
        row("output and errors", {1, 2});
        row("all", {0, 1, 2});
    }

    // A stream that stays closed would lend its number to the next file or connection of the program.
    void closedStreamsDoNotGetIntoTheFiles()
    {
        QFETCH(QVector<int>, closed);
        const Sample sample;
        const QStringList expected = sample.expectedListing();
        FakePatchServer server;
        sample.serve(server);
        server.answer("/5.9/", Answer::file(sample.sourcePath() + "/index.html").held());
        Program program;
        const std::unique_ptr<ProgramSession> session =
            program.tavrin(RELEASE_DIRECTORY).closedStreams(closed).start({"-t", server.url("/5.9/")});
        QTRY_COMPARE(server.requestedPaths().size(), 1);
        for (const int descriptor : closed) {
            const QString link = QStringLiteral("/proc/%1/fd/%2").arg(session->processId()).arg(descriptor);
            QCOMPARE(QFile::symLinkTarget(link), QString("/dev/null"));
        }
        session->closeInput();
        server.release("/5.9/");
        const QByteArray output = reportOf("5.9", PATCHES) + NO_CONFLICT + QUESTION + DOWNLOAD + downloadedAll() +
                                  APPLY + installingAll() + FINISH;
        compareRun(session->finish(), 0, closed.contains(1) ? QByteArray() : output);
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
    }

    void secondRunFindsNothingNew()
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

    void verboseRunShowsEveryCommand()
    {
        const Sample sample({"P1", "P4", "P6"});
        Program program;
        const ProgramRun run =
            program.tavrin(RELEASE_DIRECTORY).input("y\n").run({"-t", "-v", "file://" + sample.sourcePath()});
        const QByteArray patches = "/opt/tavrin/5.9/patches/";
        const QByteArray archiver = "/opt/tavrin/5.9/bin/bsdtar";
        const QByteArray execute = "Executing system command: ";
        compareRun(run, 0,
                   reportOf("5.9", {PATCHES.at(1), PATCHES.at(2), PATCHES.at(4)}) + NO_CONFLICT + QUESTION + "\n" +
                       DOWNLOAD + "Downloaded P2.tar.gz\nDownloaded P3.tar.bz2\nDownloaded P5.gz\n" + APPLY + execute +
                       "gunzip " + patches + "P2.tar.gz\n" + execute + archiver + " -xvPf " + patches + "P2.tar\n" +
                       installing("P2.tar", {"data/pf/two.pf", "include/two.h", "patched/P2"}) + execute + "gunzip " +
                       patches + "P3.tar.bz2\n" + "gzip: " + patches +
                       "P3.tar.bz2: unknown suffix -- ignored\n\nContinuing...\n" + execute + archiver + " -xvPf " +
                       patches + "P3.tar.bz2\n" + installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + execute +
                       archiver + " -xvPf " + patches + "P5.gz\n" +
                       installing("P5.gz", {"man/man1/five.1", "patched/P5"}) + PAGE + execute +
                       "perl /opt/tavrin/5.9/bin/ozna_installed_patches -v\n" + PAGE_DONE);
    }

    void onlyTheMissingPatchesAreFetched()
    {
        const Sample sample({"P1", "P2", "P4", "P5", "P6"});
        FakePatchServer server;
        server.answer("/5.9/", Answer::file(sample.sourcePath() + "/index.html"));
        server.answer("/5.9/P3.tar.bz2", Answer::file(sample.sourcePath() + "/P3.tar.bz2"));
        Program program;
        compareRun(program.tavrin(RELEASE_DIRECTORY).input("y\n").run({"-t", server.url("/5.9/")}), 0,
                   reportOf("5.9", {PATCHES.at(2)}) + NO_CONFLICT + QUESTION + "\n" + DOWNLOAD +
                       "Downloaded P3.tar.bz2\n" + APPLY + installing("P3.tar.bz2", {"bin/three", "patched/P3"}) +
                       FINISH);
        QCOMPARE(server.requestedPaths(), (QList<QByteArray>{"/5.9/", "/5.9/P3.tar.bz2"}));
        QVERIFY(!QFileInfo::exists(RELEASE_DIRECTORY + "/lib/one.txt"));
    }

    void refusalLeavesEverythingAsItIs()
    {
        const Sample sample;
        const QStringList before = listingOf(RELEASE_DIRECTORY);
        FakePatchServer server;
        sample.serve(server);
        Program program;
        compareRun(program.tavrin(RELEASE_DIRECTORY).input("No\n").run({"-t", server.url("/5.9/")}), 0,
                   reportOf("5.9", PATCHES) + NO_CONFLICT + QUESTION + "\nExiting\n");
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
    }

    void dryRunChangesNothing_data()
    {
        const Rows<QStringList> row("options");
        row("alone", {"-n"});
        row("verbose", {"-n", "-v"});
        row("beside running systems", {"-n", "-Q"});
    }

    void dryRunChangesNothing()
    {
        QFETCH(QStringList, options);
        const Sample sample({"P2"});
        const QStringList before = listingOf(RELEASE_DIRECTORY);
        FakePatchServer server;
        sample.serve(server);
        QList<UnappliedPatch> missing = PATCHES;
        missing.removeAt(1);
        Program program;
        compareRun(
            program.tavrin(RELEASE_DIRECTORY).run(QStringList{"-t"} + options + QStringList{server.url("/5.9/")}), 0,
            reportOf("5.9", missing) + STEPS_HEADING + NO_CONFLICT + DRY_STEPS);
        QCOMPARE(server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
    }

    // Many a server announces a compressed archive as an encoded plain one, and Qt decodes it while it comes in.
    void archiveThatTheServerCallsEncodedIsInstalled()
    {
        const Sample sample({"P1", "P3", "P4", "P5", "P6"});
        FakePatchServer server;
        server.answer("/5.9/", Answer::file(sample.sourcePath() + "/index.html"));
        server.answer("/5.9/P2.tar.gz",
                      Answer::file(sample.sourcePath() + "/P2.tar.gz").header("Content-Encoding", "gzip"));
        Program program;
        compareRun(program.tavrin(RELEASE_DIRECTORY).input("y\n").run({"-t", server.url("/5.9/")}), 0,
                   reportOf("5.9", {PATCHES.at(1)}) + NO_CONFLICT + QUESTION + "\n" + DOWNLOAD +
                       "Downloaded P2.tar.gz\n" + APPLY +
                       installing("P2.tar.gz", {"data/pf/two.pf", "include/two.h", "patched/P2"}) + FINISH);
        QCOMPARE(contentOf(RELEASE_DIRECTORY + "/data/pf/two.pf"), QByteArray("1 blue\n2 red\n"));
    }

    // Servers that put their answers together from others send both, and the chunks count.
    void answersInChunksBelowTheirAnnouncedLengthAreWhole()
    {
        const auto inChunks = [](const QByteArray& content) {
            const QByteArray body = QByteArray::number(content.size(), 16) + "\r\n" + content + "\r\n0\r\n\r\n";
            return Answer::body(body).header("Transfer-Encoding", "Chunked"); // the server adds the length of all this
        };
        FakeInstallation installation;
        installation.withTools();
        FakePatchServer server;
        server.answer("/", inChunks(PatchPage().entry("P1", "1 May", "text", "P1.tar").html()));
        const QByteArray archive = archiveOf(installation.path("patched/P1"), "text");
        server.answer("/P1.tar", inChunks(archive));
        Program program;
        compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url()}), 0,
                   untilDownload(1) + "Downloaded P1.tar\n" + APPLY + installing("P1.tar", {"patched/P1"}) + FINISH);
        QCOMPARE(contentOf(installation.path("patches/P1.tar")), archive);
    }

    // Also where standard output is a file or a pipe, which would hold it back; what comes behind the check may be
    // held.
    void checkIsShownBesideARunningSystemBeforeTheDownloadsEnd()
    {
        const Sample sample({"P1", "P2", "P4", "P5", "P6"});
        FakePatchServer server;
        server.answer("/5.9/", Answer::file(sample.sourcePath() + "/index.html"));
        server.answer("/5.9/P3.tar.bz2", Answer::file(sample.sourcePath() + "/P3.tar.bz2").held());
        Program program;
        program.tavrin(RELEASE_DIRECTORY).runningSystems("5.9\tuser\t/home/user\t4711\n");
        const std::unique_ptr<ProgramSession> session = program.start({"-t", "-Q", server.url("/5.9/")});
        QTRY_COMPARE(server.requestedPaths().size(), 2);
        const QByteArray shown = reportOf("5.9", {PATCHES.at(2)}) + CHECK;
        QVERIFY(session->waitForOutput(shown));
        server.release("/5.9/P3.tar.bz2");
        compareRun(session->finish(), 0,
                   shown + "WARNING: A running Tavrin Real Time System of version '5.9' was detected.\n" +
                       "\n-Q option: continuing ...\n\n" + DOWNLOAD + "Downloaded P3.tar.bz2\n" + APPLY +
                       installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + FINISH);
    }
};

TAVRIN_TEST_MAIN(TstInstall)
#include "tst_install.moc"
