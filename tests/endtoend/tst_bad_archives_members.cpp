// Archives with odd members: names and links that lead elsewhere, members in place of what is there, kinds that are no
// files, and marks that are none. Names are taken as they stand, so an archive can write wherever the user can. A
// member that cannot be written ends the run, though the mark after it is made.
#include "bad_archives.h"
#include "expected_texts.h"
#include "helper_run.h"
#include "test.h"

class TstBadArchivesMembers : public Test
{
    Q_OBJECT

private slots:
    void membersAreWrittenWhereTheirNamesSay_data()
    {
        const Rows<int, QByteArray, QStringList, bool> row("status", "said", "changes", "isCounted");
        row("relative name", 0, {}, {"/opt/home/work/relative.txt: text", MARK}, true);
        row("relative name with parents", 0, {}, {"/opt/home/up.txt: text", MARK}, true);
        row("absolute name with parents", 0, {}, {"/opt/tavrin/escaped.txt: text", MARK}, true);
        row("absolute name outside", 0, {}, {"/opt/home/outside.txt: text", MARK}, true);
        row("name with dots and double slashes", 0, {}, {TEXT, MARK}, true);
        row("missing folders", 0, {}, {"new/", "new/folder/", "new/folder/one.txt: text", MARK}, true);
        row("link to the outside", 0, {}, {"lib/outside -> /opt/home", MARK}, true);
        row("file through a link", 0, {}, {"/opt/home/through.txt: text", "lib/outside -> /opt/home", MARK}, true);
        row("file through an existing link", 0, {}, {"/opt/home/through.txt: text", MARK}, true);
        row("link that leads nowhere", 0, {}, {"lib/nowhere -> missing/file", MARK}, true);
        row("link to itself", 1, "Too many levels of symbolic links", {"lib/loop -> loop", MARK}, true);
        row("file in place of a link", 0, {}, {"lib/link.txt: new", MARK}, true);
        row("link in place of a file", 0, {}, {"lib/old.txt: new", MARK}, true);
        row("hard link to a member", 0, {}, {TEXT, "lib/two.txt: text", MARK}, true);
        row("hard link to a later member", 1, "does not exist", {TEXT, MARK}, true);
        row("hard link to the outside", 0, {}, {"lib/victim.txt: new", MARK}, true);
        row("hard link with a content", 0, "Damaged tar archive", {"lib/victim.txt: victim", MARK}, true);
        row("hard link to itself", 1, "hardlink pointing to itself", {MARK}, true);
        row("folder in place of a file", 0, {}, {"lib/old.txt/", MARK}, true);
        row("file in place of a folder", 0, {}, {"lib/empty: text", MARK}, true);
        row("file in place of a full folder", 1, "Directory not empty", {MARK}, true);
        row("file below a file", 0, {}, {"lib/old.txt/", "lib/old.txt/below.txt: text", MARK}, true);
        row("folder without rights", 0, {}, {"lib/closed/ (0)", MARK}, true);
        row("file without rights", 0, {}, {"lib/closed.txt (0): unreadable", MARK}, true);
        row("set-id bits", 0, {}, {"bin/tool (6755): text", "lib/common/ (3777)", MARK}, true);
        row("FIFO", 0, {}, {"lib/fifo FIFO", MARK}, true);
        row("unknown kind of member", 0, {}, {TEXT, MARK}, true);
        row("same file three times", 0, {}, {"lib/one.txt: 2", MARK}, true);
        row("archive tool", 0, {}, {"bin/bsdtar (755): 17 bytes, adda2d9c", MARK}, true);
        row("archive itself", 1, "Refusing to overwrite archive", {MARK}, true);
        row("patched as a file", 0, {}, {MARK}, true);
        row("patched as a link", 0, {}, {"/opt/home/P1: P1", "patched -> /opt/home"}, true);
        row("file in a closed folder", 1, "Permission denied", {MARK}, true);
        row("read-only file", 0, {}, {"lib/readonly.txt: new", MARK}, true);
        row("mark first, then broken", 1, "Truncated tar archive", {"lib/one.txt: 2000 bytes, c66bf56d", MARK}, true);
        row("no mark", 0, {}, {TEXT}, false);
        row("mark as a folder", 0, {}, {"patched/P1/"}, false);
        row("mark as a link", 0, {}, {"patched/P1 -> /opt/tavrin/5.9/lib/old.txt"}, true);
        row("mark as a link that leads nowhere", 0, {}, {"patched/P1 -> missing"}, false);
        row("mark as a hard link", 0, {}, {"patched/P1: old"}, true);
        row("mark as a FIFO", 0, {}, {"patched/P1 FIFO"}, false);
        row("mark in other letter case", 0, {}, {"patched/p1: text"}, false);
        row("mark of another patch", 0, {}, {"patched/P2: text"}, false);
    }

    void membersAreWrittenWhereTheirNamesSay()
    {
        QFETCH(int, status);
        QFETCH(QByteArray, said);
        QFETCH(QStringList, changes);
        QFETCH(bool, isCounted);
        compareBadArchive(badArchive(QTest::currentDataTag()), {"P1.tar", "P1.tar", status, said, changes, isCounted});
    }

    // Whether a device can be made, or an owner be set, depends on the rights of the user.
    void membersThatNeedRightsAreMadeIfTheyCan_data()
    {
        const Rows<QString> row("archive");
        for (const char* archive :
             {"character device", "block device", "owner that is unknown", "extended owner that is unknown"}) {
            row(archive, archive);
        }
    }

    void membersThatNeedRightsAreMadeIfTheyCan()
    {
        QFETCH(QString, archive);
        compareWithExtractionByHand(badArchive(archive));
    }

    void pageScriptFromAnArchiveIsRun()
    {
        InstallableRelease release;
        release.source.withFile("P1.tar", badArchive("page script"));
        compareRun(release.run(), 1,
                   untilUnpacking({"P1.tar"}) + installing("P1.tar", {"bin/ozna_installed_patches", "patched/P1"}) +
                       PAGE,
                   "no page\n\n");
        QVERIFY(!release.has("applied_patches.html"));
    }

    void archiveToolFromAnArchiveIsUsedForTheNext()
    {
        InstallableRelease release({"P1.tar", "P2.tar"});
        release.source.withFile("P1.tar", badArchive("archive tool without its right"));
        const ProgramRun run = release.run();
        const QString archiver = release.installation.path("bin/bsdtar");
        compareRun(run, 1, untilUnpacking({"P1.tar", "P2.tar"}) + installing("P1.tar", {"bin/bsdtar", "patched/P1"}),
                   commandFailed(archiver.toUtf8(), startErrorOf(archiver).toUtf8()));
        QVERIFY(!release.has("patched/P2"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    // Required: a tool that fails without a word counts as successful. Its mark is missing, so the next run tells.
    void archiveToolThatFailsWithoutAWordIsPassedOver()
    {
        InstallableRelease release({"P1.tar", "P2.tar"});
        release.source.withFile("P1.tar", badArchive("archive tool"));
        compareRun(release.run(), 0,
                   untilUnpacking({"P1.tar", "P2.tar"}) + installing("P1.tar", {"bin/bsdtar", "patched/P1"}) +
                       installing("P2.tar", {}) + FINISH);
        compareRun(release.run({"-L"}), 0, compactReportOf("5.9", {"P1"}, {"P2"}));
    }
};

TAVRIN_TEST_MAIN(TstBadArchivesMembers)
#include "tst_bad_archives_members.moc"
