// The fake patch server's side of HTTP: one request per connection, and the client is the one who hangs up after a
// whole answer. Its hanging up is how the server knows that the answer has arrived, not just left.
#include "fake_patch_server.h"

#include <QFile>

namespace {

const QByteArray END_OF_HEADERS = QByteArrayLiteral("\r\n\r\n");

FakePatchServer::Request parse(const QByteArray& head)
{
    FakePatchServer::Request request;
    const QList<QByteArray> lines = head.split('\n');
    const QList<QByteArray> words = lines.first().trimmed().split(' ');
    request.method = words.value(0);
    request.path = words.value(1);
    for (int i = 1; i < lines.size(); ++i) {
        const int colon = lines.at(i).indexOf(':');
        request.headers.insert(lines.at(i).left(colon).toLower(), lines.at(i).mid(colon + 1).trimmed());
    }
    return request;
}

} // namespace

FakePatchServer::Answer FakePatchServer::Answer::body(const QByteArray& content)
{
    return status(200, content);
}

FakePatchServer::Answer FakePatchServer::Answer::status(int code, const QByteArray& content)
{
    Answer answer;
    answer.code = code;
    answer.content = content;
    return answer;
}

FakePatchServer::Answer FakePatchServer::Answer::redirect(int code, const QByteArray& location)
{
    Answer answer = status(code);
    answer.header("Location", location);
    return answer;
}

FakePatchServer::Answer FakePatchServer::Answer::file(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("cannot serve %s", qUtf8Printable(fileName));
    }
    return body(file.readAll());
}

FakePatchServer::Answer FakePatchServer::Answer::hangUp()
{
    Answer answer;
    answer.kind = Kind::HangUp;
    return answer;
}

FakePatchServer::Answer FakePatchServer::Answer::silence()
{
    Answer answer;
    answer.kind = Kind::Silence;
    return answer;
}

FakePatchServer::Answer& FakePatchServer::Answer::header(const QByteArray& name, const QByteArray& value)
{
    headers.append({name, value});
    return *this;
}

FakePatchServer::Answer& FakePatchServer::Answer::cutAfter(int count)
{
    cut = count;
    return *this;
}

FakePatchServer::Answer& FakePatchServer::Answer::held()
{
    isHeld = true;
    return *this;
}

FakePatchServer::Answer& FakePatchServer::Answer::after(const QByteArray& otherPath)
{
    awaitedPath = otherPath;
    return *this;
}

FakePatchServer::FakePatchServer(quint16 port)
{
    if (!listen(QHostAddress::LocalHost, port)) {
        qFatal("cannot listen on loopback: %s", qUtf8Printable(errorString()));
    }
    connect(this, &QTcpServer::newConnection, this, &FakePatchServer::takeConnection);
}

void FakePatchServer::answer(const QByteArray& path, const Answer& answer)
{
    answers.insert(path, answer);
}

void FakePatchServer::release(const QByteArray& path)
{
    answers[path].isHeld = false;
    reactToWaiting();
}

QList<FakePatchServer::Request> FakePatchServer::requests() const
{
    return receivedRequests;
}

QList<QByteArray> FakePatchServer::requestedPaths() const
{
    QList<QByteArray> paths;
    for (const Request& request : receivedRequests) {
        paths << request.path;
    }
    return paths;
}

QString FakePatchServer::url(const QString& path) const
{
    return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
}

QString FakePatchServer::refusedUrl(const QString& path)
{
    // The lowest port is reserved for a service that no machine of today runs.
    return QStringLiteral("http://127.0.0.1:1%1").arg(path);
}

void FakePatchServer::takeConnection()
{
    while (QTcpSocket* socket = nextPendingConnection()) {
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readRequest(socket); });
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

void FakePatchServer::readRequest(QTcpSocket* socket)
{
    const QByteArray head = socket->peek(socket->bytesAvailable());
    const int end = head.indexOf(END_OF_HEADERS);
    if (end < 0) {
        return;
    }
    socket->readAll();
    const Request request = parse(head.left(end));
    receivedRequests << request;
    react(socket, request.path);
}

void FakePatchServer::react(QTcpSocket* socket, const QByteArray& path)
{
    const Answer answer = answers.value(path, Answer::status(404, "nothing here"));
    const bool otherIsAwaited = !answer.awaitedPath.isEmpty() && !finishedPaths.contains(answer.awaitedPath);
    if (answer.isHeld || otherIsAwaited) {
        waiting.append({socket, path});
        return;
    }
    send(socket, path, answer);
}

void FakePatchServer::send(QTcpSocket* socket, const QByteArray& path, const Answer& answer)
{
    if (answer.kind == Answer::Kind::Silence) {
        return;
    }
    if (answer.kind == Answer::Kind::HangUp) {
        socket->disconnectFromHost();
        return;
    }
    QByteArray head = "HTTP/1.1 " + QByteArray::number(answer.code) + " As told\r\nConnection: close\r\n";
    // These two have no body, and a client takes a length for the announcement of one.
    if (answer.code != 204 && answer.code != 304) {
        head += "Content-Length: " + QByteArray::number(answer.content.size()) + "\r\n";
    }
    for (const auto& header : answer.headers) {
        head += header.first + ": " + header.second + "\r\n";
    }
    socket->write(head + "\r\n");
    if (answer.cut >= 0) {
        socket->write(answer.content.left(answer.cut));
        socket->disconnectFromHost();
        return;
    }
    socket->write(answer.content);
    connect(socket, &QTcpSocket::disconnected, this, [this, path] { clientHasAnswer(path); });
}

void FakePatchServer::clientHasAnswer(const QByteArray& path)
{
    finishedPaths << path;
    reactToWaiting();
}

void FakePatchServer::reactToWaiting()
{
    const QList<Waiting> candidates = waiting;
    waiting.clear();
    for (const Waiting& candidate : candidates) {
        if (candidate.socket) {
            react(candidate.socket, candidate.path);
        }
    }
}
