// Installing runs that end because of an archive or the directory for it: each run has one fault, prints one message,
// and changes nothing else. The expected message about a broken archive comes from bsdtar itself. What a server can do
// is in tst_archive_faults.
#include "expected_texts.h"
#include "helper_run.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDir>

#include <csignal>

using Answer = FakePatchServer::Answer;

namespace {

QByteArray archiverMessage(const QString& archive)
{
    return runHelper("/opt/tavrin/5.9/bin/bsdtar", {"-xvPf", archive}).errors;
}

// A plain archive with the mark of P1 and a longer file, which does not compress well.
QByteArray twoMembers(const FakeInstallation& installation)
{
    QByteArray content;
    for (int i = 0; i < 3000; ++i) {
        content += QByteArray::number(i * 7919 % 10007) + '\n';
    }
    const QByteArray first = archiveOf(installation.path("patched/P1"), "text");
    const int end = 1024; // end mark of the first archive, after which nothing is read
    return first.left(first.size() - end) + archiveOf(installation.path("lib/one.txt"), content);
}

QByteArray compressedBy(const QString& tool, const QByteArray& bytes)
{
    const QTemporaryDir folder;
    writeTestFile(folder.filePath("archive"), bytes);
    const HelperRun run = runHelper(tool, {"-c", folder.filePath("archive")});
    return run.status == 0 ? run.output : QByteArray();
}

} // namespace

class TstInstallFailures : public Test
{
    Q_OBJECT

private slots:
    void failureHasTheFullyEncodedAddress()
    {
        ServedRelease release(pageWith({"P 1%C3%A9.tar"}));
        const QString address = release.server.url("/5.9/").replace("//", "//%1@");
        const QString shownByQt = address.arg("user:pass word") + QString::fromUtf8("P 1\u00e9.tar");
        const QString asked = address.arg("user:pass%20word") + "P%201%C3%A9.tar";
        compareRun(release.program.run({"-t", address.arg("user:pass word")}), 1, untilDownload(1),
                   downloadFailed(asked.toLatin1(), serverReplied(shownByQt.toLatin1())));
    }

    void missingLocalArchiveEndsTheRun()
    {
        InstallableRelease release(pageWith({"P1.tar"}));
        const QStringList before = release.installation.tree();
        compareRun(
            release.run(), 1, untilDownload(1),
            downloadFailed(release.source.url().toUtf8() + "P1.tar",
                           "Error opening " + release.source.path().toUtf8() + "/P1.tar: No such file or directory"));
        QCOMPARE(release.installation.tree(), before);
    }

    void corruptedArchiveEndsTheRun_data()
    {
        // tool: empty for an archive that is not compressed
        const Rows<QString, QString, QString> row("tool", "suffix", "where");
        const QList<QPair<QString, QString>> kinds{{"gzip", ".tar.gz"}, {"bzip2", ".tar.bz2"}, {"compress", ".tar.Z"}};
        for (const auto& kind : kinds) {
            for (const char* where : {"head", "middle", "end"}) {
                row(qPrintable(kind.second + ' ' + where), kind.first, kind.second, where);
            }
        }
        // The middle of a plain one: see corruptedMiddleOfAPlainArchiveIsOnlyListed().
        row(".tar head", {}, ".tar", "head");
        row(".tar end", {}, ".tar", "end");
    }

    void corruptedArchiveEndsTheRun()
    {
        QFETCH(QString, tool);
        QFETCH(QString, suffix);
        QFETCH(QString, where);
        InstallableRelease release({"P1" + suffix, "P2.tar"});
        QByteArray bytes = twoMembers(release.installation);
        if (!tool.isEmpty()) {
            bytes = compressedBy(tool, bytes);
        }
        QVERIFY(bytes.size() > 1000);
        if (where == "head") {
            bytes.replace(0, 300, QByteArray(300, '\xff'));
        } else if (where == "middle") {
            bytes.replace(bytes.size() / 2, 200, QByteArray(200, '\xff'));
        } else {
            bytes.truncate(bytes.size() * 7 / 8);
        }
        release.source.withFile("P1" + suffix, bytes);
        const ProgramRun run = release.run();
        const QStringList left = release.storedArchives();
        QCOMPARE(left.size(), 2);
        const QByteArray expected = archiverMessage(release.installation.path("patches/" + left.first()));
        QVERIFY2(expected.contains("bsdtar: "), expected);
        compareRun(run, 1, untilUnpacking({"P1" + suffix.toUtf8(), "P2.tar"}), expected + '\n');
        QVERIFY(!release.has("patched/P2"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    // The archive tool skips an unreadable header, warns in its listing and succeeds.
    void corruptedMiddleOfAPlainArchiveIsOnlyListed()
    {
        InstallableRelease release;
        QByteArray bytes = twoMembers(release.installation);
        bytes.replace(1024, 300, QByteArray(300, '\xff')); // in the second header
        release.source.withFile("P1.tar", bytes);
        const ProgramRun run = release.run();
        const QByteArray expected = archiverMessage(release.installation.path("patches/P1.tar"));
        QVERIFY2(expected.contains("Damaged"), expected);
        compareRun(run, 0, untilUnpacking({"P1.tar"}) + expected + '\n' + installing("P1.tar", {}) + FINISH);
        QCOMPARE(release.content("patched/P1"), QByteArray("text"));
        QVERIFY(!release.has("lib/one.txt"));
    }

    void unusablePatchesDirectoryEndsTheRun_data()
    {
        const Rows<bool, QByteArray> row("missing", "errors");
        row("missing", true, "Failed to access patch download directory, /opt/tavrin/5.9/patches.\n");
        row("not writable", false, "Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar\n");
    }

    // The directory changes after the check at the start, while the run waits for its archive.
    void unusablePatchesDirectoryEndsTheRun()
    {
        QFETCH(bool, missing);
        QFETCH(QByteArray, errors);
        ServedRelease release;
        release.server.answer("/5.9/P1.tar", Answer::body("an archive").held());
        const auto session = release.start({"-Q"});
        QTRY_COMPARE_WITH_TIMEOUT(release.server.requestedPaths().size(), 2, LONG_WAIT);
        if (missing) {
            release.installation.without("patches");
        } else {
            release.installation.withMode("patches", 0555);
        }
        const QStringList before = release.installation.tree();
        release.server.release("/5.9/P1.tar");
        compareRun(session->finish(), 1, reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + DOWNLOAD, errors);
        QCOMPARE(release.installation.tree(), before);
    }

    void diskThatFillsUpEndsTheRun_data()
    {
        const Rows<QString, bool, QByteArray> row("disk", "isStored", "message");
        row("while downloading", "patches", false, "runcated");
        row("while unpacking", "lib", true, "big.txt: ");
    }

    void diskThatFillsUpEndsTheRun()
    {
        QFETCH(QString, disk);
        QFETCH(bool, isStored);
        QFETCH(QByteArray, message);
        InstallableRelease release;
        const SmallDisk small(release.installation.path(disk), 64 << 10);
        const QByteArray content(200 << 10, 'x');
        const QByteArray archive = archiveOf(release.installation.path("lib/big.txt"), content);
        release.source.withFile("P1.tar", archive);
        const ProgramRun run = release.run();
        const QByteArray stored = release.content("patches/P1.tar");
        QVERIFY2(!stored.isEmpty() && archive.startsWith(stored), QByteArray::number(stored.size()));
        QCOMPARE(stored == archive, isStored);
        QVERIFY(isStored || stored.size() <= 64 << 10);
        const QByteArray expected = archiverMessage(release.installation.path("patches/P1.tar"));
        QVERIFY2(expected.contains(message), expected);
        compareRun(run, 1, untilUnpacking({"P1.tar"}), expected + '\n');
        QVERIFY(release.content("lib/big.txt") != content);
        QVERIFY(!release.has("applied_patches.html"));
    }

    void archiveThatAFullDiskCutsBetweenMembersEndsTheRun_data()
    {
        const Rows<int> row("missing");
        row("much", 200 << 10);
        row("only what the last small write holds", 1 << 10);
    }

    // The archive tool would take what was stored for a whole archive.
    void archiveThatAFullDiskCutsBetweenMembersEndsTheRun()
    {
        QFETCH(int, missing);
        InstallableRelease release;
        const int size = 64 << 10;
        const SmallDisk disk(release.installation.path("patches"), size);
        const int block = 512;
        const QByteArray first =
            archiveOf(release.installation.path("lib/one.txt"), QByteArray(size - block, 'x')).left(size);
        const QByteArray second = archiveOf(release.installation.path("patched/P1"), QByteArray(missing, 'y'));
        release.source.withFile("P1.tar", first + second);
        const ProgramRun run = release.run();
        const QByteArray expected = archiverMessage(release.installation.path("patches/P1.tar"));
        QVERIFY2(expected.contains("runcated"), expected);
        compareRun(run, 1, untilUnpacking({"P1.tar"}), expected + '\n');
        QVERIFY(!release.has("patched/P1"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    // The system ends the program by a signal, before anything is unpacked.
    void archiveBeyondTheLimitOfFileSizesEndsTheRun()
    {
        InstallableRelease release;
        release.source.withFile("P1.tar", archiveOf(release.installation.path("patched/P1"), QByteArray(100000, 'x')));
        Program program("/bin/sh");
        program.tavrin(release.installation.path()).input("y\n");
        const ProgramRun run = program.run(
            {"-c", "ulimit -c 0; ulimit -f 8; exec \"$0\" \"$@\"", programPath(), "-t", release.source.url()});
        QVERIFY2(run.crashed && run.status == SIGXFSZ && run.errors.isEmpty(), describe(run));
        QVERIFY(!release.has("patched/P1"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    void diskThatIsFullBeforeDownloadingEndsTheRun()
    {
        InstallableRelease release;
        const SmallDisk disk(release.installation.path("patches"), 64 << 10);
        release.installation.withFile("patches/older", QByteArray(64 << 10, 'x'));
        compareRun(release.run(), 1, untilDownload(1),
                   "No data downloaded for patch file, /opt/tavrin/5.9/patches/P1.tar\n");
        QCOMPARE(release.content("patches/older"), QByteArray(64 << 10, 'x'));
        QVERIFY(!release.has("patched/P1"));
    }
};

TAVRIN_TEST_MAIN(TstInstallFailures)
#include "tst_install_failures.moc"
