// The server's side of HTTP: one request per connection, and after a whole answer the client closes the connection.
// That tells the server that the client has received the answer. Exact bytes can end otherwise, and a connection that
// they leave open takes further requests.
#include "fake_patch_server.h"

#include <QFile>

#include <sys/socket.h>

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

// Without the wait for what is still to be sent, the system ends the connection with a reset.
void reset(QTcpSocket& socket)
{
    const linger none = {1, 0};
    ::setsockopt(static_cast<int>(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
    socket.abort();
}

} // namespace

FakePatchServer::Answer FakePatchServer::Answer::file(const QString& fileName)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("cannot serve %s", qUtf8Printable(fileName));
    }
    return body(file.readAll());
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

void FakePatchServer::answerInTurn(const QByteArray& path, const QList<Answer>& answersInTurn)
{
    answer(path, answersInTurn.first());
    laterAnswers.insert(path, answersInTurn.mid(1));
}

void FakePatchServer::release(const QByteArray& path)
{
    answers[path].isHeld = false;
    reactToWaiting();
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
    takeTurn(path);
    send(socket, path, answer);
}

void FakePatchServer::takeTurn(const QByteArray& path)
{
    QList<Answer>& later = laterAnswers[path];
    if (!later.isEmpty()) {
        answers.insert(path, later.takeFirst());
    }
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
    if (answer.kind == Answer::Kind::Raw) {
        connect(socket, &QTcpSocket::disconnected, this, [this, path] { clientHasAnswer(path); });
        sendRaw(socket, answer);
        return;
    }
    QByteArray head = "HTTP/1.1 " + QByteArray::number(answer.code) + " As told\r\nConnection: close\r\n";
    // These two have no body, and a client would wait for one of the announced length.
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

// Goes on with the rest when what it has written is with the system: a reset would drop it otherwise.
void FakePatchServer::sendRaw(QTcpSocket* socket, const Answer& answer)
{
    if (answer.content.isEmpty()) {
        if (answer.ending == Answer::Ending::Reset) {
            reset(*socket);
        } else if (answer.ending == Answer::Ending::Close) {
            socket->disconnectFromHost();
        }
        return;
    }
    socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    Answer rest = answer;
    const int size = answer.isTrickled ? 1 : answer.content.size();
    rest.content.remove(0, size);
    auto* const step = new QObject(socket);
    connect(socket, &QTcpSocket::bytesWritten, step, [this, socket, step, rest] {
        if (socket->bytesToWrite() == 0) {
            step->deleteLater();
            disconnect(socket, nullptr, step, nullptr);
            sendRaw(socket, rest);
        }
    });
    socket->write(answer.content.constData(), size);
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
