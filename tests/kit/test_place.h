// The private place in which a test program and everything that it starts runs: an empty /opt/tavrin that the rest of
// the machine does not see and that ends with the process, no right to ignore file modes (an unwritable directory is
// unwritable even for root), and, for a test that needs them, its own network and user database.
#pragma once

#include <QString>

/** What a test program needs besides the private /opt. */
struct TestPlace
{
    QString hostOnLoopback; // a network of its own: nothing but loopback, where this host is too, with every port free
    QString usersFile;      // its lines are the users of the place
};

/**
 * Forgets the caller's settings (proxies, displays, logging, TAVRIN) and puts this process into the private place. Call
 * it before any thread exists. Returns false, with the reason on standard error, when the machine does not allow it.
 */
[[nodiscard]] bool enterTestPlace(char** argv, const TestPlace& place = TestPlace());

/** Forgets what the caller's environment says about proxies, displays, logging and TAVRIN. */
void forgetCallersEnvironment();

/** A small file system on an existing directory, as long as this object lives; writing beyond its size fails. */
class SmallDisk
{
public:
    SmallDisk(const QString& directory, qint64 sizeBytes);
    ~SmallDisk();
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;

private:
    QString path;
};

/** Keeps an existing directory read-only, whatever its modes say, as long as this object lives. */
class ReadOnlyMount
{
public:
    explicit ReadOnlyMount(const QString& directory);
    ~ReadOnlyMount();
    ReadOnlyMount(const ReadOnlyMount&) = delete;
    ReadOnlyMount& operator=(const ReadOnlyMount&) = delete;

private:
    QString path;
};

/** Shows another file or folder under a path that exists, as long as this object lives. */
class BindMount
{
public:
    BindMount(const QString& shown, const QString& covered);
    ~BindMount();
    BindMount(const BindMount&) = delete;
    BindMount& operator=(const BindMount&) = delete;

private:
    QString path;
};
