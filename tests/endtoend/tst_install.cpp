// Whole installing runs in a terminal on the sample installation and patch source: what is printed, the status, and the
// installation afterwards, file by file. Unusual names and orders are tested in tst_install_names, runs that end early
// in tst_install_failures and tst_install_tools.
#include "installable_release.h"
#include "long_wait.h"
#include "sample_release.h"
#include "test.h"
#include "test_files.h"

#include <QDir>

using Answer = FakePatchServer::Answer;

class TstInstall : public Test
{
    Q_OBJECT

private slots:
    void everyKindOfArchiveIsInstalled_data()
    {
        const Rows<bool, QStringList, bool, QByteArray, QByteArray> row("local", "options", "withInput", "input",
                                                                        "dialogue");
        for (const bool local : {false, true}) {
            const QByteArray source = local ? "local source, " : "server, ";
            row(source + "yes", local, {}, true, "y\n", QUESTION + "\n");
            row(source + "end of the input", local, {}, true, {}, QUESTION);
            row(source + "no input at all", local, {}, false, {}, QUESTION);
            row(source + "no question", local, {"-Q"}, true, "n\n", {});
        }
        row("server, yes after other answers", false, {}, true, "maybe\n\n Y\nYes\nn\n",
            QUESTION + QUESTION_AGAIN.repeated(3) + "\n");
    }

    void everyKindOfArchiveIsInstalled()
    {
        QFETCH(bool, local);
        QFETCH(QStringList, options);
        QFETCH(bool, withInput);
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, dialogue);
        SampleRelease sample;
        const QStringList expected = sample.expectedListing();
        const QString url = local ? sample.localUrl() : sample.server.url("/5.9");
        sample.program.input(input);
        if (!withInput) {
            sample.program.closedInput();
        }
        compareRun(sample.program.run(QStringList{"-t"} + options + QStringList{url}), 0,
                   sample.installingRun(dialogue));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
        QCOMPARE(contentOf(RELEASE_DIRECTORY + "/lib/one.txt"), QByteArray("one, corrected by P4\n"));
        QCOMPARE(contentOf(RELEASE_DIRECTORY + "/lib/sub/six.txt"), QByteArray("six\n"));
        QCOMPARE(QDir(RELEASE_DIRECTORY + "/patches").entryList(QDir::Files),
                 (QStringList{"P1.tar", "P2.tar", "P3.tar.bz2", "P4.tar", "P5.gz", "P6.Z"}));
        QCOMPARE(sample.server.requestedPaths().size(), local ? 0 : 7);
        const QDir home(sample.program.home());
        QCOMPARE(home.entryList(QDir::AllEntries | QDir::NoDotAndDotDot).filter(".tar"), QStringList());
    }

    void closedStreamsDoNotDamageTheFiles_data()
    {
        const Rows<QVector<int>> row("closed");
        row("none", {});
        row("input", {0});
        row("output", {1});
        row("errors", {2});
        row("input and output", {0, 1});
        row("input and errors", {0, 2});
        row("output and errors", {1, 2});
        row("all", {0, 1, 2});
    }

    // The next file or connection of the program would get the number of a closed stream.
    void closedStreamsDoNotDamageTheFiles()
    {
        QFETCH(QVector<int>, closed);
        SampleRelease sample;
        const QStringList expected = sample.expectedListing();
        sample.server.answer("/5.9/", Answer::file(sample.sourceFile("index.html")).held());
        sample.program.closedStreams(closed);
        const auto session = sample.start();
        QTRY_COMPARE_WITH_TIMEOUT(sample.server.requestedPaths().size(), 1, LONG_WAIT);
        const QString nullDevice = "/dev/null";
        QVector<int> occupied;
        for (int descriptor = 0; descriptor < 100; ++descriptor) {
            const QString link = QStringLiteral("/proc/%1/fd/") + QString::number(descriptor);
            const bool isInherited =
                descriptor > 2 && QFile::symLinkTarget(link.arg(QLatin1String("self"))) == nullDevice;
            if (QFile::symLinkTarget(link.arg(session->processId())) == nullDevice && !isInherited) {
                occupied << descriptor;
            }
        }
        QCOMPARE(occupied, closed);
        session->closeInput();
        sample.server.release("/5.9/");
        compareRun(session->finish(), 0, closed.contains(1) ? QByteArray() : sample.installingRun(QUESTION));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), expected);
    }

    void secondRunFindsNothingNew()
    {
        SampleRelease sample;
        const QString url = sample.localUrl();
        QCOMPARE(sample.program.run({"-t", url}).status, 0);
        const QStringList before = listingOf(RELEASE_DIRECTORY);
        compareRun(sample.program.run({"-t", url}), 0, reportOf("5.9"));
        compareRun(sample.program.run({"-t", "-n", url}), 0, reportOf("5.9"));
        compareRun(sample.program.run({"-t", "-L", url}), 0,
                   compactReportOf("5.9", {"P1", "P2", "P3", "P4", "P5", "P6"}, {}));
        QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
    }

    void verboseRunShowsEveryCommand()
    {
        SampleRelease sample({"P1", "P4", "P6"});
        const QByteArray patches = "/opt/tavrin/5.9/patches/";
        const QByteArray archiver = "/opt/tavrin/5.9/bin/bsdtar -xvPf " + patches;
        compareRun(sample.program.run({"-t", "-v", sample.localUrl()}), 0,
                   sample.report() + NO_CONFLICT + QUESTION + "\n" + DOWNLOAD +
                       downloaded({"P2.tar.gz", "P3.tar.bz2", "P5.gz"}) + APPLY +
                       executing("gunzip " + patches + "P2.tar.gz") + executing(archiver + "P2.tar") +
                       installing("P2.tar", {"data/pf/two.pf", "include/two.h", "patched/P2"}) +
                       executing("gunzip " + patches + "P3.tar.bz2") + "gzip: " + patches +
                       "P3.tar.bz2: unknown suffix -- ignored\n\nContinuing...\n" + executing(archiver + "P3.tar.bz2") +
                       installing("P3.tar.bz2", {"bin/three", "patched/P3"}) + executing(archiver + "P5.gz") +
                       installing("P5.gz", {"man/man1/five.1", "patched/P5"}) + PAGE +
                       executing("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v") + PAGE_DONE);
    }

    void onlyMissingPatchesAreDownloaded()
    {
        SampleRelease sample({"P1", "P2", "P4", "P5", "P6"});
        compareRun(sample.run(), 0, sample.installingRun());
        QCOMPARE(sample.server.requestedPaths(), (QList<QByteArray>{"/5.9/", "/5.9/P3.tar.bz2"}));
        QVERIFY(!QFileInfo::exists(RELEASE_DIRECTORY + "/lib/one.txt"));
    }

    void runThatInstallsNothingChangesNothing_data()
    {
        const Rows<QStringList, QStringList, QByteArray, QByteArray> row("options", "patched", "input", "rest");
        row("answer no", {}, {}, "No\n", NO_CONFLICT + QUESTION + EXITING);
        row("dry run", {"-n"}, {"P2"}, {}, DRY_RUN);
        row("verbose dry run", {"-n", "-v"}, {"P2"}, {}, DRY_RUN);
        row("dry run, which ignores -Q", {"-n", "-Q"}, {"P2"}, {}, DRY_RUN);
    }

    void runThatInstallsNothingChangesNothing()
    {
        QFETCH(QStringList, options);
        QFETCH(QStringList, patched);
        QFETCH(QByteArray, input);
        QFETCH(QByteArray, rest);
        SampleRelease sample(patched);
        const QStringList before = listingOf(RELEASE_DIRECTORY);
        sample.program.input(input);
        compareRun(sample.run(options), 0, sample.report() + rest);
        QCOMPARE(sample.server.requestedPaths(), QList<QByteArray>{"/5.9/"});
        QCOMPARE(listingOf(RELEASE_DIRECTORY), before);
    }

    // Many servers send a compressed archive as an encoded plain one, and Qt decodes it on arrival.
    void archiveInAnEncodedAnswerIsInstalled()
    {
        SampleRelease sample({"P1", "P3", "P4", "P5", "P6"});
        sample.server.answer("/5.9/P2.tar.gz",
                             Answer::file(sample.sourceFile("P2.tar.gz")).header("Content-Encoding", "gzip"));
        compareRun(sample.run(), 0,
                   sample.report() + NO_CONFLICT + QUESTION + "\n" + DOWNLOAD + downloaded({"P2.tar.gz"}) + APPLY +
                       installing("P2.tar.gz", {"data/pf/two.pf", "include/two.h", "patched/P2"}) + FINISH);
        QCOMPARE(contentOf(RELEASE_DIRECTORY + "/data/pf/two.pf"), QByteArray("1 blue\n2 red\n"));
    }

    // Some servers send both chunks and a length; the chunks decide.
    void chunkedAnswersBelowTheirAnnouncedLengthAreComplete()
    {
        const auto inChunks = [](const QByteArray& content) {
            const QByteArray body = QByteArray::number(content.size(), 16) + "\r\n" + content + "\r\n0\r\n\r\n";
            return Answer::body(body).header("Transfer-Encoding", "Chunked"); // the server adds the length of all this
        };
        ServedRelease release;
        const QByteArray archive = archiveOf(release.installation.path("patched/P1"), "text");
        release.server.answer("/5.9/", inChunks(pageWith({"P1.tar"}).html()));
        release.server.answer("/5.9/P1.tar", inChunks(archive));
        compareRun(release.run(), 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
        QCOMPARE(release.content("patches/P1.tar"), archive);
    }
};

TAVRIN_TEST_MAIN(TstInstall)
#include "tst_install.moc"
