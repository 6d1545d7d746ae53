// The made-up installation and its page. Whatever goes wrong here is no result of a test, so it ends the program.
#include "fake_installation.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QUrl>

#include <sys/stat.h>

namespace {

const QString HOME_OF_RELEASES = QStringLiteral("/opt/tavrin/");

// Stands for the installation's own: one table row per mark, so that the page tells which patches it was made from.
const char PAGE_SCRIPT[] = R"script(use strict;
use warnings;
use FindBin;
my $root = "$FindBin::RealBin/..";
opendir(my $marks, "$root/patched") or die "Cannot read $root/patched: $!\n";
my @names = sort grep { -f "$root/patched/$_" } readdir($marks);
closedir($marks);
open(my $page, '>', "$root/applied_patches.html") or die "Cannot write $root/applied_patches.html: $!\n";
print $page "<html><body><table>\n", (map { "<tr><td>$_</td></tr>\n" } @names), "</table></body></html>\n";
close($page) or die "Cannot write $root/applied_patches.html: $!\n";
print "wrote ", scalar(@names), " patches\n" if grep { $_ eq '-v' } @ARGV;
)script";

void require(bool condition, const char* what, const QString& subject)
{
    if (!condition) {
        qFatal("cannot %s %s", what, qUtf8Printable(subject));
    }
}

void setMode(const QString& path, int mode)
{
    require(::chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(mode)) == 0, "set the mode of", path);
}

struct stat statusOf(const QString& path)
{
    struct stat status = {};
    require(::lstat(QFile::encodeName(path).constData(), &status) == 0, "look at", path);
    return status;
}

void makeAccessible(const QString& directory)
{
    setMode(directory, 0755);
    const QDir::Filters filters = QDir::Dirs | QDir::NoSymLinks | QDir::NoDotAndDotDot | QDir::Hidden;
    const QFileInfoList folders = QDir(directory).entryInfoList(filters);
    for (const QFileInfo& folder : folders) {
        makeAccessible(folder.absoluteFilePath());
    }
}

} // namespace

FakeInstallation::FakeInstallation(const QString& releaseName)
    : release(releaseName), root(HOME_OF_RELEASES + releaseName)
{
    require(!QFileInfo::exists(root), "make a second", root);
    for (const char* name : {"patched", "patches", "bin", "data/pf", "include", "lib", "man/man1"}) {
        require(QDir().mkpath(path(QString::fromLatin1(name))), "make", path(QString::fromLatin1(name)));
    }
}

FakeInstallation::~FakeInstallation()
{
    if (QFileInfo::exists(root)) {
        makeAccessible(root);
        require(QDir(root).removeRecursively(), "remove", root);
    }
}

FakeInstallation& FakeInstallation::withPatched(const QString& name)
{
    return withFile(QStringLiteral("patched/") + name);
}

FakeInstallation& FakeInstallation::withTools()
{
    const QString archiveTool = QStandardPaths::findExecutable(QStringLiteral("bsdtar"));
    require(!archiveTool.isEmpty(), "find", QStringLiteral("bsdtar"));
    require(QFile::link(archiveTool, path(QStringLiteral("bin/bsdtar"))), "link", path(QStringLiteral("bin/bsdtar")));
    return withFile(QStringLiteral("bin/ozna_installed_patches"), PAGE_SCRIPT);
}

FakeInstallation& FakeInstallation::withFile(const QString& name, const QByteArray& content)
{
    require(QDir().mkpath(QFileInfo(path(name)).absolutePath()), "make the folder of", path(name));
    writeTestFile(path(name), content);
    return *this;
}

FakeInstallation& FakeInstallation::without(const QString& name)
{
    const QFileInfo entry(path(name));
    const bool isFolder = entry.isDir() && !entry.isSymLink();
    require(isFolder ? QDir(path(name)).removeRecursively() : QFile::remove(path(name)), "remove", path(name));
    return *this;
}

FakeInstallation& FakeInstallation::withMode(const QString& name, int mode)
{
    setMode(path(name), mode);
    return *this;
}

QString FakeInstallation::path(const QString& name) const
{
    return name.isEmpty() ? root : root + QLatin1Char('/') + name;
}

QString FakeInstallation::releaseName() const
{
    return release;
}

QStringList FakeInstallation::tree() const
{
    QStringList lines;
    const QDir::Filters filters = QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot;
    QDirIterator walk(root, filters, QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QString entry = walk.next();
        const QString name = QDir(root).relativeFilePath(entry);
        const struct stat status = statusOf(entry);
        const QString mode = QString::number(status.st_mode & 07777, 8);
        if (S_ISLNK(status.st_mode)) {
            lines << QStringLiteral("l %1 -> %2").arg(name, QFileInfo(entry).symLinkTarget());
        } else if (S_ISDIR(status.st_mode)) {
            lines << QStringLiteral("d %1 %2/").arg(mode, name);
        } else {
            QFile file(entry);
            require(file.open(QIODevice::ReadOnly), "read", entry);
            const QByteArray content = file.readAll();
            const QByteArray hash = QCryptographicHash::hash(content, QCryptographicHash::Sha1).toHex();
            lines << QStringLiteral("f %1 %2 %3 %4")
                         .arg(mode, QString::number(content.size()), QString::fromLatin1(hash), name);
        }
    }
    lines.sort();
    return lines;
}

PatchPage& PatchPage::entry(const QString& name, const QString& date, const QString& description, const QString& href)
{
    const QString link = href.isEmpty() ? name + QStringLiteral(".tar.gz") : href;
    return markup(QStringLiteral("<li><a href=\"%1\">%2 %3</a></li>\n<blockquote>%4</blockquote>\n")
                      .arg(link, name, date, description));
}

PatchPage& PatchPage::markup(const QString& text)
{
    entries += text;
    return *this;
}

QByteArray PatchPage::html() const
{
    return "<html><head><title>Patches</title></head><body>\n<!-- new patch list -->\n<ul>\n" + entries.toUtf8() +
           "</ul>\n</body></html>\n";
}

void PatchPage::writeTo(const QString& directory) const
{
    writeTestFile(directory + QStringLiteral("/index.html"), html());
}

LocalSource::LocalSource(const PatchPage& page)
{
    page.writeTo(directory.path());
}

LocalSource& LocalSource::withFile(const QString& name, const QByteArray& content)
{
    writeTestFile(directory.filePath(name), content);
    return *this;
}

QString LocalSource::url() const
{
    return QUrl::fromLocalFile(directory.path()).toString() + QLatin1Char('/');
}

QString LocalSource::path() const
{
    return directory.path();
}

QByteArray archiveOf(const QString& member, const QByteArray& content)
{
    const auto octal = [](qint64 number, int width) {
        return QByteArray::number(number, 8).rightJustified(width - 1, '0') + '\0';
    };
    const QByteArray name = member.toUtf8();
    require(name.size() <= 100, "store the long name", member);
    const QByteArray before = name.leftJustified(100, '\0') + octal(0644, 8) + octal(0, 8) + octal(0, 8) +
                              octal(content.size(), 12) + octal(1577836800, 12);
    const QByteArray after = QByteArray("0").leftJustified(101, '\0') + QByteArray("ustar\00000", 8);
    // The sum is taken with blanks in its own place.
    const QByteArray summed = before + "        " + after;
    qint64 sum = 0;
    for (const char byte : summed) {
        sum += static_cast<unsigned char>(byte);
    }
    const int block = 512;
    QByteArray archive = (before + octal(sum, 7) + " " + after).leftJustified(block, '\0') + content;
    archive += QByteArray((block - content.size() % block) % block, '\0');
    return archive + QByteArray(2 * block, '\0');
}

void writeTestFile(const QString& fileName, const QByteArray& content)
{
    QFile file(fileName);
    require(file.open(QIODevice::WriteOnly), "write", fileName);
    require(file.write(content) == content.size(), "write", fileName);
    file.close();
    require(file.error() == QFile::NoError, "write", fileName);
}
