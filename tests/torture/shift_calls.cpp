// A preloaded library with which one thread or one started program can be chosen for a fault. strace counts the calls
// of each thread and each process from one, so "the fifth read" would fail in all of them. With this library, those
// that are started as number 1, 2, ... first make 1, 2, ... times SHIFT_BY calls of the number SHIFT_CALL that do
// nothing, and so every call has a count that no other has.
#include <cerrno>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

namespace {

using Routine = void* (*)(void*);

struct Start
{
    Routine routine;
    void* argument;
    long number;
};

long started = 0; // only the main thread starts threads and programs

long valueOf(const char* name)
{
    const char* text = std::getenv(name);
    return text == nullptr ? 0 : std::strtol(text, nullptr, 10);
}

const long call = valueOf("SHIFT_CALL");
const long count = valueOf("SHIFT_BY");

void shift(long number)
{
    const int before = errno;
    for (long i = 0; i < number * count; ++i) {
        syscall(call, -1L, -1L, -1L, -1L, -1L, -1L); // no call succeeds with these
    }
    errno = before;
}

void* startShifted(void* argument)
{
    const Start start = *static_cast<Start*>(argument);
    delete static_cast<Start*>(argument);
    shift(start.number);
    return start.routine(start.argument);
}

void countProcess()
{
    ++started;
}

void shiftProcess()
{
    shift(started);
}

__attribute__((constructor)) void watchStarts()
{
    pthread_atfork(countProcess, nullptr, shiftProcess);
}

} // namespace

// Under its own name it would have to repeat the reserved parameter names of the C library's declaration.
extern "C" __attribute__((visibility("default"))) int createThreadShifted(pthread_t* thread,
                                                                          const pthread_attr_t* attributes,
                                                                          Routine routine,
                                                                          void* argument) __asm__("pthread_create");

extern "C" int createThreadShifted(pthread_t* thread, const pthread_attr_t* attributes, Routine routine, void* argument)
{
    static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    auto* start = new (std::nothrow) Start{routine, argument, ++started};
    return start == nullptr ? EAGAIN : create(thread, attributes, startShifted, start);
}
