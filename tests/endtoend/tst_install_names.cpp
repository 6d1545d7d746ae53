// Installing runs whose archives are out of the ordinary: kinds that nobody unpacks, names that are encoded or belong
// to no patch, one file for two patches, downloads in another order, and more of them than files may be open.
#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_patch_server.h"
#include "patch_source.h"
#include "program_run.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDir>

using Answer = FakePatchServer::Answer;

class TstInstallNames : public Test
{
    Q_OBJECT

private slots:
    void unknownKindsAreKeptUnopened()
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

    void trialPatchIsNotFoundUnderItsArchiveName()
    {
        FakeInstallation installation;
        installation.withTools();
        LocalSource source(PatchPage().entry("TrialPatch-7", "1 May", "text", "TrialPatch-7.tar"));
        source.withFile("TrialPatch-7.tar", archiveOf(installation.path("patched/TrialPatch"), "text"));
        Program program;
        program.tavrin(installation.path()).input("y\n");
        compareRun(program.run({"-t", source.url()}), 0,
                   reportOf("5.9", {{"TrialPatch", "text"}}) + NO_CONFLICT + QUESTION + "\n" + DOWNLOAD +
                       "Downloaded TrialPatch-7.tar\n" + APPLY + "x /opt/tavrin/5.9/patched/TrialPatch\n\n" +
                       "Internal error: Failed to mark update TrialPatch-7.tar applied." +
                       installing("TrialPatch-7.tar", {}) + FINISH);
        compareRun(program.run({"-t", source.url()}), 0, reportOf("5.9"));
    }

    void encodedNameIsStoredDecodedAndNotFound()
    {
        FakeInstallation installation;
        installation.withTools();
        FakePatchServer server;
        server.answer("/5.9/", Answer::body(PatchPage().entry("P1", "1 May", "text", "P1%20a.tar").html()));
        server.answer("/5.9/P1%20a.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")));
        Program program;
        compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 0,
                   untilDownload(1) + "Downloaded P1 a.tar\n" + APPLY +
                       "Internal error: Failed to mark update P1%20a.tar applied." + installing("P1%20a.tar", {}) +
                       FINISH);
        QCOMPARE(QDir(installation.path("patches")).entryList(QDir::Files), QStringList{"P1 a.tar"});
        QVERIFY(!QFileInfo::exists(installation.path("patched/P1")));
    }

    void nameWithABlankIsInstalled()
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

    void sameFileTwiceIsInstalledTwice()
    {
        FakeInstallation installation;
        installation.withTools();
        FakePatchServer server;
        server.answer(
            "/5.9/",
            Answer::body(
                PatchPage().entry("P1", "1 May", "text", "P1.tar").entry("P2", "2 May", "text", "P1.tar").html()));
        server.answer("/5.9/P1.tar", Answer::body(archiveOf(installation.path("patched/P1"), "text")));
        Program program;
        compareRun(program.tavrin(installation.path()).input("y\n").run({"-t", server.url("/5.9/")}), 0,
                   untilDownload(2) + "Downloaded P1.tar\nDownloaded P1.tar\n" + APPLY +
                       installing("P1.tar", {"patched/P1"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
        QCOMPARE(server.requestedPaths().count("/5.9/P1.tar"), 2);
    }

    void downloadsThatFinishInReverseAreInstalledInOrder()
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

    void moreLocalPatchesThanFilesMayBeOpenAreInstalled()
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
};

TAVRIN_TEST_MAIN(TstInstallNames)
#include "tst_install_names.moc"
