"""Runs contestants by turns and prints what they use beside each other.

Every round runs all contestants once, in random order, so that whatever else the machine does falls on all alike. The
figures are the medians of the rounds, the ratios those of the medians. Nothing here judges a ratio. A contestant that
fails, or that prints something else than it should, ends the benchmark.
"""

import argparse
import collections
import os
import random
import signal
import statistics
import subprocess
import sys
import tempfile
import time

import private

# Times in milliseconds, the largest resident memory in MiB. `own` is the CPU time without, `cpu` with that of children.
Used = collections.namedtuple("Used", "wall own cpu peak")


def limit(name):
    """The path of a limit program."""
    return f"{private.BUILD}/bench/{name}"


def arguments(documentation, rounds):
    """Reads the arguments that all benchmarks take."""
    parser = argparse.ArgumentParser(description=documentation, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--rounds", type=int, default=rounds, help=f"how often everything runs ({rounds})")
    parser.add_argument("program", nargs="?", default=private.PROGRAM, help="default: build/release/app/tavrin_update")
    return parser


class Running:
    """A program that was started, with temporary files as its standard output and standard error."""

    def __init__(self, command, environment, stdin=subprocess.DEVNULL, stdout=None):
        self.command = command
        self.pid = None
        self.output = stdout or tempfile.TemporaryFile(dir=private.HOME)
        self.errors = tempfile.TemporaryFile(dir=private.HOME)
        self.start = time.monotonic()
        report, write = os.pipe()
        self.process = subprocess.Popen([limit("measured_run"), str(write), *command], env=environment,
                                        pass_fds=[write], stdin=stdin, stdout=self.output, stderr=self.errors)
        os.close(write)
        self.report = os.fdopen(report)
        line = self.report.readline()
        if not line:
            self.fail("was not started")
        self.pid = int(line)

    def finish(self, status=0):
        """Waits for the end, which has to have this wait status; returns what was used."""
        line = self.report.readline()
        wall = time.monotonic() - self.start
        self.process.wait()
        self.report.close()
        if not line:
            self.fail("could not be measured")
        ended, own, cpu, peak = (int(field) for field in line.split())
        if ended != status:
            self.fail(f"ended with the wait status {ended}")
        if self.text(self.errors):
            self.fail("wrote to standard error")
        return Used(wall * 1000, own / 1000, cpu / 1000, peak / 1024)

    @staticmethod
    def text(file):
        return os.pread(file.fileno(), os.fstat(file.fileno()).st_size, 0)

    def fail(self, what):
        if self.pid is not None and self.process.poll() is None:
            os.kill(self.pid, signal.SIGKILL)
        errors = self.text(self.errors).decode(errors="replace")[-2000:]
        sys.exit(f"{' '.join(self.command)} {what}:\n{errors}")


def run(command, environment, outputs=None, kind=None, start=b""):
    """Runs a command to its end; returns what it used.

    All runs of one kind have to print the same, from the text `start` on. The first of them is kept in `outputs`.
    """
    running = Running(command, environment)
    used = running.finish()
    if outputs is not None:
        output = running.text(running.output)
        output = output[max(output.find(start), 0):]
        if output != outputs.setdefault(kind, output):
            running.fail("printed something else than another contestant")
    running.output.close()
    running.errors.close()
    return used


def compete(rounds, contestants):
    """Runs the functions in `contestants`, once before the rounds; returns the medians of what they return, by name."""
    results = {name: [] for name in contestants}
    for number in range(rounds + 1):
        for name in random.sample(list(contestants), len(contestants)):
            result = contestants[name]()
            if number > 0:
                results[name].append(result)
    return {name: Used(*map(statistics.median, zip(*uses))) for name, uses in results.items()}


def print_head(rounds):
    print(f"Rounds in random order: {rounds}. Medians and their ratios.\n")
    print(f"{'':<48}{'program':>9}  {'beside':<24} {'ratio':>6} {'target':>6}", flush=True)


def print_row(what, own, other=None, name=None, target=""):
    if other is None:
        print(f"{what:<48}{own:9.2f}", flush=True)
        return
    beside = f"{other:.2f} {name}"
    print(f"{what:<48}{own:9.2f}  {beside:<24} {own / other:6.2f} {target:>6}".rstrip(), flush=True)
