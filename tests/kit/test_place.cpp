// A test program starts itself again through scripts/with_private_opt, which the demonstration and the measurements use
// as well. The mounts that a test needs while it runs are made here.
#include "test_place.h"

#include "desktop_settings.h"
#include "test_paths.h"

#include <QFile>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <vector>

#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

const char PLACE_MARK[] =
    "TAVRIN_TEST_PLACE"; // set only when the program starts itself again; its value is the namespace outside

QByteArray mountIdentity()
{
    return QFile::symLinkTarget(QStringLiteral("/proc/self/ns/mnt")).toUtf8();
}

// Returns only when the program could not be started again.
void startAgain(char** argv, const TestPlace& place)
{
    QList<QByteArray> words{QFile::encodeName(projectSourceDir() + QStringLiteral("/scripts/with_private_opt")),
                            "--drop-capabilities"};
    if (!place.hostOnLoopback.isEmpty()) {
        words << "--network" << place.hostOnLoopback.toUtf8();
    }
    if (!place.usersFile.isEmpty()) {
        words << "--users" << QFile::encodeName(place.usersFile);
    }
    words << "--" << QFile::encodeName(QFile::symLinkTarget(QStringLiteral("/proc/self/exe")));
    std::vector<char*> arguments;
    for (QByteArray& word : words) {
        arguments.push_back(word.data());
    }
    for (char** argument = argv + 1; *argument != nullptr; ++argument) {
        arguments.push_back(*argument);
    }
    arguments.push_back(nullptr);
    qputenv(PLACE_MARK, mountIdentity());
    execv(arguments.front(), arguments.data());
    std::fprintf(stderr, "FAIL!  : cannot start %s: %s\n", arguments.front(), std::strerror(errno));
}

[[noreturn]] void refuse(const char* what, const QString& path)
{
    qFatal("cannot %s %s: %s", what, qUtf8Printable(path), std::strerror(errno));
}

void unmount(const QString& path)
{
    if (umount2(QFile::encodeName(path).constData(), MNT_DETACH) != 0) {
        refuse("unmount", path);
    }
}

} // namespace

bool enterTestPlace(char** argv, const TestPlace& place)
{
    const QByteArray outside = qgetenv(PLACE_MARK);
    const bool isPrivate = QFile::exists(QStringLiteral("/opt/.with_private_opt"));
    if (!isPrivate || outside.isEmpty() || outside == mountIdentity()) {
        startAgain(argv, place);
        return false;
    }
    qunsetenv(PLACE_MARK);
    forgetCallersEnvironment();
    // What libraries keep for the user, such as a cache of fonts, is removed with the place.
    qputenv("HOME", "/opt/home");
    qputenv("XDG_RUNTIME_DIR", "/opt/home");
    return true;
}

void forgetCallersEnvironment()
{
    for (const char* name :
         {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY", "HTTPS_PROXY", "FTP_PROXY",
          "ALL_PROXY", "NO_PROXY", "DISPLAY", "WAYLAND_DISPLAY", "QT_LOGGING_RULES", "QT_LOGGING_CONF",
          "QT_DEBUG_PLUGINS", "QT_MESSAGE_PATTERN", "QT_FATAL_WARNINGS", "TAVRIN"}) {
        qunsetenv(name);
    }
    for (const auto& [name, value] : desktopSettings()) {
        qputenv(name.toLatin1().constData(), value.toLatin1());
    }
}

SmallDisk::SmallDisk(const QString& directory, qint64 sizeBytes) : path(directory)
{
    const QByteArray options = "mode=0755,size=" + QByteArray::number(sizeBytes);
    if (mount("tmpfs", QFile::encodeName(path).constData(), "tmpfs", MS_NOSUID | MS_NODEV, options.constData()) != 0) {
        refuse("mount on", path);
    }
}

SmallDisk::~SmallDisk()
{
    unmount(path);
}

ReadOnlyMount::ReadOnlyMount(const QString& directory) : path(directory)
{
    const QByteArray name = QFile::encodeName(path);
    struct statvfs status = {};
    if (statvfs(name.constData(), &status) != 0 ||
        mount(name.constData(), name.constData(), nullptr, MS_BIND, nullptr) != 0) {
        refuse("bind", path);
    }
    // A user namespace may not take away the restrictions that the mount came with.
    const unsigned long kept = status.f_flag & (MS_NOSUID | MS_NODEV | MS_NOEXEC);
    if (mount(nullptr, name.constData(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY | kept, nullptr) != 0) {
        refuse("make read-only", path);
    }
}

ReadOnlyMount::~ReadOnlyMount()
{
    unmount(path);
}

BindMount::BindMount(const QString& shown, const QString& covered) : path(covered)
{
    if (mount(QFile::encodeName(shown).constData(), QFile::encodeName(path).constData(), nullptr, MS_BIND, nullptr) !=
        0) {
        refuse("bind a mount to", path);
    }
}

BindMount::~BindMount()
{
    unmount(path);
}
