// Programs that run as an ordinary user in a PID namespace of their own, beside another process of that user. There a
// limit of tasks holds, which root is free of, and a signal to every process reaches none outside.
#pragma once

#include "fake_installation.h"
#include "patch_source.h"
#include "program_run.h"

/** Starts the built program, or the starter, confined. The bystander must survive: its loss is said on standard error.
 */
class ConfinedProgram
{
public:
    /** Copies what is run to where any user can read it. */
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
    QStringList confined(const QString& executable, const QStringList& arguments) const;
};
