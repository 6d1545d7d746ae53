// The main of every test program: it leaves the caller's settings behind, enters the private /opt before any thread
// exists, and only then makes the application object. Header-only, so that the support library needs no Widgets:
// TAVRIN_GUI_TEST_MAIN is for sources that include <QApplication> themselves.
#pragma once

#include "desktop_settings.h"
#include "private_opt.h"
#include "test_paths.h"

#include <QCoreApplication>
#include <QTest>

#include <cstdio>
#include <cstdlib>

/** Whether QTest has come to its end; read when the process ends. */
inline bool& testsAreFinished()
{
    static bool finished = false;
    return finished;
}

/** Fails a test program that the code under test ends with exit(), which would otherwise pass with what it did not
 * test. */
inline void failWithoutResults()
{
    if (!testsAreFinished()) {
        std::fputs("FAIL!  : the code under test ended the test program\n", stderr);
        std::_Exit(1);
    }
}

inline void applyDesktopSettings()
{
    for (const auto& [name, value] : desktopSettings()) {
        qputenv(name.toLatin1().constData(), value.toLatin1());
    }
}

#define TAVRIN_TEST_MAIN_WITH(Application, TestClass, enterPlace)                                                      \
    int main(int argc, char** argv)                                                                                    \
    {                                                                                                                  \
        forgetCallersEnvironment();                                                                                    \
        applyDesktopSettings();                                                                                        \
        QString error;                                                                                                 \
        if (!(enterPlace)) {                                                                                           \
            std::fprintf(stderr, "FAIL!  : no private place to test in: %s\n", qUtf8Printable(error));                 \
            return 1;                                                                                                  \
        }                                                                                                              \
        Application app(argc, argv);                                                                                   \
        TestClass test;                                                                                                \
        testsAreFinished() = false;                                                                                    \
        std::atexit(failWithoutResults);                                                                               \
        const int failures = QTest::qExec(&test, argc, argv);                                                          \
        testsAreFinished() = true;                                                                                     \
        return failures;                                                                                               \
    }

#define TAVRIN_TEST_MAIN(TestClass) TAVRIN_TEST_MAIN_WITH(QCoreApplication, TestClass, enterPrivateOpt(&error))
#define TAVRIN_GUI_TEST_MAIN(TestClass) TAVRIN_TEST_MAIN_WITH(QApplication, TestClass, enterPrivateOpt(&error))

// For tests that need the host of the default patch source: in a network of its own it lives on loopback.
#define TAVRIN_NETWORK_TEST_MAIN(TestClass)                                                                            \
    TAVRIN_TEST_MAIN_WITH(QCoreApplication, TestClass,                                                                 \
                          enterPrivateOpt(&error) && enterPrivateNetwork(patchServerHost(), &error))
