// The scene of a window test. A step that fails ends the test program: it is no result of a test.
#include "window_fixture.h"

#include "pidrtsys.h"

#include <QFile>
#include <QNetworkProxy>
#include <QSaveFile>
#include <QSignalSpy>

namespace {

void require(bool condition, const char* what, const QString& subject)
{
    if (!condition) {
        qFatal("cannot %s %s", what, qUtf8Printable(subject));
    }
}

} // namespace

RunningSystems::RunningSystems()
{
    require(directory.isValid(), "make", directory.path());
    set(QByteArray());
    qputenv("FAKE_PIDRTSYS", QFile::encodeName(directory.filePath("systems")));
    qputenv("FAKE_PIDRTSYS_LOG", QFile::encodeName(directory.filePath("log")));
}

RunningSystems::~RunningSystems()
{
    qunsetenv("FAKE_PIDRTSYS");
    qunsetenv("FAKE_PIDRTSYS_LOG");
}

void RunningSystems::set(const QByteArray& lines)
{
    QSaveFile file(directory.filePath("systems"));
    require(file.open(QIODevice::WriteOnly) && file.write(lines) == lines.size() && file.commit(), "write",
            file.fileName());
}

QByteArray RunningSystems::system(const QByteArray& version, const QByteArray& user, const QByteArray& workingDirectory,
                                  int pid)
{
    return version + '\t' + user + '\t' + workingDirectory + '\t' + QByteArray::number(pid) + '\n';
}

int RunningSystems::queries() const
{
    QFile log(directory.filePath("log"));
    if (!log.exists()) {
        return 0;
    }
    require(log.open(QIODevice::ReadOnly), "read", log.fileName());
    return log.readAll().count('\n');
}

PatchPage pageOf(const QStringList& names)
{
    PatchPage page;
    for (const QString& name : names) {
        page.entry(name, "1 January 2020", "Corrects " + name + ".", name + ".tar");
    }
    return page;
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
    RunningSystems systems;
    systems.set("#null 12345\n");
    Pidrtsys* records = nullptr;
    return pidrtsys(&records) == 12345 ? QString() : QStringLiteral("this is not the fake library's pidrtsys()");
}
