// A window run that unpacks archives: with the installation's real archive tool, until a test puts recorders in the
// tools' places.
#pragma once

#include "helper_run.h"
#include "window_logic.h"

/** A window run, and the archives that a test puts into the patches directory for it. */
struct ArchiveWindow : WindowLogic
{
    explicit ArchiveWindow(const CommandLineOptions& options = quietOptions()) : WindowLogic(options)
    {
        installation.withTools();
    }

    QString archivePath(const QString& name) const
    {
        return installation.path("patches/" + name);
    }

    /** Packs files of the installation under their absolute paths and takes them away from there again. */
    void pack(const QString& name, const QStringList& members, const QStringList& compression = QStringList())
    {
        QStringList arguments = QStringList{"-c"} + compression + QStringList{"-Pf", archivePath(name)};
        for (const QString& member : members) {
            installation.withFile(member, "content of " + member.toUtf8() + '\n');
            arguments << installation.path(member);
        }
        requireHelper("bsdtar", arguments);
        for (const QString& member : members) {
            installation.without(member);
        }
    }

    /** Unpacks what has this name; `archive` is the file as the logic left it. */
    QString unpack(const QString& name)
    {
        archive.setFile(archivePath(name));
        return logic.unpackArchive(archive);
    }

    /** Unpacks a file that only recorders take for an archive. */
    QString unpackText(const QString& name)
    {
        installation.withFile("patches/" + name, "text");
        return unpack(name);
    }

    QFileInfo archive;
};
