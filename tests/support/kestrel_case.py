"""Runs the built programs as a user does: a temporary home, exact output bytes."""

import fcntl
import json
import os
import pty
import select
import shutil
import struct
import subprocess
import tempfile
import termios
import time
import unittest

from enrolment.openssl import ENGINE, has_engine

KESTREL = os.environ.get("KESTREL", "kestrel")
KESTRELCTL = os.environ.get("KESTRELCTL", "kestrelctl")
VERSION_LINE_END = b".\nCommand prompt Utility for data protection.\n"
OK = b"[ReturnCode: 0]\n"

# How `openssl genpkey` is asked for a key of each kind, and the digest of its certificate.
KEYS = {
    "rsa": ("RSA", ["rsa_keygen_bits:2048"]),
    "pss": ("RSA-PSS", ["rsa_keygen_bits:2048"]),
    "ec": ("EC", ["ec_paramgen_curve:P-256"]),
    "gost2001": ("gost2001", ["paramset:A"]),
    "gost256": ("gost2012_256", ["paramset:A"]),
    "gost512": ("gost2012_512", ["paramset:A"]),
}
# `openssl cms -sign` names the wrong algorithm for RSA-PSS keys unless the padding is told.
ALL_KEYS = tuple(kind for kind in KEYS if kind != "pss")
# Keys that can receive encrypted messages.
TRANSPORT_KEYS = ("rsa", "gost2001", "gost256", "gost512")

# The other side of the GOST tests; what needs it is skipped without.
HAS_ENGINE = has_engine()

PLAIN_CONFIG = """[req]
distinguished_name = name
[name]
"""


def error_line(text, code):
    return b"Error: " + text + b" (0x%X)\n" % code


def closing(code):
    return OK if code == 0 else b"[ErrorCode: 0x%08x]\n" % code


def exit_status(code):
    return (code & 0xFF) or (255 if code else 0)


class KestrelCase(unittest.TestCase):
    """A test in a folder of its own, with empty user and machine sides."""
    apart = False  # from the terminal that the tests were started on

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="kestrel-")
        self.addCleanup(shutil.rmtree, self.folder, True)
        self.home = self.path("home")
        self.env = {k: v for k, v in os.environ.items() if not k.startswith(("LC_", "LANG"))}
        self.env.update(KESTREL_HOME=self.home, KESTREL_MACHINE_HOME=self.path("machine"))
        self.env.pop("OPENSSL_CONF", None)
        with open(self.path("engine.cnf"), "w", encoding="ascii") as config:
            config.write((ENGINE if HAS_ENGINE else "") + PLAIN_CONFIG)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
        return self.path(name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def run_here(self, *command, status=None, **options):
        """Any command, in the test's folder and with its homes."""
        done = subprocess.run(command, cwd=self.folder, env=self.env, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=300, check=False, **options)
        if status is not None:
            self.assertEqual(done.returncode, status, (command, done.stdout, done.stderr))
        return done

    def raw(self, *args, stdin=b"", env=None):
        """Runs kestrel in the test's folder; nothing may ever be on standard error."""
        done = subprocess.run([KESTREL, *args], cwd=self.folder, env={**self.env, **(env or {})},
                              input=stdin, capture_output=True, timeout=300, check=False,
                              start_new_session=self.apart)
        self.assertEqual(done.stderr, b"", f"{args}: something on standard error")
        return done.returncode, done.stdout

    def kestrel(self, *args, stdin=b"", env=None):
        """Exit status and what was printed behind the two banner lines."""
        status, output = self.raw(*args, stdin=stdin, env=env)
        banner, end, body = output.partition(VERSION_LINE_END)
        self.assertTrue(end and b"\n" not in banner, f"{args}: no banner in {output!r}")
        return status, body

    def expect(self, args, code, body, stdin=b""):
        """The whole output behind the banner, byte for byte, and the exit status."""
        status, output = self.kestrel(*args, stdin=stdin)
        self.assertEqual(output, body + closing(code), f"{args}")
        self.assertEqual(status, exit_status(code), f"{args}")

    def succeed(self, *args, stdin=b""):
        status, body = self.kestrel(*args, stdin=stdin)
        self.assertTrue(status == 0 and body.endswith(OK), f"{args}: {status} {body!r}")
        return body

    def fail_with(self, code, *args, stdin=b"", errors=None):
        """Ends with the code, or (None) fails with any; `errors`: how many lines tell of one."""
        status, body = self.kestrel(*args, stdin=stdin)
        if code is None:
            self.assertNotEqual(status, 0, f"{args}: {body!r}")
        else:
            self.assertTrue(body.endswith(closing(code)), f"{args}: {status} {body!r}")
            self.assertEqual(status, exit_status(code), f"{args}")
        if errors is not None:
            self.assertEqual(body.count(b"Error: "), errors, f"{args}: {body!r}")
        return body

    def run_ctl(self, *args, stdin=b"", env=None):
        return subprocess.run([KESTRELCTL, *args], cwd=self.folder, env={**self.env, **(env or {})},
                              input=stdin, capture_output=True, timeout=120, check=False)

    def ctl(self, *args, stdin=b"", status=0):
        done = self.run_ctl(*args, stdin=stdin)
        self.assertEqual(done.returncode, status, f"{args}: {done.stdout!r} {done.stderr!r}")
        return done.stdout if status == 0 else done.stderr

    def listing(self, *args):
        return json.loads(self.ctl(*args, "--json"))

    def columns(self, listed, *names):
        """Those columns of a listing, told by its words."""
        return [tuple(row[name] for name in names) for row in self.listing(*listed.split())]

    def subjects(self, store):
        return [row["subject"] for row in self.listing("store", "list", store)]

    def set_machine(self, *lines):
        """The platform's settings of the machine, these alone."""
        os.makedirs(self.path("machine"), exist_ok=True)
        self.write("machine/registry.reg", "\r\n".join((
            "Windows Registry Editor Version 5.00", "",
            "[HKEY_LOCAL_MACHINE\\Software\\Kestrel\\Platform]", *lines, "")).encode())

    def need_engine(self):
        if not HAS_ENGINE:
            self.skipTest("libengine-gost-openssl is not installed")

    def openssl(self, *args, status=0, stdin=b""):
        if any("gost" in argument for argument in args):
            self.need_engine()
        done = subprocess.run(["openssl", *args], cwd=self.folder, input=stdin,
                              env={**self.env, "OPENSSL_CONF": self.path("engine.cnf")},
                              capture_output=True, timeout=300, check=False)
        if status is not None:
            self.assertEqual(done.returncode, status, f"openssl {args}: {done.stderr!r}")
        return done.returncode, done.stdout

    def cms_sign(self, out, signers, *options, source="in", detached=False):
        words = [] if detached else ["-nodetach"]
        for signer in signers:
            words += ["-signer", f"{signer}.pem", "-inkey", f"{signer}.key"]
        self.openssl("cms", "-sign", "-binary", "-in", source, "-outform", "DER", "-out", out,
                     *words, *options)

    def cms_verify(self, file, authority, *options, out="out2"):
        self.openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", file, "-CAfile",
                     authority, "-purpose", "any", "-out", out, *options)

    def cms_encrypt(self, out, *options, source="in"):
        self.openssl("cms", "-encrypt", "-binary", "-in", source, "-outform", "DER", "-out", out,
                     *options)

    def cms_decrypt(self, file, name, out="out2"):
        self.openssl("cms", "-decrypt", "-binary", "-inform", "DER", "-in", file, "-recip",
                     f"{name}.pem", "-inkey", f"{name}.key", "-out", out)

    def cms_printed(self, file):
        return self.openssl("cms", "-cmsout", "-print", "-noout", "-inform", "DER", "-in", file)[1]

    def der_of(self, name):
        """The certificate NAME.pem."""
        return self.openssl("x509", "-in", f"{name}.pem", "-outform", "DER")[1]

    def same(self, one, other="in"):
        self.assertEqual(self.read(one), self.read(other))

    def on_terminal(self, cue, typed, *args, ahead=b"", program=KESTREL, columns=80):
        """What a terminal shows when this is typed at the first question that ends in the cue."""
        child, terminal = pty.fork()
        if child == 0:
            os.chdir(self.folder)
            fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            os.execve(program, [program, *args], self.env)
        os.write(terminal, ahead)
        shown, answered = b"", False
        while piece := self.piece_of(terminal):
            shown += piece
            if not answered and shown.endswith(cue):
                time.sleep(0.2)  # what is typed before the program waits may be thrown away
                os.write(terminal, typed)
                answered = True
        os.close(terminal)
        os.waitpid(child, 0)
        return shown

    def piece_of(self, terminal):
        if not select.select([terminal], [], [], 60)[0]:
            return b""
        try:
            return os.read(terminal, 4096)
        except OSError:  # the child has ended
            return b""

    def make_certificate(self, kind, name):
        """NAME.key and NAME.pem, self-signed, by openssl alone."""
        algorithm, options = KEYS[kind]
        arguments = ["genpkey", "-algorithm", algorithm, "-out", f"{name}.key"]
        for option in options:
            arguments += ["-pkeyopt", option]
        self.openssl(*arguments)
        self.self_sign(name, "basicConstraints=CA:FALSE",
                       "keyUsage=digitalSignature,keyEncipherment,dataEncipherment", key=name)

    def self_sign(self, name, *extensions, key=None, authority=None):
        """NAME.pem for a key that is there, or NAME.key, too; by an authority where one is told."""
        keyed = (["-new", "-key", f"{key}.key"] if key else
                 ["-newkey", "rsa:2048", "-nodes", "-keyout", f"{name}.key"])
        more = [word for extension in extensions for word in ("-addext", extension)]
        more += ["-CA", f"{authority}.pem", "-CAkey", f"{authority}.key"] if authority else []
        self.openssl("req", "-x509", *keyed, "-subj", f"/CN={name}", "-days", "60", "-out",
                     f"{name}.pem", *more)

    def export(self, name, *options, out=None, key=None):
        """The PKCS #12 file NAME.p12, with the password "p"."""
        self.openssl("pkcs12", "-export", "-inkey", f"{key or name}.key", "-in", f"{name}.pem", "-out",
                     out or f"{name}.p12", "-passout", "pass:p", *options)

    def make_crl(self, name):
        """An empty list NAME.crl of the authority NAME."""
        self.write("index", b"")
        self.write("ca.cnf", b"[ca]\ndefault_ca=d\n[d]\ndatabase=index\ndefault_md=sha256\n"
                             b"default_crl_days=10\n")
        self.openssl("ca", "-config", "ca.cnf", "-gencrl", "-cert", f"{name}.pem", "-keyfile",
                     f"{name}.key", "-out", f"{name}.crl")

    def make_identities(self, *names):
        for name in names:
            self.make_identity("rsa", name)

    def make_identity(self, kind, name, pin=None, trust=True):
        """An identity made by openssl and taken in from its PKCS #12 file."""
        self.make_certificate(kind, name)
        self.export(name)
        arguments = ["identity", "import", f"{name}.p12", "--password", "p", "--container", name]
        arguments += ["--pin", pin] if pin is not None else []
        arguments += ["--trust"] if trust else []
        self.ctl(*arguments)

    def summary(self, name):
        """The standard showing of NAME.pem: subject, validity, a blank line."""
        _, text = self.openssl("x509", "-in", f"{name}.pem", "-noout", "-dates", "-dateopt",
                               "iso_8601")
        times = [line.partition("=")[2] for line in text.decode().splitlines()]
        start, end = (f"{t[8:10]}.{t[5:7]}.{t[0:4]} {t[11:19]}" for t in times)
        return f"RDN:{name}\nValid from {start} to {end}\n\n".encode()

    def chosen(self, name, checked=True):
        """The lines of a search that found exactly NAME.pem."""
        chains = b"Certificate chains are checked.\n" if checked else b""
        return b"\nThe following certificate will be used:\n" + self.summary(name) + chains


def progress(size, chunk=65536):
    """The percents of a file of `size` bytes that is read in whole chunks."""
    reads = size // chunk + 1
    percents = [int(100.0 * (i * 65536.0 / size)) if size else 100 for i in range(reads)]
    return b"    " + b"".join(b"\b\b\b\b%3d%%" % p for p in percents) + b"\b\b\b\b    \n"
