// The business logic in window mode, where nothing ends the process, with everything around it that a test of one
// class needs. Header-only, so that the support library need not know the logic.
#pragma once

#include "fake_installation.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "signal_recorder.h"
#include "tavrin_update_bl.h"

/**
 * A business-logic object, initialised for an installation of its own, and what it signals in order: "log:" and
 * "fail:" with their texts, and "status". The search path is the caller's again when this object is gone.
 */
struct WindowLogic
{
    using CommandLineOptions = TavrinUpdateBusinessLogic::CommandLineOptions;

    static CommandLineOptions quietOptions()
    {
        CommandLineOptions options;
        options.showProposed = false;
        options.terminal = false;
        options.verbose = false;
        return options;
    }

    static CommandLineOptions verboseOptions()
    {
        CommandLineOptions options = quietOptions();
        options.verbose = true;
        return options;
    }

    explicit WindowLogic(const CommandLineOptions& options = quietOptions()) : logic("tavrin_update")
    {
        qputenv("TAVRIN", installation.path().toUtf8());
        initialized = logic.initialize(options);
    }

    ~WindowLogic()
    {
        qputenv("PATH", searchPath);
    }

    WindowLogic(const WindowLogic&) = delete;
    WindowLogic& operator=(const WindowLogic&) = delete;

    /** Leaves nothing but the recorders on the search path. */
    void searchToolsOnly() const
    {
        qputenv("PATH", tools.pathDirectory().toUtf8());
    }

    /** Puts the recorders before everything else on the search path. */
    void searchToolsFirst() const
    {
        qputenv("PATH", tools.pathDirectory().toUtf8() + ':' + searchPath);
    }

    /** Walks the list of patches: a Y for each that counts as applied, an N for each other. */
    QString appliedMarks()
    {
        QString marks;
        while (logic.nextPatch()) {
            marks += logic.patchIsInstalled() ? 'Y' : 'N';
        }
        return marks;
    }

    const QByteArray searchPath = qgetenv("PATH");
    FakeInstallation installation;
    FakeTools tools;
    TavrinUpdateBusinessLogic logic;
    SignalRecorder recorder{logic};
    QStringList& events = recorder.events;
    QString initialized;
};
