// What surrounds a window in a test's own process: the running systems that it sees, the options of a window run, and
// where its requests go.
#pragma once

#include "running_systems.h"
#include "tavrin_update_bl.h"

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

/** The running real-time systems that this process sees; none to begin with. */
class OwnRunningSystems
{
public:
    OwnRunningSystems();
    ~OwnRunningSystems();
    OwnRunningSystems(const OwnRunningSystems&) = delete;
    OwnRunningSystems& operator=(const OwnRunningSystems&) = delete;

    void set(const QByteArray& lines) const;
    int queries() const;

private:
    QTemporaryDir directory;
    const RunningSystems systems{directory.path()};
};

/** The options of a window run. */
TavrinUpdateBusinessLogic::CommandLineOptions windowOptions(const QString& url = QString());

/**
 * Sends every request of this process to a port on loopback, as to a proxy, instead of to the host that it names. The
 * path of a request is then the whole address.
 */
class RequestsToLoopback
{
public:
    explicit RequestsToLoopback(quint16 port);
    ~RequestsToLoopback();
    RequestsToLoopback(const RequestsToLoopback&) = delete;
    RequestsToLoopback& operator=(const RequestsToLoopback&) = delete;
};
