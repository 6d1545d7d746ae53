// The start of a fuzz target: it enters the private /opt of the tests, whatever starts it, and makes the application
// object. A warning of Qt is a finding unless the target knows it.
#pragma once

#include "fuzz_target.h"
#include "test_place.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>

/** Whether this is a warning that says nothing about the project's code. */
inline bool isKnownWarning(const QString& text)
{
    static const QStringList known{
        // The offscreen platform has no window manager.
        QStringLiteral("This plugin does not support propagateSizeHints()"),
        QStringLiteral("This plugin does not support raise()"),
        // An archive's name with a NUL in it, which the business logic reports when it cannot open the file.
        QStringLiteral("Broken filename passed to function"),
    };
    return known.contains(text);
}

/** Ends the process on a warning of Qt, and is silent about everything else that Qt has to say. */
inline void failOnWarning(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    if (type == QtDebugMsg || type == QtInfoMsg || isKnownWarning(text)) {
        return;
    }
    std::fprintf(stderr, "\n%s%s\n", type == QtFatalMsg ? "" : "unexpected warning: ", qUtf8Printable(text));
    std::abort();
}

/** Prepares the process of a target. The application object lives until the process has ended. */
template <typename Application>
void startFuzzing(int& argc, char** argv)
{
    if (!enterTestPlace(argv)) {
        std::exit(1);
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static const auto* const application = new Application(argc, argv);
    Q_UNUSED(application)
    qInstallMessageHandler(failOnWarning);
}
