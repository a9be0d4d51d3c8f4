"""Chains that fetch what they lack: issuers, lists and OCSP answers of an authority that revokes."""

import json
import os
import stat
import subprocess
import time
import unittest

from authority import DELEGATE, END, Authority, Web, forget
from kestrel_case import KESTRELCTL, KestrelCase

BAD_CHAIN = 0x20000133
NO_SIGNATURES_GOOD = 0x200001F9


class RevocationCase(KestrelCase):
    def setUp(self):
        super().setUp()
        self.web = Web()
        self.addCleanup(self.web.close)
        self.root = Authority(self, self.web, "root")
        self.ctl("trust", "root.pem")
        self.root.publish()
        self.high = Authority(self, self.web, "high", self.root, self.root.points())
        self.high.publish()
        self.low = Authority(self, self.web, "low", self.high,
                             self.high.points() + self.high.access())
        self.low.issue("delegate", DELEGATE)
        self.write("in", b"what is signed\n")

    def leaf(self, name, extensions):
        """An identity below "low" that has nothing but its own certificate."""
        self.low.issue(name, END + extensions)
        self.openssl("pkcs12", "-export", "-inkey", f"{name}.key", "-in", f"{name}.pem", "-out",
                     f"{name}.p12", "-passout", "pass:x")
        self.ctl("identity", "import", f"{name}.p12", "--password", "x", "--container", name)
        return name

    def chain(self, name, status=0, *more):
        """The rows of `kestrelctl chain`, the end certificate's first."""
        done = subprocess.run([KESTRELCTL, "chain", f"{name}.pem", "--json", *more],
                              cwd=self.folder, env=self.env, capture_output=True, timeout=120,
                              check=False)
        self.assertEqual(done.returncode, status, f"{done.stdout!r} {done.stderr!r}")
        return json.loads(done.stdout)

    def notices(self, name):
        self.succeed("-sign", "-dn", name, "-errchain", "-der", "in", f"{name}.msg")
        self.succeed("-verify", "-errchain", f"{name}.msg")


class RevocationTest(RevocationCase):
    def test_an_authority_revokes(self):
        """By list and by OCSP alike: good, then kept though revoked, then noticed."""
        self.low.respond("delegate", "-nmin", "1")
        rows = (
            ("by list", "ann", self.low.points() + self.low.access(), "CRL"),
            ("by OCSP", "bob", self.low.access(responder=True), "OCSP"),
        )
        for title, name, extensions, source in rows:
            with self.subTest(title):
                self.low.publish()
                self.leaf(name, extensions)
                self.notices(name)
                before = len(self.web.asked)
                told = self.chain(name)
                self.assertEqual([row["subject"] for row in told],
                                 [f"CN={name}", "CN=low", "CN=high", "CN=root"])
                self.assertTrue(told[0]["source"].startswith(f"cache: {source} http"), told)
                self.assertEqual([row["revocation"] for row in told],
                                 ["not revoked"] * 3 + ["not asked"])
                self.low.revoke(name)
                self.low.publish()
                self.chain(name)
                self.assertEqual(len(self.web.asked), before, "asked again before the next update")
                forget(self)
                told = self.chain(name, 1)
                self.assertEqual((told[0]["status"], told[0]["revocation"]), ("revoked", "revoked"))
                self.fail_with(BAD_CHAIN, "-sign", "-dn", name, "-errchain", "in", "out")
                self.fail_with(NO_SIGNATURES_GOOD, "-verify", "-errchain", f"{name}.msg")

    def test_next_update(self):
        self.low.publish(seconds=4)
        self.leaf("ann", self.low.points() + self.low.access())
        self.chain("ann")
        self.low.revoke("ann")
        self.low.publish()
        time.sleep(4)
        self.assertEqual(self.chain("ann", 1)[0]["status"], "revoked")
        self.assertEqual(self.web.asked.count("/low.crl"), 2)


if __name__ == "__main__":
    unittest.main()
