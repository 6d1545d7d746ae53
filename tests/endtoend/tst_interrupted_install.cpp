// Installs that are killed with SIGKILL at a known point. The marker is the last member of each archive, so running
// again gives the tree of an undisturbed run, but for the page of applied patches when nothing was missing any more.
// What the folder patches/ keeps is compared on its own. A tool kills the program, or the program and itself; nothing
// here depends on a moment. Kills at any moment: scripts/torture kills.
#include "expected_texts.h"
#include "helper_run.h"
#include "installable_release.h"
#include "long_wait.h"
#include "test.h"
#include "test_files.h"

#include <QFileInfo>

using Answer = FakePatchServer::Answer;

namespace {

const QStringList ARCHIVES{"P1.tar", "P2.tar.gz", "P3.tar.bz2"};
const QStringList STORED{"P1.tar", "P2.tar", "P3.tar.bz2"};

// Kills the program and the tool that runs this.
const QByteArray KILL_ALL = "kill -9 $PPID $$\n";

QByteArray packedBy(const QString& tool, const QByteArray& bytes)
{
    const QTemporaryDir folder;
    writeTestFile(folder.filePath("archive"), bytes);
    const HelperRun run = runHelper(tool, {"-c", folder.filePath("archive")});
    if (run.status != 0) {
        qFatal("%s failed", qUtf8Printable(tool));
    }
    return run.output;
}

// Three patches with two files each, of which one is replaced by each patch, and then the marker.
class Release : public ServedRelease
{
public:
    Release() : ServedRelease(ARCHIVES)
    {
        for (int i = 0; i < ARCHIVES.size(); ++i) {
            QByteArray archive;
            const QString name = QString("P%1").arg(i + 1);
            for (const QString& member : {"lib/" + name, QString("data/shared"), "patched/" + name}) {
                const QByteArray content = member.startsWith("patched/") ? QByteArray() : name.toUtf8().repeated(3000);
                const int end = 1024; // end mark of an archive
                archive.chop(archive.isEmpty() ? 0 : end);
                archive += archiveOf(installation.path(member), content);
            }
            const QString suffix = QFileInfo(ARCHIVES.at(i)).suffix();
            if (suffix != "tar") {
                archive = packedBy(suffix == "gz" ? "gzip" : "bzip2", archive);
            }
            answers << Answer::body(archive);
            server.answer("/5.9/" + ARCHIVES.at(i).toUtf8(), answers.last());
        }
        program.path(tools.pathDirectory() + ":/usr/bin:/bin");
    }

    // Replaces a tool by shell commands.
    void setTool(const QString& name, const QByteArray& script)
    {
        tools.addTo(name == "bsdtar" ? installation.path("bin") : tools.pathDirectory(), name,
                    FakeTool::running(script));
    }

    void restoreTool(const QString& name)
    {
        if (name == "bsdtar") {
            installation.without("bin/bsdtar").without("bin/ozna_installed_patches").withTools();
        } else {
            tools.remove(name);
        }
    }

    // Without the folder patches/, and without the page if it does not count.
    QStringList tree(bool withPage = true) const
    {
        QStringList lines = installation.tree();
        const QString left = withPage ? " patches/" : " patches/| applied_patches\\.html$";
        for (const QString& line : lines.filter(QRegExp(left))) {
            lines.removeAll(line);
        }
        return lines;
    }

    FakeTools tools;
    QList<Answer> answers;
};

} // namespace

class TstInterruptedInstall : public Test
{
    Q_OBJECT

private slots:
    void killedDownloadIsMadeUpFor()
    {
        const QStringList expected = undisturbedTree();
        Release release;
        const QByteArray path = "/5.9/P2.tar.gz";
        const QStringList before = release.tree();
        release.server.answer(path, Answer(release.answers.at(1)).held());
        const auto session = release.start({"-Q"});
        QTRY_COMPARE_WITH_TIMEOUT(release.storedArchives(), (QStringList{"P1.tar", "P3.tar.bz2"}), LONG_WAIT);
        session->sendSignal(SIGKILL);
        QVERIFY(session->finish().crashed);
        QCOMPARE(release.tree(), before);
        release.server.answer(path, release.answers.at(1));
        checkWholeRun(release, expected, STORED);
    }

    void killedToolIsMadeUpFor_data()
    {
        const Rows<QString, QByteArray, QStringList, QStringList> row("tool", "script", "applied", "stored");
        const QStringList besides{"P1.tar", "P2.tar", "P2.tar.gz", "P3.tar.bz2"};
        const QByteArray unpack = "/usr/bin/bsdtar \"$@\" 2> /dev/null\n";
        const auto after = [&unpack](const QByteArray& archive, const QByteArray& then) {
            return "case $2 in *" + archive + ") " + then + ";; esac\n" + unpack;
        };
        row("before anything is unpacked", "bsdtar", KILL_ALL, {}, STORED);
        row("in the files of the first patch", "bsdtar",
            "/usr/bin/bsdtar --exclude '*patched*' \"$@\"; : > /opt/tavrin/5.9/lib/P1\n" + KILL_ALL, {}, STORED);
        row("after the marker of the first patch", "bsdtar", unpack + KILL_ALL, {"P1"}, STORED);
        row("inside the decompressor", "gunzip", "echo part > \"${1%.gz}\"\n" + KILL_ALL, {"P1"}, besides);
        row("after the decompressor", "gunzip", "/usr/bin/gzip -d \"$1\"\n" + KILL_ALL, {"P1"}, besides);
        row("in the decompressed archive", "bsdtar", after("/P2.tar", KILL_ALL), {"P1"}, besides);
        row("after the marker of the decompressed archive", "bsdtar", after("/P2.tar", unpack + KILL_ALL), {"P1", "P2"},
            STORED);
        row("in the last archive", "bsdtar", after("/P3.tar.bz2", KILL_ALL), {"P1", "P2"}, STORED);
    }

    void killedToolIsMadeUpFor()
    {
        QFETCH(QString, tool);
        QFETCH(QByteArray, script);
        QFETCH(QStringList, applied);
        QFETCH(QStringList, stored);
        const QStringList expected = undisturbedTree();
        Release release;
        release.setTool(tool, script);
        QVERIFY(release.run().crashed);
        QCOMPARE(QDir(release.installation.path("patched")).entryList(QDir::Files), applied);
        release.restoreTool(tool);
        checkWholeRun(release, expected, stored);
    }

    // Only the page can be old then. Running the script by hand, or installing the next patch, puts it right.
    void killAfterTheLastMarkerLeavesOnlyThePage_data()
    {
        const Rows<QString, QByteArray> row("tool", "script");
        row("before the page script", "bsdtar",
            "/usr/bin/bsdtar \"$@\"\ncase $2 in */P3.tar.bz2) " + KILL_ALL + ";; esac\n");
        row("inside the page script", "perl", KILL_ALL);
    }

    void killAfterTheLastMarkerLeavesOnlyThePage()
    {
        QFETCH(QString, tool);
        QFETCH(QByteArray, script);
        const QStringList expected = undisturbedTree(false);
        Release release;
        release.setTool(tool, script);
        QVERIFY(release.run().crashed);
        release.restoreTool(tool);
        compareRun(release.run(), 0, reportOf("5.9"));
        QCOMPARE(release.tree(false), expected);
        QVERIFY(!release.has("applied_patches.html"));
        requireHelper("perl", {release.installation.path("bin/ozna_installed_patches")});
        QCOMPARE(release.content("applied_patches.html"), appliedPage({"P1", "P2", "P3"}));
    }

    // A tool lives on when only the program is killed. Once it has ended, the next run gives the same tree.
    void toolThatLivesOnIsMadeUpFor()
    {
        const QStringList expected = undisturbedTree();
        Release release;
        release.setTool("bsdtar", "kill -9 $PPID\n/usr/bin/bsdtar \"$@\"\n: > /opt/tavrin/5.9/patches/ended\n");
        QVERIFY(release.run().crashed);
        QTRY_VERIFY_WITH_TIMEOUT(release.has("patches/ended"), LONG_WAIT);
        release.installation.without("patches/ended");
        QVERIFY(release.has("patched/P1"));
        release.restoreTool("bsdtar");
        checkWholeRun(release, expected, STORED);
    }

private:
    static QStringList undisturbedTree(bool withPage = true)
    {
        Release release;
        const ProgramRun run = release.run();
        if (run.status != 0 || release.storedArchives() != STORED) {
            qFatal("%s", describe(run).constData());
        }
        return release.tree(withPage);
    }

    static void checkWholeRun(Release& release, const QStringList& expected, const QStringList& stored)
    {
        const ProgramRun run = release.run();
        QCOMPARE(run.errors, QByteArray());
        QVERIFY2(run.status == 0 && run.output.endsWith(FINISH), describe(run));
        QCOMPARE(release.tree(), expected);
        QCOMPARE(release.storedArchives(), stored);
    }
};

TAVRIN_TEST_MAIN(TstInterruptedInstall)
#include "tst_interrupted_install.moc"
