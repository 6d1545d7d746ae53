"""Makes each system call of a listing and of an install fail once, and judges how the run ends.

An undisturbed run under strace lists the calls that concern files, the network, memory and processes, of the main
thread, of Qt's network threads, and of the programs to be started until they are. Then each run has one of them fail.
Every run is in a PID namespace of its own, so that a stray signal reaches nothing else. The calls of the loader, before
the program begins, are told apart: what happens then is not up to the program.
"""

import collections
import concurrent.futures
import os
import re
import signal
import subprocess

import place

PATCHES = [place.Patch("P1", "P1.tar", 3, 4000), place.Patch("P2", "P2.tar.gz", 3, 4000)]
LIMIT = 80  # seconds; a tool may take 30, and a fault can let the program wait that long for one that has ended

# What each call fails with; of several errors, each call takes the next.
ERRORS = {
    "access": "EACCES", "brk": "ENOMEM", "chdir": "EACCES", "clone": "EAGAIN ENOMEM", "clone3": "EAGAIN ENOMEM",
    "close": "EIO EINTR", "connect": "ECONNREFUSED ENETUNREACH", "dup": "EMFILE", "dup2": "EMFILE", "dup3": "EMFILE",
    "epoll_create1": "EMFILE", "eventfd2": "EMFILE", "execve": "EACCES ENOMEM", "fcntl": "EINVAL", "fstat": "EIO",
    "fstatfs": "EIO", "fsync": "EIO", "ftruncate": "EIO ENOSPC", "getcwd": "ENOENT", "getdents64": "EIO",
    "getpeername": "ENOBUFS", "getrandom": "EAGAIN", "getsockname": "ENOBUFS",
    "getsockopt": "ENOBUFS", "ioctl": "ENOTTY", "kill": "EPERM", "lseek": "EIO", "lstat": "EIO", "madvise": "ENOMEM",
    "mmap": "ENOMEM", "mprotect": "ENOMEM", "mremap": "ENOMEM", "munmap": "ENOMEM", "newfstatat": "EIO EACCES",
    "openat": "EMFILE EACCES EIO", "pipe2": "EMFILE ENFILE", "poll": "EINTR ENOMEM", "ppoll": "EINTR ENOMEM",
    "prctl": "EINVAL", "pread64": "EIO", "prlimit64": "EPERM", "read": "EIO EINTR", "readlink": "EACCES",
    "recvfrom": "ECONNRESET", "recvmsg": "ECONNRESET ENOMEM", "select": "EINTR", "sendmmsg": "ENOBUFS",
    "sendmsg": "ECONNRESET EPIPE", "sendto": "ECONNRESET EPIPE", "setsockopt": "ENOBUFS", "setsid": "EPERM",
    "shutdown": "ENOTCONN", "socket": "EMFILE EACCES", "stat": "EIO", "statfs": "EIO", "statx": "EIO EACCES",
    "sysinfo": "EFAULT", "uname": "EFAULT", "unlink": "EACCES", "wait4": "EINTR", "waitid": "EINTR",
    "write": "ENOSPC EIO EINTR", "writev": "ECONNRESET EPIPE",
}
ON_SOCKET = {"read": "ECONNRESET", "write": "ECONNRESET EPIPE"}
NO_THREAD = "QThread::start: Thread creation error"
BEGIN = re.compile(r'openat\(AT_FDCWD[^,]*, "/dev/null", O_RDWR')  # what the program does first
NUMBERS = {}  # of the calls, by name

Call = collections.namedtuple("Call", "run starter name number error loading line")
site = None
undisturbed = {}


def key(call):
    who = "main" if call.starter == 0 else f"started{call.starter}"
    return f"{call.run}:{who}:{call.name}:{call.number}:{call.error}"


def command(url, run, trace, preload, environment=()):
    """Runs the program under strace, in a PID namespace of its own."""
    options = [] if run == "install" else ["-l"]
    return ["unshare", "--pid", "--fork", "--kill-child", "--mount-proc", "strace", "-o", f"{site.source}/../trace",
            "-e", "quiet=attach,personality", *trace, "-E", f"LD_PRELOAD={preload}",
            *(word for entry in environment for word in ("-E", entry)), *site.command(url, *options)]


def trace():
    with open(f"{site.source}/../trace", errors="replace") as file:
        return file.read().splitlines()


def calls_of(run, url, preload):
    """The calls of an undisturbed run, in their order."""
    site.renew()
    ended = site.finish(site.start(command(url, run, ["-f", "-y", "-b", "execve"], preload)))
    if ended.status != 0 or ended.errors:
        raise SystemExit("\n".join([f"An undisturbed {run} failed.", *place.described(ended)]))
    order, counts, loading, calls = {}, collections.Counter(), True, []
    for line in trace():
        parsed = re.match(r"(\d+) +(?:(\w+)\(|<\.\.\. (clone3?) resumed>)(.*)", line)
        if not parsed:
            continue
        task, name, resumed, rest = parsed.groups()
        order.setdefault(task, 0 if not order else len(order))
        made = re.search(r"= (\d+)$", rest)
        if (resumed or name in ("clone", "clone3")) and made:
            order.setdefault(made.group(1), len(order))
        if not name:
            continue
        loading = loading and not BEGIN.search(line)
        counts[task, name] += 1
        number = counts[task, name]
        is_own_start = name == "execve" and order[task] == 0
        is_letter_of_header = re.search(r', 1\) += 1$', rest) and number % 16 > 0  # Qt reads them one by one
        is_wake_up = name == "write" and "<anon_inode:[eventfd]>" in rest  # never fails
        is_end_of_pipe = name == "close" and "<pipe:" in rest  # never fails; strace would leave the pipe open
        if name in ERRORS and not (is_own_start or is_letter_of_header or is_wake_up or is_end_of_pipe):
            errors = (ON_SOCKET if "<socket:" in rest and name in ON_SOCKET else ERRORS)[name].split()
            calls.append(Call(run, order[task], name, number, errors[number % len(errors)], loading, line))
    return calls


def call_number(name):
    """The number of a system call, as strace knows it."""
    if name not in NUMBERS:
        header = subprocess.run(["cpp", "-dM"], input="#include <sys/syscall.h>\n#include <asm/unistd.h>\n",
                                stdout=subprocess.PIPE, text=True, check=True).stdout
        NUMBERS.update((match[1], match[2]) for match in re.finditer(r"#define __NR_(\w+) (\d+)", header))
    return NUMBERS[name]


def begin_worker(program, preload, times):
    """Makes an installation for this process, a server, and what undisturbed runs give."""
    global site
    site = place.Site(f"calls{os.getpid()}", PATCHES, program)
    site.preload = preload
    site.serving = place.slow_server(site.source, 0, times)
    site.url = site.serving.__enter__()
    for run in ("listing", "install"):
        site.renew()
        ended = site.finish(site.start(command(site.url, run, ["-e", "trace=none"], preload)))
        undisturbed[run] = ended, site.tree("patches/")


def inject(call, shift):
    """Runs with one failing call; returns the outcome, a judgement (True: fine) and details."""
    if call.run == "install":
        site.renew()
    else:
        site.tree_before = undisturbed["listing"][1]
        if place.differences(site.tree_before, site.tree("patches/")):
            site.renew()
    when = call.number + call.starter * shift
    result = "retval=0" if call.name == "brk" else f"error={call.error}"  # brk has its own way to fail
    own = ["-e", f"trace={call.name}", "-e", f"inject={call.name}:{result}:when={when}"]
    if call.starter:
        own = ["-f", "-b", "execve", *own]
    environment = [f"SHIFT_CALL={call_number(call.name)}", f"SHIFT_BY={shift}"]
    line = command(site.url, call.run, own, site.preload, environment)
    ended = site.finish(site.start(line), LIMIT, NO_THREAD)
    failed = [entry for entry in trace() if "(INJECTED)" in entry]
    outcome, fine = judge(call, ended)
    if not failed:
        outcome = f"not reached, {outcome}"
    return call, outcome, fine, [" ".join(line), *failed[:2], f"in an undisturbed run: {call.line[:150]}",
                                 *place.described(ended)]


def judge(call, ended):
    expected, tree = undisturbed[call.run]
    if ended.status is None:
        return "hang", False
    if ended.status < 0 or ended.status > 127:
        return f"crash ({signal.Signals(ended.status - 128 if ended.status > 0 else -ended.status).name})", False
    differing = place.differences(tree, site.tree("patches/"))
    if call.run == "listing" and differing:
        return "a listing changed the installation", False
    if ended.status == 0:
        if call.run == "install":
            return ("success", True) if not differing else ("success with another tree", False)
        if ended.output.split("\n")[1:] != expected.output.split("\n")[1:]:
            return "success with another report", False
        return ("success", True) if ended.output == expected.output else ("success with another header", False)
    if ended.status == 127 and call.loading:
        return "not loaded", True
    if ended.status != 1:
        return f"status {ended.status}", False
    return ("failure with its message", True) if ended.errors.strip() else ("failure without a message", False)


def run(sample, only, program):
    global site
    preload = f"{os.path.dirname(program)}/../tests/torture/libshift_calls.so"
    found = place.Findings()
    requests = []
    with place.slow_server("/opt/tavrin/calls/source", 0, requests) as url:
        site = place.Site("calls", PATCHES, program)
        calls = [call for call in calls_of("listing", url, preload)]
        calls += [call for call in calls_of("install", url, preload) if not call.loading]
    if {call.loading for call in calls if call.run == "listing"} != {False, True}:
        raise SystemExit("The calls of the loader cannot be told from those of the program.")
    shifts = {call.name: 20 + max(other.number for other in calls if other.name == call.name) for call in calls}
    calls = [call for call in calls if key(call).startswith(only)]
    if sample and sample < len(calls):
        calls = [calls[i * len(calls) // sample] for i in range(sample)]
    if not calls:
        raise SystemExit(f"No call has a key that begins with {only}.")
    table = collections.Counter()
    with concurrent.futures.ProcessPoolExecutor(os.cpu_count(), initializer=begin_worker,
                                                initargs=(program, preload, [])) as workers:
        for call, outcome, fine, details in workers.map(inject, calls, [shifts[call.name] for call in calls]):
            part = "loading" if call.loading else call.run
            accepted = None if fine else accepted_because(call, outcome, details)
            table[part, outcome] += 1
            if accepted:
                found.count(f"accepted: {outcome}: {accepted}")
            elif not fine:
                found.fail(f"{outcome}: scripts/torture calls --only {key(call)}", details)
    print(f"\n{'calls':>6}  {'of':<8}  that failed, and how the run ended")
    for (part, outcome), number in sorted(table.items()):
        print(f"{number:6}  {part:<8}  {outcome}")
    found.show(f"{len(calls)} calls made to fail:")
    return found.failures


def accepted_because(call, outcome, details):
    """Why an outcome that is not fine is none of the program's faults; None when it is."""
    for reason, matches in ACCEPTED.items():
        if matches(call, outcome, "\n".join(details)):
            return reason
    return None


ACCEPTED = {
    "the system refuses a thread to Qt, which then waits for it":
        lambda call, outcome, details: NO_THREAD in details,
    "Qt loses a connection that is reset before it has written its request, and waits for the answer":
        lambda call, outcome, details: outcome == "hang" and call.error in ("EPIPE", "ECONNRESET") and
        re.search(r'write\(\d+, "GET ', details),
    "the name of the system in the first line, which is that of another source or unknown":
        lambda call, outcome, details: outcome.endswith("success with another header"),
    "standard output cannot be written, of which the program takes no notice":
        lambda call, outcome, details: outcome.startswith("success") and "write(1, " in details.split("\n")[1],
    "an archive that is not there, or cannot be looked at, when it is to be unpacked, which is passed over":
        lambda call, outcome, details: call.name == "statx" and outcome == "success with another tree" and
        re.search(r'5\.9/patches(/P\d\.[a-z.0-9]*)?"', details),
    "the loader ends the process, before the program begins":
        lambda call, outcome, details: call.loading and outcome.startswith(("crash", "status")),
}
