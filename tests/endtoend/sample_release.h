// A sample installation and patch source, made by the project's scripts: one patch of each kind of archive that is
// unpacked, the output of a run, and the installation that it has to leave.
#pragma once

#include "expected_texts.h"
#include "fake_patch_server.h"
#include "program_run.h"

/** Where the sample installation is. */
inline const QString RELEASE_DIRECTORY = QStringLiteral("/opt/tavrin/5.9");

/** The sample installation, in which the named patches are applied, and its source; gone when destroyed. */
class SampleRelease
{
public:
    explicit SampleRelease(const QStringList& patched = {});
    ~SampleRelease();
    SampleRelease(const SampleRelease&) = delete;
    SampleRelease& operator=(const SampleRelease&) = delete;

    /** Runs the program on the source that the server offers; it reads the answer "y" unless told otherwise. */
    ProgramRun run(const QStringList& options = {});

    /** Runs it on another source. The order of simultaneous downloads is the server's, so their lines are sorted. */
    ProgramRun runOn(const QString& url);

    /** The paths that an installing run asks for, sorted. */
    QList<QByteArray> paths() const;

    /** Starts the run above, with an input that stays open. */
    std::unique_ptr<ProgramSession> start(const QStringList& options = {});

    /** The address of the folder with the source. */
    QString localUrl() const;

    /** A file of the source. */
    QString sourceFile(const QString& name) const;

    /** The report about the patches that are not applied, and all of a run that installs them. */
    QByteArray report() const;
    QByteArray installingRun(const QByteArray& dialogue = QUESTION + "\n") const;

    /** What the installation has to look like after all archives, made from a copy by other means. */
    QStringList expectedListing() const;

    /** Answers for the page and the archives below /5.9/, the missing archives one after the other. */
    FakePatchServer server;

    Program program;

private:
    QTemporaryDir folder;
    QStringList applied;
};
