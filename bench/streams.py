"""Time and peak memory of the streaming commands on one big file, beside their peers."""

import filecmp
import subprocess
import sys
import time

import measure

MEMORY_LIMIT = 24 * 1024  # KiB
STARTUP_LIMIT = 0.020  # seconds
FLOORS = ("sha256", "copy", "enc", "enc -d")
COMMANDS = ("-sign -der", "-sign", "-verify (binary)", "-verify (BASE64)", "-encr -der", "-decr")
PEERS = ("cms -sign", "cms -verify", "cms -encrypt", "cms -decrypt")
KEY, IV = "00" * 32, "11" * 16


def same(bench, output):
    if not filecmp.cmp(bench.path("file"), bench.path(output), shallow=False):
        sys.exit(f"{output} differs from the file that went in")


def prepare(bench):
    measure.write_file(bench.path("file"), bench.options.size)
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
    same(bench, "out")
    bench.measure("-verify (BASE64)", ["kestrel", "-verify", *who, "signed.txt", "out"], "out")
    same(bench, "out")
    bench.remove("signed.der")
    bench.remove("signed.txt")
    bench.measure("-encr -der", ["kestrel", "-encr", *who, "-der", "file", "encr.der"], "encr.der")
    bench.measure("-decr", ["kestrel", "-decr", *who, "encr.der", "out"], "out")
    same(bench, "out")
    bench.remove("encr.der")


def measure_peer(bench):
    cms = ["openssl", "cms", "-binary"]
    key = ["-inkey", "peer.key"]
    bench.measure("cms -sign",
                  [*cms, "-sign", "-nodetach", "-noattr", "-outform", "DER", "-stream", "-signer",
                   "peer.pem", *key, "-in", "file", "-out", "cms.der"], "cms.der")
    bench.measure("cms -verify", [*cms, "-verify", "-inform", "DER", "-CAfile", "peer.pem",
                                  "-purpose", "any", "-in", "cms.der", "-out", "out"], "out")
    same(bench, "out")
    bench.measure("cms -encrypt", [*cms, "-encrypt", "-aes-256-cbc", "-outform", "DER", "-stream",
                                   "-in", "file", "-out", "cms.der", "peer.pem"], "cms.der")
    bench.measure("cms -decrypt", [*cms, "-decrypt", "-inform", "DER", "-recip", "peer.pem", *key,
                                   "-in", "cms.der", "-out", "out"], "out")
    same(bench, "out")


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


def run(bench):
    prepare(bench)
    size = bench.options.size / 2**20
    print(f"{size:.0f} MiB, best of {bench.options.runs}, in {bench.folder}", flush=True)
    # Rounds, so that a slow minute of the machine falls on all alike.
    for _ in range(bench.options.runs):
        measure_floors(bench)
        measure_kestrel(bench)
        measure_peer(bench)
    bench.show("Floors", FLOORS, size, "MiB")
    bench.show("Kestrel", COMMANDS, size, "MiB")
    bench.show("openssl cms", PEERS, size, "MiB")
    judge(bench, startup(bench))


if __name__ == "__main__":
    measure.main(__doc__, run)
