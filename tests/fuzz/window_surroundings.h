// What surrounds a window in the fuzzer's process: the network, the programs that are started, the running systems and
// the installation. Requests and programs are replaced behind the functions of Qt that the business logic calls, so
// that the object itself is the real one, no input connects to anything or starts anything, and every input has one
// result.
#pragma once

#include "choices.h"
#include "pidrtsys.h"

#include <QList>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QPointer>

#include <functional>
#include <vector>

/** The answer to a request. */
struct NetworkAnswer
{
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    QString errorText;
    int status = 0; // none
    qint64 announcedLength = -1;
    bool inChunks = false;
    QByteArray body;
};

/** An answer to a request for the list or for an archive. */
NetworkAnswer answerTo(bool isForList, Choices& choices);

/** A reply to a request of the business logic; it finishes when the input says so. */
class FuzzReply : public QNetworkReply
{
public:
    FuzzReply(const QUrl& url, QNetworkAccessManager& manager);

    /** Finishes the reply and has its manager say so. */
    void finish(const NetworkAnswer& answer);

    void abort() override
    {
    }

    qint64 bytesAvailable() const override;

    bool isSequential() const override
    {
        return true;
    }

protected:
    qint64 readData(char* data, qint64 maxSize) override;

private:
    QNetworkAccessManager& owner;
    QByteArray body;
    int position = 0;
};

/** How a program that was started ended. */
struct ProgramEnd
{
    bool wasRun = true; // and ended in time
    bool crashed = false;
    int code = 0;
    QByteArray output;
    QByteArray errors;
    QString reason; // why it was not run
};

/** A request that has no answer yet. */
struct OpenRequest
{
    int number; // counted from the first request of the run
    bool isForList;
    QPointer<FuzzReply> reply;
};

/** The surroundings of one run of the business logic; at most one exists at a time. */
class WindowSurroundings
{
public:
    using Listener = std::function<void(const QString&)>;

    /** Makes the installation again. Programs end as the choices say. */
    explicit WindowSurroundings(Choices& choices);
    ~WindowSurroundings();
    WindowSurroundings(const WindowSurroundings&) = delete;
    WindowSurroundings& operator=(const WindowSurroundings&) = delete;

    static WindowSurroundings& current();

    /** Makes a new request; the listener hears of it as "get:list URL" or "get:archive URL". */
    QNetworkReply* request(QNetworkAccessManager& manager, const QUrl& url);

    /** Runs a program in name only; the listener hears of it as "start:PROGRAM|ARGUMENT...". */
    void start(const QString& program, const QStringList& arguments);

    /** Has the installation's files change from outside. */
    void disturbFiles();

    Listener listener;
    QList<OpenRequest> requests;
    int requestCount = 0;
    ProgramEnd lastProgram;
    std::vector<Pidrtsys> systems;

private:
    void applyEffect(const QString& program, const QString& file);

    Choices& choices;
    QNetworkAccessManager* listManager = nullptr;
};

const QString INSTALLATION = QStringLiteral("/opt/tavrin/5.9");

/** Names of patches for the pages of an input, and for the markers. */
const QStringList PATCH_NAMES{"P1",         "P2",         "P10",    "p1",      "TrialPatch_1",
                              "trialpatch", "TrialPatch", "\u00e4", "<b>P</b>"};

/** Links to archives. */
const QStringList PATCH_LINKS{
    "P1.tar",       "P1.tar.gz",      "P2.tar.bz2",        "P10.Z",           "P1",        "sub/P2.tar", "%50%31.tar",
    "..",           "a%2FP1.tar",     "../bin/bsdtar.tar", "TrialPatch_1.gz", "x.y.z.tar", "%00.tar",    "?P2.tar",
    "#P2.tar",      "/etc/P1.tar.gz", "%FF%FE.tar",        "<i>.tar.gz",      ".tar.gz",   "P2.",        "\u00e4.tar",
    "P1.tar?a=1&b", "http://o.test/x"};
