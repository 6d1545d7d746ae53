// What the updater asks the system: the running real-time systems, and the names of the platform for the address of the
// patch source. The installation's library answers the query; nothing is stored here.
#pragma once

#include "pidrtsys.h"

#include <QString>

/** Wraps the installation's library and names the platform. */
class TavrinUpdateSystemInfo
{
public:
    TavrinUpdateSystemInfo() = default;

    /**
     * Stores at `*systems` an array of the running real-time systems, or null when there are none, and returns the
     * number of records, exactly as the library gave them. The caller releases the array with `delete` or `delete[]`.
     */
    static int getRunningRealTimeSystems(Pidrtsys** systems);

    /** The operating system as the patch source names it: "Linux". */
    static const char* getOS();

    /** The processor as the patch source names it: "x86". */
    static const char* getProcessor();
};

/** The text of one field of a record: up to its NUL, or the whole field when it has none. */
template <std::size_t size>
QString fieldText(const char (&field)[size])
{
    return QString::fromUtf8(field, static_cast<int>(qstrnlen(field, size)));
}
