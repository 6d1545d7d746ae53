// Unpacking the archives of the listed patches: which files are unpacked, which are decompressed first, and what the
// real gunzip and bsdtar do with real archives, good and broken. The expected message about a broken archive comes from
// bsdtar itself. tst_archive_tools tests how the tools are called and what happens to their output.
#include "archive_window.h"
#include "test.h"
#include "test_files.h"

namespace {

// The paths in a list of archives after the logic has added its own.
QStringList archivesOf(ArchiveWindow& window, QList<QFileInfo> archives = {})
{
    window.logic.buildPatchArchiveList(archives);
    QStringList paths;
    for (const QFileInfo& archive : archives) {
        paths << archive.absoluteFilePath();
    }
    return paths;
}

} // namespace

class TstArchives : public Test
{
    Q_OBJECT

private slots:
    void listHasTheArchivesOfMissingPatches()
    {
        ArchiveWindow window;
        QCOMPARE(window.initialized, QString());
        window.installation.withPatched("B").withFile("patches/unlisted.tar");
        window.list({"C.tar.gz", "B.tar.gz", "sub/A%201.tar"});
        window.logic.determinePatchesApplied();
        const QStringList paths{window.archivePath("C.tar.gz"), window.archivePath("sub/A%201.tar")};
        QCOMPARE(archivesOf(window), paths);
        QCOMPARE(window.logic.getPatchName(), QString(" ")); // the cursor is after the last patch
        QCOMPARE(archivesOf(window, {QFileInfo("/tmp/other.tar")}), QStringList{"/tmp/other.tar"} + paths);
    }

    void archivesAreInTheInstallationWithoutAPatchesDirectory()
    {
        ArchiveWindow window;
        window.installation.without("patches");
        window.list({"A.tar"});
        QCOMPARE(archivesOf(window), QStringList{window.installation.path("A.tar")});
    }

    void suffixDecidesWhatIsAnArchive_data()
    {
        const Rows<bool> row("archive");
        for (const char* name : {"p1.tar", "p1.tar.gz", "p1.gz", "p1.gzip", "p1.tar.gzip", "p1.bz2", "p1.tar.bz2",
                                 "p1.Z", "p1.tar.Z", ".tar", ".gz", "p 1.tar", "p1.zip.tar"}) {
            row(name, true);
        }
        for (const char* name : {"p1.TAR", "p1.tar.GZ", "p1.Gz", "p1.BZ2", "p1.z", "p1.tgz", "p1.zip", "p1.tbz2",
                                 "p1.xz", "p1.tar.xz", "p1tar", "tar", "p1.tar.", "p1.tar ", "p1", ""}) {
            row(name, false);
        }
    }

    void suffixDecidesWhatIsAnArchive()
    {
        const ArchiveWindow window;
        QTEST(window.logic.isArchive(QTest::currentDataTag()), "archive");
    }

    void archiveIsExtracted_data()
    {
        // left: the archive's new name, the only file in the patches directory
        const Rows<QString, QStringList, QString> row("name", "compression", "left");
        row("plain", "p1.tar", {}, "p1.tar");
        row("gzip", "p1.tar.gz", {"-z"}, "p1.tar");
        row("compress", "p1.tar.Z", {"-Z"}, "p1.tar");
        row("bzip2 is read by the archiver", "p1.tar.bz2", {"-j"}, "p1.tar.bz2");
        row("gzip in two parts", "p1.gz", {"-z"}, "p1.gz");
        row("compress in two parts", "p1.Z", {"-Z"}, "p1.Z");
        row("bzip2 in two parts", "p1.bz2", {"-j"}, "p1.bz2");
        row("suffix unknown to gunzip", "p1.tar.gzip", {"-z"}, "p1.tar.gzip");
        row("dots in the name of a plain one", "p1-5.9.tar", {}, "p1-5.9.tar");
        row("dots in the name of a compressed one", "p1-5.9.2.tar.gz", {"-z"}, "p1-5.9.2.tar");
        row("three parts without tar", "p1.5.gz", {"-z"}, "p1.5");
        row("spaces", "p 1 b.tar.gz", {"-z"}, "p 1 b.tar");
        row("not ASCII", QString::fromUtf8("p\xc3\xa9\xe2\x82\xac.tar.gz"), {"-z"},
            QString::fromUtf8("p\xc3\xa9\xe2\x82\xac.tar"));
        row("quotes and dollars", "p'1\"$HOME;.tar.gz", {"-z"}, "p'1\"$HOME;.tar");
        row("compressed, with the name of a plain one", "p1.tar", {"-z"}, "p1.tar");
        row("plain, with the name of a compressed one", "p1.tar.gz", {}, "p1.tar.gz");
    }

    void archiveIsExtracted()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, compression);
        QFETCH(QString, left);
        ArchiveWindow window;
        window.pack(name, {"lib/one.txt", "patched/P1"}, compression);
        QCOMPARE(window.unpack(name), QString());
        QCOMPARE(window.archive.absoluteFilePath(), window.archivePath(left));
        QCOMPARE(window.filesIn("patches"), QStringList{left});
        QCOMPARE(contentOf(window.installation.path("lib/one.txt")), QByteArray("content of lib/one.txt\n"));
        QCOMPARE(contentOf(window.installation.path("patched/P1")), QByteArray("content of patched/P1\n"));
        QCOMPARE(window.events, QStringList{"log:x /opt/tavrin/5.9/lib/one.txt\nx /opt/tavrin/5.9/patched/P1\n"});
    }

    void relativeMembersAreUnpackedIntoTheWorkingDirectory()
    {
        ArchiveWindow window;
        const QTemporaryDir elsewhere;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(elsewhere.path()));
        writeTestFile("member.txt", "text");
        requireHelper("bsdtar", {"-cf", window.archivePath("p1.tar"), "member.txt"});
        QVERIFY(QFile::remove("member.txt"));
        const QString failure = window.unpack("p1.tar");
        QVERIFY(QDir::setCurrent(before));
        QCOMPARE(failure, QString());
        QCOMPARE(contentOf(elsewhere.filePath("member.txt")), QByteArray("text"));
        QVERIFY(!QFileInfo::exists(window.archivePath("member.txt")));
    }

    void otherFilesAreLeftAsTheyAre_data()
    {
        const Rows<QString, bool> row("name", "present");
        row("missing", "p1.tar.gz", false);
        row("missing below a missing directory", "sub/p1.tar.gz", false);
        row("directory", "p1.tar.gz/", true);
        row("tgz", "p1.tgz", true);
        row("zip", "p1.zip", true);
        row("upper case", "p1.TAR", true);
        row("no suffix", "p1", true);
    }

    void otherFilesAreLeftAsTheyAre()
    {
        QFETCH(QString, name);
        QFETCH(bool, present);
        ArchiveWindow window(ArchiveWindow::verboseOptions());
        window.recordArchiver();
        window.record("gunzip");
        if (name.endsWith('/')) {
            name.chop(1);
            QVERIFY(QDir().mkdir(window.archivePath(name)));
        } else if (present) {
            window.installation.withFile("patches/" + name, "text");
        }
        const QStringList before = window.installation.tree();
        QCOMPARE(window.unpack(name), QString());
        QCOMPARE(window.archive.absoluteFilePath(), window.archivePath(name));
        QCOMPARE(window.tools.callLines(), QStringList());
        QCOMPARE(window.events, QStringList());
        QCOMPARE(window.installation.tree(), before);
    }

    void partsOfTheNameDecideOnDecompression_data()
    {
        const Rows<bool> row("decompressed");
        for (const char* name :
             {"p1.tar", "p1.gz", "p1.Z", "p1.bz2", "p1.gzip", "p1-5.9.tar", "a.b.c.tar", ".gz", ".tar"}) {
            row(name, false);
        }
        for (const char* name : {"p1.tar.gz", "p1.tar.Z", "p1.tar.bz2", "p1.tar.gzip", "p1.5.gz", "a.b.c.gz", "p1..gz",
                                 ".p1.gz", "..gz", "p1.5.TAR", "p1.5.zip"}) {
            row(name, true);
        }
    }

    void partsOfTheNameDecideOnDecompression()
    {
        QFETCH(bool, decompressed);
        ArchiveWindow window;
        window.recordArchiver();
        window.record("gunzip");
        const QString name = QTest::currentDataTag();
        window.installation.withFile("patches/" + name, "text");
        QFileInfo archive(window.archivePath(name));
        QCOMPARE(window.logic.decompress(archive), QString()); // the caller has checked the suffix
        const QStringList gunzip{"gunzip|" + window.archivePath(name)};
        const QStringList bsdtar{"bsdtar|-xvPf|" + window.archivePath(name)};
        QCOMPARE(window.tools.callLines(), decompressed ? gunzip + bsdtar : bsdtar);
    }

    void corruptedArchiveIsReported_data()
    {
        // left: the archive's new name, the only file in the patches directory
        const Rows<QString, QStringList, QString, QString, bool> row("name", "compression", "where", "left",
                                                                     "isFailure");
        const QList<QPair<QString, QStringList>> kinds{
            {"p1.tar", {}}, {"p1.tar.gz", {"-z"}}, {"p1.tar.bz2", {"-j"}}, {"p1.tar.Z", {"-Z"}}, {"p1.gz", {"-z"}}};
        for (const auto& [name, compression] : kinds) {
            for (const QString where : {"head", "middle", "end"}) {
                // The archive tool skips a broken header in its listing and succeeds. A file made by compress has no
                // end mark, so gunzip turns a short one into a short archive.
                const bool isFailure = name != "p1.tar" || where != "middle";
                const bool isDecompressed = name == "p1.tar.Z" && where == "end";
                row(qPrintable(name + ", " + where), name, compression, where, (isDecompressed ? "p1.tar" : name),
                    isFailure);
            }
        }
    }

    void corruptedArchiveIsReported()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, compression);
        QFETCH(QString, where);
        QFETCH(QString, left);
        QFETCH(bool, isFailure);
        ArchiveWindow window;
        window.pack(name, {"lib/one.txt", "lib/two.txt", "lib/three.txt"}, compression);
        QByteArray bytes = contentOf(window.archivePath(name));
        if (where == "head") {
            bytes.replace(0, 64, QByteArray(64, '\xff'));
        } else if (where == "middle") {
            // In a plain archive, 1024 is the second header.
            const int position = compression.isEmpty() ? 1024 : bytes.size() / 2;
            bytes.replace(position, 16, QByteArray(16, '\xff'));
        } else {
            bytes.truncate(compression.isEmpty() ? 2048 + 100 : bytes.size() - 20);
        }
        writeTestFile(window.archivePath(name), bytes);

        const QString failure = window.unpack(name);
        QCOMPARE(window.archive.absoluteFilePath(), window.archivePath(left));
        QCOMPARE(window.filesIn("patches"), QStringList{left});
        const HelperRun run = runHelper(window.installation.path("bin/bsdtar"), {"-xvPf", window.archivePath(left)});
        QVERIFY2(run.errors.contains("bsdtar: "), run.errors);
        QCOMPARE(run.status, isFailure ? 1 : 0);
        QCOMPARE(failure, isFailure ? QString(run.errors) : QString());
        QCOMPARE(window.events, isFailure ? QStringList() : QStringList{"log:" + run.errors});
    }
};

TAVRIN_TEST_MAIN(TstArchives)
#include "tst_archives.moc"
