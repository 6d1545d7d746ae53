// Web servers and a proxy of the machine, configured as their Debian packages leave them: only the folder that they
// serve is replaced, by a mount that no other process sees. They keep the ports of their packages, so a test needs a
// network of its own (TestPlace::hostOnLoopback). A server and all its processes end with its object, and with the test
// program however that ends, because they are in a PID namespace of their own.
#pragma once

#include "test_place.h"

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/** The folder that servers serve, at /var/www/html, with empty folders for their logs and other files. */
class ServedFolder
{
public:
    ServedFolder();

    /** Puts a file into the folder, making its directories. */
    void add(const QString& name, const QByteArray& content);

    /** Copies a directory with its files into the folder, under another name. */
    void addCopy(const QString& directory, const QString& name);

    /** Where a file of the folder is. */
    QString path(const QString& name) const
    {
        return folder.filePath(name);
    }

private:
    QTemporaryDir folder;
    std::unique_ptr<BindMount> shown;
    SmallDisk runtimeFiles;
    SmallDisk logs;
    SmallDisk stateOfNginx;
};

/** A running server: nginx, apache2, lighttpd, busybox or tinyproxy. Needs a ServedFolder that lives longer. */
class RealServer
{
public:
    /** Why the servers cannot run on this machine; empty when they can. */
    static QString obstacle();

    /** Starts the server and waits until it accepts connections. */
    explicit RealServer(const QString& name);
    ~RealServer();
    RealServer(const RealServer&) = delete;
    RealServer& operator=(const RealServer&) = delete;

    /**
     * Ends the server and returns the requests of its log, sorted: a line "/PATH STATUS" for each, with the path
     * decoded; those of tinyproxy as "METHOD ADDRESS".
     */
    QByteArray requests();

    /** Ends the server. */
    void stop();

private:
    QString name;
    std::unique_ptr<QProcess> process;
};
