"""Holds what the suite of calls prints against the differences that are known.

Usage: check.py SYSTEM COMMAND..., where SYSTEM is the word that differences.txt has for it.
"""

import os
import subprocess
import sys


def known(system):
    """Case and answer of each row of one system."""
    path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "differences.txt")
    with open(path, encoding="utf-8") as file:
        rows = [[part.strip() for part in line.split(" | ")] for line in file
                if line.strip() and not line.startswith("#")]
    return {row[0]: row[2] for row in rows if row[1] == system}


def failures(system, output):
    """A line for each case that differs and should not, or should and does not."""
    lines = output.replace("\r\n", "\n").splitlines()
    if not lines or not lines[-1].endswith(" differ") or int(lines[-1].split()[0]) < 50:
        return ["the suite did not come to its end: " + output[-200:]]
    seen = {row[0]: row[1:] for row in (line.split(" | ") for line in lines[:-1])}
    rows = known(system)
    told = [f"{name}: {seen[name][0]}, not {seen[name][-1]}" for name in seen if name not in rows]
    told += [f"{name}: {seen.get(name, ['as documented'])[0]}, not the known {answer}"
             for name, answer in rows.items() if seen.get(name, [None])[0] != answer]
    return told


if __name__ == "__main__":
    done = subprocess.run(sys.argv[2:], capture_output=True, text=True, timeout=120, check=False)
    wrong = failures(sys.argv[1], done.stdout)
    print("\n".join(wrong))
    sys.exit(1 if wrong else 0)
