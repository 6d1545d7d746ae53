// The made-up installation and its page. Whatever goes wrong here is no result of a test, so it ends the program.
#include "fake_installation.h"

#include "test_files.h"
#include "test_paths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <sys/stat.h>

namespace {

const QString HOME_OF_RELEASES = QStringLiteral("/opt/tavrin/");

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
    return withFile(QStringLiteral("bin/ozna_installed_patches"),
                    contentOf(projectSourceDir() + QStringLiteral("/demo/ozna_installed_patches")));
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
    return listingOf(root);
}
