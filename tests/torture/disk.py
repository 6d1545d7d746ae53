"""Lets installs run out of disk space, of inodes, of descriptors and of tasks, and sorts what comes of it.

Each run ends in one of these ways; anything else is a failure:
  whole              status 0, and the tree of an undisturbed run
  clean failure      status 1 with a known text, and no marker of a patch whose files are not all there
  damaged patch      status 1 with the text of the archive tool, which went on after a member that it could not write
                     and still created the marker, so that the next run counts the patch as installed
  refused to Qt      the system refuses Qt a thread or a descriptor of its own, and Qt gives up
  not started        the loader cannot load the program's libraries
After each, there is room again and the program runs once more. That must give the tree of an undisturbed run; for a
damaged patch only after its marker was deleted, whose path is the last that the archive tool lists in its message.
"""

import os
import re
import resource
import shutil
import subprocess

import place

PATCHES = [place.Patch("P1", "P1.tar", 20, 60000), place.Patch("P2", "P2.tar.gz", 20, 120000),
           place.Patch("P3", "P3.tar.bz2", 10, 40000), place.Patch("P4", "P4.tar.gz", 10, 60000)]
LIMIT = 20  # seconds, for a run that may hang because Qt was refused a thread
USER = 54323  # no account of the machine, so no other process counts as a task of it

# What the message of a failed run begins with, or a line of it, and what that means.
KNOWN = {
    r"No data downloaded for patch file, |Failed to open local patch file, ": "an archive could not be stored at all",
    r"x .*: (Write failed|Can't create|Truncated|truncated)": "the archive tool could not unpack",
    r"bsdtar: .*([Tt]runcated|Unrecognized archive format)": "the archive tool could not read",
    r"Cannot (write|read) .*(applied_patches.html|patched)": "the page could not be written",
    r"System command '.*' failed:": "a tool could not be started",
    r"Download of .* failed: |Failed to read patches from": "a download failed",
    r".*: error while loading shared libraries: ": "a tool was not loaded",
}
# Beyond its own limits Qt, or the library below it, says this and gives up. Nothing in the program can catch it.
REFUSED = r"QThread::start: Thread creation error|.*Can not continue without a thread pipe|" \
          r".*GLib-ERROR .*: Creating pipes for GWakeup"


def kind_of(errors):
    for pattern, kind in KNOWN.items():
        if re.search(f"^(?:{pattern})", errors, re.MULTILINE):
            return kind
    return None


class Disk:
    def __init__(self, program):
        self.program = program
        self.site = place.Site("disk", PATCHES, program)
        self.found = place.Findings()

    def mount(self, options):
        os.makedirs(self.site.installation, exist_ok=True)
        subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", self.site.installation], check=True)

    def unmount(self):
        subprocess.run(["umount", self.site.installation], check=True)

    def undisturbed(self):
        """Keeps the tree of an undisturbed run, and how much an installation and a whole install need."""
        self.mount("size=1g")
        self.site.renew()
        before = os.statvfs(self.site.installation)
        if self.site.run(self.site.local_url).status != 0:
            raise SystemExit("An undisturbed install failed.")
        after = os.statvfs(self.site.installation)
        self.expected = self.site.tree("patches/")
        blocks, inodes = before.f_blocks - before.f_bfree, before.f_files - before.f_ffree
        pressed = sum(len(self.site.archives[patch.name]) for patch in PATCHES if patch.archive.endswith("gz"))
        self.pages = (blocks, after.f_blocks - after.f_bfree + pressed // 4096 + 4)
        self.inodes = (inodes, after.f_files - after.f_ffree + 4)
        self.unmount()

    def damaged(self):
        """The patches that count as installed although their files are not all there."""
        tree = self.site.tree("patches/")
        damaged = set()
        for name in self.site.marked():
            own = [path for path in self.expected if path.startswith((f"lib/{name}", f"bin/{name}", f"data/{name}"))]
            if any(tree.get(path) != self.expected[path] for path in own):
                damaged.add(name)
        return damaged

    def check(self, what, ended, make_room):
        """Sorts the end of a run, makes room, and has the next run put everything right."""
        first, message = None, f"{what[0]} {what[1]}"
        damaged = self.damaged()
        if ended.status == 0:
            first = "whole" if not place.differences(self.expected, self.site.tree("patches/")) else "FALSE SUCCESS"
        elif re.search(REFUSED, ended.errors, re.MULTILINE):
            first = f"refused to Qt (status {ended.status})"
        elif ended.status == 127 and "error while loading shared libraries" in ended.errors:
            first = "not started"
        elif ended.status == 1 and damaged:
            first = "damaged patch"
        elif ended.status == 1 and kind_of(ended.errors):
            first = f"clean failure: {kind_of(ended.errors)}"
        if first is None or first == "FALSE SUCCESS":
            self.found.fail(f"{message}: {first or 'unknown end'}", place.described(ended))
            first = first or "unknown end"
        self.found.count(f"{what[0]}: {first}")

        make_room()
        if first == "damaged patch":
            self.cure(what, ended, damaged)
        again = self.site.run(self.site.local_url)
        differing = place.differences(self.expected, self.site.tree("patches/"))
        if again.status != 0 or differing:
            self.found.fail(f"{message} ({first}): the next run does not put it right",
                            place.described(again) + differing[:6])

    def cure(self, what, ended, damaged):
        """Deletes the marker of the damaged patch, and those of later patches that another run has installed since."""
        named = re.findall(r"^x .*/patched/(.+)$", ended.errors, re.MULTILINE)
        if set(named) != damaged:
            self.found.fail(f"{what}: the message names {named}, damaged are {damaged}", place.described(ended))
        listing = self.site.run(self.site.local_url, "-l")
        if any(f"Not Installed: {name}\n" in listing.output for name in damaged):
            self.found.fail(f"{what}: the damaged patch is listed as missing", place.described(listing))
        self.wait_one_run = not self.wait_one_run
        names = [patch.name for patch in PATCHES]
        if self.wait_one_run:
            self.found.count(f"{what[0]}:   of these, cured after another run, which left the damage")
            if self.site.run(self.site.local_url).status != 0 or self.damaged() != damaged:
                self.found.fail(f"{what}: the run before the cure did not end as expected")
            for name in names[names.index(max(damaged)):]:
                os.remove(self.site.path(f"patched/{name}"))
        else:
            self.found.count(f"{what[0]}:   of these, cured at once")
            for name in damaged:
                os.remove(self.site.path(f"patched/{name}"))

    wait_one_run = False

    def run_limited(self, what, options, larger):
        self.mount(options)
        try:
            self.site.renew()
            ended = self.site.run(self.site.local_url)
            self.check(what, ended, lambda: subprocess.run(
                ["mount", "-o", f"remount,{larger}", self.site.installation], check=True))
        finally:
            self.unmount()

    def run_with_few_descriptors(self, number):
        self.site.renew()
        process = self.site.start(self.site.command(self.site.local_url), preexec_fn=lambda: resource.setrlimit(
            resource.RLIMIT_NOFILE, (number, number)))
        self.check(("descriptors", number), self.site.finish(process, LIMIT), lambda: None)

    def run_with_few_tasks(self, number):
        """As an ordinary user, to whom the limit applies; only root of the machine can become one."""
        self.site.renew()
        for folder, _, files in os.walk(self.site.installation):
            for name in (".", *files):
                os.chown(f"{folder}/{name}", USER, USER, follow_symlinks=False)
        command = ["setpriv", f"--reuid={USER}", f"--regid={USER}", "--clear-groups", "prlimit", f"--nproc={number}",
                   *self.site.command(self.site.local_url)]
        self.check(("tasks", number), self.site.finish(self.site.start(command), LIMIT, "QThread::start"), lambda: None)

    def copy_program(self):
        """Has every user able to start the program."""
        folder, libraries = "/opt/tavrin/copy/bin", "/opt/tavrin/copy/lib"
        shutil.copytree(os.path.dirname(os.path.realpath(self.program)) + "/../lib", libraries)
        os.makedirs(folder)
        self.site.program = shutil.copy(self.program, folder)


def spread(lowest, highest, number):
    """`number` whole numbers from `lowest` to `highest`, evenly spread, each once."""
    return sorted({lowest + (highest - lowest) * i // max(number - 1, 1) for i in range(number)})


def run(sample, program):
    disk = Disk(program)
    disk.undisturbed()
    for pages in spread(disk.pages[0] + 1, disk.pages[1], sample or 40):
        disk.run_limited(("disk size", f"{pages * 4} KiB"), f"size={pages * 4}k", "size=1g")
    for inodes in spread(disk.inodes[0] + 1, disk.inodes[1], max((sample or 40) // 2, 2)):
        disk.run_limited(("inodes", inodes), f"size=1g,nr_inodes={inodes}", "nr_inodes=100000")
    for descriptors in spread(3, 40, max((sample or 76) // 2, 2)):
        disk.run_with_few_descriptors(descriptors)
    with open("/proc/self/uid_map") as file:
        is_root_of_machine = file.read().split()[:2] == ["0", "0"]
    if is_root_of_machine:
        disk.copy_program()
        for tasks in spread(1, 8, min(sample or 8, 8)):
            disk.run_with_few_tasks(tasks)
    else:
        print("The limit of tasks is left out: it needs an ordinary user, and only root can become one.")
    disk.found.show("Runs that lack something, by what they lack and how they ended:")
    return disk.found.failures
