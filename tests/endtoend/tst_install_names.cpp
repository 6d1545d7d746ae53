// Installing runs with unusual archives: kinds that are not unpacked, names that are encoded or match no patch, one
// file for two patches, downloads that finish in another order, and more downloads than the limit of open files.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_paths.h"

#include <QDir>

using Answer = FakePatchServer::Answer;

namespace {

// The lines about an archive whose name matches no patch in the list.
QByteArray notMarked(const QByteArray& file)
{
    return "Internal error: Failed to mark update " + file + " applied." + installing(file, {});
}

} // namespace

class TstInstallNames : public Test
{
    Q_OBJECT

private slots:
    void unknownKindsAreNotUnpacked()
    {
        InstallableRelease release({"P1.tgz", "P2.zip"});
        release.source.withFile("P2.zip", "PK");
        compareRun(release.run(), 0,
                   untilUnpacking({"P1.tgz", "P2.zip"}) + installing("P1.tgz", {}) + installing("P2.zip", {}) + FINISH);
        QCOMPARE(release.content("patches/P2.zip"), QByteArray("PK"));
        QCOMPARE(QDir(release.installation.path("patched")).entryList(QDir::Files), QStringList());
        // Without marks the next run lists both as missing.
        compareRun(release.run({"-L"}), 0, compactReportOf("5.9", {}, {"P1", "P2"}));
    }

    void trialPatchIsNotFoundUnderItsArchiveName()
    {
        InstallableRelease release(PatchPage().entry("TrialPatch-7", "1 May", "text", "TrialPatch-7.tar"));
        release.source.withFile("TrialPatch-7.tar", archiveOf(release.installation.path("patched/TrialPatch"), "text"));
        compareRun(release.run(), 0,
                   reportOf("5.9", {{"TrialPatch", "text"}}) + NO_CONFLICT + QUESTION + "\n" + DOWNLOAD +
                       downloaded({"TrialPatch-7.tar"}) + APPLY + "x /opt/tavrin/5.9/patched/TrialPatch\n\n" +
                       notMarked("TrialPatch-7.tar") + FINISH);
        compareRun(release.run(), 0, reportOf("5.9"));
    }

    void encodedNameIsStoredDecodedAndNotFound()
    {
        ServedRelease release({"P1%20a.tar"});
        compareRun(release.run(), 0, untilUnpacking({"P1 a.tar"}) + notMarked("P1%20a.tar") + FINISH);
        QCOMPARE(release.storedArchives(), QStringList{"P1 a.tar"});
        QVERIFY(!release.has("patched/P1"));
    }

    void nameWithASpaceIsInstalled()
    {
        const QByteArray file = "P1 \xc3\xa9.x.tar";
        ServedRelease release(pageWith({QString::fromUtf8(file)}));
        release.server.answer("/5.9/P1%20%C3%A9.x.tar",
                              Answer::body(archiveOf(release.installation.path("patched/P1"), "text")));
        compareRun(release.run(), 0,
                   untilUnpacking({file}) + "x /opt/tavrin/5.9/patched/P1\n\n" + notMarked(file) + FINISH);
        QCOMPARE(release.content("patched/P1"), QByteArray("text"));
    }

    void sameFileTwiceIsInstalledTwice()
    {
        ServedRelease release(pageWith({"P1.tar", "P1.tar"}));
        release.server.answer("/5.9/P1.tar", Answer::body(archiveOf(release.installation.path("patched/P1"), "text")));
        compareRun(release.run(), 0,
                   untilUnpacking({"P1.tar", "P1.tar"}) + installing("P1.tar", {"patched/P1"}).repeated(2) + FINISH);
        QCOMPARE(release.server.requestedPaths().count("/5.9/P1.tar"), 2);
    }

    void downloadsThatFinishInReverseAreInstalledInOrder()
    {
        ServedRelease release({"P1.tar", "P2.tar", "P3.tar", "P4.tar"});
        QByteArray installed;
        for (int i = 1; i <= 4; ++i) {
            const QByteArray name = "P" + QByteArray::number(i);
            Answer answer = Answer::body(archiveOf(release.installation.path("patched/" + name), "text"));
            release.server.answer("/5.9/" + name + ".tar",
                                  i == 4 ? answer : answer.after("/5.9/P" + QByteArray::number(i + 1) + ".tar"));
            installed += installing(name + ".tar", {"patched/" + name});
        }
        compareRun(release.run(), 0, untilUnpacking({"P4.tar", "P3.tar", "P2.tar", "P1.tar"}) + installed + FINISH);
    }

    void localPatchesMayExceedTheLimitOfOpenFiles()
    {
        QStringList files;
        for (int i = 1; i <= 100; ++i) {
            files << QString("P%1.dat").arg(i);
        }
        InstallableRelease release(files);
        for (const QString& file : files) {
            release.source.withFile(file, file.toUtf8());
        }
        Program program("/bin/sh");
        const ProgramRun run =
            program.tavrin(release.installation.path())
                .input("y\n")
                .run({"-c", "ulimit -Sn 50; exec \"$0\" \"$@\"", programPath(), "-t", release.source.url()});
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.status, 0);
        for (const QString& file : files) {
            QCOMPARE(release.content("patches/" + file), file.toUtf8());
        }
    }
};

TAVRIN_TEST_MAIN(TstInstallNames)
#include "tst_install_names.moc"
