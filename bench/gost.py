"""Measures the GOST primitives beside OpenSSL's engine, nettle and libgcrypt."""

import measure

# Algorithm, peers, and how many times the best of them we must reach.
STREAMS = (
    ("34.11-94", ("nettle",), 2),
    ("34.11-94", ("engine",), 5),
    ("34.11-2012", ("engine", "nettle", "libgcrypt"), 1),
    ("28147-89-decrypt", ("engine",), 3),
    ("28147-89-encrypt", ("engine", "libgcrypt"), 1),
)
SIGNATURES = ("sign-256", "verify-256", "sign-256-twisted", "verify-256-twisted")


def run(bench):
    values = {}
    for line in bench.call("bench_gost").splitlines():
        algorithm, who, value = line.split()
        values.setdefault(algorithm, {})[who] = float(value)
    print("GOST, MB/s (signatures: microseconds)")
    for algorithm, row in values.items():
        print(f"  {algorithm:20}" + "".join(f"{who:>12}{value:9.1f}" for who, value in row.items()))
    print("Targets")
    for algorithm, peers, times in STREAMS:
        best = max(values[algorithm][peer] for peer in peers)
        bench.target(f"{algorithm}: {times} times {' or '.join(peers)}, time for it",
                     times * best / values[algorithm]["ours"], 1.0, "")
    for algorithm in SIGNATURES:
        row = values[algorithm]
        bench.target(f"{algorithm} : engine", row["ours"] / row["engine"], 1.0, "")


if __name__ == "__main__":
    measure.main(__doc__, run)
