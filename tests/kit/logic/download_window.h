// A window run that downloads and installs, for the two tests of its queue. The archive tool, the decompressor and perl
// are recorders; the archive tool leaves the mark that an archive of the maker's would bring.
#pragma once

#include "window_logic.h"

#include <QDir>
#include <QFileInfo>
#include <QTest>

/** What a window run with leave to install from a source starts with. */
inline WindowLogic::CommandLineOptions downloadOptions(const QString& url)
{
    WindowLogic::CommandLineOptions options = WindowLogic::quietOptions();
    options.apply = true;
    options.url = url;
    return options;
}

/** A window run with recorders for all tools, which find each other before anything else on the search path. */
struct DownloadWindow : WindowLogic
{
    explicit DownloadWindow(const QString& url) : DownloadWindow(downloadOptions(url))
    {
    }

    explicit DownloadWindow(const CommandLineOptions& options) : WindowLogic(options)
    {
        FakeTool archiver;
        archiver.script = "name=${2##*/}; : >\"" + installation.path("patched").toUtf8() + "/${name%%.*}\"";
        tools.addTo(installation.path("bin"), "bsdtar", archiver);
        tools.add("gunzip");
        tools.add("perl");
        searchToolsFirst();
    }

    /** Puts a patch on the list; its name is what stands before the first dot of the archive's name. */
    void list(const QString& archive)
    {
        const QString name = QFileInfo(archive).baseName();
        logic.addPatchToList(name, name + " 1 May 2020", false, archive, "Mends " + name);
    }

    /** Hands the logic a reply as the network does. */
    void receive(QNetworkReply* reply)
    {
        QVERIFY(QMetaObject::invokeMethod(&logic, "downloadComplete", Q_ARG(QNetworkReply*, reply)));
    }

    QStringList filesIn(const QString& directory) const
    {
        return QDir(installation.path(directory)).entryList(QDir::Files, QDir::Name);
    }
};

inline const QString START = QStringLiteral("log:Download patch files ...");
inline const QString APPLY = QStringLiteral("log:\nApply patches to Tavrin installation ...\n");

inline QString downloaded(const QString& name)
{
    return "log:Downloaded " + name;
}

inline QString installed(const QString& name)
{
    return "log: ** installed " + name + '\n';
}

inline const QStringList FINISH{QStringLiteral("log:\nUpdate applied_patches.html ..."),
                                QStringLiteral("log:applied_patches.html updated"),
                                QStringLiteral("log:\nYou may restart systems now"), QStringLiteral("status")};
