"""Measures the ASN.1 codec beside OpenSSL's d2i and i2d on the same records."""

import json
import os

import measure

EXTENSIONS = 50

CONFIG = """
[req]
distinguished_name = name
x509_extensions = many
[name]
[tsa]
default_tsa = it
[it]
serial = serial
signer_digest = sha256
digests = sha256
default_policy = 1.2.3.4
accuracy = secs:1, millisecs:2, microsecs:3
ordering = yes
tsa_name = yes
certs = chain.pem
[stamps]
extendedKeyUsage = critical,timeStamping
[many]
basicConstraints = CA:FALSE
keyUsage = digitalSignature
"""


def certificate(bench, name, section):
    bench.call("openssl", "req", "-x509", "-config", "codec.cnf", "-extensions", section, "-newkey",
               "rsa:2048", "-nodes", "-keyout", name + ".key", "-subj",
               f"/C=RU/O=Example/OU=Bench/CN={name}", "-out", name + ".pem")
    bench.call("openssl", "x509", "-in", name + ".pem", "-outform", "DER", "-out", name + ".der")


def prepare(bench):
    """A response with the service's certificate and one more in its token, and a certificate
    with many extensions."""
    others = "".join(f"1.3.6.1.4.1.99999.{number} = ASN1:UTF8:extension number {number}\n"
                     for number in range(EXTENSIONS - 2))
    with open(bench.path("codec.cnf"), "w", encoding="ascii") as config:
        config.write(CONFIG + others)
    with open(bench.path("serial"), "w", encoding="ascii") as serial:
        serial.write("1000\n")
    measure.write_file(bench.path("data"), 1000)
    certificate(bench, "chain", "many")
    certificate(bench, "service", "stamps")
    bench.call("openssl", "ts", "-query", "-data", "data", "-sha256", "-cert", "-out", "query")
    bench.call("openssl", "ts", "-reply", "-config", "codec.cnf", "-section", "it", "-signer",
               "service.pem", "-inkey", "service.key", "-queryfile", "query", "-out", "reply")


def run(bench):
    prepare(bench)
    printed = bench.call("bench_codec", "reply", "chain.der", "--benchmark_format=json",
                         f"--benchmark_repetitions={bench.options.runs}",
                         "--benchmark_enable_random_interleaving=true")
    times = {}
    for one in json.loads(printed[printed.index("{"):])["benchmarks"]:
        if one["run_type"] == "iteration":
            name = one["run_name"]
            times[name] = min(times.get(name, float("inf")), one["cpu_time"])
    sizes = {"TimeStampResp": os.path.getsize(bench.path("reply")),
             "Certificate": os.path.getsize(bench.path("chain.der"))}
    print(f"{'Codec':44}{'ours':>12}{'openssl':>12}")
    for record, size in sizes.items():
        for work in ("decode", "encode"):
            print(f"  {work + ' ' + record + f', {size} bytes':42}"
                  f"{times[f'ours/{work}/{record}']:9.0f} ns{times[f'openssl/{work}/{record}']:9.0f} ns")
    print(f"  {'the same, from the bytes that d2i kept':42}{'':12}"
          f"{times['openssl/copy/Certificate']:9.0f} ns")
    print("Targets")
    for record in sizes:
        for work in ("decode", "encode"):
            bench.target(f"{work} {record} : openssl",
                         times[f"ours/{work}/{record}"] / times[f"openssl/{work}/{record}"], 1.0, "")


if __name__ == "__main__":
    measure.main(__doc__, run)
