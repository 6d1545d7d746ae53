"""Installs archives in which one byte is changed, and counts the runs that do not notice it.

Each kind of archive is tried a number of times, each time with another byte. A run does not notice the damage when it
ends with status 0 although it leaves another tree than the good archive does; the archive itself is not compared. The
positions and bytes follow from the seed, so a figure can be repeated. Without the mark of the patch the next run
installs it again. A crash or a hang is a failure.
"""

import bz2
import gzip
import hashlib
import io
import itertools
import os
import random
import shutil
import subprocess
import tarfile

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
INSTALLATION = "/opt/tavrin/damage/5.9"
SOURCE = "/opt/home/damage"
PATIENCE = 60  # seconds
KINDS = {".tar": bytes, ".tar.gz": lambda content: gzip.compress(content, mtime=0), ".tar.bz2": bz2.compress}


CONTENTS = ("text", "noise")


def text_of(choice, size):
    """Lines of words, some of which are far more usual than others, as in texts and programs."""
    words = [choice.randbytes(choice.randrange(1, 5)).hex() for _ in range(500)]
    text = ""
    while len(text) < size:
        text += words[int(500 * choice.random() ** 3)] + choice.choice("     \n")
    return text[:size].encode()


def good_archive(seed, content):
    """Files of text, or of noise that cannot be compressed, and a link; the mark of the patch is the last member."""
    choice = random.Random(seed)
    make = choice.randbytes if content == "noise" else lambda size: text_of(choice, size)
    files = {f"lib/file{number}": make(8000) for number in range(8)}
    buffer = io.BytesIO()
    with tarfile.open(fileobj=buffer, mode="w", format=tarfile.GNU_FORMAT) as archive:
        def add(name, content=b"", **fields):
            info = tarfile.TarInfo(f"{INSTALLATION}/{name}")
            info.size = len(content)
            for field, value in fields.items():
                setattr(info, field, value)
            archive.addfile(info, io.BytesIO(content))

        for name, content in files.items():
            add(name, content)
        add("lib/link", type=tarfile.SYMTYPE, linkname="file0")
        add("patched/P1", b"P1\n")
    return buffer.getvalue()


def tree():
    """Every entry below the installation but the stored archives: type, mode, and content or target."""
    entries = {}
    for folder, folders, files in os.walk(INSTALLATION):
        for name in folders + files:
            path = f"{folder}/{name}"
            if path.startswith(f"{INSTALLATION}/patches/"):
                continue
            status = os.lstat(path)
            content = os.readlink(path) if os.path.islink(path) else ""
            if os.path.isfile(path) and not content:
                with open(path, "rb") as file:
                    content = hashlib.sha256(file.read()).hexdigest()
            entries[path] = (status.st_mode, content)
    return entries


def install(program, name, content):
    """Installs an archive into a new installation; gives the status, None for a hang, and the tree."""
    for folder in (os.path.dirname(INSTALLATION), SOURCE):
        shutil.rmtree(folder, ignore_errors=True)
    subprocess.run([f"{PROJECT}/demo/make_installation", INSTALLATION], check=True)
    os.makedirs(SOURCE)
    with open(f"{SOURCE}/index.html", "w") as page:
        page.write(f'<ul><!-- new patch list --><li><a href="{name}">P1 1 May</a></li>'
                   "<blockquote>text</blockquote></ul>\n")
    with open(f"{SOURCE}/{name}", "wb") as archive:
        archive.write(content)
    environment = {"PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8", "HOME": "/opt/home", "TAVRIN": INSTALLATION}
    try:
        # In the installation, for a changed name may be relative.
        status = subprocess.run([program, "-t", "-Q", f"file://{SOURCE}/"], stdin=subprocess.DEVNULL, cwd=INSTALLATION,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, env=environment,
                                timeout=PATIENCE).returncode
    except subprocess.TimeoutExpired:
        status = None
    return status, tree()


def run(program, tries=40, seed=10):
    """Tries all kinds of archives, prints the counts, and returns what must not have happened as a list of texts."""
    failures = []
    print(f"One changed byte in an archive, seed {seed}")
    for content, (suffix, compress) in itertools.product(CONTENTS, KINDS.items()):
        good = compress(good_archive(seed, content))
        status, expected = install(program, f"P1{suffix}", good)
        if status != 0:
            failures.append(f"the good {suffix} of {content} ended with {status}")
            continue
        choice = random.Random(f"{seed}{suffix}")
        unnoticed = marked = same = refused = 0
        for _ in range(tries):
            position, change = choice.randrange(len(good)), choice.randrange(1, 256)
            damaged = bytearray(good)
            damaged[position] ^= change
            status, actual = install(program, f"P1{suffix}", bytes(damaged))
            if status not in (0, 1):
                failures.append(f"{suffix} of {content}, byte {position} changed by {change}: ended with {status}")
            elif status == 1:
                refused += 1
            elif actual == expected:
                same += 1
            else:
                unnoticed += 1
                marked += f"{INSTALLATION}/patched/P1" in actual
        print(f"{content:5} {suffix:9}{unnoticed:3} of {tries} not noticed ({marked} with the mark), {same} without"
              f" effect, {refused} ended with a message", flush=True)
    for failure in failures:
        print(f"FAILED: {failure}")
    return failures
