// A window run that unpacks archives, for the two tests of that: with the installation's real archive tool, until a
// test puts recorders in the tools' places.
#pragma once

#include "helper_run.h"
#include "window_logic.h"

#include <QTest>

/** A window run, and the archives that a test packs for it. */
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
        const HelperRun run = runHelper("bsdtar", arguments);
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.status, 0);
        for (const QString& member : members) {
            installation.without(member);
        }
    }

    /** Makes the archive tool of the installation a recorder. */
    void recordArchiver(const FakeTool& tool = FakeTool())
    {
        installation.without("bin/bsdtar");
        tools.addTo(installation.path("bin"), "bsdtar", tool);
    }

    /** Puts recorders, and nothing else, on the search path. */
    void recordDecompressor(const FakeTool& tool = FakeTool())
    {
        tools.add("gunzip", tool);
        searchToolsOnly();
    }

    /** The texts of the progress so far. */
    QStringList shown() const
    {
        const QString mark = QStringLiteral("log:");
        QStringList texts;
        for (const QString& event : events) {
            if (event.startsWith(mark)) {
                texts << event.mid(mark.size());
            }
        }
        return texts;
    }
};
