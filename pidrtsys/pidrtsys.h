// The record and the C function through which a Tavrin installation's own library, libpidrtsys.so, lists the
// real-time systems that run on this host. The library defines the layout; this header repeats it, and the assertions
// below check it. The array comes from the C allocator, therefore the record has its own operators `delete` and
// `delete[]`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

/**
 * One running real-time system. The texts end in NUL unless they fill their field; read them with fieldText() of
 * tavrin_update_systeminfo.h, which never looks beyond the field.
 */
struct Pidrtsys
{
    char unread[64];
    char userName[1024];
    char workingDirectory[4096];
    char version[1028];
    std::int32_t rtexecPid;

    // An array from pidrtsys() is one block of the C allocator, whether it holds one record or many.
    static void operator delete(void* block)
    {
        std::free(block);
    }

    static void operator delete[](void* block)
    {
        std::free(block);
    }
};

static_assert(sizeof(Pidrtsys) == 6216, "the record is laid out by the installation's library");
static_assert(offsetof(Pidrtsys, unread) == 0, "the record is laid out by the installation's library");
static_assert(offsetof(Pidrtsys, userName) == 64, "the record is laid out by the installation's library");
static_assert(offsetof(Pidrtsys, workingDirectory) == 1088, "the record is laid out by the installation's library");
static_assert(offsetof(Pidrtsys, version) == 5184, "the record is laid out by the installation's library");
static_assert(offsetof(Pidrtsys, rtexecPid) == 6212, "the record is laid out by the installation's library");

/**
 * Finds the running real-time systems. Stores at `*systems` an array that the caller releases, or null when there are
 * none, and returns the number of records.
 */
extern "C" int pidrtsys(Pidrtsys** systems);
