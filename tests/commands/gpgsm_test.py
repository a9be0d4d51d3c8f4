"""A second implementation of CMS on the other side: gpgsm, driven without a terminal."""

import os
import subprocess

from kestrel_case import KestrelCase


class Gpgsm(KestrelCase):
    def setUp(self):
        super().setUp()
        self.env["GNUPGHOME"] = self.path("gpg")
        os.mkdir(self.path("gpg"), 0o700)
        self.write("gpg/gpg-agent.conf", b"allow-loopback-pinentry\n")
        self.write("gpg/gpgsm.conf", b"disable-crl-checks\ndisable-policy-checks\n")
        self.addCleanup(subprocess.run, ["gpgconf", "--kill", "all"], env=self.env, check=False)
        # ann, issued by a CA that both sides trust; gpgsm reads old PKCS #12 ciphers only.
        self.self_sign("ca", "basicConstraints=critical,CA:TRUE", "keyUsage=keyCertSign,cRLSign")
        _, printed = self.openssl("x509", "-in", "ca.pem", "-noout", "-fingerprint", "-sha1")
        self.write("gpg/trustlist.txt", printed.partition(b"=")[2].strip() + b" S\n")
        self.gpgsm("--import", "ca.pem")
        self.self_sign("ann", authority="ca")
        # gpgsm cannot read one PKCS #12 file in a hundred; another salt helps.
        for _ in range(4):
            self.export("ann", "-certpbe", "NONE", "-keypbe", "PBE-SHA1-3DES", "-macalg", "sha1")
            imported = self.run_gpgsm("--import", "ann.p12")
            if imported.returncode == 0:
                break
        self.assertEqual(imported.returncode, 0, imported.stderr)
        self.ctl("identity", "import", "ann.p12", "--password", "p")
        self.ctl("trust", "ca.pem")

    def run_gpgsm(self, *args):
        return subprocess.run(["gpgsm", "--batch", "--yes", "--pinentry-mode", "loopback",
                               "--passphrase-fd", "0", *args], cwd=self.folder, env=self.env,
                              input=b"p\n", capture_output=True, timeout=200, check=False)

    def gpgsm(self, *args):
        done = self.run_gpgsm(*args)
        self.assertEqual(done.returncode, 0, f"gpgsm {args}: {done.stderr!r}")

    def test_both_directions(self):
        self.write("in", os.urandom(300_000))
        self.succeed("-encr", "-dn", "ann", "-norev", "-der", "in", "ours.enc")
        self.gpgsm("-o", "out1", "--decrypt", "ours.enc")
        self.gpgsm("-o", "theirs.enc", "-r", "ann", "--encrypt", "in")
        self.succeed("-decr", "-dn", "ann", "-norev", "theirs.enc", "out2")
        self.succeed("-sign", "-dn", "ann", "-norev", "-der", "in", "ours.sig")
        self.gpgsm("--verify", "ours.sig")
        self.gpgsm("-o", "theirs.sig", "-u", "ann", "--sign", "in")
        body = self.succeed("-verify", "-dn", "ann", "-norev", "theirs.sig", "out3")
        self.assertIn(b"Signer: ann\n Signature's verified.\n", body)
        for name in ("out1", "out2", "out3"):
            self.assertEqual(self.read(name), self.read("in"), name)
