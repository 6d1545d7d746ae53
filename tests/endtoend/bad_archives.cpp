// Names are compared as bytes, because some are no text. Nothing opens what is not a plain file: a FIFO would wait.
#include "bad_archives.h"

#include "expected_texts.h"
#include "helper_run.h"
#include "test_files.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QByteArray RELEASE = "/opt/tavrin/5.9/";
const QString HOME = QStringLiteral("/opt/home");
const QString WORKING_DIRECTORY = HOME + QStringLiteral("/work");
const qint64 LONGEST_READ = 1 << 30;

bool isPrintable(const QByteArray& text)
{
    return std::all_of(text.begin(), text.end(), [](char byte) { return byte >= ' ' && byte <= '~'; });
}

QString printable(const QByteArray& name)
{
    QString text;
    for (const char byte : name) {
        text += isPrintable(QByteArray(1, byte)) ? QString(QLatin1Char(byte))
                                                 : QStringLiteral("\\x") + QByteArray(1, byte).toHex();
    }
    return text;
}

QString describeContent(const QByteArray& path, qint64 size)
{
    if (size > LONGEST_READ) {
        return QStringLiteral("%1 bytes").arg(size); // one hole, nothing to read
    }
    QFile file; // opened by its descriptor: Qt cannot express a name that is no text
    const int descriptor = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        return QStringLiteral("unreadable");
    }
    const QByteArray content = file.readAll();
    const int longest = 20;
    if (content.size() <= longest && isPrintable(content)) {
        return QString::fromLatin1(content);
    }
    const QByteArray hash = QCryptographicHash::hash(content, QCryptographicHash::Sha1).toHex();
    return QStringLiteral("%1 bytes, %2").arg(content.size()).arg(QString::fromLatin1(hash.left(8)));
}

void addEntries(const QByteArray& directory, QStringList& entries)
{
    DIR* stream = opendir(directory.constData());
    if (stream == nullptr) {
        return; // a folder without rights
    }
    while (const dirent* entry = readdir(stream)) {
        const QByteArray name = entry->d_name;
        const QByteArray path = directory + '/' + name;
        struct stat status = {};
        if (name == "." || name == ".." || ::lstat(path.constData(), &status) != 0) {
            continue;
        }
        const QString shown = printable(path.startsWith(RELEASE) ? path.mid(RELEASE.size()) : path);
        const unsigned mode = status.st_mode & 07777;
        const bool isFolder = S_ISDIR(status.st_mode);
        const bool isUsual = mode == (isFolder ? 0755U : 0644U);
        const QString suffix = isUsual ? QString() : QStringLiteral(" (%1)").arg(mode, 0, 8);
        if (S_ISLNK(status.st_mode)) {
            QByteArray target(static_cast<int>(status.st_size), '\0');
            target.resize(static_cast<int>(::readlink(path.constData(), target.data(), size_t(target.size()))));
            entries << shown + QStringLiteral(" -> ") + printable(target);
        } else if (isFolder) {
            entries << shown + QLatin1Char('/') + suffix;
            addEntries(path, entries);
        } else if (S_ISREG(status.st_mode)) {
            entries << shown + suffix + QStringLiteral(": ") + describeContent(path, status.st_size);
        } else {
            entries << shown + (S_ISFIFO(status.st_mode) ? QStringLiteral(" FIFO") : QStringLiteral(" device")) +
                           suffix;
        }
    }
    closedir(stream);
}

// What was added or has changed, then what is gone with a "-" before it. The archive's own file and the page of applied
// patches are left out.
QStringList changesBetween(const QStringList& before, const QStringList& after)
{
    QStringList changes;
    for (const QString& entry : after) {
        const bool isOwn =
            entry.startsWith(QLatin1String("patches/P1.")) || entry.startsWith(QLatin1String("applied_patches.html: "));
        if (!before.contains(entry) && !isOwn) {
            changes << entry;
        }
    }
    const auto nameOf = [](const QString& entry) {
        return entry.section(QRegExp("( ->|: |/$|/ \\(| \\()"), 0, 0);
    };
    QStringList names;
    for (const QString& entry : after) {
        names << nameOf(entry);
    }
    for (const QString& entry : before) {
        if (!names.contains(nameOf(entry))) {
            changes << QLatin1Char('-') + entry;
        }
    }
    return changes;
}

bool isUnzippedFirst(const QString& file)
{
    const QStringList parts = file.split(QLatin1Char('.'));
    return parts.size() > 2 && parts.last() != QLatin1String("tar");
}

} // namespace

BadArchiveRelease::BadArchiveRelease(const QString& name, const QByteArray& archive)
    : InstallableRelease(pageWith({name}))
{
    source.withFile(name, archive);
    installation.withFile("lib/old.txt", "old")
        .withFile("lib/full/kept.txt", "kept")
        .withFile("lib/readonly.txt", "old");
    installation.withMode("lib/readonly.txt", 0444);
    writeTestFile(HOME + "/victim.txt", "victim");
    const QDir root(installation.path());
    const bool isMade = root.mkpath("lib/empty") && root.mkpath("lib/shut") && QDir().mkpath(WORKING_DIRECTORY) &&
                        QFile::link(HOME, root.filePath("lib/home")) &&
                        QFile::link(HOME + "/victim.txt", root.filePath("lib/link.txt"));
    if (!isMade) {
        qFatal("cannot make the files for a bad archive");
    }
    installation.withMode("lib/shut", 0555);
    program.workingDirectory(WORKING_DIRECTORY);
}

BadArchiveRelease::~BadArchiveRelease()
{
    // The installation removes its own folder later; whatever is beside it is the archive's.
    requireHelper("chmod", {"-R", "u+rwx", "/opt/tavrin", HOME});
    requireHelper("find", {"/opt/tavrin", HOME, "-mindepth", "1", "!", "-path", "/opt/tavrin/5.9*", "-delete"});
    requireHelper("find", {installation.path(), "!", "-type", "d", "-delete"});
}

QStringList BadArchiveRelease::entries() const
{
    QStringList entries;
    addEntries("/opt/tavrin", entries);
    addEntries(QFile::encodeName(HOME), entries);
    entries.sort();
    return entries;
}

BadArchiveRelease::ByHand BadArchiveRelease::unpackByHand(const QString& name, const QByteArray& archive)
{
    installation.withFile("patches/" + name, archive);
    QString path = installation.path("patches/" + name);
    ByHand result;
    if (isUnzippedFirst(name)) {
        result.unzipping = Program("gunzip").run({path}).errors;
        result.isUnzipped = !QFileInfo::exists(path);
        if (result.isUnzipped) {
            path = path.section(QLatin1Char('.'), 0, -2);
        }
    }
    result.extraction =
        Program(installation.path("bin/bsdtar")).workingDirectory(WORKING_DIRECTORY).run({"-xvPf", path});
    return result;
}

void compareWithExtractionByHand(const QByteArray& archive)
{
    const QString name = QStringLiteral("P1.tar");
    ArchiveOutcome outcome{name, name, 0, {}, {}, true};
    {
        BadArchiveRelease release(name, archive);
        const QStringList before = release.entries();
        const ProgramRun extraction = release.unpackByHand(name, archive).extraction;
        outcome.status = extraction.status;
        outcome.said = extraction.errors.contains("bsdtar: ") ? extraction.errors : QByteArray();
        outcome.changes = changesBetween(before, release.entries());
    }
    compareBadArchive(archive, outcome);
}

void compareBadArchive(const QByteArray& archive, const ArchiveOutcome& expected)
{
    BadArchiveRelease::ByHand byHand;
    QStringList changesByHand;
    {
        BadArchiveRelease release(expected.file, archive);
        const QStringList before = release.entries();
        byHand = release.unpackByHand(expected.file, archive);
        changesByHand = changesBetween(before, release.entries());
        QCOMPARE(release.storedArchives(), QStringList{expected.left});
    }
    const QByteArray said = byHand.extraction.errors;
    QVERIFY2(said.contains(expected.said), said);
    QCOMPARE(said.contains("bsdtar: "), !expected.said.isEmpty());
    QCOMPARE(byHand.extraction.status, expected.status);
    QCOMPARE(changesByHand, expected.changes);

    BadArchiveRelease release(expected.file, archive);
    const QStringList before = release.entries();
    const QByteArray patches = "/opt/tavrin/5.9/patches/";
    const QByteArray left = expected.left.toUtf8();
    QByteArray output = untilUnpacking({expected.file.toUtf8()});
    if (isUnzippedFirst(expected.file)) {
        output += executing("gunzip " + patches + expected.file.toUtf8());
        output += byHand.unzipping.isEmpty() ? QByteArray() : byHand.unzipping + "\nContinuing...\n";
    }
    output += executing("/opt/tavrin/5.9/bin/bsdtar -xvPf " + patches + left);
    const bool isInstalled = expected.status == 0;
    if (isInstalled) {
        output += (said.isEmpty() ? QByteArray() : said + '\n') + installing(left, {}) + PAGE +
                  executing("perl /opt/tavrin/5.9/bin/ozna_installed_patches -v") + PAGE_DONE;
    }
    compareRun(release.run({"-v"}), expected.status, output, isInstalled ? QByteArray() : said + '\n');
    QCOMPARE(changesBetween(before, release.entries()), expected.changes);
    QCOMPARE(release.storedArchives(), QStringList{expected.left});
    QCOMPARE(release.has("applied_patches.html"), isInstalled);
    const QStringList applied = expected.isCounted ? QStringList{"P1"} : QStringList();
    const QStringList missing = expected.isCounted ? QStringList() : QStringList{"P1"};
    compareRun(release.run({"-L"}), 0, compactReportOf("5.9", applied, missing));
}
