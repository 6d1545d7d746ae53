// What a window run needs of Qt Widgets. The program itself is not linked to Qt Widgets; it gets these two operations
// from the module of the window, which it loads for such a run. Only this header is known to both.
#pragma once

#include <QtPlugin>

class QCoreApplication;
class TavrinUpdateBusinessLogic;

/** Makes the two objects of a window run whose classes the program does not know. */
class TavrinUpdateWindowFactory
{
public:
    virtual ~TavrinUpdateWindowFactory() = default;

    /** Makes a QApplication, which the caller owns. `argc` and `argv` must outlive it. Needs a display. */
    virtual QCoreApplication* createApplication(int& argc, char** argv) const = 0;

    /** Opens the main window on the business logic, which must outlive it. The window is never deleted. */
    virtual void showWindow(TavrinUpdateBusinessLogic& logic) const = 0;
};

Q_DECLARE_INTERFACE(TavrinUpdateWindowFactory, "tavrin_update.TavrinUpdateWindowFactory")

/** The factory with Qt Widgets. It has no state. */
class TavrinUpdateWidgetsFactory : public TavrinUpdateWindowFactory
{
public:
    QCoreApplication* createApplication(int& argc, char** argv) const override;
    void showWindow(TavrinUpdateBusinessLogic& logic) const override;
};

/**
 * The factory of a program that is linked to the library of the window, as tests are; never null. The entry refers to
 * it weakly, so it does not exist in a program without that library.
 */
extern "C" const TavrinUpdateWindowFactory* linkedWindowFactory();
