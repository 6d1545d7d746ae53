// The table of what a server can do wrong, and of oddities that are not wrong: each entry says what the server sends in
// place of a plain answer, and what Qt makes of it. The tests run every entry against the list page and against an
// archive, in a terminal and in the window. The outcomes were observed with Qt 5.15; they follow from nothing else.
// Where the end of a connection races with Qt's reading, more than one outcome is possible, and all are named.
#pragma once

#include "fake_patch_server.h"

#include <QByteArray>
#include <QList>
#include <QMetaType>

/** What Qt makes of an answer. */
struct FaultOutcome
{
    enum class Kind
    {
        Body,     // text: the body, which need not be the one that was meant
        Failure,  // text: the reason; %1 is the address
        Redirect, // not followed
        Waiting,  // for more
    };

    Kind kind = Kind::Waiting;
    QByteArray text;
};

/** One behaviour of a server. */
struct Fault
{
    QByteArray name;
    FakePatchServer::Answer answer;
    QList<FaultOutcome> outcomes; // one of these
    int fewestRequests = 1;       // Qt itself sends some requests again
    int mostRequests = 1;

    /** One more possible outcome. */
    Fault& orElse(const FaultOutcome& outcome)
    {
        outcomes << outcome;
        return *this;
    }

    /** How often the same request comes. */
    Fault& asked(int fewest, int most)
    {
        fewestRequests = fewest;
        mostRequests = most;
        return *this;
    }

    /** The same when the end of the connection decides, which Qt can take for that of one that was kept too long. */
    Fault& maybeAgain()
    {
        return asked(1, 4);
    }

    /** Whether a server got that many requests for this path, and no other. */
    bool explains(const QList<QByteArray>& requestedPaths, const QByteArray& path) const;
};

Q_DECLARE_METATYPE(Fault)

/** The body as a gzip file, without compression, so that a part of it holds a part of the body. */
QByteArray gzipped(const QByteArray& body);

/** Every behaviour that ends the request, of a server that is asked for this body. */
QList<Fault> endingFaults(const QByteArray& body);

/** Every behaviour after which a request can stay open although the server has ended the connection: Qt overlooks it.
 */
QList<Fault> uncertainFaults(const QByteArray& body);

/** Every behaviour after which the request stays open: the server keeps the connection and is silent. */
QList<Fault> silentFaults(const QByteArray& body);
