// Installing runs that end with status 0 and an empty standard error although something failed: each way in which a
// failure is passed over, with the whole output, the tools that were started and what is left. All other failures end a
// run with status 1 and their text, which the other tests compare.
#include "expected_texts.h"
#include "installable_release.h"
#include "test.h"
#include "test_paths.h"

#include <QDir>

namespace {

const QString UNPACK = QStringLiteral("bsdtar|-xvPf|/opt/tavrin/5.9/patches/");
const QString WRITE_PAGE = QStringLiteral("perl|/opt/tavrin/5.9/bin/ozna_installed_patches");

const QByteArray DIE_SILENTLY = "kill -KILL $$";

} // namespace

class TstPromisesStatus : public Test
{
    Q_OBJECT

private slots:
    void toolsFailureIsPassedOver_data()
    {
        // script: what the tool does
        // output: what comes after the heading of the unpacking
        const Rows<QString, QString, QByteArray, QByteArray, QStringList> row("archive", "tool", "script", "output",
                                                                              "calls");
        const QByteArray tar = installing("P1.tar", {});
        const QByteArray gz = installing("P1.tar.gz", {});
        const QStringList both{UNPACK + "P1.tar", WRITE_PAGE};
        const QStringList decompressing{"gunzip|/opt/tavrin/5.9/patches/P1.tar.gz", UNPACK + "P1.tar.gz", WRITE_PAGE};
        row("decompressor, with a text", "P1.tar.gz", "gunzip", "echo broken >&2; exit 1", gz + FINISH, decompressing);
        row("decompressor, silently", "P1.tar.gz", "gunzip", "exit 1", gz + FINISH, decompressing);
        row("decompressor, by a signal", "P1.tar.gz", "gunzip", DIE_SILENTLY, gz + FINISH, decompressing);
        row("decompressor, missing", "P1.tar.gz", "gunzip", {}, gz + FINISH, decompressing.mid(1));
        row("archive tool, silently", "P1.tar", "bsdtar", "exit 1", tar + FINISH, both);
        row("archive tool, silently by a signal", "P1.tar", "bsdtar", DIE_SILENTLY, tar + FINISH, both);
        row("page script, silently", "P1.tar", "perl", "exit 1", tar + PAGE + RESTART_NOTICE, both);
        row("page script, silently by a signal", "P1.tar", "perl", DIE_SILENTLY, tar + PAGE + RESTART_NOTICE, both);
        row("page script, only with a warning", "P1.tar", "perl", "echo warning >&2", tar + FINISH, both);
    }

    void toolsFailureIsPassedOver()
    {
        QFETCH(QString, archive);
        QFETCH(QString, tool);
        QFETCH(QByteArray, script);
        QFETCH(QByteArray, output);
        QFETCH(QStringList, calls);
        RecordedRelease release(archive);
        if (script.isEmpty()) {
            release.tools.remove(tool);
        } else {
            release.setTool(tool, FakeTool::running(script));
        }
        compareRun(release.run(), 0, untilUnpacking({archive.toUtf8()}) + output);
        QCOMPARE(release.tools.callLines(), calls);
        QCOMPARE(release.storedArchives(), QStringList{archive});
    }

    // The line of the installed archive comes, although no tool was started for it.
    void archiveIsPassedOver_data()
    {
        // stored: the name of the download; named: the name in the line
        const Rows<QString, QByteArray, QByteArray, bool> row("link", "stored", "named", "isMarked");
        row("of an unknown kind", "P1.zip", "P1.zip", "P1.zip", true);
        row("with a suffix in capitals", "P1.TAR", "P1.TAR", "P1.TAR", true);
        row("named with a folder", "sub/P1.tar", "P1.tar", "P1.tar", true);
        row("with an encoded name", "P1%2Etar", "P1.tar", "P1%2Etar", false);
    }

    void archiveIsPassedOver()
    {
        QFETCH(QString, link);
        QFETCH(QByteArray, stored);
        QFETCH(QByteArray, named);
        QFETCH(bool, isMarked);
        RecordedRelease release(link.contains('/') ? "P1.tar" : link);
        QVERIFY(QDir(release.source.path()).mkdir("sub"));
        release.source.withFile("sub/P1.tar", "an archive").withFile(QString::fromUtf8(stored), "an archive");
        pageWith({link}).writeTo(release.source.path());
        compareRun(release.run(), 0,
                   untilUnpacking({stored}) +
                       (isMarked ? QByteArray() : "Internal error: Failed to mark update " + named + " applied.") +
                       installing(named, {}) + FINISH);
        QCOMPARE(release.tools.callLines(), QStringList{WRITE_PAGE});
        QCOMPARE(release.storedArchives(), QStringList{QString::fromUtf8(stored)});
    }

    // The tool ends well, but the patch counts as missing in the next run.
    void archiveWithoutTheMarkIsInstalledAgain()
    {
        InstallableRelease release;
        release.source.withFile("P1.tar", archiveOf(release.installation.path("lib/one.txt"), "text"));
        for (int i = 0; i < 2; ++i) {
            compareRun(release.run(), 0, untilUnpacking({"P1.tar"}) + installing("P1.tar", {"lib/one.txt"}) + FINISH);
        }
    }

    void outputThatCannotBeWrittenIsPassedOver_data()
    {
        const Rows<QString> row("output");
        row("full", "/dev/full");
        row("closed", "&-");
    }

    void outputThatCannotBeWrittenIsPassedOver()
    {
        QFETCH(QString, output);
        InstallableRelease release;
        Program program("/bin/sh");
        program.tavrin(release.installation.path()).input("y\n");
        compareRun(program.run({"-c", "exec \"$0\" \"$@\" >" + output, programPath(), "-t", release.source.url()}), 0,
                   {});
        QCOMPARE(release.content("patched/P1"), QByteArray("text"));
        QVERIFY(release.has("applied_patches.html"));
    }
};

TAVRIN_TEST_MAIN(TstPromisesStatus)
#include "tst_promises_status.moc"
