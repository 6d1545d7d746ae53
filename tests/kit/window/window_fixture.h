// The surroundings of a window in the process of the test: the running systems that it sees, the options of a window
// run, and where its requests go. The destructors restore the settings of the process.
#pragma once

#include "running_systems.h"
#include "tavrin_update_bl.h"

#include <QFile>
#include <QNetworkProxy>
#include <QTemporaryDir>

/** The running real-time systems that this process sees; none at first. */
class OwnRunningSystems : private QTemporaryDir, public RunningSystems
{
public:
    OwnRunningSystems() : RunningSystems(QTemporaryDir::path())
    {
        qputenv("FAKE_PIDRTSYS", QFile::encodeName(file()));
        qputenv("FAKE_PIDRTSYS_LOG", QFile::encodeName(log()));
    }

    ~OwnRunningSystems()
    {
        qunsetenv("FAKE_PIDRTSYS");
        qunsetenv("FAKE_PIDRTSYS_LOG");
    }

    OwnRunningSystems(const OwnRunningSystems&) = delete;
    OwnRunningSystems& operator=(const OwnRunningSystems&) = delete;
};

/** The options of a window run. */
inline TavrinUpdateBusinessLogic::CommandLineOptions windowOptions(const QString& url = QString())
{
    TavrinUpdateBusinessLogic::CommandLineOptions options;
    options.apply = true;
    options.showProposed = false;
    options.terminal = false;
    options.verbose = false;
    options.url = url;
    return options;
}

/**
 * Sends every request of this process to a port on loopback, as to a proxy, instead of to the host that it names. The
 * path of a request is then the whole address.
 */
class RequestsToLoopback
{
public:
    explicit RequestsToLoopback(quint16 port)
    {
        QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", port));
    }

    ~RequestsToLoopback()
    {
        QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
    }

    RequestsToLoopback(const RequestsToLoopback&) = delete;
    RequestsToLoopback& operator=(const RequestsToLoopback&) = delete;
};
