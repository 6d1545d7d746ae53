// Part of the preloaded library: the program under test has it by the time this runs, and the tools that the program
// starts are to run as they are, without it and without a sanitizer in them.
#include <cstdlib>

namespace {

__attribute__((constructor)) void forgetPreload()
{
    unsetenv("LD_PRELOAD");
}

} // namespace
