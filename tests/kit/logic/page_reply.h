// A finished network reply made by hand, for tests that call what receives replies without a network in between.
#pragma once

#include <QBuffer>
#include <QNetworkReply>

/** A reply that is finished from the start, with the body, address, status and error that a test gives it. */
class PageReply : public QNetworkReply
{
public:
    explicit PageReply(const QByteArray& body, const QString& address = QStringLiteral("http://host.test/5.9/"))
    {
        buffer.setData(body);
        buffer.open(QIODevice::ReadOnly);
        setUrl(QUrl(address));
        QNetworkReply::open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        setFinished(true);
    }

    /** Gives the reply an HTTP status; without a call it has none, like that of a local file. */
    void setStatus(int status)
    {
        setAttribute(QNetworkRequest::HttpStatusCodeAttribute, status);
    }

    /** What the server said the length of the body would be. */
    void announceLength(int length)
    {
        setHeader(QNetworkRequest::ContentLengthHeader, length);
    }

    void fail(NetworkError error, const QString& text)
    {
        setError(error, text);
    }

    void abort() override
    {
    }

    qint64 bytesAvailable() const override
    {
        return buffer.bytesAvailable() + QNetworkReply::bytesAvailable();
    }

    bool isSequential() const override
    {
        return true;
    }

protected:
    qint64 readData(char* data, qint64 maxSize) override
    {
        return buffer.read(data, maxSize);
    }

private:
    QBuffer buffer;
};
