// A private view of /opt for one test process and the programs it starts: an empty file system with /opt/tavrin in
// it, invisible to the rest of the machine and gone with the process. The process also gives up the right to overlook
// file modes, so that an unwritable directory is unwritable even for root.
#pragma once

#include <QByteArray>
#include <QString>

/**
 * Puts this process into a private mount namespace with an empty /opt/tavrin and drops the capabilities that overlook
 * file modes, for good. Call it before any thread exists. Other folders in /opt stay where they are, and HOME becomes a
 * private one beside them. Returns false with the reason in `error` when the machine does not allow it.
 */
bool enterPrivateOpt(QString* error);

/**
 * Gives this process and the programs it starts a network of their own: nothing but loopback, where the named host
 * lives too, with every port free. Call it after enterPrivateOpt() and before any thread exists.
 */
bool enterPrivateNetwork(const QString& hostOnLoopback, QString* error);

/**
 * Replaces the users that this process and the programs it starts know by the given lines of a user database. Call it
 * after enterPrivateOpt() and before the first user is looked up.
 */
bool enterPrivateUsers(const QByteArray& lines, QString* error);

/** Forgets what the caller's environment says about proxies, displays, logging and TAVRIN. */
void forgetCallersEnvironment();

/** Mounts an empty file system of the given size on an existing directory; writing beyond the size fails. */
[[nodiscard]] bool mountTmpfs(const QString& path, qint64 sizeBytes, QString* error);

/** Makes an existing directory read-only, whatever its modes say, until unmount(). */
[[nodiscard]] bool bindReadOnly(const QString& path, QString* error);

/** Takes back what mountTmpfs() or bindReadOnly() put on a directory. */
[[nodiscard]] bool unmount(const QString& path, QString* error);
