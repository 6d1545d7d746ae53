// Which files the program itself opens for writing, which programs it starts and which signals it sends while it
// installs, as strace shows it: archives directly in the folder of archives, whatever a link on the page looks like;
// the three tools, without a shell; no signal. What the tools do is not the program's own and is left out here.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_files.h"
#include "test_paths.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Answer = FakePatchServer::Answer;

namespace {

// Standard streams are made sure of with it; nothing is written to it.
const QByteArray NO_FILE = "/dev/null";

const QByteArray BROKEN_NAME = "Broken filename passed to function\n"; // Qt's warning about a NUL

QByteArray cannotOpen(const QByteArray& name)
{
    return "Failed to open local patch file, /opt/tavrin/5.9" + name + '\n';
}

} // namespace

class TstPromisesFiles : public Test
{
    Q_OBJECT

private slots:
    void archivesAreStoredDirectlyInTheirFolder_data()
    {
        // written: the name of the only file; shown: in the line of the installed archive
        const Rows<QString, QByteArray, QByteArray, QByteArray, bool, bool> row("link", "asked", "written", "shown",
                                                                                "isUnpacked", "isMarked");
        const QByteArray p1 = "P1.tar";
        row("plain", "P1.tar", "/5.9/P1.tar", p1, p1, true, true);
        row("in a folder", "sub/P1.tar", "/5.9/sub/P1.tar", p1, p1, false, true);
        row("above the address", "../P1.tar", "/P1.tar", p1, p1, false, true);
        row("far above", "../../../etc/P1.tar", "/etc/P1.tar", p1, p1, false, true);
        row("absolute", "/etc/P1.tar", "/5.9//etc/P1.tar", p1, p1, false, true);
        row("another address", "http://host.test/P1.tar", "/5.9/http://host.test/P1.tar", p1, p1, false, true);
        row("another host", "//host.test/P1.tar", "/5.9///host.test/P1.tar", p1, p1, false, true);
        row("a local address", "file:///etc/P1.tar", "/5.9/file:///etc/P1.tar", p1, p1, false, true);
        row("another user's host", "@host.test/P1.tar", "/5.9/@host.test/P1.tar", p1, p1, false, true);
        row("encoded slash", "a%2FP1.tar", "/5.9/a%2FP1.tar", p1, "a%2FP1.tar", false, false);
        row("encoded way up", "%2e%2e%2f%2e%2e%2fP1.tar", "/5.9/..%2F..%2FP1.tar", p1, "%2e%2e%2f%2e%2e%2fP1.tar",
            false, false);
        row("way up in overlong UTF-8", "%c0%ae%c0%ae/P1.tar", "/5.9/%C0%AE%C0%AE/P1.tar", p1, p1, false, true);
        row("encoded twice", "P1%252Ftar", "/5.9/P1%252Ftar", "P1%2Ftar", "P1%252Ftar", false, false);
        row("encoded dot", "P1%2etar", "/5.9/P1.tar", p1, "P1%2etar", false, false);
        row("query with a path", "P1.tar?x=/y.tar", "/5.9/P1.tar?x=/y.tar", p1, "y.tar", false, false);
        row("fragment", "P1.tar#x", "/5.9/P1.tar", p1, "P1.tar#x", false, true);
        row("backslash", "..\\P1.tar", "/5.9/..%5CP1.tar", "..\\\\P1.tar", "..\\P1.tar", true, true);
        row("options of a tool", "-rf.tar", "/5.9/-rf.tar", "-rf.tar", "-rf.tar", true, false);
        row("shell commands", "$(touch x).tar", "/5.9/$(touch%20x).tar", "$(touch x).tar", "$(touch x).tar", true,
            false);
        row("home folder", "~root", "/5.9/~root", "~root", "~root", false, false);
        row("hidden", ".P1.tar", "/5.9/.P1.tar", ".P1.tar", ".P1.tar", true, true);
    }

    void archivesAreStoredDirectlyInTheirFolder()
    {
        QFETCH(QString, link);
        QFETCH(QByteArray, asked);
        QFETCH(QByteArray, written);
        QFETCH(QByteArray, shown);
        QFETCH(bool, isUnpacked);
        QFETCH(bool, isMarked);
        ServedRelease release(pageWith({link}));
        const QByteArray archive = archiveOf(release.installation.path("patched/P1"), "text");
        release.server.answer(asked, Answer::body(archive));
        const QStringList before = release.installation.tree();
        release.program.unset("FAKE_PIDRTSYS_LOG").traceCalls();
        compareRun(release.run(), 0,
                   untilUnpacking({QByteArray(written).replace("\\\\", "\\")}) +
                       (isUnpacked ? "x /opt/tavrin/5.9/patched/P1\n\n" : "") +
                       (isMarked ? "" : "Internal error: Failed to mark update " + shown + " applied.") +
                       installing(shown, {}) + FINISH);
        QCOMPARE(release.server.requestedPaths(), (QList<QByteArray>{"/5.9/", asked}));
        const QByteArray file = "/opt/tavrin/5.9/patches/" + written;
        QCOMPARE(filesWrittenByProgram(release.program.tracedCalls()), (QList<QByteArray>{NO_FILE, file}));
        compareNewEntriesOf(release, before,
                            QStringList{"applied_patches.html", "patches/" + QString(written).replace("\\\\", "\\")} +
                                (isUnpacked ? QStringList{"patched/P1"} : QStringList()));
        QCOMPARE(QDir(release.program.home()).entryList({"x"}, QDir::Files), QStringList());
    }

    // What is unpacked is looked for under the whole link, so that can be an archive that was there before.
    void linkCanLeadToAnArchiveOfTheMachine()
    {
        ServedRelease release(pageWith({"../../P1.tar"}));
        const QString archive = "/opt/tavrin/P1.tar";
        writeTestFile(archive, archiveOf(release.installation.path("lib/one.txt"), "of the machine"));
        release.server.answer("/P1.tar", Answer::body(archiveOf(release.installation.path("patched/P1"), "text")));
        const ProgramRun run = release.run();
        QVERIFY(QFile::remove(archive));
        compareRun(run, 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"lib/one.txt"}) + FINISH);
        QCOMPARE(release.server.requestedPaths(), (QList<QByteArray>{"/5.9/", "/P1.tar"}));
        QCOMPARE(release.content("lib/one.txt"), QByteArray("of the machine"));
        QVERIFY(!release.has("patched/P1"));
    }

    void linksWithoutAFileNameEndTheRun_data()
    {
        // written: what the program tried to open, below the installation
        const Rows<QString, QByteArray, QByteArray, QByteArray> row("link", "asked", "written", "errors");
        row("folder above", "..", "/", "", cannotOpen(""));
        row("folder itself", ".", "/5.9/", "/patches", cannotOpen("/patches"));
        row("slash", "/", "/5.9//", "/patches", cannotOpen("/patches"));
        row("encoded folder above", "%2e%2e", "/", "", cannotOpen(""));
        row("folder above and a slash", "%2e%2e/", "/", "/patches", cannotOpen("/patches"));
        row("folder in a folder", "sub/%2e%2e", "/5.9", "", cannotOpen(""));
        row("query alone", "?P1.tar", "/5.9/?P1.tar", "/patches", cannotOpen("/patches"));
        row("slash at the end", "P1.tar/", "/5.9/P1.tar/", "/patches", cannotOpen("/patches"));
        row("encoded slash at the end", "P1.tar%2F", "/5.9/P1.tar%2F", "/patches", cannotOpen("/patches"));
        row("longer than a name may be", QString(300, 'x'), "/5.9/" + QByteArray(300, 'x'),
            "/patches/" + QByteArray(300, 'x'), cannotOpen("/patches/" + QByteArray(300, 'x')));
    }

    void linksWithoutAFileNameEndTheRun()
    {
        QFETCH(QString, link);
        QFETCH(QByteArray, asked);
        QFETCH(QByteArray, written);
        QFETCH(QByteArray, errors);
        ServedRelease release(pageWith({link}));
        if (asked != "/5.9/") { // the list is as good as an archive
            release.server.answer(asked, Answer::body("an archive"));
        }
        const QStringList before = release.installation.tree();
        release.program.unset("FAKE_PIDRTSYS_LOG").traceCalls();
        compareRun(release.run(), 1, untilDownload(1), errors);
        QCOMPARE(filesWrittenByProgram(release.program.tracedCalls()),
                 (QList<QByteArray>{NO_FILE, "/opt/tavrin/5.9" + written}));
        QCOMPARE(release.installation.tree(), before);
    }

    // The system ends a name at a NUL, Qt does not: the file of the shorter name is written, and then not found.
    void nameWithANulEndsTheRun_data()
    {
        // written: what the program opened, in the folder of archives
        const Rows<QString, QByteArray, QStringList, QByteArray> row("link", "written", "added", "errors");
        const QByteArray folder = "/opt/tavrin/5.9/patches/";
        row("in the middle", "P1%00.tar", "P1", {"patches/P1"},
            BROKEN_NAME + BROKEN_NAME + "No data downloaded for patch file, " + folder + QByteArray("P1\0.tar\n", 8));
        row("alone", "%00", "", {}, BROKEN_NAME + "Failed to open local patch file, " + folder + QByteArray("\0\n", 2));
    }

    void nameWithANulEndsTheRun()
    {
        QFETCH(QString, link);
        QFETCH(QByteArray, written);
        QFETCH(QStringList, added);
        QFETCH(QByteArray, errors);
        ServedRelease release(pageWith({link}));
        release.server.answer("/5.9/" + link.toLatin1(), Answer::body("an archive"));
        const QStringList before = release.installation.tree();
        release.program.unset("FAKE_PIDRTSYS_LOG").traceCalls();
        compareRun(release.run(), 1, untilDownload(1), errors);
        QCOMPARE(filesWrittenByProgram(release.program.tracedCalls()),
                 (QList<QByteArray>{NO_FILE, "/opt/tavrin/5.9/patches/" + written}));
        compareNewEntriesOf(release, before, added);
    }

    void linkUnderAnArchivesNameIsFollowed_data()
    {
        const Rows<bool, bool> row("isHard", "isThere");
        row("symbolic", false, true);
        row("symbolic, to nothing", false, false);
        row("hard", true, true);
    }

    // The one way in which the program writes elsewhere: someone who can write the folder has put the link there.
    void linkUnderAnArchivesNameIsFollowed()
    {
        QFETCH(bool, isHard);
        QFETCH(bool, isThere);
        InstallableRelease release;
        const QByteArray other = QFile::encodeName(release.installation.path("lib/other"));
        const QByteArray name = QFile::encodeName(release.installation.path("patches/P1.tar"));
        if (isThere) {
            release.installation.withFile("lib/other", "kept so far");
        }
        QCOMPARE(isHard ? ::link(other, name) : ::symlink(other, name), 0);
        compareRun(release.run(), 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"patched/P1"}) + FINISH);
        QCOMPARE(release.content("lib/other"), archiveOf(release.installation.path("patched/P1"), "text"));
    }

    void entryThatCannotBeWrittenEndsTheRun_data()
    {
        const Rows<QString> row("entry");
        row("folder", "folder");
        row("link to a folder", "link ../lib");
        row("link to itself", "link P1.tar");
        row("file without the right to write", "file");
    }

    void entryThatCannotBeWrittenEndsTheRun()
    {
        QFETCH(QString, entry);
        InstallableRelease release;
        const QString name = "patches/P1.tar";
        if (entry == "folder") {
            release.installation.withFile(name + "/file");
        } else if (entry == "file") {
            release.installation.withFile(name, "kept").withMode(name, 0444);
        } else {
            QVERIFY(QFile::link(entry.section(' ', 1), release.installation.path(name)));
        }
        const QStringList before = release.installation.tree();
        compareRun(release.run(), 1, untilDownload(1), cannotOpen("/patches/P1.tar"));
        QCOMPARE(release.installation.tree(), before);
    }

    // Without a reader the run would wait for one.
    void pipeUnderAnArchivesNameEndsTheRun()
    {
        InstallableRelease release;
        const QByteArray name = QFile::encodeName(release.installation.path("patches/P1.tar"));
        QCOMPARE(::mkfifo(name, 0600), 0);
        const int reader = ::open(name, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        QVERIFY(reader >= 0);
        compareRun(release.run(), 1, untilDownload(1), "No data downloaded for patch file, " + name + '\n');
        ::close(reader);
        QVERIFY(!release.has("patched/P1"));
        QVERIFY(!release.has("applied_patches.html"));
    }

    void toolsAreStartedWithoutAShell()
    {
        const QString archive = "P1 $(touch x)`touch y`;touch z.tar.gz";
        RecordedRelease release(archive);
        release.program.unset("FAKE_PIDRTSYS_LOG").traceCalls();
        const QByteArray file = archive.toUtf8();
        compareRun(release.run(), 0,
                   untilUnpacking({file}) + "Internal error: Failed to mark update " + file + " applied." +
                       installing(file, {}) + FINISH);
        const QList<SystemCall> calls = release.program.tracedCalls();
        const QString stored = "/opt/tavrin/5.9/patches/" + archive;
        const QString folder = release.tools.pathDirectory();
        QCOMPARE(commandsStartedByProgram(calls),
                 (QList<QByteArray>{commandOf({programPath(), "-t", release.source.url()}),
                                    commandOf({folder + "/gunzip", stored}),
                                    commandOf({"/opt/tavrin/5.9/bin/bsdtar", "-xvPf", stored}),
                                    commandOf({folder + "/perl", "/opt/tavrin/5.9/bin/ozna_installed_patches"})}));
        QCOMPARE(signalsOfProgram(calls), QList<QByteArray>());
    }

private:
    static void compareNewEntriesOf(const ReleaseToPatch& release, const QStringList& before,
                                    const QStringList& expected)
    {
        QStringList added = release.installation.tree();
        for (const QString& line : before) {
            QVERIFY2(added.removeOne(line), qPrintable("no longer there: " + line));
        }
        added.replaceInStrings(QRegularExpression("^(f \\S+ \\S+ \\S+|d \\S+|l) "), "").sort();
        QStringList sorted = expected;
        sorted.sort();
        QCOMPARE(added, sorted);
    }
};

TAVRIN_TEST_MAIN(TstPromisesFiles)
#include "tst_promises_files.moc"
