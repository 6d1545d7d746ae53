// A release with a patch source, in which a run can install patches. Most tests of whole runs start from it.
#pragma once

#include "fake_installation.h"
#include "fake_patch_server.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "program_run.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <memory>

/** The installation of a release with its tools, and the program for it, which reads the answer "y". */
class ReleaseToPatch
{
public:
    /** Runs the program in a terminal with these options and the address of the source. */
    ProgramRun run(const QStringList& options = {});

    /** Starts the same run, with an input that stays open. */
    std::unique_ptr<ProgramSession> start(const QStringList& options = {});

    /** Whether a run that was started does nothing, and no tool of it does, while another run is made from its start.
     */
    bool isAtRestDuringAnotherRun(const ProgramSession& session) const;

    /** Whether there is an entry of this name below the installation. */
    bool has(const QString& name) const;

    /** A file below the installation. */
    QByteArray content(const QString& name) const;

    /** The names of the files in the installation's `patches` directory. */
    QStringList storedArchives() const;

    FakeInstallation installation;
    Program program;

protected:
    explicit ReleaseToPatch(const QString& name);

    QString url;
};

/** With a source in a local folder. */
class InstallableRelease : public ReleaseToPatch
{
public:
    /** Patches P1, P2 ... as in pageWith(); their archives leave the marks of the patches with the content "text". */
    explicit InstallableRelease(const QStringList& archives = {"P1.tar"}, const QString& name = "5.9");

    /** A page without archives. */
    explicit InstallableRelease(const PatchPage& page, const QString& name = "5.9");

    LocalSource source;
};

/** With a source on a server, below /5.9/. */
class ServedRelease : public ReleaseToPatch
{
public:
    /** Patches and archives as above. */
    explicit ServedRelease(const QStringList& archives = {"P1.tar"});

    /** A page without archives. */
    explicit ServedRelease(const PatchPage& page, const QString& name = "5.9");

    FakePatchServer server;
};

/** With a local source and recorders for all tools; the archive of the one patch P1 is never read. */
class RecordedRelease : public InstallableRelease
{
public:
    explicit RecordedRelease(const QString& archive = "P1.tar", const QString& name = "5.9");

    /** Replaces a tool by another recorder. */
    void setTool(const QString& name, const FakeTool& tool);

    FakeTools tools;
};
