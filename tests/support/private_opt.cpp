// The private mount namespace of a test process. Root gets one directly; anybody else first becomes root of a user
// namespace of their own. Everything here is a plain system call, because it has to happen before Qt starts a thread.
#include "private_opt.h"

#include "test_paths.h"

#include <QFile>
#include <QVector>

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <linux/capability.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

struct KeptFolder
{
    QByteArray path;
    int descriptor;
};

bool fail(QString* error, const QString& what)
{
    *error = QStringLiteral("%1: %2").arg(what, QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

bool writeFile(const char* path, const QByteArray& text)
{
    const int descriptor = open(path, O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return false;
    }
    const bool written = write(descriptor, text.constData(), static_cast<size_t>(text.size())) == text.size();
    const int reason = errno;
    close(descriptor);
    errno = reason;
    return written;
}

bool enterNamespaces(QString* error)
{
    if (geteuid() == 0 && unshare(CLONE_NEWNS) == 0) {
        return true;
    }
    const QByteArray users = "0 " + QByteArray::number(geteuid()) + " 1\n";
    const QByteArray groups = "0 " + QByteArray::number(getegid()) + " 1\n";
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return fail(error, QStringLiteral("Cannot make a user and mount namespace"));
    }
    // The kernel lets an ordinary user map a group only after giving up setgroups().
    if (!writeFile("/proc/self/setgroups", "deny") || !writeFile("/proc/self/uid_map", users) ||
        !writeFile("/proc/self/gid_map", groups)) {
        return fail(error, QStringLiteral("Cannot map this user to root of the new namespace"));
    }
    return true;
}

// Software in /opt (a compiler, Qt, this very build tree) has to stay reachable: its folders are held open across the
// mount and bound back into the empty /opt.
bool holdFolders(QVector<KeptFolder>& folders, QString* error)
{
    DIR* directory = opendir("/opt");
    if (directory == nullptr) {
        return fail(error, QStringLiteral("Cannot read /opt"));
    }
    while (const dirent* entry = readdir(directory)) {
        const QByteArray name(entry->d_name);
        const QByteArray path = "/opt/" + name;
        struct stat status = {};
        if (name == "." || name == ".." || name == "tavrin" || lstat(path.constData(), &status) != 0 ||
            !S_ISDIR(status.st_mode)) {
            continue;
        }
        const int descriptor = open(path.constData(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        if (descriptor >= 0) {
            folders.append({path, descriptor});
        }
    }
    closedir(directory);
    return true;
}

bool bindBack(const QVector<KeptFolder>& folders, QString* error)
{
    for (const KeptFolder& folder : folders) {
        const QByteArray source = "/proc/self/fd/" + QByteArray::number(folder.descriptor);
        const bool bound = mkdir(folder.path.constData(), 0755) == 0 &&
                           mount(source.constData(), folder.path.constData(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
        if (!bound) {
            return fail(error, QStringLiteral("Cannot keep %1").arg(QFile::decodeName(folder.path)));
        }
        close(folder.descriptor);
    }
    return true;
}

bool dropCapabilities(QString* error)
{
    for (const unsigned long capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH}) {
        if (prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0) {
            return fail(error, QStringLiteral("Cannot drop a capability from the bounding set"));
        }
    }
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3] = {};
    if (syscall(SYS_capget, &header, data) != 0) {
        return fail(error, QStringLiteral("Cannot read the capabilities"));
    }
    const __u32 dropped = (1U << CAP_DAC_OVERRIDE) | (1U << CAP_DAC_READ_SEARCH);
    data[0].effective &= ~dropped;
    data[0].permitted &= ~dropped;
    data[0].inheritable &= ~dropped;
    if (syscall(SYS_capset, &header, data) != 0) {
        return fail(error, QStringLiteral("Cannot drop capabilities"));
    }
    return true;
}

bool bringLoopbackUp(QString* error)
{
    const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request = {};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP;
    const bool isUp = descriptor >= 0 && ioctl(descriptor, SIOCSIFFLAGS, &request) == 0;
    return isUp || fail(error, QStringLiteral("Cannot bring loopback up"));
}

// The replacement lies in the private /opt, so it goes with it.
bool replaceFile(const char* path, const QByteArray& replacement, const QByteArray& content, QString* error)
{
    const int descriptor = open(replacement.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (descriptor < 0 ||
        write(descriptor, content.constData(), static_cast<size_t>(content.size())) != content.size() ||
        close(descriptor) != 0 || mount(replacement.constData(), path, nullptr, MS_BIND, nullptr) != 0) {
        return fail(error, QStringLiteral("Cannot replace %1").arg(QLatin1String(path)));
    }
    return true;
}

} // namespace

bool enterPrivateOpt(QString* error)
{
    for (const QString& tree : {projectSourceDir(), projectBinaryDir()}) {
        if (tree.startsWith(QLatin1String("/opt/tavrin/"))) {
            *error = QStringLiteral("%1 lies below /opt/tavrin, which the tests replace; build elsewhere").arg(tree);
            return false;
        }
    }
    if (!enterNamespaces(error)) {
        return false;
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        return fail(error, QStringLiteral("Cannot make the mounts private"));
    }
    QVector<KeptFolder> folders;
    if (!holdFolders(folders, error)) {
        return false;
    }
    if (mount("tmpfs", "/opt", "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") != 0) {
        return fail(error, QStringLiteral("Cannot mount on /opt"));
    }
    if (!bindBack(folders, error)) {
        return false;
    }
    if (mkdir("/opt/tavrin", 0755) != 0 || mkdir("/opt/home", 0700) != 0) {
        return fail(error, QStringLiteral("Cannot make /opt/tavrin"));
    }
    // Whatever this process keeps for its user, such as a cache of fonts, goes with it.
    qputenv("HOME", "/opt/home");
    qputenv("XDG_RUNTIME_DIR", "/opt/home");
    if (!dropCapabilities(error)) {
        return false;
    }
    // Root may well build in a folder that only another user, or a capability just given up, can enter.
    if (access(QFile::encodeName(projectBinaryDir()).constData(), R_OK | X_OK) != 0) {
        return fail(error, QStringLiteral("Cannot enter %1 without overlooking file modes").arg(projectBinaryDir()));
    }
    return true;
}

bool enterPrivateNetwork(const QString& hostOnLoopback, QString* error)
{
    if (unshare(CLONE_NEWNET) != 0) {
        return fail(error, QStringLiteral("Cannot make a network namespace"));
    }
    const QByteArray hosts = "127.0.0.1 localhost " + hostOnLoopback.toLatin1() + "\n";
    return bringLoopbackUp(error) && replaceFile("/etc/hosts", "/opt/hosts", hosts, error) &&
           replaceFile("/etc/nsswitch.conf", "/opt/nsswitch.conf", "hosts: files\n", error);
}

bool enterPrivateUsers(const QByteArray& lines, QString* error)
{
    return replaceFile("/etc/passwd", "/opt/passwd", lines, error) &&
           replaceFile("/etc/nsswitch.conf", "/opt/nsswitch.conf", "passwd: files\n", error);
}

void forgetCallersEnvironment()
{
    for (const char* name :
         {"http_proxy", "https_proxy", "ftp_proxy", "all_proxy", "no_proxy", "HTTP_PROXY", "HTTPS_PROXY", "FTP_PROXY",
          "ALL_PROXY", "NO_PROXY", "DISPLAY", "WAYLAND_DISPLAY", "QT_LOGGING_RULES", "QT_LOGGING_CONF",
          "QT_DEBUG_PLUGINS", "QT_MESSAGE_PATTERN", "QT_FATAL_WARNINGS", "TAVRIN"}) {
        qunsetenv(name);
    }
}

bool mountTmpfs(const QString& path, qint64 sizeBytes, QString* error)
{
    const QByteArray options = "mode=0755,size=" + QByteArray::number(sizeBytes);
    if (mount("tmpfs", QFile::encodeName(path).constData(), "tmpfs", MS_NOSUID | MS_NODEV, options.constData()) != 0) {
        return fail(error, QStringLiteral("Cannot mount on %1").arg(path));
    }
    return true;
}

bool bindReadOnly(const QString& path, QString* error)
{
    const QByteArray name = QFile::encodeName(path);
    struct statvfs status = {};
    if (statvfs(name.constData(), &status) != 0 ||
        mount(name.constData(), name.constData(), nullptr, MS_BIND, nullptr) != 0) {
        return fail(error, QStringLiteral("Cannot bind %1").arg(path));
    }
    // A user namespace may not take away the restrictions that the mount came with.
    const unsigned long kept = status.f_flag & (MS_NOSUID | MS_NODEV | MS_NOEXEC);
    if (mount(nullptr, name.constData(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY | kept, nullptr) != 0) {
        return fail(error, QStringLiteral("Cannot make %1 read-only").arg(path));
    }
    return true;
}

bool unmount(const QString& path, QString* error)
{
    if (umount2(QFile::encodeName(path).constData(), MNT_DETACH) != 0) {
        return fail(error, QStringLiteral("Cannot unmount %1").arg(path));
    }
    return true;
}
