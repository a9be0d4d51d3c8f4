"""`kestrelctl chain`: what it says of chains, in words, and how it is asked."""

import hashlib
import json

from authority import END, Authority, Web
from kestrel_case import KestrelCase


class ChainTest(KestrelCase):
    def setUp(self):
        super().setUp()
        self.web = Web(self)
        self.root = Authority(self, self.web, "root")
        self.root.publish()
        self.root.issue("ann", END + self.root.points())
        self.root.issue("clock", END + self.root.points()
                        + "extendedKeyUsage=critical,timeStamping\n")
        self.stranger = Authority(self, self.web, "stranger")
        self.stranger.issue("eve", END)
        self.ctl("trust", "root.pem")

    def test_verdicts(self):
        self.ctl("store", "add", "AddressBook", "ann.pem")
        der = self.der_of("ann")
        thumbprint = hashlib.sha1(der).hexdigest()
        self.write("forged.cer", der[:-1] + bytes([der[-1] ^ 1]))
        for name, parts in (("full", ("root", "ann")), ("two", ("ann", "clock", "root")),
                            ("alone", ("stranger", "eve"))):
            self.write(f"{name}.pem", b"".join(self.read(f"{part}.pem") for part in parts))
        rows = [
            ("good", ["ann.pem"], 0, b"good", b""),
            ("by thumbprint", [thumbprint[:10].upper()], 0, b"good", b""),
            ("no issuer", ["eve.pem"], 1, b"its issuer was not found", b"its issuer was not found"),
            ("altered", ["forged.cer"], 1, b"its signature is wrong", b"its signature is wrong"),
            ("before it began", ["ann.pem", "--at", "2020-01-01"], 1, b"not valid at this time",
             b"not valid at this time"),
            ("a service", ["clock.pem", "--purpose", "stamp"], 0, b"good", b""),
            ("no service", ["ann.pem", "--purpose", "stamp"], 1, b"good", b"bad chain: "),
            ("with its issuer", ["full.pem"], 0, b"CN=ann", b""),
            ("its issuer in the file alone", ["alone.pem"], 1, b"CN=stranger", b"not trusted"),
            ("two to judge", ["two.pem"], 1, b"",
             b"which certificate of two.pem is meant? 2 of them issued none of the others"),
            ("nothing", [""], 2, b"", b"a file or a thumbprint is needed, not ''"),
            ("no such thing", ["abcdef"], 1, b"", b"no file and no certificate is 'abcdef'"),
            ("a bad time", ["ann.pem", "--at", "2026-11-21 1"], 2, b"", b"'--at' needs a time"),
            ("a bad purpose", ["ann.pem", "--purpose", "tea"], 2, b"",
             b"'--purpose' is 'any' or 'stamp', not 'tea'"),
        ]
        for title, words, status, printed, said in rows:
            with self.subTest(title):
                done = self.run_ctl("chain", *words)
                self.assertEqual(done.returncode, status, done)
                self.assertIn(printed, done.stdout)
                self.assertIn(said, done.stderr)
                self.assertEqual(bool(said), bool(done.stderr), done.stderr)

    def test_listing(self):
        rows = json.loads(self.run_ctl("chain", "ann.pem", "--json", "--at", "2099-01-01T10:00:00Z").stdout)
        self.assertEqual([row["subject"] for row in rows], ["CN=ann", "CN=root"])
        self.assertEqual({row["status"] for row in rows}, {"not valid at this time"})
        rows = json.loads(self.run_ctl("chain", "ann.pem", "--json").stdout)
        self.assertEqual(rows[0]["source"], "cache: CRL " + self.web.address("root.crl"))
        self.assertRegex(rows[0]["age"], r"^\d+ (s|min)$")
        _, until = self.openssl("crl", "-in", "root.crl", "-noout", "-nextupdate", "-dateopt",
                                "iso_8601")
        self.assertEqual(f"nextUpdate={rows[0]['until']}\n".encode(), until.replace(b" ", b"T"))
