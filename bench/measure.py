"""What the benchmarks have in common: a folder with identities of its own, runs under GNU
time, targets."""

import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time


class Measure:
    """Several runs of one command: the best wall and processor time in seconds, the worst
    peak of memory in KiB."""

    def __init__(self):
        self.seconds = self.cpu = float("inf")
        self.memory = 0

    def add(self, seconds, cpu, memory):
        self.seconds = min(self.seconds, seconds)
        self.cpu = min(self.cpu, cpu)
        self.memory = max(self.memory, memory)


class Bench:
    def __init__(self, options, folder):
        self.options = options
        self.folder = folder
        self.results = {}
        self.failures = 0
        self.env = {key: value for key, value in os.environ.items()
                    if not key.startswith(("LC_", "LANG")) and key != "OPENSSL_CONF"}
        self.env.update(KESTREL_HOME=self.path("home"), KESTREL_MACHINE_HOME=self.path("machine"),
                        PATH=options.bin + os.pathsep + os.environ["PATH"])

    def path(self, name):
        return os.path.join(self.folder, name)

    def remove(self, name):
        if os.path.exists(self.path(name)):
            os.remove(self.path(name))

    def call(self, *command, cwd=""):
        """What the command printed. It went to a file, since a reader at a pipe would have its
        share of the machine. Ends the benchmark when the command fails."""
        with open(self.path("printed"), "w+b") as printed:
            done = subprocess.run(command, cwd=self.path(cwd), env=self.env,
                                  stdin=subprocess.DEVNULL, stdout=printed,
                                  stderr=subprocess.STDOUT, check=False)
            printed.seek(0)
            text = printed.read().decode(errors="replace")
        if done.returncode != 0:
            sys.exit(f"{' '.join(command)[:500]}\nended with {done.returncode}:\n{text[-1000:]}")
        return text

    def measure(self, name, command, output=None, cwd=""):
        """One run under GNU time, whose own small process keeps this script's memory out of
        the peak. The output is removed and the disk settled before the clock starts."""
        if output:
            self.remove(output)
        os.sync()
        begin = time.perf_counter()
        self.call("time", "-f", "%U %S %M", "-o", self.path("time"), *command, cwd=cwd)
        seconds = time.perf_counter() - begin
        with open(self.path("time"), encoding="ascii") as lines:
            user, system, memory = lines.read().splitlines()[-1].split()
        self.results.setdefault(name, Measure()).add(seconds, float(user) + float(system),
                                                     int(memory))

    def show(self, title, names, amount, unit):
        """A block: what each command took for the same `amount` of work."""
        print(f"{title:28}{'wall':>9}  {'processor':>9}{'rate':>16}{'peak memory':>14}")
        for name in names:
            one = self.results[name]
            rate = f"{amount / one.seconds:.0f} {unit}/s"
            print(f"  {name:26}{one.seconds:7.2f} s{one.cpu:9.2f} s{rate:>16}"
                  f"{one.memory / 1024:10.1f} MiB")

    def seconds(self, *names):
        return sum(self.results[name].seconds for name in names)

    def ratio(self, name, limit, *peers):
        self.target(f"{name} : {' + '.join(peers)}",
                    self.seconds(name) / self.seconds(*peers), limit, "")

    def target(self, text, value, limit, unit):
        reached = value <= limit
        self.failures += not reached
        print(f"  {text:62}{value:8.2f} of {limit:5.2f}{unit:5}{'reached' if reached else 'MISSED'}")


def write_file(path, size):
    """Bytes that no layer can make smaller."""
    with open(path, "wb") as file:
        while size > 0:
            file.write(os.urandom(min(size, 2**20)))
            size -= 2**20


def parse_size(text):
    match = re.fullmatch(r"(\d+)([KMG]?)", text.upper())
    if not match:
        raise argparse.ArgumentTypeError("a number with K, M or G behind it")
    return int(match[1]) * 1024 ** " KMG".index(match[2] or " ")


def parse_options(description):
    """One set of options for all benchmarks, of which each reads its own."""
    parser = argparse.ArgumentParser(prog="scripts/bench", description=description)
    parser.add_argument("--size", type=parse_size, default=2**30, help="of the big file (1G)")
    parser.add_argument("--files", type=int, default=10_000, help="small files to hash (10000)")
    parser.add_argument("--signed", type=int, default=2_000, help="of them to sign (2000)")
    parser.add_argument("--stamps", type=int, default=1_000, help="time stamps (1000)")
    parser.add_argument("--runs", type=int, default=3, help="of which the best counts (3)")
    parser.add_argument("--folder", help="where the files go; needs five times the size")
    parser.add_argument("--bin", required=True, help="folder of kestrel and kestrelctl")
    options = parser.parse_args()
    options.bin = os.path.abspath(options.bin)
    if options.runs < 1 or options.size < 1 or options.stamps < 1 or not 0 < options.signed <= options.files:
        parser.error("at least one run of at least one byte; no more to sign than there are")
    return options


def memory_folder(size):
    """A file system in memory with room for `size` bytes, or None."""
    memory = "/dev/shm"
    return memory if os.path.isdir(memory) and shutil.disk_usage(memory).free > size else None


def main(description, run, default_folder=lambda options: None):
    """`run` gets a Bench in a temporary folder. The exit status: 1 when a target was missed."""
    options = parse_options(description)
    parent = options.folder or default_folder(options)
    folder = tempfile.mkdtemp(prefix="kestrel-bench-", dir=parent)
    try:
        bench = Bench(options, folder)
        run(bench)
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    sys.exit(1 if bench.failures else 0)
