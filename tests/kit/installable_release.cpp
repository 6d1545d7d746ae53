// The patches of the sources are as small as they can be: their only file is the mark of the patch.
#include "installable_release.h"

#include "at_rest.h"
#include "test_files.h"

#include <QDir>
#include <QFileInfo>

namespace {

QByteArray archiveOfPatch(const FakeInstallation& installation, int number)
{
    return archiveOf(installation.path(QStringLiteral("patched/P%1").arg(number)), "text");
}

} // namespace

ReleaseToPatch::ReleaseToPatch(const QString& name) : installation(name)
{
    installation.withTools();
    program.tavrin(installation.path()).input("y\n");
}

ProgramRun ReleaseToPatch::run(const QStringList& options)
{
    return program.run(QStringList{"-t"} + options + QStringList{url});
}

std::unique_ptr<ProgramSession> ReleaseToPatch::start(const QStringList& options)
{
    return program.start(QStringList{"-t"} + options + QStringList{url});
}

bool ReleaseToPatch::isAtRestDuringAnotherRun(const ProgramSession& session) const
{
    const qint64 turns = turnsAtRest(session.processId());
    const ProgramRun other = Program().tavrin(installation.path()).run({"-t", "-l", "file:///nowhere/"});
    return other.status == 1 && turns > 0 && turnsAtRest(session.processId()) == turns;
}

bool ReleaseToPatch::has(const QString& name) const
{
    return QFileInfo::exists(installation.path(name));
}

QByteArray ReleaseToPatch::content(const QString& name) const
{
    return contentOf(installation.path(name));
}

QStringList ReleaseToPatch::storedArchives() const
{
    return QDir(installation.path("patches")).entryList(QDir::Files);
}

InstallableRelease::InstallableRelease(const QStringList& archives, const QString& name)
    : InstallableRelease(pageWith(archives), name)
{
    for (int i = 0; i < archives.size(); ++i) {
        source.withFile(archives.at(i), archiveOfPatch(installation, i + 1));
    }
}

InstallableRelease::InstallableRelease(const PatchPage& page, const QString& name) : ReleaseToPatch(name), source(page)
{
    url = source.url();
}

ServedRelease::ServedRelease(const QStringList& archives) : ServedRelease(pageWith(archives))
{
    for (int i = 0; i < archives.size(); ++i) {
        server.answer("/5.9/" + archives.at(i).toUtf8(),
                      FakePatchServer::Answer::body(archiveOfPatch(installation, i + 1)));
    }
}

ServedRelease::ServedRelease(const PatchPage& page, const QString& name) : ReleaseToPatch(name)
{
    server.answer("/5.9/", FakePatchServer::Answer::body(page.html()));
    url = server.url("/5.9/");
}

RecordedRelease::RecordedRelease(const QString& archive, const QString& name)
    : InstallableRelease(QStringList{archive}, name)
{
    source.withFile(archive, "an archive");
    for (const char* tool : {"bsdtar", "gunzip", "perl"}) {
        setTool(tool, FakeTool());
    }
    program.path(tools.pathDirectory());
}

void RecordedRelease::setTool(const QString& name, const FakeTool& tool)
{
    tools.addTo(name == "bsdtar" ? installation.path("bin") : tools.pathDirectory(), name, tool);
}
