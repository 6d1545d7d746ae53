// A real HTTP server on loopback that does what a test tells it per path: answer with any status, redirect, cut a body
// off, hang up, keep silent, or hold an answer back so that replies finish in an order of the test's choosing. It
// lives in the test's own thread: keep the event loop turning while a client talks to it.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QPair>
#include <QPointer>
#include <QString>
#include <QTcpServer>
#include <QTcpSocket>

/** Serves a test on 127.0.0.1, from construction to destruction. */
class FakePatchServer : public QTcpServer
{
    Q_OBJECT

public:
    struct Request
    {
        QByteArray method;
        QByteArray path;
        QMap<QByteArray, QByteArray> headers; // names in lower case
    };

    /** What to do when a path is asked for. */
    class Answer
    {
    public:
        /** Status 200 with a body. */
        static Answer body(const QByteArray& content);

        /** Any status, with a body if one is given. */
        static Answer status(int code, const QByteArray& content = QByteArray());

        /** A status that points elsewhere. */
        static Answer redirect(int code, const QByteArray& location);

        /** The contents of a file as they are when this is called. */
        static Answer file(const QString& fileName);

        /** Hangs up after reading the request. */
        static Answer hangUp();

        /** Reads the request and never answers. */
        static Answer silence();

        Answer& header(const QByteArray& name, const QByteArray& value);

        /** Announces the whole body but hangs up after `count` bytes of it. */
        Answer& cutAfter(int count);

        /** Waits with the answer until release() is called for the path. */
        Answer& held();

        /** Waits with the answer until the client has received the whole answer to another path. */
        Answer& after(const QByteArray& otherPath);

    private:
        friend class FakePatchServer;
        enum class Kind
        {
            Reply,
            HangUp,
            Silence
        };

        Kind kind = Kind::Reply;
        int code = 200;
        QByteArray content;
        QList<QPair<QByteArray, QByteArray>> headers;
        int cut = -1;
        bool isHeld = false;
        QByteArray awaitedPath;
    };

    /** Listens on a free port, or on the given one. */
    explicit FakePatchServer(quint16 port = 0);

    /** Says what to do for a path, the query included; a path never mentioned is answered with 404. */
    void answer(const QByteArray& path, const Answer& answer);

    /** Sends the answers that were held back for a path, and holds none back any more. */
    void release(const QByteArray& path);

    /** All requests so far, in the order in which they arrived. */
    QList<Request> requests() const;

    /** The paths of requests(). */
    QList<QByteArray> requestedPaths() const;

    /** The address of a path. */
    QString url(const QString& path = QStringLiteral("/")) const;

    /** An address on loopback at which no one listens. */
    static QString refusedUrl(const QString& path = QStringLiteral("/"));

private:
    void takeConnection();
    void readRequest(QTcpSocket* socket);
    void react(QTcpSocket* socket, const QByteArray& path);
    void send(QTcpSocket* socket, const QByteArray& path, const Answer& answer);
    void clientHasAnswer(const QByteArray& path);
    void reactToWaiting();

    struct Waiting
    {
        QPointer<QTcpSocket> socket;
        QByteArray path;
    };

    QHash<QByteArray, Answer> answers;
    QList<Request> receivedRequests;
    QList<Waiting> waiting;
    QList<QByteArray> finishedPaths;
};
