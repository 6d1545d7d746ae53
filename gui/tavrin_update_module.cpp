// The module of the window, which the program loads for a window run: the library of the window, and Qt's description
// of a plug-in with the version. The business logic is not in it. What it calls of that is in the program that loads
// it.
#include "tavrin_update_windowfactory.h"

#include <QObject>

class TavrinUpdateModule : public QObject, public TavrinUpdateWidgetsFactory
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "tavrin_update.TavrinUpdateWindowFactory" FILE "tavrin_update_module.json")
    Q_INTERFACES(TavrinUpdateWindowFactory)
};

#include "tavrin_update_module.moc"
