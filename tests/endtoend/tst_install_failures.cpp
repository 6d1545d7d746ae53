// Installing runs that a download, an archive or the place to put it brings to an end: each breaks one thing, prints
// its one message, and leaves the rest alone. What bsdtar says about a broken archive is asked of bsdtar afterwards.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "helper_run.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"
#include "test_files.h"

#include <QDir>

#include <memory>

using Answer = FakePatchServer::Answer;

Q_DECLARE_METATYPE(FakePatchServer::Answer)

namespace {

QByteArray archiverSays(const QString& archive)
{
    return runHelper("/opt/tavrin/5.9/bin/bsdtar", {"-xvPf", archive}).errors;
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

// A run without a question that waits for its one archive, so that the installation can change under it.
class HeldRun
{
public:
    HeldRun()
    {
        installation.withTools();
        server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P1.tar").html()));
        server.answer("/5.9/P1.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")).held());
        session = program.tavrin(installation.path()).start({"-t", "-Q", server.url("/5.9/")});
    }

    ProgramRun goOn()
    {
        server.release("/5.9/P1.tar");
        return session->finish();
    }

    FakeInstallation installation;
    FakePatchServer server;

private:
    Program program;
    std::unique_ptr<ProgramSession> session;
};

} // namespace

class TstInstallFailures : public Test
{
    Q_OBJECT

private slots:
    void failedDownloadEndsTheRun_data()
    {
        // errors: %1 is the address
        const Rows<Answer, QByteArray, QStringList> row("answer", "errors", "stored");
        const QByteArray failed = "Download of %1 failed: ";
        const QByteArray body = archiveOf("/opt/tavrin/5.9/patched/P2", QByteArray(5000, 'x'));
        const QStringList first{"P1.tar"};
        row("not found", Answer::status(404), failed + "Error transferring %1 - server replied: As told\n\n", first);
        row("server error", Answer::status(500, "sorry"),
            failed + "Error transferring %1 - server replied: As told\n\n", first);
        row("redirected", Answer::redirect(302, "/5.9/P1.tar"), "Download request was redirected.\n\n", first);
        row("hangs up", Answer::hangUp(), failed + "Connection closed\n\n", first);
        row("stops in the middle", Answer::body(body).cutAfter(3000), failed + "Connection closed\n\n", first);
        row("stops before the end", Answer::body(body).cutAfter(body.size() - 1), failed + "Connection closed\n\n",
            first);
        row("sends nothing", Answer::body(""), "No data downloaded for patch file, /opt/tavrin/5.9/patches/P2.tar\n",
            {"P1.tar", "P2.tar"});
        row("no content", Answer::status(204),
            "No data downloaded for patch file, "
            "/opt/tavrin/5.9/patches/P2.tar\n",
            {"P1.tar", "P2.tar"});
    }

    void failedDownloadEndsTheRun()
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

    void failedDownloadIsNamedByItsFullyEncodedAddress()
    {
        const FakeInstallation installation;
        FakePatchServer server;
        server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P 1%C3%A9.tar").html()));
        const QString address = server.url("/5.9/").replace("//", "//%1@");
        const QString shownByQt = address.arg("user:pass word") + QString::fromUtf8("P 1\u00e9.tar");
        const QString asked = address.arg("user:pass%20word") + "P%201%C3%A9.tar";
        Program program;
        compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", address.arg("user:pass word")}), 1,
                   untilDownload(1),
                   "Download of " + asked.toLatin1() + " failed: Error transferring " + shownByQt.toLatin1() +
                       " - server replied: As told\n\n");
    }

    void missingLocalArchiveEndsTheRun()
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

    void corruptedArchiveEndsTheRun_data()
    {
        // tool: empty for an archive that is not compressed
        const Rows<QString, QString, QString> row("tool", "suffix", "where");
        const QList<QPair<QString, QString>> kinds{{"gzip", ".tar.gz"}, {"bzip2", ".tar.bz2"}, {"compress", ".tar.Z"}};
        for (const auto& kind : kinds) {
            for (const char* where : {"head", "middle", "end"}) {
                row(qPrintable(kind.second + ' ' + where), kind.first, kind.second, QString(where));
            }
        }
        // The middle of a plain one is another matter: see corruptedMiddleOfAPlainArchiveIsOnlyListed().
        row(".tar head", {}, ".tar", "head");
        row(".tar end", {}, ".tar", "end");
    }

    void corruptedArchiveEndsTheRun()
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
        LocalSource source(
            PatchPage().entry("P1", "1 May", "text", "P1" + suffix).entry("P2", "2 May", "text", "P2.tar"));
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
    void corruptedMiddleOfAPlainArchiveIsOnlyListed()
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

    void missingPatchesDirectoryEndsTheRun()
    {
        HeldRun held;
        QTRY_COMPARE(held.server.requestedPaths().size(), 2);
        held.installation.without("patches");
        const QStringList before = held.installation.tree();
        compareRun(held.goOn(), 1, reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + DOWNLOAD,
                   "Failed to access patch download directory, /opt/tavrin/5.9/patches.\n");
        QCOMPARE(held.installation.tree(), before);
    }

    void unwritablePatchesDirectoryEndsTheRun()
    {
        HeldRun held;
        QTRY_COMPARE(held.server.requestedPaths().size(), 2);
        held.installation.withMode("patches", 0555);
        const QStringList before = held.installation.tree();
        compareRun(held.goOn(), 1, reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + DOWNLOAD,
                   "Failed to open local patch file, /opt/tavrin/5.9/patches/P1.tar\n");
        QCOMPARE(held.installation.tree(), before);
    }

    void diskThatFillsUpWhileDownloadingEndsTheRun()
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

    void diskThatIsFullBeforeDownloadingEndsTheRun()
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

    void diskThatFillsUpWhileUnpackingEndsTheRun()
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
};

TAVRIN_TEST_MAIN(TstInstallFailures)
#include "tst_install_failures.moc"
