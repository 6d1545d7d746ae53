// A preloaded library that delays the start of each new thread: on a busy machine a thread may start only when the
// process already ends.
#include <cerrno>
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
};

constexpr useconds_t DELAY = 100000; // microseconds

void* startLate(void* argument)
{
    const Start start = *static_cast<Start*>(argument);
    delete static_cast<Start*>(argument);
    usleep(DELAY);
    return start.routine(start.argument);
}

} // namespace

// Under its own name it would have to repeat the reserved parameter names of the C library's declaration.
extern "C" __attribute__((visibility("default"))) int createThreadLate(pthread_t* thread,
                                                                       const pthread_attr_t* attributes,
                                                                       Routine routine,
                                                                       void* argument) __asm__("pthread_create");

extern "C" int createThreadLate(pthread_t* thread, const pthread_attr_t* attributes, Routine routine, void* argument)
{
    static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    auto* start = new (std::nothrow) Start{routine, argument};
    return start == nullptr ? EAGAIN : create(thread, attributes, startLate, start);
}
