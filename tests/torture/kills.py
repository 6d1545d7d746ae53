"""Kills the program, or its whole group, in the middle of installs; then runs it again and compares the trees.

An undisturbed run tells which tools run and for how long. Each kill then aims at a moment of one phase, and counts for
the phase in which it hit. After a kill of the program alone its tool lives on: the next run begins when the tool has
ended, as it should, or at once, in which case the two can disturb each other: one more run may be needed, which then
installs a skipped patch after later ones, so that files of several patches are those of an older one. The folder
patches/ keeps what an interrupted run left there, so it is compared apart from the rest.
"""

import collections
import contextlib
import ctypes
import dataclasses
import os
import random
import signal
import time

import place

PHASES = ("download", "gunzip", "extraction", "page script")
TOOLS = {"gunzip": "gunzip", "gzip": "gunzip", "bsdtar": "extraction", "perl": "page script"}
BETWEEN = "between two tools"
BEFORE = "before the download"
PATCHES = [place.Patch("P1", "P1.tar", 60, 400000), place.Patch("P2", "P2.tar.gz", 150, 3000000),
           place.Patch("P3", "P3.tar.bz2", 40, 200000), place.Patch("P4", "P4.tar.gz", 100, 1500000)]
PR_SET_CHILD_SUBREAPER = 36


@dataclasses.dataclass
class Plan:
    """A kill: in which phase, in which of its tools, how far into it, of whom, and what comes before and after."""
    phase: str
    occurrence: int
    fraction: float
    whole_group: bool
    served: bool
    at_once: bool
    leftovers: str


def plan(number):
    chance = random.Random(number)
    phase = PHASES[number % len(PHASES)]
    occurrence = chance.randrange({"gunzip": 2, "extraction": len(PATCHES)}.get(phase, 1))
    whole_group = number // len(PHASES) % 2 == 1
    return Plan(phase, occurrence, chance.random(), whole_group, chance.random() < 0.7,
                not whole_group and chance.random() < 0.5, chance.choice(["none", "partial", "decompressed"]))


def running_tool(parent):
    """The number and the phase of the tool that a process runs now; (None, None) without one."""
    for entry in os.listdir("/proc"):
        if entry.isdigit():
            with contextlib.suppress(OSError), open(f"/proc/{entry}/stat") as file:
                _, _, rest = file.read().partition("(")
                name, _, rest = rest.rpartition(")")
                state, of = rest.split()[:2]
                if int(of) == parent and state != "Z" and name in TOOLS:
                    return int(entry), TOOLS[name]
    return None, None


class Watch:
    """Follows a running install: which tools have run, when each began, and how long it took."""

    def __init__(self, process):
        self.process = process
        self.begin = time.monotonic()
        self.tool = (None, None)
        self.spans = collections.defaultdict(list)  # by phase, lists of [begin, end]
        self.look()

    def look(self):
        now = time.monotonic()
        tool = running_tool(self.process.pid)
        if tool != self.tool:
            self.close()
            if tool[0] is not None:
                self.spans[tool[1]].append([now, None])
            self.tool = tool
        return now

    def close(self):
        """Ends the time of the tool that ran last."""
        if self.tool[0] is not None and self.spans[self.tool[1]][-1][1] is None:
            self.spans[self.tool[1]][-1][1] = time.monotonic()

    @property
    def phase(self):
        if self.tool[1]:
            return self.tool[1]
        if self.spans:
            return BETWEEN
        return "download" if self.process.requested() else BEFORE


class Kills:
    def __init__(self, program):
        # Tools whose parent was killed become children of this process, which can then wait for them.
        ctypes.CDLL(None).prctl(PR_SET_CHILD_SUBREAPER, 1)
        self.site = place.Site("kills", PATCHES, program)
        self.found = place.Findings()
        self.phases = collections.Counter()
        self.spans = {}

    def start(self, url):
        process = self.site.start(self.site.command(url))
        requests = len(self.requests)
        process.requested = lambda: not url.startswith("http") or len(self.requests) > requests + 1
        return process, Watch(process)

    def undisturbed(self, url):
        """Measures a run, and keeps the tree that it makes and what a later run says."""
        while not self.spans.get(url, {}).keys() >= set(PHASES):  # a busy machine may hide a short tool
            self.measure(url)
        self.expected = self.site.tree("patches/")
        self.expected_patches = set(os.listdir(self.site.path("patches")))
        self.nothing_missing = self.site.run(self.site.local_url)
        self.requests.clear()

    def measure(self, url):
        self.requests.clear()
        self.site.renew()
        process, watch = self.start(url)
        while process.poll() is None:
            watch.look()
        watch.close()
        ended = self.site.finish(process)
        if ended.status != 0 or ended.errors:
            raise SystemExit("\n".join(["An undisturbed install failed.", *place.described(ended)]))
        begin = self.requests[1] if url.startswith("http") else watch.begin
        watch.spans["download"] = [[begin, min(span[0][0] for span in watch.spans.values())]]
        self.spans[url] = {phase: [end - begin for begin, end in spans] for phase, spans in watch.spans.items()}

    def leave(self, what):
        """Puts files into patches/ as earlier runs leave them there."""
        for patch in PATCHES:
            content = self.site.archives[patch.name]
            if what == "partial":
                with open(self.site.path(f"patches/{patch.archive}"), "wb") as file:
                    file.write(content[:len(content) // 2])
            if what == "decompressed" and patch.archive.endswith(".tar.gz"):
                with open(self.site.path(f"patches/{patch.name}.tar"), "wb") as file:
                    file.write(b"of another run")

    def interrupt(self, url, a):
        """Starts an install and kills it as planned; returns the phase, or None when it ended before."""
        process, watch = self.start(url)
        spans = self.spans[url][a.phase]
        delay = a.fraction * spans[min(a.occurrence, len(spans) - 1)]
        while process.poll() is None:
            now = watch.look()
            if a.phase == "download":
                begin = watch.begin if not url.startswith("http") else (self.requests[1:2] or [now])[0]
                if now - begin >= delay or watch.spans:
                    break
            elif len(watch.spans[a.phase]) > a.occurrence:
                begin, end = watch.spans[a.phase][a.occurrence]
                if now - begin >= delay or end:
                    break
        phase = watch.phase
        with contextlib.suppress(ProcessLookupError):
            (os.killpg if a.whole_group else os.kill)(process.pid, signal.SIGKILL)
        ended = self.site.finish(process)
        self.requests.clear()
        return phase if ended.status == -signal.SIGKILL else None

    @staticmethod
    def wait_for_orphans():
        with contextlib.suppress(ChildProcessError):
            while True:
                os.waitpid(-1, 0)

    def check_again(self, url, a, phase):
        """Runs again after a kill and compares."""
        what = f"{phase}, {'group' if a.whole_group else 'program alone'}, {a}"
        if not a.at_once:
            self.wait_for_orphans()
        was_complete = self.site.marked() == {patch.name for patch in PATCHES}
        again = self.site.run(url)
        if a.at_once:
            self.wait_for_orphans()
            if again.status != 0 or place.differences(self.expected, self.site.tree("patches/")):
                if not was_complete:
                    self.found.count("run beside the tool that lived on: " + (
                        "status 0, but one more run was needed" if again.status == 0 else
                        "failed with its message, and one more run was needed" if again.errors.strip() else
                        "failed without a message, and one more run was needed"))
                    was_complete = self.site.marked() == {patch.name for patch in PATCHES}
                    again = self.site.run(url)
        if again.status != 0 or again.errors:
            self.found.fail(f"the next run failed: {what}", place.described(again))
            return
        left_out = ("patches/", place.PAGE) if was_complete else ("patches/",)
        expected = {name: state for name, state in self.expected.items() if not name.startswith(left_out)}
        differing = place.differences(expected, self.site.tree(*left_out))
        if a.at_once and [line.split(":")[0] for line in differing] == ["data/shared"]:
            self.found.count("run beside the tool that lived on: a patch was skipped and installed after later ones")
        elif differing:
            self.found.fail(f"another tree: {what}", differing[:10])
            return
        if was_complete:
            self.found.count("converged, nothing was missing")
            if again != self.nothing_missing:
                self.found.fail(f"another text when nothing is missing: {what}", place.described(again))
            page = {name: state for name, state in self.site.tree("patches/").items() if name.startswith(place.PAGE)}
            if page != {name: state for name, state in self.expected.items() if name.startswith(place.PAGE)}:
                self.found.count(f"  of these with another {place.PAGE}")
        else:
            self.found.count("converged, whole tree")
        stored = set(os.listdir(self.site.path("patches")))
        for name in sorted(stored - self.expected_patches):
            self.found.count(f"  of all, patches/ also keeps {name}, which is not read again")
        for name in sorted(self.expected_patches - stored):
            self.found.count(f"  of all, patches/ does not keep {name}, which is not read again")

    def run(self, number):
        with place.slow_server(self.site.source, 0.002, self.requests) as url:
            for source in (url, self.site.local_url):
                self.undisturbed(source)
            for i in range(number):
                a = plan(i)
                source = url if a.served else self.site.local_url
                phase = None
                for attempt in range(5):
                    self.site.renew()
                    self.leave(a.leftovers)
                    phase = self.interrupt(source, dataclasses.replace(a, fraction=a.fraction / (1 + attempt)))
                    self.wait_for_orphans() if phase is None else None
                    if phase:
                        break
                if phase is None:
                    self.found.count("ended before the kill")
                    continue
                self.phases[phase, a.whole_group] += 1
                self.check_again(source, a, phase)

    requests = []


def run(number, program):
    kills = Kills(program)
    kills.run(number)
    print(f"{'kills in this phase':<24}{'program':>10}{'group':>10}")
    for phase in (BEFORE, *PHASES, BETWEEN):
        alone, group = kills.phases[phase, False], kills.phases[phase, True]
        print(f"{phase:<24}{alone:10}{group:10}")
        if number >= 100 and phase in PHASES and not (alone and group):
            kills.found.fail(f"too few kills in the phase {phase}")
    kills.found.show(f"{number} kills:")
    return kills.found.failures
