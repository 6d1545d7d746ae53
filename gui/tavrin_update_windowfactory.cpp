// The application object and the main window of a window run.
#include "tavrin_update_windowfactory.h"

#include "tavrin_update_mainwindow.h"

#include <QApplication>

QCoreApplication* TavrinUpdateWidgetsFactory::createApplication(int& argc, char** argv) const
{
    // Otherwise Qt prepares each window for OpenGL, which nothing here draws with. Under X11 that loads the drivers:
    // 30 ms and 50 MiB.
    QCoreApplication::setAttribute(Qt::AA_ForceRasterWidgets);
    return new QApplication(argc, argv);
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
