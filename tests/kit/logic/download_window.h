// A window run that downloads and installs. The archive tool, the decompressor and perl are recorders; the archive tool
// leaves the mark that a real archive would bring.
#pragma once

#include "fake_patch_server.h"
#include "test_files.h"
#include "window_logic.h"

// What a run signals, step by step.
inline const QString START = logged(DOWNLOAD);
inline const QString INSTALL = logged(APPLY);
inline const QStringList FINISHED{logged(PAGE), logged(PAGE_UPDATED), logged(RESTART_NOTICE), "status"};

inline QString downloaded(const QString& file)
{
    return "log:Downloaded " + file;
}

inline QString installed(const QString& file)
{
    return logged(installing(file.toUtf8(), {}));
}

/** What the install sequence signals when none of its steps fails. */
inline QStringList installationOf(const QStringList& files)
{
    QStringList events{INSTALL};
    for (const QString& file : files) {
        events << installed(file);
    }
    return events + FINISHED;
}

/** What a whole run signals that reports this about its downloads and installs these files. */
inline QStringList runOf(const QStringList& reported, const QStringList& files)
{
    return QStringList{START} + reported + installationOf(files);
}

/** The server of a DownloadWindow, ready before the rest of it. */
struct WithPatchServer
{
    FakePatchServer server;
};

/** A window run with leave to install, by default from a server of its own, and with recorders for all tools. */
struct DownloadWindow : WithPatchServer, WindowLogic
{
    using Answer = FakePatchServer::Answer;

    DownloadWindow() : WindowLogic(applyOptions(server.url("/5.9")))
    {
        recordTools();
    }

    explicit DownloadWindow(const CommandLineOptions& options) : WindowLogic(options)
    {
        recordTools();
    }

    explicit DownloadWindow(const QString& url) : DownloadWindow(applyOptions(url))
    {
    }

    /** Lists a patch that is not applied, and says what the server answers when its archive is asked for. */
    void offer(const QString& archive, const Answer& answer)
    {
        list({archive});
        server.answer(requestPath(archive), answer);
    }

    /** What a file in the patches directory holds. */
    QByteArray stored(const QString& file) const
    {
        return contentOf(installation.path("patches/" + file));
    }

    /** What a request for an archive names. */
    QByteArray requestPath(const QString& archive) const
    {
        return QUrl(server.url("/5.9/") + archive).toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority);
    }

    /** Downloads and installs, and waits for the end of that. */
    void install()
    {
        logic.applyPatches();
        waitForEnd();
    }

    void waitForEnd() const
    {
        QTRY_COMPARE(events.isEmpty() ? QString() : events.last(), QString("status"));
    }

private:
    void recordTools()
    {
        const QByteArray marks = installation.path("patched").toUtf8();
        recordArchiver(FakeTool::running("name=${2##*/}; : >\"" + marks + "/${name%%.*}\""));
        record("gunzip");
        record("perl");
    }
};
