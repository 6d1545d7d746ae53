// Part of the preloaded library. When this runs, the library is loaded in the program under test; the tools that the
// program starts must run without it and without a sanitizer.
#include <cstdlib>

namespace {

__attribute__((constructor)) void forgetPreload()
{
    unsetenv("LD_PRELOAD");
}

} // namespace
