// The parts of the table in fault_answers.h: its entries are in two files. Only these two include this header.
#pragma once

#include "fault_answers.h"

namespace fault_table {

using Answer = FakePatchServer::Answer;
using Kind = FaultOutcome::Kind;

inline const QByteArray OK = "HTTP/1.1 200 OK\r\n";
inline const FaultOutcome CLOSED{Kind::Failure, "Connection closed"};
inline const FaultOutcome REFUSED{Kind::Failure, "Error transferring %1 - server replied: As told"};
inline const FaultOutcome REDIRECTED{Kind::Redirect, {}};
inline const FaultOutcome EMPTY{Kind::Body, {}};
inline const FaultOutcome WAITING{Kind::Waiting, {}};

inline FaultOutcome received(const QByteArray& body)
{
    return {Kind::Body, body};
}

inline QByteArray length(int count)
{
    return "Content-Length: " + QByteArray::number(count) + "\r\n";
}

inline QByteArray firstHalf(const QByteArray& body)
{
    return body.left(body.size() / 2);
}

/** Collects the entries around one body, in the order in which they are added. */
class FaultTable
{
public:
    explicit FaultTable(const QByteArray& body);

    QList<Fault> faults;

private:
    Fault& add(const QByteArray& name, const Answer& answer, const FaultOutcome& outcome)
    {
        faults << Fault{name, answer, {outcome}};
        return faults.last();
    }

    // A good status, these headers and these bytes; without a length the end of the body is that of the connection.
    static Answer good(const QByteArray& headers, const QByteArray& bytes)
    {
        return Answer::raw(OK + headers + "\r\n" + bytes);
    }

    // The whole body and its length, with further headers.
    Answer wholeWith(const QByteArray& headers) const
    {
        return good(length(whole.size()) + headers, whole);
    }

    void addStatuses();
    void addStatusLines();
    void addRedirects();
    void addLengths();
    void addChunks();
    void addTransfers();
    void addEncodings();
    void addEndings();
    void addHeaders();

    const QByteArray whole;
    const QByteArray half;
};

} // namespace fault_table
