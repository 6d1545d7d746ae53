// Each server stays in the foreground, as the first process of a PID namespace: when that one ends, the kernel ends all
// others before its parent learns of it. The parent is unshare, which dies with this process and takes the first along.
#include "real_server.h"

#include "helper_run.h"
#include "test_files.h"

#include <QByteArrayList>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTcpSocket>

#include <algorithm>

#include <csignal>
#include <sys/prctl.h>
#include <sys/stat.h>

namespace {

constexpr int PATIENCE = 30000; // milliseconds

const QString LIGHTTPD_CONFIGURATION = QStringLiteral("/run/lighttpd.conf");

struct ServerKind
{
    QString name;
    QStringList command;
    quint16 port;
    QString log;
    int endSignal; // its own way to end, in which it writes what is left of its log
};

// The log of lighttpd is a file of the package that the administrator switches on; busybox has it on standard error.
const QList<ServerKind> KINDS{
    {"nginx", {"nginx", "-g", "daemon off;"}, 80, "/var/log/nginx/access.log", SIGTERM},
    {"apache2",
     {"sh", "-c", ". /etc/apache2/envvars; exec apache2 -D FOREGROUND"},
     80,
     "/var/log/apache2/access.log",
     SIGTERM},
    {"lighttpd", {"lighttpd", "-D", "-f", LIGHTTPD_CONFIGURATION}, 80, "/var/log/lighttpd/access.log", SIGTERM},
    {"busybox", {"busybox", "httpd", "-f", "-vv", "-h", "/var/www/html"}, 80, "", SIGKILL},
    {"tinyproxy", {"tinyproxy", "-d"}, 8888, "/var/log/tinyproxy/tinyproxy.log", SIGTERM},
};

const ServerKind& kindOf(const QString& name)
{
    for (const ServerKind& kind : KINDS) {
        if (kind.name == name) {
            return kind;
        }
    }
    qFatal("no server %s is known", qUtf8Printable(name));
}

class ServerProcess : public QProcess
{
protected:
    void setupChildProcess() override
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    }
};

// The first process of the namespace, as its parent's namespace names it; 0 when there is none yet or any more.
pid_t firstProcess(const QProcess& parent)
{
    const QString id = QString::number(parent.processId());
    const QByteArray children = contentOf(QStringLiteral("/proc/%1/task/%1/children").arg(id));
    return children.split(' ').value(0).toInt();
}

bool accepts(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost("127.0.0.1", port);
    return socket.waitForConnected(PATIENCE);
}

// The usual format of the logs; a line of another kind stays as it is, and no test expects it.
QByteArrayList requestsOfWebServer(const QByteArrayList& lines)
{
    static const QRegularExpression request("\"GET (\\S+) HTTP/1\\.1\" (\\d+) ");
    QByteArrayList requests;
    for (const QByteArray& line : lines) {
        const QRegularExpressionMatch match = request.match(QString::fromUtf8(line));
        requests << (match.hasMatch() ? QByteArray::fromPercentEncoding(match.captured(1).toUtf8()) + ' ' +
                                            match.captured(2).toUtf8()
                                      : line);
    }
    return requests;
}

// Among other lines: "CONNECT  DATE [PID]: Request (file descriptor 6): GET http://HOST/PATH HTTP/1.1".
QByteArrayList requestsOfProxy(const QByteArrayList& lines)
{
    static const QRegularExpression request(": Request \\(.*\\): (.*) HTTP/1\\.1$");
    QByteArrayList requests;
    for (const QByteArray& line : lines) {
        const QRegularExpressionMatch match = request.match(QString::fromUtf8(line));
        if (match.hasMatch()) {
            requests << match.captured(1).toUtf8();
        }
    }
    return requests;
}

QByteArrayList linesOf(const QByteArray& text)
{
    QByteArrayList lines = text.split('\n');
    lines.removeAll(QByteArray());
    return lines;
}

// Two lines a request, which those of other requests can separate: "[CLIENT]:PORT: url:PATH", the same "response:200".
QByteArrayList requestsOfBusybox(const QByteArrayList& lines)
{
    static const QRegularExpression part("^(\\[\\S+\\]:\\d+): (url|response):(.*)$");
    QHash<QString, QByteArray> paths;
    QByteArrayList requests;
    for (const QByteArray& line : lines) {
        const QRegularExpressionMatch match = part.match(QString::fromUtf8(line));
        if (match.captured(2) == "url") {
            paths.insert(match.captured(1), match.captured(3).toUtf8());
        } else if (match.captured(2) == "response") {
            requests << paths.take(match.captured(1)) + ' ' + match.captured(3).toUtf8();
        }
    }
    for (const QByteArray& unanswered : qAsConst(paths)) {
        requests << unanswered;
    }
    return requests;
}

// Their packages or the machine's start make these, some of them for users that the servers change to.
void makeFolder(const QString& path)
{
    if (!QDir().mkpath(path) || ::chmod(QFile::encodeName(path).constData(), 0777) != 0) {
        qFatal("cannot make %s", qUtf8Printable(path));
    }
}

} // namespace

ServedFolder::ServedFolder()
    : runtimeFiles("/run", 1 << 20), logs("/var/log", 1 << 20), stateOfNginx("/var/lib/nginx", 32 << 20)
{
    if (::chmod(QFile::encodeName(folder.path()).constData(), 0755) != 0) {
        qFatal("cannot open %s to the servers", qUtf8Printable(folder.path()));
    }
    shown = std::make_unique<BindMount>(folder.path(), "/var/www/html");
    for (const char* path : {"/run/apache2", "/run/lock/apache2", "/run/tinyproxy", "/var/log/nginx",
                             "/var/log/apache2", "/var/log/lighttpd", "/var/log/tinyproxy"}) {
        makeFolder(QString::fromLatin1(path));
    }
    // Or only its own user could read it.
    writeTestFile(kindOf("tinyproxy").log, QByteArray());
    ::chmod(QFile::encodeName(kindOf("tinyproxy").log).constData(), 0666);
    writeTestFile(LIGHTTPD_CONFIGURATION, "include \"/etc/lighttpd/lighttpd.conf\"\n"
                                          "include \"/etc/lighttpd/conf-available/10-accesslog.conf\"\n");
}

void ServedFolder::add(const QString& name, const QByteArray& content)
{
    QDir().mkpath(QFileInfo(path(name)).path());
    writeTestFile(path(name), content);
}

void ServedFolder::addCopy(const QString& directory, const QString& name)
{
    // Into a folder that is made here, because only that is open to every user.
    QDir().mkpath(path(name));
    requireHelper("cp", {"-r", directory + "/.", path(name)});
}

QString RealServer::obstacle()
{
    QStringList missing;
    for (const char* file :
         {"/etc/nginx/sites-enabled/default", "/etc/apache2/sites-enabled/000-default.conf",
          "/etc/lighttpd/conf-available/10-accesslog.conf", "/etc/tinyproxy/tinyproxy.conf", "/bin/busybox"}) {
        if (!QFileInfo::exists(QString::fromLatin1(file))) {
            missing << QString::fromLatin1(file);
        }
    }
    if (!missing.isEmpty()) {
        return QStringLiteral("these files of the servers' packages are missing: ") + missing.join(' ');
    }
    // Most of them do not serve as root, and a user namespace of only one user has no other.
    if (runHelper("setpriv", {"--reuid", "www-data", "--regid", "www-data", "--clear-groups", "true"}).status != 0) {
        return QStringLiteral("the servers cannot become another user here");
    }
    return QString();
}

RealServer::RealServer(const QString& serverName) : name(serverName), process(std::make_unique<ServerProcess>())
{
    const ServerKind& kind = kindOf(name);
    QProcessEnvironment environment;
    environment.insert("PATH", "/usr/sbin:/usr/bin:/sbin:/bin");
    process->setProcessEnvironment(environment);
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->start("unshare", QStringList{"--pid", "--fork", "--kill-child", "--"} + kind.command);
    QElapsedTimer clock;
    clock.start();
    while (!accepts(kind.port)) {
        if (process->waitForFinished(10) || clock.elapsed() > PATIENCE) {
            qFatal("%s does not serve: %s", qUtf8Printable(name), process->readAll().constData());
        }
    }
}

RealServer::~RealServer()
{
    stop();
}

void RealServer::stop()
{
    const pid_t server = firstProcess(*process);
    if (process->state() == QProcess::NotRunning || server <= 0) {
        return;
    }
    ::kill(server, kindOf(name).endSignal);
    if (!process->waitForFinished(PATIENCE)) {
        process->kill();
        process->waitForFinished();
        qFatal("%s does not end: %s", qUtf8Printable(name), process->readAll().constData());
    }
}

QByteArray RealServer::requests()
{
    stop();
    QByteArrayList requests;
    if (name == "busybox") {
        requests = requestsOfBusybox(linesOf(process->readAll()));
    } else if (name == "tinyproxy") {
        requests = requestsOfProxy(linesOf(contentOf(kindOf(name).log)));
    } else {
        requests = requestsOfWebServer(linesOf(contentOf(kindOf(name).log)));
    }
    std::sort(requests.begin(), requests.end());
    requests << QByteArray(); // for the end of the last line
    return requests.join('\n');
}
