// Starts a program and tells what it used. On the given descriptor comes a line with its process number and, when it
// has ended, one with its wait status, its own CPU time, the same with that of the children that it waited for, both in
// microseconds, and the largest resident memory of these processes in KiB. That peak is never below the size of the
// process that starts them, and the benchmarks themselves are larger than what they measure.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

long long microseconds(const timeval& time)
{
    return time.tv_sec * 1000000LL + time.tv_usec;
}

// The CPU time of a process that has ended and was not waited for yet, without its children.
long long ownMicroseconds(pid_t process)
{
    clockid_t clock = 0;
    timespec time = {};
    if (clock_getcpuclockid(process, &clock) != 0 || clock_gettime(clock, &time) != 0) {
        std::perror("measured_run: no CPU time of the process");
        std::exit(1);
    }
    return time.tv_sec * 1000000LL + time.tv_nsec / 1000;
}

} // namespace

// Usage: measured_run DESCRIPTOR PROGRAM [ARGUMENT]...
int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "Usage: measured_run DESCRIPTOR PROGRAM [ARGUMENT]...\n");
        return 2;
    }
    const int descriptor = static_cast<int>(std::strtol(argv[1], nullptr, 10));
    fcntl(descriptor, F_SETFD, FD_CLOEXEC);
    pid_t process = 0;
    const int failure = posix_spawnp(&process, argv[2], nullptr, nullptr, argv + 2, environ);
    if (failure != 0) {
        std::fprintf(stderr, "measured_run: %s\n", std::strerror(failure));
        return 1;
    }
    dprintf(descriptor, "%d\n", static_cast<int>(process));

    siginfo_t end = {};
    while (waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
    }
    const long long own = ownMicroseconds(process);
    int status = 0;
    rusage used = {};
    wait4(process, &status, 0, &used);
    dprintf(descriptor, "%d %lld %lld %ld\n", status, own, microseconds(used.ru_utime) + microseconds(used.ru_stime),
            used.ru_maxrss);
    return 0;
}
