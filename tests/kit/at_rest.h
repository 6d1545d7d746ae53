// Whether a process waits without doing anything, as it does for a server that keeps silent. Nothing tells the end of
// such a wait from outside, so a test looks twice: the system counts how often it has let each thread run.
#pragma once

#include <QtGlobal>

/**
 * How often the threads of a process were let run, or -1 while one of them is running or has a child. A process that
 * gives the same number after some other work has waited for all that time. In the test's own process the thread that
 * asks is left out.
 */
qint64 turnsAtRest(qint64 processId);
