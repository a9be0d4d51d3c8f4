"""Time and peak memory of the streaming commands on one big file, beside their peers."""

import argparse
import filecmp
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

MEMORY_LIMIT = 24 * 1024  # KiB
STARTUP_LIMIT = 0.020  # seconds
FLOORS = ("sha256", "copy", "enc", "enc -d")
COMMANDS = ("-sign -der", "-sign", "-verify (binary)", "-verify (BASE64)", "-encr -der", "-decr")
PEERS = ("cms -sign", "cms -verify", "cms -encrypt", "cms -decrypt")
KEY, IV = "00" * 32, "11" * 16


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
        self.bin = options.bin
        self.folder = folder
        self.file = self.path("file")
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

    def call(self, *command):
        done = subprocess.run(command, cwd=self.folder, env=self.env, stdin=subprocess.DEVNULL,
                              capture_output=True, check=False)
        if done.returncode != 0:
            sys.exit(f"{' '.join(command)}\nended with {done.returncode}:\n"
                     f"{done.stdout.decode(errors='replace')}{done.stderr.decode(errors='replace')}")

    def measure(self, name, command, output=None):
        """One run under GNU time, whose own small process keeps this script's memory out of
        the peak. The output is removed and the disk settled before the clock starts."""
        if output:
            self.remove(output)
        os.sync()
        begin = time.perf_counter()
        self.call("time", "-f", "%U %S %M", "-o", self.path("time"), *command)
        seconds = time.perf_counter() - begin
        with open(self.path("time"), encoding="ascii") as lines:
            user, system, memory = lines.read().splitlines()[-1].split()
        self.results.setdefault(name, Measure()).add(seconds, float(user) + float(system),
                                                     int(memory))

    def show(self, title, names):
        size = os.path.getsize(self.file) / 2**20
        print(f"{title:28}{'wall':>9}  {'processor':>9}{'rate':>14}{'peak memory':>14}")
        for name in names:
            one = self.results[name]
            print(f"  {name:26}{one.seconds:7.2f} s{one.cpu:9.2f} s{size / one.seconds:8.0f} MiB/s"
                  f"{one.memory / 1024:10.1f} MiB")

    def same(self, output):
        if not filecmp.cmp(self.file, self.path(output), shallow=False):
            sys.exit(f"{output} differs from the file that went in")

    def seconds(self, *names):
        return sum(self.results[name].seconds for name in names)

    def ratio(self, name, limit, *peers):
        self.target(f"{name} : {' + '.join(peers)}",
                    self.seconds(name) / self.seconds(*peers), limit, "")

    def target(self, text, value, limit, unit):
        reached = value <= limit
        self.failures += not reached
        print(f"  {text:62}{value:8.2f} of {limit:5.2f}{unit:5}{'reached' if reached else 'MISSED'}")


def parse_size(text):
    match = re.fullmatch(r"(\d+)([KMG]?)", text.upper())
    if not match:
        raise argparse.ArgumentTypeError("a number with K, M or G behind it")
    return int(match[1]) * 1024 ** " KMG".index(match[2] or " ")


def write_file(path, size):
    """Bytes that no layer can make smaller."""
    with open(path, "wb") as file:
        while size > 0:
            file.write(os.urandom(min(size, 2**20)))
            size -= 2**20


def prepare(bench, size):
    write_file(bench.file, size)
    bench.call("kestrelctl", "identity", "create", "CN=Bench", "--trust")
    bench.call("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=Peer",
               "-keyout", "peer.key", "-out", "peer.pem", "-days", "30")


def measure_floors(bench):
    bench.measure("sha256", ["openssl", "dgst", "-sha256", "file"])
    bench.measure("copy", ["sh", "-c", "cat file >copy"], "copy")
    cipher = ["openssl", "enc", "-aes-256-cbc", "-K", KEY, "-iv", IV]
    bench.measure("enc", [*cipher, "-in", "file", "-out", "enc.bin"], "enc.bin")
    bench.measure("enc -d", [*cipher, "-d", "-in", "enc.bin", "-out", "copy"], "copy")
    bench.remove("enc.bin")
    bench.remove("copy")


def measure_kestrel(bench):
    who = ["-nochain", "-dn", "Bench"]
    bench.measure("-sign -der", ["kestrel", "-sign", *who, "-der", "file", "signed.der"],
                  "signed.der")
    bench.measure("-sign", ["kestrel", "-sign", *who, "file", "signed.txt"], "signed.txt")
    bench.measure("-verify (binary)", ["kestrel", "-verify", *who, "signed.der", "out"], "out")
    bench.same("out")
    bench.measure("-verify (BASE64)", ["kestrel", "-verify", *who, "signed.txt", "out"], "out")
    bench.same("out")
    bench.remove("signed.der")
    bench.remove("signed.txt")
    bench.measure("-encr -der", ["kestrel", "-encr", *who, "-der", "file", "encr.der"], "encr.der")
    bench.measure("-decr", ["kestrel", "-decr", *who, "encr.der", "out"], "out")
    bench.same("out")
    bench.remove("encr.der")


def measure_peer(bench):
    cms = ["openssl", "cms", "-binary"]
    key = ["-inkey", "peer.key"]
    bench.measure("cms -sign",
                  [*cms, "-sign", "-nodetach", "-noattr", "-outform", "DER", "-stream", "-signer",
                   "peer.pem", *key, "-in", "file", "-out", "cms.der"], "cms.der")
    bench.measure("cms -verify", [*cms, "-verify", "-inform", "DER", "-CAfile", "peer.pem",
                                  "-purpose", "any", "-in", "cms.der", "-out", "out"], "out")
    bench.same("out")
    bench.measure("cms -encrypt", [*cms, "-encrypt", "-aes-256-cbc", "-outform", "DER", "-stream",
                                   "-in", "file", "-out", "cms.der", "peer.pem"], "cms.der")
    bench.measure("cms -decrypt", [*cms, "-decrypt", "-inform", "DER", "-recip", "peer.pem", *key,
                                   "-in", "cms.der", "-out", "out"], "out")
    bench.same("out")


def startup(bench):
    """The median of 20 starts without arguments."""
    times = []
    for _ in range(20):
        begin = time.perf_counter()
        subprocess.run(["kestrel"], cwd=bench.folder, env=bench.env, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, check=False)
        times.append(time.perf_counter() - begin)
    return sorted(times)[len(times) // 2]


def judge(bench, start):
    print("Targets")
    for name in COMMANDS:
        bench.target(f"{name}: peak memory", bench.results[name].memory / 1024,
                     MEMORY_LIMIT / 1024, " MiB")
    bench.ratio("-sign -der", 1.25, "sha256", "copy")
    bench.ratio("-verify (binary)", 1.25, "sha256", "copy")
    bench.ratio("-sign", 2.0, "sha256", "copy")
    bench.ratio("-verify (BASE64)", 2.0, "sha256", "copy")
    bench.ratio("-sign -der", 0.75, "cms -sign")
    bench.ratio("-verify (binary)", 0.2, "cms -verify")
    bench.ratio("-encr -der", 1.3, "enc")
    bench.ratio("-decr", 1.3, "enc")
    bench.ratio("-decr", 0.25, "cms -decrypt")
    bench.target("start and end with no arguments", start * 1000, STARTUP_LIMIT * 1000, " ms")


def parse_options():
    parser = argparse.ArgumentParser(prog="scripts/bench", description=__doc__)
    parser.add_argument("--size", type=parse_size, default=2**30, help="of the file (1G)")
    parser.add_argument("--runs", type=int, default=3, help="of which the best counts (3)")
    parser.add_argument("--folder", help="where the files go; needs four times the size")
    parser.add_argument("--bin", required=True, help="folder of kestrel and kestrelctl")
    options = parser.parse_args()
    options.bin = os.path.abspath(options.bin)
    if options.runs < 1 or options.size < 1:
        parser.error("at least one run of at least one byte")
    return options


def main():
    options = parse_options()
    folder = tempfile.mkdtemp(prefix="kestrel-bench-", dir=options.folder)
    try:
        bench = Bench(options, folder)
        prepare(bench, options.size)
        print(f"{options.size / 2**20:.0f} MiB, best of {options.runs}, in {folder}", flush=True)
        # Rounds, so that a slow minute of the machine falls on all alike.
        for _ in range(options.runs):
            measure_floors(bench)
            measure_kestrel(bench)
            measure_peer(bench)
        bench.show("Floors", FLOORS)
        bench.show("Kestrel", COMMANDS)
        bench.show("openssl cms", PEERS)
        judge(bench, startup(bench))
    finally:
        shutil.rmtree(folder, ignore_errors=True)
    return 1 if bench.failures else 0


if __name__ == "__main__":
    sys.exit(main())
