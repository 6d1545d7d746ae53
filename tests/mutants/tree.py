"""Builds the project with every change of its sources behind a switch, in build/mutants, beside the real sources.

The tree there is a copy of the project's files; only the product's sources differ. A file is written only when its
content is another, so that a second build compiles only what has changed.
"""

import json
import os
import shlex
import shutil
import subprocess
import sys

from changes import find_changes, with_switches

PROJECT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FOLDER = f"{PROJECT}/build/mutants"
TREE = f"{FOLDER}/tree"
BUILD = f"{FOLDER}/build"
STATE = f"{FOLDER}/state"
PRODUCT = ("app/", "gui/", "logic/", "pidrtsys/")


def project_files():
    listing = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard", "-z"], cwd=PROJECT,
                             check=True, stdout=subprocess.PIPE).stdout
    return [file for file in os.fsdecode(listing).split("\0") if file and os.path.exists(f"{PROJECT}/{file}")]


def write(path, content):
    try:
        with open(path, "rb") as file:
            if file.read() == content:
                return
    except OSError:
        pass
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)


def run(command):
    result = subprocess.run(command, cwd=TREE, text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    if result.returncode != 0:
        sys.exit(f"{result.stdout}\nmutants: {shlex.join(command[:3])} ... failed")


def arguments_of(entry):
    """The arguments of a compilation of the tree, for the project's own source instead."""
    words = shlex.split(entry["command"])[1:]
    taken = ["-fPIC"]
    for before, word in zip([""] + words, words):
        if before == "-isystem":
            taken += [before, word]
        elif word.startswith(("-I", "-D", "-std=")):
            taken.append(word.replace(f"{TREE}/", f"{PROJECT}/"))
    return taken


def copy_tree(product):
    files = project_files()
    for file in files:
        if file not in product:
            with open(f"{PROJECT}/{file}", "rb") as source:
                write(f"{TREE}/{file}", source.read())
            shutil.copymode(f"{PROJECT}/{file}", f"{TREE}/{file}")
    known = set(files)
    for folder, _, names in os.walk(TREE):
        for name in names:
            if os.path.relpath(f"{folder}/{name}", TREE) not in known:
                os.remove(f"{folder}/{name}")


def product_files():
    return [file for file in project_files() if file.startswith(PRODUCT) and file.endswith((".cpp", ".h"))]


def prepare(build=True):
    """Writes the tree and builds it. Returns the changes that are in it."""
    product = product_files()
    copy_tree(product)
    for file in product:
        if not os.path.exists(f"{TREE}/{file}"):
            write(f"{TREE}/{file}", b"")
    flags = f"-w -DTAVRIN_MUTANT_STATE='\"{STATE}\"' -include {TREE}/tests/mutants/mutant.h"
    run(["cmake", "-S", TREE, "-B", BUILD, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DBUILD_TESTING=ON",
         "-DTAVRIN_REQUIRE_ALL_TESTS=ON", f"-DCMAKE_CXX_FLAGS={flags}"])
    with open(f"{BUILD}/compile_commands.json", encoding="utf-8") as commands:
        entries = json.load(commands)
    units = []
    for file in product:
        entry = next((entry for entry in entries if entry["file"] == f"{TREE}/{file}"), None)
        if entry is not None:
            units.append((f"{PROJECT}/{file}", arguments_of(entry)))
    changes = find_changes(PROJECT, units, product)
    for file in product:
        with open(f"{PROJECT}/{file}", encoding="latin-1") as source:
            text = with_switches(source.read(), [change for change in changes if change.file == file])
        write(f"{TREE}/{file}", text.encode("latin-1"))
    if build:
        print("Building ...", flush=True)
        run(["cmake", "--build", BUILD, "--", "-k", "0"])
    return changes
