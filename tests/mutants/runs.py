"""Runs test functions in the build of tree.py: first all of them unchanged, to learn which changes each one comes to,
then for each change those that come to it, until one fails.

Each run has a mount namespace with a /tmp and a state folder of its own, in which the rest of the machine is read-only,
and a PID namespace. A changed program can write where it should not, or signal every process it can reach, or hang:
whatever it starts ends with its run.
"""

import hashlib
import json
import os
import re
import signal
import subprocess
import sys
import time

from tree import BUILD, FOLDER, PROJECT, STATE

JOBS = f"{FOLDER}/jobs"
KNOWLEDGE = f"{FOLDER}/knowledge.json"
# The demonstration builds the project and writes into the build folder. The next repeats tst_fill many times over, and
# the third looks for growth for a minute. The others name every file that the program opens for writing, and would see
# that it looks for the one of the notes.
LEFT_OUT = ("tst_demo", "tst_fill_many", "tst_soak", "tst_promises_files::archivesAreStoredDirectlyInTheirFolder",
            "tst_promises_files::linksWithoutAFileNameEndTheRun", "tst_promises_files::nameWithANulEndsTheRun",
            "tst_promises_listing::listingChangesNothing",
            "tst_promises_window::windowWritesAndStartsTheSameAsATerminalRun")
LEFT_OUT_LABELS = {"packaging", "torture"}  # they build from the sources, or sample what other tests do one by one

# $1: the job's folder. Whatever is below /tmp is bound back, because the project can be there.
INSIDE = """
set -e
exec 3< "$PROJECT" 4< "$1"
mount --make-rprivate /
mount -t proc proc /proc
mount -t tmpfs -o mode=1777 tmpfs /tmp
if [ ! -d "$PROJECT/build" ]; then
    mkdir -p "$PROJECT"
    mount --no-canonicalize --rbind /proc/self/fd/3 "$PROJECT"
fi
mount --no-canonicalize --bind /proc/self/fd/4 "$STATE"
mount -o remount,bind,ro /
mountpoint -q "$PROJECT" && mount -o remount,bind,ro "$PROJECT"
cd /tmp
shift
exec 3<&- 4<&-
exec "$@"
"""


class TestFunction:
    """A test function of a test program, or all of a program that has none: then its name is empty."""

    def __init__(self, program, name, command, environment, is_slow):
        self.program, self.name, self.command = program, name, command
        self.environment, self.is_slow = environment, is_slow
        self.seconds = 0.0
        self.reached = b""

    @property
    def key(self):
        return f"{self.program}::{self.name}"


class Job:
    """A place for one run at a time."""

    def __init__(self, number, changes):
        self.folder = f"{JOBS}/{number}"
        self.size = changes + 1
        self.process = None
        os.makedirs(self.folder, exist_ok=True)

    def run(self, functions, limit, active=0, note=False):
        """Whether the test functions of one program pass, and the output. They fail when they take too long."""
        with open(f"{self.folder}/active", "w", encoding="ascii") as file:
            file.write(str(active))
        os.chmod(f"{self.folder}/active", 0o666)
        notes = f"{self.folder}/reached"
        if os.path.exists(notes):
            os.remove(notes)
        if note:
            with open(notes, "wb") as file:
                file.truncate(self.size)
            os.chmod(notes, 0o666)
        unshare = ["unshare", "--mount", "--pid", "--fork", "--kill-child"]
        if os.geteuid() != 0:
            unshare.append("--map-root-user")
        names = [function.name for function in functions if function.name]
        with open(f"{self.folder}/output", "w+b") as output:
            process = self.process = subprocess.Popen(
                [*unshare, "bash", "-c", INSIDE, "bash", self.folder, *functions[0].command, *names],
                stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT, start_new_session=True,
                env={"PATH": os.environ["PATH"], "PROJECT": PROJECT, "STATE": STATE, "LANG": "C.UTF-8",
                     **functions[0].environment})
            try:
                passed = process.wait(limit) == 0
            except subprocess.TimeoutExpired:
                passed = False
            finally:
                self.stop()
            output.seek(0)
            return passed, output.read().decode(errors="replace")

    def stop(self):
        if self.process is not None and self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()

    def reached(self):
        with open(f"{self.folder}/reached", "rb") as file:
            return file.read()


def find_functions(job):
    """Every test function of the tests that ctest knows, but those that are left out."""
    listing = subprocess.run(["ctest", "--test-dir", BUILD, "--show-only=json-v1"], check=True,
                             stdout=subprocess.PIPE).stdout
    functions = []
    for test in json.loads(listing)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test.get("properties", [])}
        labels = properties.get("LABELS", [])
        if LEFT_OUT_LABELS.intersection(labels) or test["name"] in LEFT_OUT:
            continue
        environment = dict(entry.split("=", 1) for entry in properties.get("ENVIRONMENT", []))
        whole = TestFunction(test["name"], "", test["command"], environment, "slow" in labels)
        if not whole.program.startswith("tst_"):  # the replay of a corpus
            functions.append(whole)
            continue
        asking = TestFunction(test["name"], "-functions", test["command"], environment, False)
        _, output = job.run([asking], 60)
        names = re.findall(r"^(\w+)\(\)$", output, re.MULTILINE)
        if not names:
            sys.exit(f"{output}\nmutants: {test['name']} does not name its functions")
        for name in names:
            functions.append(TestFunction(whole.program, name, whole.command, environment, whole.is_slow))
    return [function for function in functions if function.key not in LEFT_OUT]


def fingerprint(paths, changes):
    """Changes when the changes or one of the files do."""
    digest = hashlib.sha256("\n".join(change.identifier for change in changes).encode())
    for path in sorted(paths):
        with open(path, "rb") as file:
            digest.update(file.read())
    return digest.hexdigest()


def common_files():
    """What the tests start or load besides themselves."""
    found = []
    for folder, _, names in os.walk(BUILD):
        for name in names:
            path = f"{folder}/{name}"
            if (name.endswith(".so") or name in ("tavrin_update", "starter")) and not os.path.islink(path):
                found.append(path)
    return found


def learn(functions, changes, run_all):
    """Runs each function unchanged, unless it did so before with the same files. Returns those that fail, with why.

    `run_all` calls a function with a job for each item of a list.
    """
    try:
        with open(KNOWLEDGE, encoding="utf-8") as file:
            known = json.load(file)
    except (OSError, ValueError):
        known = {}
    shared = fingerprint(common_files(), changes)
    own = {function.program: fingerprint([function.command[0]], []) for function in functions}
    failures = []

    def learn_one(job, function):
        mark = f"{shared} {own[function.program]}"
        entry = known.get(function.key)
        if entry is None or entry["mark"] != mark:
            started = time.monotonic()
            passed, output = job.run([function], 900, note=True)
            if not passed:
                failures.append((function, output))
                return
            reached = [number for number, note in enumerate(job.reached()) if note]
            entry = {"mark": mark, "seconds": time.monotonic() - started, "reached": reached}
            known[function.key] = entry
        function.seconds = entry["seconds"]
        function.reached = frozenset(entry["reached"])

    try:
        run_all(learn_one, functions)
    finally:
        with open(KNOWLEDGE, "w", encoding="utf-8") as file:
            json.dump(known, file)
    return failures
