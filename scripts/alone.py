"""Compiles each unit of some folders by itself, for its errors alone.

Usage: scripts/alone.py COMPILE_COMMANDS FOLDER...   (folders from the root, tests are left out)
"""

import concurrent.futures
import json
import os
import shlex
import subprocess
import sys

root = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def errors(entry):
    command = shlex.split(entry["command"])
    at = command.index("-o")
    command[at : at + 2] = ["-fsyntax-only", "-O0"]
    done = subprocess.run(command, cwd=entry["directory"], capture_output=True, text=True, check=False)
    return done.stderr if done.returncode else ""


def main(database, *folders):
    starts = tuple(os.path.join(root, folder) + os.sep for folder in folders)
    with open(database, encoding="utf-8") as file:
        entries = [entry for entry in json.load(file) if entry["file"].startswith(starts)]
    if not entries:
        sys.exit(f"{database} knows no unit of {folders}")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        found = [text for text in pool.map(errors, entries) if text]
    sys.exit("\n".join(found) or None)


main(*sys.argv[1:])
