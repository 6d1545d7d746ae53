// What the tests of the window set their scene with: running systems, a local patch source, the options of a window
// run, and a business logic that has read its list. Everything goes away with the objects.
#pragma once

#include "fake_installation.h"
#include "patch_source.h"
#include "running_systems.h"
#include "tavrin_update_bl.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
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

/** The archive of a patch: unpacked, it leaves the patch's mark in the installation. */
QByteArray markArchive(const FakeInstallation& installation, const QString& name);

/** The options of a window run. */
TavrinUpdateBusinessLogic::CommandLineOptions windowOptions(const QString& url = QString());

/** Initialises for a window run in the installation. Returns the message of initialize(). */
[[nodiscard]] QString initialize(TavrinUpdateBusinessLogic& logic, const FakeInstallation& installation,
                                 const QString& url = QString());

/** Has the list read and waits for it. Returns false when it does not come. */
[[nodiscard]] bool readList(TavrinUpdateBusinessLogic& logic);

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

/** Empty when this process sees the systems of the fake library, as every test of the window must. */
QString wrongLibraryComplaint();
