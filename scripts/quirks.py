"""Holds docs/quirks.md and the code together: every id that a comment names has its row, every row
its place in the code and a test that is there. Run by scripts/check from the root."""

import glob
import os
import re
import subprocess
import sys

ROW = re.compile(r"^\| ([a-z]+-[0-9]+[a-z]?) \|.*\|([^|]*)\|\s*$")


def rows():
    with open("docs/quirks.md", encoding="utf-8") as page:
        return [match.groups() for match in map(ROW.match, page) if match]


def ids_in_code(known):
    areas = "|".join(sorted({name.split("-")[0] for name in known}))
    pattern = re.compile(rf"(?<![A-Za-z0-9_-])((?:{areas})-[0-9]+[a-z]?)\b")
    files = subprocess.run(["git", "ls-files", "*.cpp", "*.h", ":!tests"], check=True, text=True,
                           capture_output=True).stdout.split()
    found = set()
    for name in files:
        with open(name, encoding="utf-8") as source:
            for line in source:
                _, comment, words = line.partition("//")
                if comment:
                    found.update(pattern.findall(words))
    return found


def tests():
    """Names of all test files, cases and methods."""
    names = set()
    for name in glob.glob("tests/**/*", recursive=True):
        if not name.endswith((".cpp", ".py", "CMakeLists.txt")):
            continue
        names.add(os.path.basename(name))
        with open(name, encoding="utf-8") as source:
            text = source.read()
        names.update(".".join(pair) for pair in re.findall(r"TEST(?:_F)?\((\w+), (\w+)\)", text))
        names.update(re.findall(r"def (test_\w+)", text))
    return names


def main():
    known = rows()
    ids = [name for name, _ in known]
    faults = [f"two rows for {name}" for name in set(ids) if ids.count(name) > 1]
    faults += [f"{name} has no place in the code" for name in set(ids) - ids_in_code(ids)]
    faults += [f"{name} has no row" for name in ids_in_code(ids) - set(ids)]
    there = tests()
    for name, column in known:
        named = re.findall(r"`([^`]+)`", column)
        faults += [f"{name} names no test"] if not named else []
        faults += [f"{name}: there is no test {test}" for test in named
                   if os.path.basename(test) not in there]
    for fault in sorted(faults):
        print("docs/quirks.md:", fault, file=sys.stderr)
    return 1 if faults or len(known) < 10 else 0


if __name__ == "__main__":
    sys.exit(main())
