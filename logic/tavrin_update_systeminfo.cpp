// The calls behind TavrinUpdateSystemInfo. The installation's library is reached through the dynamic linker, so an
// administrator can exchange it without a new build.
#include "tavrin_update_systeminfo.h"

int TavrinUpdateSystemInfo::getRunningRealTimeSystems(Pidrtsys** systems)
{
    return pidrtsys(systems);
}

const char* TavrinUpdateSystemInfo::getOS()
{
    return "Linux";
}

const char* TavrinUpdateSystemInfo::getProcessor()
{
    return "x86";
}
