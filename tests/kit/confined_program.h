// Programs that run as an ordinary user in their own PID namespace, beside another process of that user. A limit of
// tasks applies there (it does not apply to root), and a signal to all processes reaches none outside.
#pragma once

#include "fake_installation.h"
#include "patch_source.h"
#include "program_copy.h"
#include "program_run.h"

/** Starts the built program, or the starter, confined. When the bystander is killed, a line on standard error says so.
 */
class ConfinedProgram
{
public:
    /** Copies the programs to a folder that every user can read. */
    ConfinedProgram();
    ~ConfinedProgram();
    ConfinedProgram(const ConfinedProgram&) = delete;
    ConfinedProgram& operator=(const ConfinedProgram&) = delete;

    /** The program's environment; what it runs and its preloaded library are settled. */
    Program program;

    /** Lets the confined user read the source and write the installation. */
    void admitTo(const FakeInstallation& installation) const;
    void admitTo(const LocalSource& source) const;

    ProgramRun run(const QStringList& arguments);
    std::unique_ptr<ProgramSession> start(const QStringList& arguments);
    ProgramRun runStarter(const QStringList& arguments);

private:
    static QStringList confined(const QString& executable, const QStringList& arguments);

    const ProgramCopy copy;
    const QString starter;
};
