// The scene of a window test. A step that fails ends the test program: it is no result of a test.
#include "window_fixture.h"

#include "pidrtsys.h"

#include <QFile>
#include <QNetworkProxy>
#include <QSignalSpy>

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

QByteArray markArchive(const FakeInstallation& installation, const QString& name)
{
    return archiveOf(installation.path("patched/" + name), name.toUtf8());
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

QString initialize(TavrinUpdateBusinessLogic& logic, const FakeInstallation& installation, const QString& url)
{
    qputenv("TAVRIN", QFile::encodeName(installation.path()));
    return logic.initialize(windowOptions(url));
}

bool readList(TavrinUpdateBusinessLogic& logic)
{
    QSignalSpy ready(&logic, SIGNAL(patchListReady()));
    logic.requestUpdatesList();
    return ready.wait();
}

RequestsToLoopback::RequestsToLoopback(quint16 port)
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::HttpProxy, "127.0.0.1", port));
}

RequestsToLoopback::~RequestsToLoopback()
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy(QNetworkProxy::NoProxy));
}

QString wrongLibraryComplaint()
{
    const OwnRunningSystems systems;
    systems.set("#null 12345\n");
    Pidrtsys* records = nullptr;
    return pidrtsys(&records) == 12345 ? QString() : QStringLiteral("this is not the fake library's pidrtsys()");
}
