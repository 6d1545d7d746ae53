// A preloaded library that delays the start of each new thread: on a busy machine a thread may start only when the
// process already ends.
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

extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t* thread, const pthread_attr_t* attributes, Routine routine, void* argument)
{
    static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
    return create(thread, attributes, startLate, new Start{routine, argument});
}
