// The business logic in window mode, where nothing ends the process, with the installation, tools and options that a
// test of the class needs. Header-only, so that the kit's library does not depend on the logic.
#pragma once

#include "expected_texts.h"
#include "fake_installation.h"
#include "fake_tools.h"
#include "patch_source.h"
#include "signal_recorder.h"
#include "tavrin_update_bl.h"

#include <QTest>

/** How WindowLogic notes progress that a terminal run would print. */
inline QString logged(const QByteArray& text)
{
    return "log:" + QString::fromUtf8(text.endsWith('\n') ? text.chopped(1) : text);
}

/** How WindowLogic notes that the list of patches could not be fetched. */
inline QString unreadList(const QString& address, const QString& reason)
{
    return "log:Failed to read patches from\n" + address + '\n' + reason;
}

/**
 * A business-logic object, initialised for an installation of its own, and what it signals in order: "log:" and
 * "fail:" with their texts, "ready" for a list that was read and "status". The search path is the caller's again when
 * this object is gone.
 */
struct WindowLogic
{
    using Logic = TavrinUpdateBusinessLogic;
    using CommandLineOptions = Logic::CommandLineOptions;

    static CommandLineOptions quietOptions(const QString& url = QString())
    {
        CommandLineOptions options;
        options.showProposed = false;
        options.terminal = false;
        options.verbose = false;
        options.url = url;
        return options;
    }

    static CommandLineOptions verboseOptions()
    {
        CommandLineOptions options = quietOptions();
        options.verbose = true;
        return options;
    }

    static CommandLineOptions applyOptions(const QString& url = QString())
    {
        CommandLineOptions options = quietOptions(url);
        options.apply = true;
        return options;
    }

    explicit WindowLogic(const CommandLineOptions& options = quietOptions()) : logic("tavrin_update")
    {
        QObject::connect(&logic, &Logic::patchListReady, [this] { events << "ready"; });
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

    /** Puts a recorder on the search path and everything but recorders off it. */
    void record(const QString& name, const FakeTool& tool = FakeTool())
    {
        tools.add(name, tool);
        searchToolsOnly();
    }

    /** Makes the archive tool of the installation a recorder. */
    void recordArchiver(const FakeTool& tool = FakeTool())
    {
        tools.addTo(installation.path("bin"), "bsdtar", tool);
    }

    /** Lists a patch that is not applied for each archive; its name is what comes before the archive's first dot. */
    void list(const QStringList& archives)
    {
        for (const QString& archive : archives) {
            const QString name = QFileInfo(archive).baseName();
            logic.addPatchToList(name, name + " 1 May 2020", false, archive, "Corrects " + name + '.');
        }
    }

    /** Hands the logic the answer to a request for the list page, as the network does. */
    void receivePage(QNetworkReply* reply)
    {
        QVERIFY(QMetaObject::invokeMethod(&logic, "patchListReceived", Q_ARG(QNetworkReply*, reply)));
    }

    /** Hands the logic the answer to a request for an archive, as the network does. */
    void receiveArchive(QNetworkReply* reply)
    {
        QVERIFY(QMetaObject::invokeMethod(&logic, "downloadComplete", Q_ARG(QNetworkReply*, reply)));
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

    /** The names of the entries of a directory of the installation that are files. */
    QStringList filesIn(const QString& directory) const
    {
        return QDir(installation.path(directory)).entryList(QDir::Files, QDir::Name);
    }

    const QByteArray searchPath = qgetenv("PATH");
    FakeInstallation installation;
    FakeTools tools;
    Logic logic;
    SignalRecorder recorder{logic};
    QStringList& events = recorder.events;
    QString initialized;
};
