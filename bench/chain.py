"""Chains with great lists in the cache beside `openssl verify`, and searches that go nowhere."""

import hashlib
import http.server
import os
import resource
import subprocess
import sys
import threading

import measure

ENTRIES = 100_000
CROSS_SIGNED = 1_000
CONSTRAINTS = 10_000
CONFIG = """[ca]
default_ca = d
[d]
database = {name}.index
default_md = sha256
"""
AUTHORITY = "basicConstraints=critical,CA:true\nkeyUsage=keyCertSign,cRLSign\n"
NAMES = ("root", "high", "low", "leaf")


class Lists(http.server.BaseHTTPRequestHandler):
    """Lists of the bench's folder, for as long as the cache is filled."""

    def do_GET(self):
        with open(os.path.join(self.server.folder, os.path.basename(self.path)), "rb") as file:
            body = file.read()
        self.send_response(200)
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


def make_key(bench, name):
    bench.call("openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key",
               "-subj", f"/CN={name}", "-out", f"{name}.csr")


def issue(bench, name, issuer, extensions, serial, out=None):
    with open(bench.path("ext"), "w", encoding="ascii") as file:
        file.write(extensions)
    signer = ["-signkey", f"{name}.key"] if issuer is None else [
        "-CA", f"{issuer}.pem", "-CAkey", f"{issuer}.key", "-set_serial", str(serial)]
    bench.call("openssl", "x509", "-req", "-in", f"{name}.csr", "-days", "30", "-extfile", "ext",
               "-out", f"{out or name}.pem", *signer)


def make_list(bench, name, entries):
    with open(bench.path(f"{name}.cnf"), "w", encoding="ascii") as file:
        file.write(CONFIG.format(name=name))
    with open(bench.path(f"{name}.index"), "w", encoding="ascii") as file:
        for number in range(entries):
            serial = hashlib.sha256(f"{name}{number}".encode()).hexdigest()[:30].upper()
            file.write(f"R\t351231235959Z\t250101000000Z,keyCompromise\t7F{serial}\tunknown\t/CN=x\n")
    bench.call("openssl", "ca", "-config", f"{name}.cnf", "-gencrl", "-cert", f"{name}.pem",
               "-keyfile", f"{name}.key", "-crldays", "30", "-out", f"{name}.crl.pem")
    bench.call("openssl", "crl", "-in", f"{name}.crl.pem", "-outform", "DER", "-out",
               f"{name}.crl")


def make_chain(bench, port):
    for number, name in enumerate(NAMES):
        issuer = NAMES[number - 1] if number else None
        point = f"crlDistributionPoints=URI:http://127.0.0.1:{port}/{issuer}.crl\n" if issuer else ""
        make_key(bench, name)
        issue(bench, name, issuer, (AUTHORITY if name != "leaf" else "") + point, number + 10)


def fill(bench, entries):
    """New lists, into the cache as a user's run gets them there."""
    for name in NAMES[:-1]:
        make_list(bench, name, entries)
    bench.call("kestrelctl", "cache", "clear")
    bench.call("kestrelctl", "cache", "fetch", "leaf.pem")
    with open(bench.path("lists.pem"), "wb") as together:
        for name in NAMES[:-1]:
            with open(bench.path(f"{name}.crl.pem"), "rb") as one:
                together.write(one.read())


def prepare(bench):
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Lists)
    server.folder = bench.folder
    threading.Thread(target=server.serve_forever, daemon=True).start()
    make_chain(bench, server.server_address[1])
    bench.call("kestrelctl", "trust", "root.pem")
    bench.call("kestrelctl", "store", "add", "CA", "high.pem", "low.pem")
    with open(bench.path("between.pem"), "wb") as together:
        for name in ("high", "low"):
            with open(bench.path(f"{name}.pem"), "rb") as one:
                together.write(one.read())


VERIFY = ["openssl", "verify", "-crl_check_all", "-CAfile", "root.pem", "-untrusted", "between.pem",
          "-CRLfile", "lists.pem", "leaf.pem"]


def processor_ms(bench, *command):
    """Of one run, by what the kernel counts for a hundred: a single one is too short."""
    def used():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime
    begin = used()
    for _ in range(100):
        bench.call(*command)
    return 1000 * (used() - begin) / 100


def measure_lists(bench):
    fill(bench, ENTRIES)
    for _ in range(bench.options.runs):
        bench.measure("openssl verify, great", VERIFY)
        bench.measure("chain, great", ["kestrelctl", "chain", "leaf.pem"])
    fill(bench, 10)
    for _ in range(bench.options.runs):
        bench.measure("openssl verify, small", VERIFY)
        bench.measure("chain, small", ["kestrelctl", "chain", "leaf.pem"])
    best = [min(processor_ms(bench, "kestrelctl", "chain", f"{name}.pem")
                for _ in range(bench.options.runs)) for name in ("leaf", "root")]
    bench.hit = best[0] - best[1]


def verdict(bench, name):
    """Bad chains end with 1, and with a sentence."""
    def call(*command, cwd=""):
        with open(bench.path("printed"), "w+b") as printed:
            done = subprocess.run(command, cwd=bench.path(cwd), env=bench.env, stdout=printed,
                                  stdin=subprocess.DEVNULL, stderr=subprocess.STDOUT, check=False)
            printed.seek(0)
            text = printed.read().decode(errors="replace")
        if done.returncode not in (0, 1) or (done.returncode == 1 and "bad chain" not in text):
            sys.exit(f"{command} ended with {done.returncode}:\n{text[-1000:]}")
        print(f"  {name}: {text.splitlines()[-1][:90]}")
        return text
    kept, bench.call = bench.call, call
    try:
        bench.measure(name, ["kestrelctl", "chain", f"{name}.pem"])
    finally:
        bench.call = kept


def measure_searches(bench):
    """Certificates of one name that sign each other, and names that are constrained at length."""
    make_key(bench, "cross")
    bench.call("openssl", "ecparam", "-name", "prime256v1", "-genkey", "-noout", "-out", "cross.key")
    bench.call("openssl", "req", "-new", "-key", "cross.key", "-subj", "/CN=cross", "-out",
               "cross.csr")
    issue(bench, "cross", None, AUTHORITY, 1)
    for number in range(CROSS_SIGNED):
        issue(bench, "cross", "cross", AUTHORITY, 100 + number, f"cross{number}")
    bench.call("kestrelctl", "store", "add", "CA",
               *(f"cross{number}.pem" for number in range(CROSS_SIGNED)))
    make_key(bench, "lost")
    issue(bench, "lost", "cross", "", 7)
    verdict(bench, "lost")
    names = "".join(f"permitted;DNS.{n}=host{n}.example\n" for n in range(CONSTRAINTS))
    make_key(bench, "strict")
    issue(bench, "strict", "root",
          AUTHORITY + "nameConstraints=critical,@names\n[names]\n" + names, 50)
    bench.call("kestrelctl", "store", "add", "CA", "strict.pem")
    make_key(bench, "narrow")
    hosts = ",".join(f"DNS:www.host{n}.example" for n in range(CONSTRAINTS - 1000, CONSTRAINTS))
    issue(bench, "narrow", "strict", f"subjectAltName={hosts}\n", 51)
    verdict(bench, "narrow")


def report(bench):
    great = ("openssl verify, great", "chain, great")
    bench.show(f"3 lists of {ENTRIES} entries", great, 1, "chains")
    small = ("openssl verify, small", "chain, small")
    bench.show("3 lists of 10 entries", small, 1, "chains")
    bench.show("Searches", ("lost", "narrow"), 1, "chains")
    print("Targets")
    bench.ratio("chain, great", 1.0, "openssl verify, great")
    bench.target("memory of a chain with great lists",
                 bench.results["chain, great"].memory / 1024, 150, "MiB")
    bench.target("3 answers from the cache, processor time", bench.hit, 3, "ms")
    bench.target(f"{CROSS_SIGNED} cross-signed certificates", bench.seconds("lost"), 2, "s")
    bench.target(f"{CONSTRAINTS} name constraints", bench.seconds("narrow"), 2, "s")


def run(bench):
    prepare(bench)
    measure_lists(bench)
    measure_searches(bench)
    report(bench)


if __name__ == "__main__":
    measure.main(__doc__, run)
