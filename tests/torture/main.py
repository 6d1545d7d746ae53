"""Reads the arguments of scripts/torture, which starts this, and runs the module of the command.

Each module has a function run() that takes the arguments by name and returns what must not have happened.
"""

import argparse
import importlib
import os
import signal
import sys


def main():
    parser = argparse.ArgumentParser(prog="scripts/torture")
    parser.add_argument("--program", required=True)
    commands = parser.add_subparsers(dest="command", required=True)
    kills = commands.add_parser("kills")
    kills.add_argument("number", type=int)
    disk = commands.add_parser("disk")
    disk.add_argument("--sample", type=int)
    calls = commands.add_parser("calls")
    calls.add_argument("--sample", type=int)
    calls.add_argument("--only", default="")
    damage = commands.add_parser("damage")
    damage.add_argument("--tries", type=int, default=40)
    damage.add_argument("--seed", type=int, default=10)
    arguments = vars(parser.parse_args())
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))  # the first process of a namespace ignores it otherwise
    failures = importlib.import_module(arguments.pop("command")).run(**arguments)
    sys.stdout.flush()
    os._exit(1 if failures else 0)  # at once: threads of the servers may still run


main()
