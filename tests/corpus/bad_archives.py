"""What the files with bad archives are made of: blocks of tar, members below the installation, and compressions."""

import bz2
import gzip
import os
import random
import struct
import subprocess
import tempfile
import zlib

ROOT = "/opt/tavrin/5.9/"
END = bytes(1024)


def header(name, size=0, kind=b"0", link=b"", mode=b"0000644", magic=b"ustar\00000", prefix=b"", checksum=None,
           device=b"", owner=b"0000000"):
    """One header of a member. Names are text below the installation or bytes; a size is a number or the field."""
    if isinstance(name, str):
        name = (ROOT + name).encode()
    if isinstance(link, str):
        link = link.encode()
    if isinstance(size, int):
        size = b"%011o\0" % size
    if max(len(name), len(link)) > 100:
        raise ValueError(f"too long for a header: {name}")
    before = (name.ljust(100, b"\0") + mode + b"\0" + (owner + b"\0") * 2 + size.ljust(12, b"\0") + b"13601140000\0")
    after = kind + link.ljust(100, b"\0") + magic + bytes(64) + device.ljust(16, b"\0") + prefix.ljust(155, b"\0")
    if checksum is None:
        checksum = sum(before) + sum(after.ljust(356, b"\0")) + 8 * 32
    return (before + b"%06o\0 " % checksum + after).ljust(512, b"\0")


def padded(content):
    return content + bytes(-len(content) % 512)


def member(name, content=b"text", **fields):
    """A member with its content."""
    fields.setdefault("size", len(content))
    return header(name, **fields) + padded(content)


def mark(**fields):
    """The mark of the patch, as nearly all archives have it at their end."""
    return member("patched/P1", b"P1", **fields)


def records(*lines, kind=b"x"):
    """An extended header with these lines, each a pair or given as it stands."""
    content = b""
    for line in lines:
        if isinstance(line, tuple):
            text = b" " + line[0] + b"=" + line[1] + b"\n"
            length = len(text)
            while length != len(text) + len(str(length)):
                length = len(text) + len(str(length))
            line = str(length).encode() + text
        content += line
    return header(b"PaxHeader", len(content), kind=kind) + padded(content)


def long_name(name, kind=b"L"):
    """The member that gives the next one its name, or the target of its link with kind K."""
    return header(b"././@LongLink", len(name) + 1, kind=kind, magic=b"ustar  \0") + padded(name + b"\0")


def incompressible(size):
    return random.Random(size).randbytes(size)


TWO = incompressible(3000)
GOOD = member("lib/one.txt", b"one") + member("lib/two.txt", TWO) + mark() + END


def gzipped(content, flags=0, extra=b"", crc=None, length=None):
    """A gzip file, with fields after its header, or with a false checksum or length in its trailer."""
    packer = zlib.compressobj(9, zlib.DEFLATED, -15)
    body = packer.compress(content) + packer.flush()
    crc = zlib.crc32(content) if crc is None else crc
    length = len(content) if length is None else length
    return b"\x1f\x8b\x08" + bytes([flags]) + bytes(6) + extra + body + struct.pack("<II", crc, length & 0xffffffff)


def output_of(command, content=b""):
    return subprocess.run(command, input=content, stdout=subprocess.PIPE, check=True).stdout


def compressed(content):
    """The file that compress makes."""
    return output_of(["compress", "-c"], content)


def converted(*options):
    """The good archive in another format of the archive tool."""
    with tempfile.TemporaryDirectory() as folder:
        source = f"{folder}/good.tar"
        with open(source, "wb") as file:
            file.write(GOOD)
        output_of(["bsdtar", "-cPf", f"{folder}/out", *options, f"@{source}"])
        with open(f"{folder}/out", "rb") as file:
            return file.read()


def cpio_member(name, mode):
    """A member without content of a cpio archive."""
    fields = (1, mode, 0, 0, 1, 0, 0, 0, 0, 0, 0, len(name) + 1, 0)
    content = b"070701" + b"".join(b"%08x" % field for field in fields) + name.encode() + b"\0"
    return content + bytes(-len(content) % 4)


def sparse():
    """An archive with a file that has a hole, as another archive tool stores it."""
    with tempfile.TemporaryDirectory() as folder:
        with open(f"{folder}/holes", "wb") as file:
            file.truncate(1 << 20)
            file.seek(0, os.SEEK_END)
            file.write(b"end")
        return output_of(["tar", "-cSPf", "-", "-b1", "--format=gnu", "--mtime=@0", "--owner=0", "--group=0",
                          "--mode=644", f"--transform=s|.*|{ROOT}lib/holes|", f"{folder}/holes"])[:-len(END)]


def flipped(content, position, value=0xff):
    changed = bytearray(content)
    changed[position] ^= value
    return bytes(changed)


def bzipped(content):
    return bz2.compress(content)


def gzipped_twice(content):
    return gzip.compress(gzip.compress(content, mtime=0), mtime=0)
