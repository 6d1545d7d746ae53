// The module of the window, which the program loads for a window run: the library of the window, and Qt's description
// of a plug-in with the version. The business logic is not in it. What it calls of that is in the program that loads
// it.
#include "tavrin_update_windowfactory.h"

#include <QObject>

#ifdef TAVRIN_COVERAGE
extern "C" { // the header is written for C alone
#include <gcov.h>
}

namespace {

// The module has counters of its own, which the program does not write when it ends without cleanup. The thread-local
// object is made after the program's, so exit() destroys it first.
struct CountersWrittenAtExit
{
    CountersWrittenAtExit() = default;
    CountersWrittenAtExit(const CountersWrittenAtExit&) = delete;
    CountersWrittenAtExit& operator=(const CountersWrittenAtExit&) = delete;

    ~CountersWrittenAtExit()
    {
        __gcov_dump();
    }
};

__attribute__((constructor)) void writeCountersAtExit()
{
    thread_local const CountersWrittenAtExit countersWrittenAtExit;
}

} // namespace
#endif

class TavrinUpdateModule : public QObject, public TavrinUpdateWidgetsFactory
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "tavrin_update.TavrinUpdateWindowFactory" FILE "tavrin_update_module.json")
    Q_INTERFACES(TavrinUpdateWindowFactory)
};

#include "tavrin_update_module.moc"
