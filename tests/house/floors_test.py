"""Each folder sees the headers of the folders below it, and none of those above.

Usage: floors_test.py COMPILE_COMMANDS_JSON
"""

import json
import os
import re
import shlex
import subprocess
import sys
import unittest

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Each stands on those before it in its row.
HOUSES = [
    ["platform/" + floor for floor in
     "base console gost providers registry der certs cms stores simple http chain enroll".split()],
    ["front/core", "messages/files", "selection", "stamps", "messages", "batch", "enroll", "front"],
]

# Two rooms of one floor: neither sees the other.
BESIDE = {("platform/gost", "platform/console")}


def header_of(folder):
    names = sorted(n for n in os.listdir(os.path.join(ROOT, folder)) if n.endswith(".h"))
    return f"{folder}/{names[0]}" if names else None


def unit_of(entry):
    """The source file; of several compiled together the first."""
    if "/Unity/" not in entry["file"]:
        return entry["file"]
    with open(entry["file"], encoding="utf-8") as together:
        return re.search(r'#include "(.+)"', together.read()).group(1)


def commands_by_folder(file):
    commands = {}
    with open(file, encoding="utf-8") as stream:
        for entry in json.load(stream):
            folder = os.path.relpath(os.path.dirname(unit_of(entry)), ROOT)
            commands.setdefault(folder, entry)
    return commands


def sees(entry, header):
    """Whether a unit of that folder finds the header; anything but "not found" is an error."""
    words = shlex.split(entry["command"])
    views = [word for word in words if word.startswith("-I")]
    done = subprocess.run(["g++", "-std=c++20", "-M", *views, "-x", "c++", "-"],
                          input=f'#include "{header}"\n', text=True, cwd=entry["directory"],
                          capture_output=True)
    assert done.returncode == 0 or "No such file" in done.stderr, done.stderr
    return done.returncode == 0


class Floors(unittest.TestCase):
    def test_each_sees_what_is_below_and_nothing_above(self):
        for house in HOUSES:
            for at, folder in enumerate(house):
                for other_at, other in enumerate(house):
                    header = header_of(other)
                    if header is None or abs(at - other_at) > 2:
                        continue
                    with self.subTest(folder=folder, header=header):
                        below = other_at <= at and (folder, other) not in BESIDE
                        self.assertEqual(sees(COMMANDS[folder], header), below)

    def test_the_house_is_all_of_it(self):
        folders = {folder for folder in COMMANDS if folder.startswith("platform/")}
        self.assertEqual(folders, set(HOUSES[0]))

    def test_the_administrators_tool_sees_one_table_of_the_program(self):
        for header, seen in (("stamps/settings/settings.h", True), ("stamps/policy.h", False)):
            with self.subTest(header):
                self.assertEqual(sees(COMMANDS["kestrelctl"], header), seen)

    def test_the_program_sees_nothing_of_the_platform(self):
        for folder in HOUSES[1]:
            with self.subTest(folder=folder):
                self.assertFalse(sees(COMMANDS[folder], "platform/base/error.h"))


if __name__ == "__main__":
    COMMANDS = commands_by_folder(sys.argv.pop())
    unittest.main()
