"""Runs the cross-compiled kestrel.exe under Wine: the command list, the refusal of bad
lines, help, and what Wine's own certificate calls carry.

The text is the same as on Linux but for line ends, and the exit value has all its bits
in the closing line. Usage: run_wine.py kestrel.exe
"""

import hashlib
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

for folder in ("calls", "support"):
    sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", folder))
import check  # noqa: E402
from authority import Web  # noqa: E402
from stamp_service import StampService  # noqa: E402

PROGRAM = os.path.abspath(sys.argv.pop(1)) if len(sys.argv) > 1 else "kestrel.exe"
WINE = shutil.which("wine64") or shutil.which("wine") or "/usr/lib/wine/wine64"

# Command line, a line that must stand in the output, the closing line.
ROWS = [
    ("no arguments", [], " -checkreg    Check user registration status.", "[ErrorCode: 0x00000001]"),
    ("unknown key", ["-sign", "-zzz"], "Error: Unknown key: '-zzz'. (0x200000C9)",
     "[ErrorCode: 0x200000c9]"),
    ("help of a command", ["-sign", "-help"], "Command usage:", "[ErrorCode: 0x00000002]"),
    ("start without output", ["-verify", "-start", "a"],
     "Error: Key '-start' without output file. (0x200001F4)", "[ErrorCode: 0x200001f4]"),
    ("nothing found", ["-encr", "-dn", "nobody at all", "a", "b"],
     "Error: No certificate found. (0x2000012D)", "[ErrorCode: 0x2000012d]"),
    ("missing message", ["-verify", "absent.msg"], "Error: Can't open file 'absent.msg'. (0x20000065)",
     "[ErrorCode: 0x20000065]"),
]


class WineRuns(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix="kestrel-wine-")
        cls.env = {**os.environ, "WINEPREFIX": os.path.join(cls.folder, "prefix"),
                   "WINEDEBUG": "-all", "WINEDLLOVERRIDES": "mscoree,mshtml=", "DISPLAY": ""}
        # The first start makes the prefix; its time is not the program's.
        subprocess.run([WINE, "wineboot", "-i"], env=cls.env, cwd=cls.folder, timeout=300,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)

    @classmethod
    def tearDownClass(cls):
        subprocess.run([WINE, "wineboot", "-k"], env=cls.env, timeout=60,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
        shutil.rmtree(cls.folder, True)

    def run_program(self, words, env=None):
        done = subprocess.run([WINE, PROGRAM, *words], env=env or self.env, cwd=self.folder, timeout=120,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)
        return done.stdout.decode("utf-8", "replace").replace("\r\n", "\n")

    def test_rows(self):
        for name, words, line, closing in ROWS:
            with self.subTest(name):
                text = self.run_program(words)
                lines = text.split("\n")
                self.assertIn(line + "\n", text)
                self.assertEqual(lines[-2], closing)
                self.assertEqual(lines[1], "Command prompt Utility for data protection.")

    def make_certificate(self):
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout",
                        "ann.key", "-out", "ann.pem", "-subj", "/CN=Ann", "-days", "10"],
                       cwd=self.folder, capture_output=True, check=True)

    def test_commands_on_the_systems_own_calls(self):
        self.make_certificate()
        with open(os.path.join(self.folder, "in"), "wb") as file:
            file.write(b"content")
        subprocess.run(["openssl", "cms", "-sign", "-binary", "-nodetach", "-noattr", "-in", "in",
                        "-outform", "DER", "-out", "msg", "-signer", "ann.pem", "-inkey",
                        "ann.key"], cwd=self.folder, capture_output=True, check=True)
        with open(os.path.join(self.folder, "msg"), "rb") as file:
            message = file.read()
        with open(os.path.join(self.folder, "bad"), "wb") as file:
            file.write(message.replace(b"content", b"CONTENT"))
        source = ["-f", "ann.pem", "-nochain"]
        # Wine has no text for the bad signature's code, so the code alone is told.
        rows = [
            ("verified", ["-verify", "-verall", *source, "msg"],
             "Signer: Ann\n Signature's verified.\n", True),
            ("changed", ["-verify", "-verall", *source, "bad"], "(0x80090006)\n", False),
            ("encrypted", ["-encr", *source, "-der", "in", "enc"], "Encrypted message is created.\n",
             True),
            ("copied to a store", ["-copycert", *source, "-duFriends"],
             "Certificate's been copied.\n", True),
            ("deleted", ["-delcert", "-uFriends", "-nochain", "-yes"],
             "Certificate's been deleted.\n", True),
        ]
        for name, words, line, good in rows:
            with self.subTest(name):
                text = self.run_program(words)
                self.assertIn(line, text)
                self.assertEqual(text.endswith("[ReturnCode: 0]\n"), good, text)

    def test_batches_on_the_systems_own_calls(self):
        self.make_certificate()
        os.mkdir(os.path.join(self.folder, "many"))
        for name, content in (("a.txt", b"abc"), ("b.txt", b"changed later")):
            with open(os.path.join(self.folder, "many", name), "wb") as file:
                file.write(content)
            subprocess.run(["openssl", "cms", "-sign", "-binary", "-noattr", "-in", "many/" + name,
                            "-outform", "DER", "-out", name + ".sgn", "-signer", "ann.pem",
                            "-inkey", "ann.key"], cwd=self.folder, capture_output=True, check=True)
        # Wine's first hash of this type is SHA-1; the second run replaces what is there.
        for _ in range(2):
            text = self.run_program(["-hash", "-provtype", "24", "-dir", "sums", "many/*.txt"])
            self.assertTrue(text.endswith("[ReturnCode: 0]\n"), text)
        self.assertEqual(sorted(os.listdir(os.path.join(self.folder, "sums"))),
                         ["a.txt.hsh", "b.txt.hsh"])
        with open(os.path.join(self.folder, "sums", "a.txt.hsh"), "rb") as file:
            self.assertEqual(file.read(), hashlib.sha1(b"abc").digest())
        with open(os.path.join(self.folder, "many", "b.txt"), "wb") as file:
            file.write(b"changed")
        rows = [
            ("hashes", ["-vhash", "-provtype", "24", "-dir", "sums"],
             ["OK.", "Hash differs.", "[ErrorCode: 0x20000194]"]),
            ("signatures", ["-vsignf", "-f", "ann.pem", "-nochain"],
             ["OK.", "Signature's corrupted.", "[ErrorCode: 0x200001f9]"]),
        ]
        for name, words, ends in rows:
            with self.subTest(name):
                text = self.run_program([*words, "many/a.txt", "many/b.txt"])
                for line, end in zip(text.splitlines()[-3:], ends):
                    self.assertTrue(line.endswith(end), text)

    def openssl(self, *words):
        done = subprocess.run(["openssl", *words], cwd=self.folder, capture_output=True, check=True)
        return 0, done.stdout

    def wine(self, *words):
        return subprocess.run([WINE, *words], env=self.env, cwd=self.folder, timeout=120,
                              stdin=subprocess.DEVNULL, capture_output=True, check=True)

    def test_stamps_on_the_systems_own_calls(self):
        with StampService(self.folder, self.openssl) as service:
            self.wine(os.path.join(os.path.dirname(PROGRAM), "make_identity.exe"), "Stamper", "ca.cer")
            with open(os.path.join(self.folder, "stamped"), "wb") as file:
                file.write(b"content")
            # Up to the chain's policy, which Wine does not have (docs/platform.md).
            rows = [("good", "[ErrorCode: 0x80070002]"), ("rejected", "[ErrorCode: 0xc2100124]"),
                    ("forged", "[ErrorCode: 0x80090006]"), ("broken", "[ErrorCode: 0xc2100100]"),
                    ("wrong-nonce", "[ErrorCode: 0xc2100120]"),
                    ("no-certificate", "[ErrorCode: 0x80092004]")]
            for name, closing in rows:
                with self.subTest(name):
                    text = self.run_program(["-sign", "-dn", "Stamper", "-nochain",
                                             "-sd" + service.url(name), "stamped", "out"])
                    self.assertIn("Getting time stamp...\n", text)
                    self.assertTrue(text.endswith(closing + "\n"), text)
                    self.assertFalse(os.path.exists(os.path.join(self.folder, "out")))
            path, headers, _ = service.seen[0]
            self.assertEqual((path, headers["Content-type"], headers["User-Agent"]),
                             ("/good", "application/timestamp-query", "Ferro-Line stamper.dll"))
            self.wine("reg", "add", r"HKCU\Software\Policies\Ferro-Line\TSP", "/v", "NonceLength",
                      "/d", "x", "/f")
            text = self.run_program(["-sign", "-dn", "Stamper", "-nochain",
                                     "-sd" + service.url("good"), "stamped", "out"])
            self.assertTrue(text.endswith("[ErrorCode: 0x8007000d]\n"), text)
            self.assertEqual(len(service.seen), len(rows))

    def test_pending_requests_over_web_pages(self):
        web = Web(self)
        # A server's name with a port is none to Wine; a proxy leads every name to this one.
        page = "http://ca.example:80/certsrv//certfnsh.asp"
        env = {**self.env, "http_proxy": web.address("")}
        with open(os.path.join(self.folder, "id"), "wb") as file:
            file.write(b"\x01\x02\0\0")
        rows = [(b"locTimeoutWarning", "[ReturnCode: 0]"), (b"locDenied", "[ErrorCode: 0x200002c3]"),
                (b"locDenied".ljust(0x18FFE), "[ErrorCode: 0x200002c3]"),
                (b"locDenied".ljust(0x18FFF), "[ErrorCode: 0x200002be]"),
                (b"nothing", "[ErrorCode: 0x200002bf]")]
        forms = []
        for answer, closing in rows:
            web.pages[page] = lambda body, answer=answer: forms.append(body) or answer
            text = self.run_program(["-pendcert", "-CA", "a", "-CA", "http://ca.example/certsrv/",
                                     "-noCSP", "-FileID", "id"], env)
            self.assertTrue(text.endswith(closing + "\n"), text)
        self.assertEqual(forms, [b"Mode=chkpnd&TargetStoreFlags=0&SaveCert=no&ReqID=513"] * len(rows))
        self.assertEqual((web.heads[0]["Referer"], web.heads[0]["Content-Type"]),
                         ("*/*", "application/x-www-form-urlencoded"))

    def test_calls_differ_as_known(self):
        suite = os.path.join(os.path.dirname(PROGRAM), "calls.exe")
        done = subprocess.run([WINE, suite], env=self.env, cwd=self.folder, timeout=120,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False)
        self.assertEqual(check.failures("wine", done.stdout.decode("utf-8", "replace")), [])


if __name__ == "__main__":
    unittest.main(verbosity=1)
