"""The `openssl` command, with the GOST engine where it is installed."""

import os
import subprocess

ENGINE = """openssl_conf = main
[main]
engines = engines
[engines]
gost = gost
[gost]
engine_id = gost
default_algorithms = ALL
"""
# How a key of each kind is made, and the digest that goes with it.
KINDS = {
    "rsa": ("rsa:2048", [], "sha256"),
    "gost": ("gost2012_256", ["-pkeyopt", "paramset:A"], "md_gost12_256"),
}


def has_engine():
    return subprocess.run(["openssl", "engine", "gost"], capture_output=True,
                          check=False).returncode == 0


class OpenSslError(Exception):
    """What the command said."""


class OpenSsl:
    """Runs in a folder. A failure is an OpenSslError."""

    def __init__(self, folder):
        self.folder = folder
        self.environment = {**os.environ, "OPENSSL_CONF": os.path.join(folder, "openssl.cnf")}
        with open(self.environment["OPENSSL_CONF"], "w", encoding="ascii") as file:
            file.write(ENGINE if has_engine() else "")

    def __call__(self, *arguments, stdin=b""):
        done = subprocess.run(["openssl", *arguments], cwd=self.folder, env=self.environment,
                              input=stdin, capture_output=True, timeout=60, check=False)
        if done.returncode != 0:
            raise OpenSslError(done.stderr.decode(errors="replace"))
        return done.stdout
