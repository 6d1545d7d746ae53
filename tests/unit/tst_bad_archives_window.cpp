// Bad archives in window mode, where a failure ends nothing: its message is shown, the patch counts as installed until
// the marks are read again, and the next archives, the page of applied patches and the last notice follow. Runs in a
// terminal, which end there, are in tst_bad_archives_formats and its neighbours.
#include "archive_window.h"
#include "download_window.h"
#include "helper_run.h"
#include "patch_source.h"
#include "test.h"
#include "test_files.h"

namespace {

// The tools of the installation itself, and a local source with archives of the patches P1, P2 and P3.
struct BadArchiveWindow
{
    explicit BadArchiveWindow(const QByteArray& second) : window(WindowLogic::applyOptions(source.url()))
    {
        window.installation.withTools();
        window.list({"P1.tar", "P2.tar", "P3.tar"});
        source.withFile("P1.tar", archiveOf(window.installation.path("patched/P1"), "P1"));
        source.withFile("P2.tar", second);
        source.withFile("P3.tar", archiveOf(window.installation.path("patched/P3"), "P3"));
    }

    LocalSource source{PatchPage()};
    WindowLogic window;
};

QString unpacked(const QByteArray& name)
{
    return "log:x /opt/tavrin/5.9/patched/" + name + '\n';
}

} // namespace

class TstBadArchivesWindow : public Test
{
    Q_OBJECT

private slots:
    void nextArchivesAreInstalledAfterAFailure_data()
    {
        // said: a part of the archive tool's message; marks: those of P1, P2 and P3 at the end
        const Rows<QString, QByteArray, QString> row("archive", "said", "marks");
        const QList<QPair<QByteArray, QByteArray>> broken{
            {"cut in the first header", "Unrecognized archive format"},
            {"cut after the first header", "Truncated tar archive"},
            {"cut in a content", "Truncated tar archive"},
            {"cut in the last header", "Truncated tar archive"},
            {"wrong checksum of the first header", "Unrecognized archive format"},
            {"gzip cut in its data", "truncated gzip input"},
            {"bzip2 cut in its data", "truncated bzip2 input"},
            {"wrong checksum of a bzip2", "bzip decompression failed"},
            {"random bytes", "Unrecognized archive format"},
            {"one zero byte", "Unrecognized archive format"},
            {"html", "Unrecognized archive format"},
            {"hard link to a later member", "does not exist"},
            {"hard link to itself", "hardlink pointing to itself"},
            {"link to itself", "Too many levels of symbolic links"},
            {"size beyond the archive", "Truncated tar archive"},
            {"size with letters", "Unrecognized archive format"},
            {"size below zero", "negative size"},
            {"extended size below zero", "Tar size attribute is negative"},
            {"extended header of a megabyte", "Special header too large"},
            {"long name too long", "File name too long"},
            {"name empty", "empty or unreadable filename"},
        };
        for (const auto& [archive, said] : broken) {
            row(archive, archive, said, "YNY"); // the marks of these archives are those of P1
        }
    }

    void nextArchivesAreInstalledAfterAFailure()
    {
        QFETCH(QString, archive);
        QFETCH(QByteArray, said);
        const QByteArray bytes = badArchive(archive);
        QByteArray message;
        {
            const BadArchiveWindow byHand(bytes);
            const FakeInstallation& installation = byHand.window.installation;
            const QString path = installation.path("patches/P2.tar");
            writeTestFile(path, bytes);
            const HelperRun run = runHelper(installation.path("bin/bsdtar"), {"-xvPf", path});
            QCOMPARE(run.status, 1);
            message = run.errors;
        }
        QVERIFY2(message.contains(said), message);

        BadArchiveWindow bad(bytes);
        bad.window.logic.applyPatches();
        QTRY_COMPARE(bad.window.events.isEmpty() ? QString() : bad.window.events.last(), QString("status"));
        QStringList downloads = bad.window.events.mid(1, 3);
        downloads.sort(); // local files arrive in any order
        QCOMPARE(downloads, (QStringList{downloaded("P1.tar"), downloaded("P2.tar"), downloaded("P3.tar")}));
        QCOMPARE(bad.window.events.mid(0, 1) + bad.window.events.mid(4),
                 (QStringList{START, INSTALL, unpacked("P1"), installed("P1.tar"), "fail:" + QString::fromUtf8(message),
                              installed("P2.tar"), unpacked("P3"), installed("P3.tar")} +
                  FINISHED));
        QTEST(bad.window.appliedMarks(), "marks");
        QCOMPARE(bad.window.filesIn("patches"), (QStringList{"P1.tar", "P2.tar", "P3.tar"}));
    }
};

TAVRIN_TEST_MAIN(TstBadArchivesWindow)
#include "tst_bad_archives_window.moc"
