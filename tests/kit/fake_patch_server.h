// A real HTTP server on loopback. For each path it does what the test says: answer with any status, redirect, cut a
// body off, send exact bytes, hang up, reset the connection, keep silent, or hold an answer back so that replies finish
// in a chosen order. The table of everything that can go wrong is in fault_answers.h. It needs the event loop of the
// test's thread.
#pragma once

#include <QByteArray>
#include <QHash>
#include <QHostAddress>
#include <QList>
#include <QMap>
#include <QMetaType>
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
        static Answer body(const QByteArray& content)
        {
            return status(200, content);
        }

        /** Any status, with a body if one is given. */
        static Answer status(int code, const QByteArray& content = QByteArray())
        {
            Answer answer;
            answer.code = code;
            answer.content = content;
            return answer;
        }

        /** A status that points elsewhere. */
        static Answer redirect(int code, const QByteArray& location)
        {
            Answer answer = status(code);
            answer.header("Location", location);
            return answer;
        }

        /** Exactly these bytes instead of a status line, headers and a body. */
        static Answer raw(const QByteArray& bytes)
        {
            Answer answer;
            answer.kind = Kind::Raw;
            answer.content = bytes;
            return answer;
        }

        /** The contents of a file as they are when this is called. */
        static Answer file(const QString& fileName);

        /** Hangs up after reading the request. */
        static Answer hangUp()
        {
            Answer answer;
            answer.kind = Kind::HangUp;
            return answer;
        }

        /** Reads the request and never answers. */
        static Answer silence()
        {
            Answer answer;
            answer.kind = Kind::Silence;
            return answer;
        }

        Answer& header(const QByteArray& name, const QByteArray& value)
        {
            headers.append({name, value});
            return *this;
        }

        /** Announces the whole body but hangs up after `count` bytes of it. */
        Answer& cutAfter(int count)
        {
            cut = count;
            return *this;
        }

        /** Ends exact bytes with a reset of the connection instead of an orderly end. */
        Answer& thenReset()
        {
            ending = Ending::Reset;
            return *this;
        }

        /** Leaves the connection open after exact bytes. */
        Answer& thenStay()
        {
            ending = Ending::Stay;
            return *this;
        }

        /** Sends exact bytes one by one, each when the one before it has gone out. */
        Answer& trickled()
        {
            isTrickled = true;
            return *this;
        }

        /** Waits with the answer until release() is called for the path. */
        Answer& held()
        {
            isHeld = true;
            return *this;
        }

        /** Waits with the answer until the client has received the whole answer to another path. */
        Answer& after(const QByteArray& otherPath)
        {
            awaitedPath = otherPath;
            return *this;
        }

    private:
        friend class FakePatchServer;
        enum class Kind
        {
            Reply,
            Raw,
            HangUp,
            Silence
        };
        enum class Ending
        {
            Close,
            Reset,
            Stay
        };

        Kind kind = Kind::Reply;
        int code = 200;
        QByteArray content;
        QList<QPair<QByteArray, QByteArray>> headers;
        int cut = -1;
        Ending ending = Ending::Close;
        bool isTrickled = false;
        bool isHeld = false;
        QByteArray awaitedPath;
    };

    /** Listens on a free port, or on the given one. */
    explicit FakePatchServer(quint16 port = 0);

    /** Says what to do for a path, the query included; a path never mentioned is answered with 404. */
    void answer(const QByteArray& path, const Answer& answer);

    /** The same with another answer for each request; the last one stays. */
    void answerInTurn(const QByteArray& path, const QList<Answer>& answersInTurn);

    /** Sends the answers that were held back for a path, and holds none back any more. */
    void release(const QByteArray& path);

    /** All requests so far, in the order in which they arrived. */
    QList<Request> requests() const
    {
        return receivedRequests;
    }

    /** The paths of requests(). */
    QList<QByteArray> requestedPaths() const
    {
        QList<QByteArray> paths;
        for (const Request& request : receivedRequests) {
            paths << request.path;
        }
        return paths;
    }

    /** The address of a path. */
    QString url(const QString& path = QStringLiteral("/")) const
    {
        return QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path);
    }

    /** An address on loopback at which no one listens. */
    static QString refusedUrl(const QString& path = QStringLiteral("/"))
    {
        // Port 1 is reserved for a service that is not in use any more.
        return QStringLiteral("http://127.0.0.1:1%1").arg(path);
    }

private:
    void takeConnection();
    void readRequest(QTcpSocket* socket);
    void react(QTcpSocket* socket, const QByteArray& path);
    void send(QTcpSocket* socket, const QByteArray& path, const Answer& answer);
    void sendRaw(QTcpSocket* socket, const Answer& answer);
    void clientHasAnswer(const QByteArray& path);
    void reactToWaiting();
    void takeTurn(const QByteArray& path);

    struct Waiting
    {
        QPointer<QTcpSocket> socket;
        QByteArray path;
    };

    QHash<QByteArray, Answer> answers;
    QHash<QByteArray, QList<Answer>> laterAnswers;
    QList<Request> receivedRequests;
    QList<Waiting> waiting;
    QList<QByteArray> finishedPaths;
};

Q_DECLARE_METATYPE(FakePatchServer::Answer)
