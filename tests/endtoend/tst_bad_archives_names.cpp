// Archives under odd names, names that are in use already, and a bad archive among good ones. The parts of a name
// decide on the tools, and only its last suffix makes it an archive.
#include "bad_archives.h"
#include "expected_texts.h"
#include "helper_run.h"
#include "test.h"
#include "test_files.h"

#include <QDir>

namespace {

const QByteArray PATCHES = "/opt/tavrin/5.9/patches/";

QByteArray compressedMark()
{
    const QTemporaryDir folder;
    writeTestFile(folder.filePath("mark"), archiveOf("/opt/tavrin/5.9/patched/P1", "P1"));
    return runHelper("gzip", {"-nc", folder.filePath("mark")}).output;
}

QByteArray archiverMessage(const QString& archive)
{
    return runHelper("/opt/tavrin/5.9/bin/bsdtar", {"-xvPf", archive}).errors;
}

} // namespace

class TstBadArchivesNames : public Test
{
    Q_OBJECT

private slots:
    void nameDecidesOnTheTools_data()
    {
        // tools: G when gunzip is started, T the archive tool; left: the archive's last name; isMarked: it names P1
        const Rows<QString, bool, QByteArray, QString, bool> row("file", "compressed", "tools", "left", "isMarked");
        row("only a suffix", ".tar", false, "T", ".tar", true); // the empty name is how all names begin
        row("only a compressed suffix", ".gz", true, "T", ".gz", true);
        row("only suffixes", ".tar.gz", true, "GT", ".tar", true);
        row("suffix without a dot", "tar", false, "", "tar", false);
        row("no suffix", "P1", false, "", "P1", true);
        row("empty part", "P1..tar.gz", true, "GT", "P1..tar", true);
        row("many parts", "P1.x.y.z.tar.gz", true, "GT", "P1.x.y.z.tar", true);
        row("suffix in capitals", "P1.TAR", false, "", "P1.TAR", true);
        row("suffix of gunzip in capitals", "P1.tar.GZ", true, "", "P1.tar.GZ", true);
        row("suffix that gunzip knows and a run does not", "P1.tar.gz.tgz", true, "", "P1.tar.gz.tgz", true);
        row("two suffixes", "P1.tar.gz.tar", true, "T", "P1.tar.gz.tar", true);
        row("two suffixes, plain", "P1.gz.tar", false, "T", "P1.gz.tar", true);
        row("dash in front", "-P1.tar.gz", true, "GT", "-P1.tar", false);
        row("option in front", "--help.tar", false, "T", "--help.tar", false);
        row("blank in front", " P1.tar.gz", true, "GT", " P1.tar", false);
        row("blank at the end", "P1.tar ", false, "", "P1.tar ", true);
        row("at sign in front", "@P1.tar", false, "T", "@P1.tar", false);
        row("pattern", "P*[1].tar", false, "T", "P*[1].tar", false);
        row("colon, as before a host", "host:P1.tar", false, "T", "host:P1.tar", false);
        row("shell text", "P1;$(reboot)`x`|&'.tar", false, "T", "P1;$(reboot)`x`|&'.tar", false);
    }

    void nameDecidesOnTheTools()
    {
        QFETCH(QString, file);
        QFETCH(bool, compressed);
        QFETCH(QByteArray, tools);
        QFETCH(QString, left);
        QFETCH(bool, isMarked);
        QString link = file;
        InstallableRelease release(pageWith({link.replace('&', "&amp;")}));
        const QByteArray archive = compressed ? compressedMark() : archiveOf("/opt/tavrin/5.9/patched/P1", "P1");
        release.source.withFile(file, archive);
        const QByteArray asked = PATCHES + file.toUtf8();
        const QByteArray extracted = PATCHES + left.toUtf8();
        QByteArray output = untilUnpacking({file.toUtf8()});
        output += tools.contains('G') ? executing("gunzip " + asked) : QByteArray();
        output += tools.contains('T') ? executing("/opt/tavrin/5.9/bin/bsdtar -xvPf " + extracted) : QByteArray();
        output += tools.contains('T') ? "x /opt/tavrin/5.9/patched/P1\n\n" : QByteArray();
        output += isMarked ? QByteArray() : "Internal error: Failed to mark update " + left.toUtf8() + " applied.";
        output += installing(left.toUtf8(), {}) + PAGE +
                  executing("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v") + PAGE_DONE;
        compareRun(release.run({"-v"}), 0, output);
        QCOMPARE(QDir(release.installation.path("patches")).entryList(QDir::Files | QDir::Hidden), QStringList{left});
        QCOMPARE(release.has("patched/P1"), tools.contains('T'));
    }

    // The decompressor could ask whether to replace the file, and no one would answer.
    void existingPlainArchiveIsNotReplaced_data()
    {
        const Rows<QString> row("existing");
        row("file", "file");
        row("folder", "folder");
        row("link that leads nowhere", "link");
    }

    void existingPlainArchiveIsNotReplaced()
    {
        QFETCH(QString, existing);
        InstallableRelease release(pageWith({"P1.tar.gz"}));
        release.source.withFile("P1.tar.gz", compressedMark());
        const QString plain = release.installation.path("patches/P1.tar");
        if (existing == "file") {
            writeTestFile(plain, "old");
        } else {
            QVERIFY(existing == "folder" ? QDir().mkdir(plain) : QFile::link("missing", plain));
        }
        const QStringList before = release.installation.tree().filter("P1.tar");
        release.installation.withFile("patches/P1.tar.gz", compressedMark());
        const QByteArray refused = Program("gunzip").run({release.installation.path("patches/P1.tar.gz")}).errors;
        QVERIFY2(refused.contains("P1.tar already exists"), refused);

        const auto session = release.start({"-v", "-Q"}); // with an input that stays open
        compareRun(session->finish(), 0,
                   reportOf("5.9", {{"P1", "text"}}) + NO_CONFLICT + DOWNLOAD + downloaded({"P1.tar.gz"}) + APPLY +
                       executing("gunzip " + PATCHES + "P1.tar.gz") + refused + "\nContinuing...\n" +
                       executing("/opt/tavrin/5.9/bin/bsdtar -xvPf " + PATCHES + "P1.tar.gz") +
                       installing("P1.tar.gz", {"patched/P1"}) + PAGE +
                       executing("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v") + PAGE_DONE);
        QCOMPARE(release.content("patches/P1.tar.gz"), compressedMark());
        QCOMPARE(release.installation.tree().filter("P1.tar").filter(QRegExp("P1.tar(/| ->.*)?$")), before);
    }

    void unusableSourceEndsTheRun_data()
    {
        // errors: %1 is the source's folder
        const Rows<QString, QByteArray, QStringList> row("kind", "errors", "stored");
        row("empty file", "file", "No data downloaded for patch file, " + PATCHES + "P1.tar\n", {"P1.tar"});
        row("folder", "folder", downloadFailed("file://%1/P1.tar", "Cannot open file://%1/P1.tar: Path is a directory"),
            {});
        row("link that leads nowhere", "link",
            downloadFailed("file://%1/P1.tar", "Error opening %1/P1.tar: No such file or directory"), {});
        row("link to itself", "loop",
            downloadFailed("file://%1/P1.tar", "Error opening %1/P1.tar: Too many levels of symbolic links"), {});
    }

    void unusableSourceEndsTheRun()
    {
        QFETCH(QString, kind);
        QFETCH(QByteArray, errors);
        InstallableRelease release(pageWith({"P1.tar"}));
        const QString path = release.source.path() + "/P1.tar";
        if (kind == "file") {
            writeTestFile(path, {});
        } else if (kind == "folder") {
            QVERIFY(QDir().mkdir(path));
        } else {
            QVERIFY(QFile::link(kind == "link" ? "missing" : "P1.tar", path));
        }
        compareRun(release.run(), 1, untilDownload(1), errors.replace("%1", release.source.path().toUtf8()));
        QTEST(release.storedArchives(), "stored");
        QVERIFY(!release.has("applied_patches.html"));
    }

    void firstBadArchiveEndsTheRun_data()
    {
        const Rows<QString, int> row("archive", "position");
        for (const char* archive : {"text", "cut in a content", "file in a closed folder", "name empty"}) {
            for (int position = 1; position <= 4; ++position) {
                row(archive + QByteArray(", position ") + QByteArray::number(position), archive, position);
            }
        }
    }

    void firstBadArchiveEndsTheRun()
    {
        QFETCH(QString, archive);
        QFETCH(int, position);
        const QStringList files{"P1.tar", "P2.tar", "P3.tar", "P4.tar"};
        const QByteArray bytes = badArchive(archive);
        const auto prepare = [&](InstallableRelease& release) {
            QVERIFY(QDir(release.installation.path("lib")).mkdir("shut"));
            release.installation.withMode("lib/shut", 0555);
            release.source.withFile(files.at(position - 1), bytes);
        };
        QByteArray said;
        {
            InstallableRelease release(files);
            prepare(release);
            release.installation.withFile("patches/" + files.at(position - 1), bytes);
            said = archiverMessage(release.installation.path("patches/" + files.at(position - 1)));
        }
        InstallableRelease release(files);
        prepare(release);
        QByteArray installed;
        QStringList marks;
        for (int i = 1; i < position; ++i) {
            const QByteArray name = "P" + QByteArray::number(i);
            installed += installing(name + ".tar", {"patched/" + name});
            marks << name;
        }
        compareRun(release.run(), 1, untilUnpacking({"P1.tar", "P2.tar", "P3.tar", "P4.tar"}) + installed, said + '\n');
        QCOMPARE(release.storedArchives(), files);
        const bool isMarked = archive == "file in a closed folder" || archive == "name empty";
        if (isMarked && position > 1) {
            marks.removeOne("P1"); // the bad archive's own mark is that of P1, which is there already
        }
        QCOMPARE(QDir(release.installation.path("patched")).entryList(QDir::Files),
                 isMarked ? QStringList{"P1"} + marks : marks);
        QVERIFY(!release.has("applied_patches.html"));
    }
};

TAVRIN_TEST_MAIN(TstBadArchivesNames)
#include "tst_bad_archives_names.moc"
