// How long a test waits for something that a started program does: long enough for one that valgrind slows down on a
// busy machine. The default of QtTest's waiting macros, five seconds, is for what happens in the test's own process. A
// wait ends as soon as its condition is met.
#pragma once

/** Milliseconds. */
constexpr int LONG_WAIT = 60000;
