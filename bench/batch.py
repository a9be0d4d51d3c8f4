"""Time of the commands for many files: hash files and detached signatures, beside their peers."""

import hashlib
import os
import sys

import measure

SMALL = 4096
PIN = "secret"
HASH = ("-hash", "-provtype", "24")
SIGN_LOOP = """for file; do
  openssl cms -sign -binary -noattr -nocerts -signer ../peer.pem -inkey ../peer.key \
    -passin pass:secret -in "$file" -outform DER -out "${file##*/}.sgn" || exit 1
done"""


def prepare(bench):
    os.mkdir(bench.path("small"))
    for index in range(bench.options.files):
        measure.write_file(bench.path(f"small/f{index:06}"), SMALL)
    measure.write_file(bench.path("big"), bench.options.size)
    measure.write_file(bench.path("values"), 32 * bench.options.files)
    bench.call("kestrelctl", "identity", "create", "CN=Bench", "--pin", PIN, "--trust")
    bench.call("openssl", "req", "-x509", "-newkey", "rsa:2048", "-passout", f"pass:{PIN}", "-subj",
               "/CN=Peer", "-keyout", "peer.key", "-out", "peer.pem", "-days", "30")


def names(count):
    return [f"../small/f{index:06}" for index in range(count)]


def fresh(bench):
    """A folder for one command's output. None is removed before the end: a file system that
    has just lost thousands of files is slow to make new ones."""
    fresh.count = getattr(fresh, "count", 0) + 1
    name = f"out{fresh.count}"
    os.mkdir(bench.path(name))
    return name


def measure_small(bench):
    sources = names(bench.options.files)
    bench.measure("sha256sum", ["sha256sum", *sources], cwd="small")
    bench.measure("split", ["split", "-b", "32", "-a", "4", "../values"], cwd=fresh(bench))
    folder = fresh(bench)
    bench.measure("-hash", ["kestrel", *HASH, *sources], cwd=folder)
    bench.measure("-vhash", ["kestrel", "-vhash", *HASH[1:], *sources], cwd=folder)
    check_hashes(bench, folder)


def check_hashes(bench, folder):
    for index in range(bench.options.files):
        name = f"f{index:06}"
        with open(bench.path(f"small/{name}"), "rb") as source, \
                open(bench.path(f"{folder}/{name}.hsh"), "rb") as companion:
            if hashlib.sha256(source.read()).digest() != companion.read():
                sys.exit(f"{name}.hsh is wrong")


def measure_big(bench):
    bench.measure("sha256sum, big", ["sha256sum", "big"])
    bench.measure("-hash, big", ["kestrel", *HASH, "big"])


def measure_signatures(bench):
    sources = names(bench.options.signed)
    folder = fresh(bench)
    bench.measure("-signf", ["kestrel", "-signf", "-nochain", "-dn", "Bench", "-der", "-pin", PIN,
                             *sources], cwd=folder)
    bench.measure("-vsignf", ["kestrel", "-vsignf", "-nochain", "-dn", "Bench", *sources],
                  cwd=folder)
    bench.measure("cms -sign", ["sh", "-c", SIGN_LOOP, "sh", *sources], cwd=fresh(bench))


def raw_seconds(bench):
    """What as many bare signatures take: one thread, the key in memory, no files."""
    table = bench.call("openssl", "speed", "-seconds", "3", "rsa2048")
    return bench.options.signed / float(table.splitlines()[-1].split()[-2])


def judge(bench, raw):
    print("Targets")
    bench.ratio("-hash, big", 1.3, "sha256sum, big")
    bench.ratio("-hash", 2.0, "sha256sum")
    # 80 % of the raw rate.
    bench.target("-signf : openssl speed rsa2048", bench.seconds("-signf") / raw, 1.25, "")
    print("For comparison")
    print(f"  {'-hash : sha256sum + split':62}"
          f"{bench.seconds('-hash') / bench.seconds('sha256sum', 'split'):8.2f}")
    print(f"  {'-signf : cms -sign':62}{bench.seconds('-signf') / bench.seconds('cms -sign'):8.2f}")


def run(bench):
    prepare(bench)
    options = bench.options
    print(f"{options.files} files of {SMALL} bytes, {options.signed} of them to sign, and one of "
          f"{options.size / 2**20:.0f} MiB, best of {options.runs}, in {bench.folder}", flush=True)
    raw = float("inf")
    for _ in range(options.runs):
        measure_small(bench)
        measure_big(bench)
        measure_signatures(bench)
        raw = min(raw, raw_seconds(bench))
    bench.show("Hash, small files", ("sha256sum", "split", "-hash", "-vhash"), options.files,
               "files")
    bench.show("Hash, one big file", ("sha256sum, big", "-hash, big"), options.size / 2**20, "MiB")
    bench.show("Sign, small files", ("cms -sign", "-signf", "-vsignf"), options.signed, "files")
    print(f"  {'openssl speed rsa2048':26}{raw:7.2f} s{'':11}{options.signed / raw:8.0f} files/s")
    judge(bench, raw)


if __name__ == "__main__":
    # In memory: on a disk the making of files outweighs all that is compared here.
    measure.main(__doc__, run,
                 lambda options: measure.memory_folder(2 * options.size + 2**15 * options.files))
