// The functions of Qt and of the installation's library that are replaced here are found in this program before those
// in the shared libraries. Only calls from the project's own code end here; Qt's calls of its own functions do not.
#include "window_surroundings.h"

#include "fuzz_target.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

#include <cstdlib>
#include <cstring>

namespace {

WindowSurroundings* currentSurroundings = nullptr;

void makeFolder(const QString& name)
{
    require(QDir().mkpath(INSTALLATION + name), "a folder of the installation can be made");
}

void writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) { // not in a folder that the input has removed
        file.write(content);
    }
}

bool isInInstallation(const QString& file)
{
    return QDir::cleanPath(file).startsWith(INSTALLATION + QStringLiteral("/patches/"));
}

} // namespace

FuzzReply::FuzzReply(const QUrl& url, QNetworkAccessManager& manager) : owner(manager)
{
    setParent(&manager);
    setUrl(url);
    setRequest(QNetworkRequest(url));
    setOperation(QNetworkAccessManager::GetOperation);
    QNetworkReply::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
}

void FuzzReply::finish(const NetworkAnswer& answer)
{
    body = answer.body;
    if (answer.error != NoError) {
        setError(answer.error, answer.errorText);
    }
    if (answer.status != 0) {
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, answer.status);
    }
    if (answer.announcedLength >= 0) {
        setHeader(QNetworkRequest::ContentLengthHeader, answer.announcedLength);
    }
    if (answer.inChunks) {
        setRawHeader("Transfer-Encoding", "Chunked");
    }
    setFinished(true);
    emit owner.finished(this);
}

qint64 FuzzReply::bytesAvailable() const
{
    return body.size() - position + QNetworkReply::bytesAvailable();
}

qint64 FuzzReply::readData(char* data, qint64 maxSize)
{
    const int size = static_cast<int>(qMin<qint64>(maxSize, body.size() - position));
    std::memcpy(data, body.constData() + position, static_cast<std::size_t>(size));
    position += size;
    return size;
}

WindowSurroundings::WindowSurroundings(Choices& inputChoices) : choices(inputChoices)
{
    currentSurroundings = this;
    QDir(INSTALLATION).removeRecursively();
    QDir(QStringLiteral("/opt/tavrin/5.8")).removeRecursively();
    for (const char* name :
         {"", "/patched", "/patches", "/bin", "/data/pf", "/include", "/lib", "/man/man1", "/../5.8"}) {
        makeFolder(QString::fromLatin1(name));
    }
    qputenv("TAVRIN", INSTALLATION.toUtf8());
}

WindowSurroundings::~WindowSurroundings()
{
    currentSurroundings = nullptr;
}

WindowSurroundings& WindowSurroundings::current()
{
    return *currentSurroundings;
}

QNetworkReply* WindowSurroundings::request(QNetworkAccessManager& manager, const QUrl& url)
{
    if (listManager == nullptr) {
        listManager = &manager; // a run begins with the list
    }
    const bool isForList = listManager == &manager;
    auto* reply = new FuzzReply(url, manager);
    requests << OpenRequest{requestCount, isForList, reply};
    ++requestCount;
    listener((isForList ? QStringLiteral("get:list ") : QStringLiteral("get:archive ")) +
             url.toString(QUrl::FullyEncoded));
    return reply;
}

void WindowSurroundings::start(const QString& program, const QStringList& arguments)
{
    listener(QStringLiteral("start:") + program + QLatin1Char('|') + arguments.join(QLatin1Char('|')));
    lastProgram = ProgramEnd();
    switch (choices.below(8)) {
    case 0:
        lastProgram.code = 1 + choices.below(2);
        break;
    case 1:
        lastProgram.crashed = true;
        break;
    case 2:
        lastProgram.wasRun = false;
        lastProgram.reason = QStringLiteral("execvp: No such file or directory");
        break;
    default:
        applyEffect(program, arguments.last());
        break;
    }
    lastProgram.output = choices.one(QList<QByteArray>{"", "out\n", "\xff", "<img src='x'>"});
    lastProgram.errors = choices.one(QList<QByteArray>{"", "x patched/P1\n", "\n", "bad\n\n"});
}

// What the archive's members, or the decompressor, leave in the installation.
void WindowSurroundings::applyEffect(const QString& program, const QString& file)
{
    if (program == QStringLiteral("gunzip") && isInInstallation(file)) {
        const int dot = file.lastIndexOf(QLatin1Char('.'));
        switch (choices.below(4)) {
        case 0:
            QFile::remove(file);
            break;
        case 1:
            break; // a file that it does not know
        default:
            QFile::rename(file, file.left(dot));
            break;
        }
    } else if (program.endsWith(QStringLiteral("/bin/bsdtar"))) {
        writeFile(INSTALLATION + QStringLiteral("/patched/") + choices.one(PATCH_NAMES).replace('/', '_'), "mark");
    }
}

void WindowSurroundings::disturbFiles()
{
    const QString name = choices.one(PATCH_NAMES).replace('/', '_');
    const QString patches = INSTALLATION + QStringLiteral("/patches");
    const QString patched = INSTALLATION + QStringLiteral("/patched");
    switch (choices.below(8)) {
    case 0:
    case 1:
        writeFile(patched + '/' + name, QByteArray());
        break;
    case 2:
        QFile::remove(patched + '/' + name);
        break;
    case 3:
        QDir(patched).removeRecursively();
        break;
    case 4:
        QDir(patches).removeRecursively();
        break;
    case 5:
        QDir().mkdir(patches);
        QDir().mkdir(patched);
        break;
    case 6:
        QDir().mkdir(patches + '/' + name + QStringLiteral(".tar"));
        break;
    default:
        QDir().mkdir(patched + '/' + name);
        break;
    }
}

NetworkAnswer answerTo(bool isForList, Choices& choices)
{
    NetworkAnswer answer;
    const QList<QNetworkReply::NetworkError> errors{
        QNetworkReply::ConnectionRefusedError, QNetworkReply::ProtocolUnknownError, QNetworkReply::ContentNotFoundError,
        QNetworkReply::UnknownContentError};
    if (choices.once(4)) {
        answer.error = errors.at(choices.below(errors.count()));
        answer.errorText = choices.one(QStringList{"Connection refused", "", "%1 %2 \u00e4", "<b>no</b>"});
    }
    answer.status = choices.one(QStringList{"200", "0", "200", "0", "301", "302", "304", "206"}).toInt();
    if (!isForList) {
        answer.body = choices.one(QList<QByteArray>{"archive", "", QByteArray(100000, 'x'), choices.bytes(8)});
    } else if (choices.once(8)) {
        answer.body = "<ul><!-- new patch -->" + choices.bytes(60);
    } else {
        answer.body = choices.once(8) ? "<ul><!-- no list -->" : "<ul><!-- new patch -->";
        const int count = choices.below(6);
        for (int i = 0; i < count; ++i) {
            answer.body +=
                joined({"<li><a href=\"", choices.one(PATCH_LINKS).toHtmlEscaped().toUtf8(), "\">",
                        choices.one(PATCH_NAMES).toHtmlEscaped().toUtf8(), " 1 May 2020</a></li><blockquote>",
                        choices.one(QList<QByteArray>{"text", "two\n lines", "&lt;b>x", "  "}), "</blockquote>"});
        }
        answer.body += choices.once(8) ? "" : "</ul>";
    }
    answer.announcedLength = answer.body.size() - 1 + choices.below(3);
    answer.inChunks = choices.once(4);
    return answer;
}

QNetworkReply* QNetworkAccessManager::get(const QNetworkRequest& request)
{
    return WindowSurroundings::current().request(*this, request.url());
}

void QProcess::start(const QString& program, const QStringList& arguments, OpenMode)
{
    WindowSurroundings::current().start(program, arguments);
    setErrorString(WindowSurroundings::current().lastProgram.reason);
}

bool QProcess::waitForFinished(int)
{
    return WindowSurroundings::current().lastProgram.wasRun;
}

QByteArray QProcess::readAllStandardError()
{
    return WindowSurroundings::current().lastProgram.errors;
}

QByteArray QProcess::readAllStandardOutput()
{
    return WindowSurroundings::current().lastProgram.output;
}

QProcess::ExitStatus QProcess::exitStatus() const
{
    return WindowSurroundings::current().lastProgram.crashed ? CrashExit : NormalExit;
}

int QProcess::exitCode() const
{
    return WindowSurroundings::current().lastProgram.code;
}

extern "C" int pidrtsys(Pidrtsys** systems)
{
    const std::vector<Pidrtsys>& running = WindowSurroundings::current().systems;
    *systems = nullptr;
    if (!running.empty()) {
        *systems = static_cast<Pidrtsys*>(std::calloc(running.size(), sizeof(Pidrtsys)));
        std::memcpy(*systems, running.data(), running.size() * sizeof(Pidrtsys));
    }
    return static_cast<int>(running.size());
}
