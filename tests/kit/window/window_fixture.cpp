// The settings of this process are as before when the objects are gone.
#include "window_fixture.h"

#include <QFile>
#include <QNetworkProxy>

OwnRunningSystems::OwnRunningSystems()
{
    qputenv("FAKE_PIDRTSYS", QFile::encodeName(systems.file()));
    qputenv("FAKE_PIDRTSYS_LOG", QFile::encodeName(systems.log()));
}

OwnRunningSystems::~OwnRunningSystems()
{
    qunsetenv("FAKE_PIDRTSYS");
    qunsetenv("FAKE_PIDRTSYS_LOG");
}

void OwnRunningSystems::set(const QByteArray& lines) const
{
    systems.set(lines);
}

int OwnRunningSystems::queries() const
{
    return systems.queries();
}

TavrinUpdateBusinessLogic::CommandLineOptions windowOptions(const QString& url)
{
    TavrinUpdateBusinessLogic::CommandLineOptions options;
    options.apply = true;
    options.showProposed = false;
    options.terminal = false;
    options.verbose = false;
    options.url = url;
    return options;
}

RequestsToLoopback::RequestsToLoopback(quint16 port)
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", port));
}

RequestsToLoopback::~RequestsToLoopback()
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
}
