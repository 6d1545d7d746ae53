"""What the torture runs share: an installation, a patch source with its server, runs of the program, and trees.

Everything is below /opt/tavrin and /opt/home of a private /opt. A site is an installation with a source of its own, so
that several can be used at once. The marker of a patch is the last member of its archive and is empty: a marker with a
text could be left empty by a kill between its creation and the writing of the text.
"""

import bz2
import contextlib
import dataclasses
import functools
import gzip
import hashlib
import io
import os
import random
import shutil
import stat
import subprocess
import sys
import tarfile
import time

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
sys.path.insert(0, f"{PROJECT}/bench")
import private  # noqa: E402

SHORT = 5  # seconds
PATIENCE = 60  # seconds; a run is far shorter, so one that takes longer hangs
PAGE = "applied_patches.html"


@dataclasses.dataclass
class Patch:
    """A patch to make: `count` small files, a folder, links, a program, and one file of `size` bytes."""
    name: str
    archive: str
    count: int = 20
    size: int = 20000
    small: int = 3584  # with its header a member of one page, so that a disk can end an archive between two members


@dataclasses.dataclass
class Ended:
    """What a run of the program ended with; `status` is negative for a signal and None for a hang."""
    status: int
    output: str
    errors: str


def members_of(patch, root):
    """The members of the archive of a patch, as pairs of a tarfile.TarInfo and content."""
    noise = random.Random(patch.name)

    def member(path, content=b"", **fields):
        info = tarfile.TarInfo(f"{root}/{path}")
        info.size = len(content)
        info.mtime = 1767225600
        for name, value in dict({"mode": 0o644}, **fields).items():
            setattr(info, name, value)
        return info, content

    yield member(f"lib/{patch.name}", type=tarfile.DIRTYPE, mode=0o755)
    for number in range(patch.count):
        yield member(f"lib/{patch.name}/f{number}", noise.randbytes(patch.small))
    yield member(f"bin/{patch.name}", noise.randbytes(300), mode=0o755)
    yield member(f"lib/{patch.name}/link", type=tarfile.SYMTYPE, linkname="f0", mode=0o777)
    yield member(f"lib/{patch.name}/same", type=tarfile.LNKTYPE, linkname=f"{root}/bin/{patch.name}", mode=0o755)
    yield member("data/shared", patch.name.encode() * 700)  # each patch replaces that of the patch before
    yield member(f"data/{patch.name}", noise.randbytes(patch.size // 2) + b"0123456789abcdef" * (patch.size // 32))
    yield member(f"patched/{patch.name}")


def archive_of(patch, root):
    buffer = io.BytesIO()
    with tarfile.open(fileobj=buffer, mode="w", format=tarfile.GNU_FORMAT) as archive:
        for info, content in members_of(patch, root):
            archive.addfile(info, io.BytesIO(content))
    packed = {"gz": functools.partial(gzip.compress, mtime=0), "bz2": bz2.compress}
    return packed.get(patch.archive.rpartition(".")[2], bytes)(buffer.getvalue())


class Site:
    """An installation of release 5.9 below /opt/tavrin/NAME, its patch source, and the program to run there."""

    def __init__(self, name, patches, program):
        self.installation = f"/opt/tavrin/{name}/5.9"
        self.source = f"/opt/tavrin/{name}/source"
        self.patches = patches
        self.program = program
        os.makedirs(self.source)
        entries = []
        self.archives = {}
        for patch in patches:
            self.archives[patch.name] = archive_of(patch, self.installation)
            with open(f"{self.source}/{patch.archive}", "wb") as file:
                file.write(self.archives[patch.name])
            entries.append(f'<li><a href="{patch.archive}">{patch.name} 1 May 2026</a></li>\n'
                           f"<blockquote>Corrects {patch.name}.</blockquote>\n")
        with open(f"{self.source}/index.html", "w") as page:
            page.write("<html><head><title>Patches</title></head><body>\n<!-- new patch list -->\n<ul>\n"
                       f"{''.join(entries)}</ul>\n</body></html>\n")
        self.local_url = f"file://{self.source}/"

    def renew(self):
        """Makes the installation as it is before any patch; its folder stays, so that it may be a mount point."""
        if os.path.isdir(self.installation):
            for entry in os.scandir(self.installation):
                if entry.is_dir(follow_symlinks=False):
                    shutil.rmtree(entry.path)
                else:
                    os.remove(entry.path)
        subprocess.run([f"{PROJECT}/demo/make_installation", self.installation], check=True)

    def path(self, name):
        return f"{self.installation}/{name}"

    def environment(self):
        variables = {name: os.environ[name] for name in ("UBSAN_OPTIONS",) if name in os.environ}
        return private.clean_environment(TAVRIN=self.installation, **variables)

    def command(self, url, *options):
        return [self.program, "-t", *options, url]

    def start(self, command, **arguments):
        """Starts a command as the leader of a group of its own, with "y" as its input; gives it with its two files."""
        output, errors = (open(os.memfd_create(name), "w+b") for name in ("output", "errors"))
        with open(os.memfd_create("input"), "w+b") as answer:
            answer.write(b"y\n")
            answer.seek(0)
            process = subprocess.Popen(command, stdin=answer, stdout=output, stderr=errors, start_new_session=True,
                                       cwd=self.installation, env=self.environment(), **arguments)
        process.texts = (output, errors)
        return process

    def finish(self, process, limit=PATIENCE, hopeless=None):
        """Waits for the end of a started process; one that takes too long is killed with its group.

        With the text `hopeless` among its messages a process has only a few seconds.
        """
        status, end = None, time.monotonic() + limit
        while status is None and time.monotonic() < end:
            with contextlib.suppress(subprocess.TimeoutExpired):
                status = process.wait(min(SHORT, limit))
            if status is None and hopeless:
                if hopeless in os.pread(process.texts[1].fileno(), 1 << 16, 0).decode(errors="replace"):
                    break
        if status is None:
            os.killpg(process.pid, 9)
            process.wait()
        texts = []
        for file in process.texts:
            file.seek(0)
            texts.append(file.read().decode(errors="replace"))
            file.close()
        return Ended(status, *texts)

    def run(self, url, *options, limit=PATIENCE):
        return self.finish(self.start(self.command(url, *options)), limit)

    def tree(self, *left_out):
        """Every entry below the installation with its type, mode, and content or target; times do not count.

        Entries whose name begins with one of `left_out` are not in it.
        """
        entries = {}
        for folder, folders, files in os.walk(self.installation):
            for name in folders + files:
                path = f"{folder}/{name}"
                relative = os.path.relpath(path, self.installation)
                if not relative.startswith(left_out):
                    entries[relative] = state_of(path)
        return entries

    def marked(self):
        """The names of the patches that count as applied."""
        return {patch.name for patch in self.patches if os.path.isfile(self.path(f"patched/{patch.name}"))}


def state_of(path):
    status = os.lstat(path)
    kind, mode = stat.S_IFMT(status.st_mode), oct(stat.S_IMODE(status.st_mode))
    if stat.S_ISLNK(status.st_mode):
        return "link", os.readlink(path)
    if stat.S_ISREG(status.st_mode):
        with open(path, "rb") as file:
            return "file", mode, status.st_size, hashlib.sha1(file.read()).hexdigest()
    return {stat.S_IFDIR: "folder"}.get(kind, "other"), mode


def differences(expected, actual):
    """What differs between two trees, as lines."""
    return [f"{name}: {expected.get(name, 'missing')} expected, {actual.get(name, 'missing')} found"
            for name in sorted(expected.keys() | actual.keys()) if expected.get(name) != actual.get(name)]


class SlowHandler(private.QuietHandler):
    """Sends a file in small pieces with pauses, so that a download takes some time; notes when each request came."""
    pause = 0.0
    times = None

    def do_GET(self):
        self.times.append(time.monotonic())
        super().do_GET()

    def copyfile(self, source, outputfile):
        for piece in iter(lambda: source.read(1 << 14), b""):
            outputfile.write(piece)
            time.sleep(self.pause)


@contextlib.contextmanager
def slow_server(directory, pause, times):
    handler = type("Handler", (SlowHandler,), {"pause": pause, "times": times})
    with private.server(functools.partial(handler, directory=directory)) as url:
        yield f"{url}/"


class Findings:
    """Counts outcomes by name, and keeps what must not happen."""

    def __init__(self):
        self.counts = {}
        self.failures = []

    def count(self, what, number=1):
        self.counts[what] = self.counts.get(what, 0) + number

    def fail(self, what, details=()):
        self.failures.append(what)
        print(f"\nFAILED: {what}", *details, sep="\n    ", flush=True)

    def show(self, title):
        print(f"\n{title}")
        for what, number in sorted(self.counts.items()):
            print(f"{number:6}  {what}")
        print(f"{len(self.failures):6}  failures", flush=True)


def described(ended):
    return [f"status {ended.status}", *("stdout: " + line for line in ended.output.splitlines()[-6:]),
            *("stderr: " + line for line in ended.errors.splitlines()[-8:])]
