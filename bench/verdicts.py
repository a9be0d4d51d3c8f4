"""Verdicts over many small files and over one big message, beside the commands that only verify."""

import filecmp
import os
import sys

import measure

SMALL = 4096
MEMORY_LIMIT = 24 * 1024  # KiB
# Signatures as -signf makes them, and the same with the signer's certificate in each.
KINDS = {"bare": (), "with certificates": ("-cert",)}
FORMS = {"binary": ("-der",), "BASE64": ()}
WHO = ("-nochain", "-dn", "Bench")


def prepare(bench):
    os.mkdir(bench.path("small"))
    for index in range(bench.options.signed):
        measure.write_file(bench.path(f"small/f{index:06}"), SMALL)
    measure.write_file(bench.path("file"), bench.options.size)
    bench.call("kestrelctl", "identity", "create", "CN=Bench", "--trust")
    for kind, words in KINDS.items():
        os.mkdir(bench.path(kind))
        bench.call("kestrel", "-signf", *WHO, *words, "-der", *names(bench), cwd=kind)
    for form, words in FORMS.items():
        bench.call("kestrel", "-sign", *WHO, *words, "file", form)


def names(bench):
    return [f"../small/f{index:06}" for index in range(bench.options.signed)]


def measure_small(bench):
    for kind in KINDS:
        bench.measure(f"-vsignf, {kind}", ["kestrel", "-vsignf", *WHO, *names(bench)], cwd=kind)
        bench.measure(f"--jsonl, {kind}", ["kestrelctl", "message", "verify", "--jsonl", "--dir",
                                           ".", *names(bench)], cwd=kind)


def measure_big(bench):
    for form in FORMS:
        bench.measure(f"-verify ({form})", ["kestrel", "-verify", *WHO, form, "out"], "out")
        bench.measure(f"--output ({form})",
                      ["kestrelctl", "message", "verify", form, "--output", "out"], "out")
        if not filecmp.cmp(bench.path("file"), bench.path("out"), shallow=False):
            sys.exit(f"--output ({form}) differs from the file that was signed")
        bench.remove("out")


def judge(bench):
    print("Targets")
    for kind in KINDS:
        cpu = [bench.results[f"{name}, {kind}"].cpu for name in ("--jsonl", "-vsignf")]
        bench.target(f"--jsonl : -vsignf, {kind}, processor time", cpu[0] / cpu[1], 1.5, "")
    for form in FORMS:
        bench.ratio(f"--output ({form})", 1.1, f"-verify ({form})")
    for name in [*(f"--jsonl, {kind}" for kind in KINDS), *(f"--output ({form})" for form in FORMS)]:
        bench.target(f"{name}: peak memory", bench.results[name].memory / 1024, MEMORY_LIMIT / 1024,
                     " MiB")


def run(bench):
    prepare(bench)
    size = bench.options.size / 2**20
    print(f"{bench.options.signed} signed files of {SMALL} bytes and a message of {size:.0f} MiB, "
          f"best of {bench.options.runs}, in {bench.folder}", flush=True)
    for _ in range(bench.options.runs):
        measure_small(bench)
        measure_big(bench)
    bench.show("Detached signatures", [f"{name}, {kind}" for kind in KINDS
                                       for name in ("-vsignf", "--jsonl")],
               bench.options.signed, "files")
    bench.show("One message", [f"{name} ({form})" for form in FORMS
                               for name in ("-verify", "--output")], size, "MiB")
    judge(bench)


if __name__ == "__main__":
    # In memory: the disk takes longer than either program, and never twice the same.
    measure.main(__doc__, run,
                 lambda options: measure.memory_folder(5 * options.size + 2**15 * options.signed))
