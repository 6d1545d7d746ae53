// The application object and the main window of a window run.
#include "tavrin_update_windowfactory.h"

#include "tavrin_update_mainwindow.h"

#include <QApplication>
#include <QOpenGLContext>

QCoreApplication* TavrinUpdateWidgetsFactory::createApplication(int& argc, char** argv) const
{
    // Showing a window under X11 would load OpenGL with its drivers, which this window never draws with: 30 ms and
    // 50 MiB. The variable is only for this process, so it is gone again before a tool can inherit it.
    const char variable[] = "QT_XCB_GL_INTEGRATION";
    const bool isSetByUser = qEnvironmentVariableIsSet(variable);
    if (!isSetByUser) {
        qputenv(variable, "none");
    }
    auto* app = new QApplication(argc, argv);
    if (!isSetByUser) {
        QOpenGLContext::supportsThreadedOpenGL(); // has the platform read the variable now, not for the first window
        qunsetenv(variable);
    }
    return app;
}

void TavrinUpdateWidgetsFactory::showWindow(TavrinUpdateBusinessLogic& logic) const
{
    auto* window = new TavrinUpdateMainWindow(logic, nullptr);
    window->show();
}

const TavrinUpdateWindowFactory* linkedWindowFactory()
{
    static const TavrinUpdateWidgetsFactory factory;
    return &factory;
}
