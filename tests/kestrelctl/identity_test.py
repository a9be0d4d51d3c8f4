"""Identities as an administrator handles them: files in and out, names, lists, secrets."""

import datetime
import os
import shutil
import subprocess
import time

from kestrel_case import KESTRELCTL, KestrelCase


class Identities(KestrelCase):
    def rows(self, *names):
        return self.columns("identity list", *names)

    def authority(self):
        """root.pem, and ann.pem signed by it."""
        self.make_certificate("ec", "ann")
        self.self_sign("root")
        self.self_sign("ann", key="ann", authority="root")

    def test_untrusted_import_says_what_to_trust(self):
        self.authority()
        self.export("ann", out="alone.p12")
        self.export("ann", "-certfile", "root.pem", out="whole.p12")
        _, text = self.openssl("x509", "-in", "root.pem", "-noout", "-fingerprint", "-sha256")
        thumbprint = text.decode().partition("=")[2].strip().replace(":", "").lower().encode()
        told = self.ctl("identity", "import", "alone.p12", "--password", "p")
        self.assertIn(b"Not trusted yet: the certificate of its issuer, CN=root,", told)
        self.assertIn(b"kestrelctl trust FILE", told)
        told = self.ctl("identity", "import", "whole.p12", "--password", "p")
        self.assertIn(b"SHA-256 " + thumbprint, told)
        self.assertIn(b"identity import whole.p12 --trust", told)
        told = self.ctl("identity", "import", "whole.p12", "--password", "p", "--trust")
        self.assertNotIn(b"Not trusted", told)
        self.assertEqual(self.subjects("Root"), ["CN=root"])

    def test_second_import_finds_the_key(self):
        self.make_certificate("rsa", "ann")
        self.export("ann")
        take = ["identity", "import", "ann.p12", "--password", "p"]
        self.ctl(*take, "--pin", "secret")
        self.assertIn(b"Container 'ann' holds this key already", self.ctl(*take))
        self.assertEqual(self.rows("container", "state"), [("ann", "")])
        self.ctl(*take, "--container", "other", "--trust")
        self.write("in", b"content")
        self.assertIn(b"Container 'ann' has the same key",
                      self.ctl("identity", "delete", "other"))
        self.succeed("-sign", "-dn", "ann", "-pin", "secret", "in", "msg")
        self.ctl("identity", "delete", "ann")
        self.assertEqual((self.rows("container"), self.subjects("My")), ([], []))

    def test_renewed_certificate(self):
        self.make_identity("rsa", "ann", pin="secret")
        self.self_sign("root")
        self.ctl("trust", "root.pem")
        self.write("in", b"content")
        self.succeed("-encr", "-dn", "ann", "in", "old.msg")
        self.self_sign("ann", key="ann", authority="root")
        self.make_certificate("rsa", "bob")
        self.assertIn(b"not one of a key",
                      self.ctl("identity", "bind", "ann", "bob.pem", "--pin", "secret", status=1))
        self.ctl("identity", "bind", "ann", "ann.pem")
        self.assertEqual((self.subjects("My"), self.subjects("Superseded")), (["CN=ann"], ["CN=ann"]))
        _, issuer = self.openssl("x509", "-in", "ann.pem", "-noout", "-issuer")
        self.assertIn(b"root", issuer)
        self.succeed("-sign", "-dn", "ann", "-norev", "-pin", "secret", "in", "msg")
        self.succeed("-decr", "-uSuperseded", "-pin", "secret", "old.msg", "out")
        self.assertEqual(self.read("out"), b"content")
        self.ctl("identity", "delete", "ann")
        self.assertEqual((self.subjects("My"), self.subjects("Superseded")), ([], []))

    def test_list_shows_halves(self):
        for name in ("whole", "bare", "empty", "gone", "unlisted"):
            self.ctl("identity", "create", f"CN={name}", "--provtype", "16")
        folder = os.path.join(self.home, "containers")
        os.remove(os.path.join(folder, "bare", "exchange.cer"))
        for file in ("exchange.cer", "exchange.key"):
            os.remove(os.path.join(folder, "empty", file))
        shutil.rmtree(os.path.join(folder, "gone"))
        row = [r for r in self.listing("store", "list", "My") if r["subject"] == "CN=unlisted"]
        self.ctl("store", "remove", "My", row[0]["thumbprint"])
        self.assertEqual(self.rows("container", "subject", "state"),
                         [("bare", "", "no certificate"), ("empty", "", "no key"),
                          ("unlisted", "CN=unlisted", 'not in "My"'), ("whole", "CN=whole", ""),
                          ("gone", "CN=gone", "no container")])
        self.assertIn(b"1 certificate",
                      self.ctl("identity", "delete", "gone"))

    def test_export(self):
        self.authority()
        self.ctl("trust", "root.pem")
        self.export("ann")
        self.ctl("identity", "import", "ann.p12", "--password", "p")
        out = ["identity", "export", "ann"]
        rows = [
            ("today", [], b"MAC: sha256, Iteration 100000", b"AES-256-CBC, Iteration 100000"),
            ("legacy", ["--legacy"], b"MAC: sha1, Iteration 2048", b"3-KeyTripleDES-CBC"),
        ]
        for name, options, mac, cipher in rows:
            with self.subTest(name):
                content = self.ctl(*out, "-", "--password", "q", *options)
                info = subprocess.run(["openssl", "pkcs12", "-info", "-nodes", "-passin", "pass:q"],
                                      input=content, capture_output=True, check=True)
                self.assertIn(mac, info.stderr)
                self.assertIn(cipher, info.stderr)
                self.assertEqual(info.stdout.count(b"BEGIN CERTIFICATE"), 2)
        self.assertIn(b"--force", self.ctl(*out, "ann.p12", "--password", "q", status=1))
        self.openssl("pkcs12", "-in", "ann.p12", "-passin", "pass:p", "-noout")
        self.ctl(*out, "ann.p12", "--password", "q", "--force")
        self.openssl("pkcs12", "-in", "ann.p12", "-passin", "pass:q", "-noout")

    def test_files_of_other_programs(self):
        self.make_certificate("rsa", "ann")
        rows = [
            ("old ciphers", ["-legacy"]),
            ("no password check", ["-nomac"]),
            ("sha512", ["-macalg", "sha512"]),
            ("nothing closed", ["-keypbe", "NONE", "-certpbe", "NONE"]),
        ]
        for name, options in rows:
            with self.subTest(name):
                self.export("ann", *options)
                self.ctl("identity", "import", "ann.p12", "--password", "p")
                self.assertNotEqual(self.rows("container"), [])
                self.ctl("identity", "delete", "ann")
        self.export("ann", "-passout", "pass:", out="e.p12")
        self.ctl("identity", "import", "e.p12", "--password", "")

    def test_absurd_rounds_end_at_once(self):
        self.make_certificate("rsa", "ann")
        # 70,000 rounds: of the certificates' cipher and the key's, and last of a MAC over both.
        for options, first, count in ((["-nomac", "-certpbe", "AES-256-CBC"], 0, 2), ([], 2, 3)):
            self.export("ann", "-iter", "70000", *options)
            good = self.read("ann.p12")
            number = b"\x02\x03\x01\x11\x70"
            places = [at for at in range(len(good)) if good.startswith(number, at)]
            self.assertEqual(len(places), count)
            for at in places[first:]:
                for rounds in (b"\x7f\xff\xff", b"\x80\x00\x00"):
                    with self.subTest(options, at=at, rounds=rounds):
                        self.write("bad.p12", good[:at + 2] + rounds + good[at + 5:])
                        self.assertIn(b"absurd number of rounds", self.import_at_once("bad.p12"))
        self.export("ann", "-iter", "600000", out="fine.p12")
        self.ctl("identity", "import", "fine.p12", "--password", "p")

    def test_gost_files_of_other_programs(self):
        rows = [
            ("gost2001", "md_gost94"),
            ("gost256", "md_gost12_256"),
            ("gost512", "md_gost12_512"),
        ]
        for kind, mac in rows:
            with self.subTest(kind):
                options = ["-keypbe", "gost89", "-certpbe", "gost89", "-macalg", mac]
                self.make_certificate(kind, kind)
                self.export(kind, *options, out="ann.p12")
                words = self.ctl("identity", "import", "ann.p12", "--password", "q", status=1)
                self.assertIn(b"wrong password", words)
                self.ctl("identity", "import", "ann.p12", "--password", "p")
                self.assertIn(kind, str(self.rows("container")))
                # 32,768 rounds to begin with: of the certificates' cipher, and of the MAC.
                for more, place in ((["-nomac"], 0), ([], -1)):
                    self.export(kind, "-iter", "32768", *options, *more, out="slow.p12")
                    good = self.read("slow.p12")
                    number = b"\x02\x03\x00\x80\x00"
                    places = [at for at in range(len(good)) if good.startswith(number, at)]
                    at = places[place]
                    self.write("bad.p12", good[:at + 2] + b"\x04\x00\x00" + good[at + 5:])
                    self.assertIn(b"absurd number of rounds", self.import_at_once("bad.p12"))

    def test_what_no_password_helps(self):
        self.make_certificate("gost256", "gost256")
        rows = [
            ("derivation", "AES-256-CBC", "2a864886f70d0209", "2a864886f70d0277",
             b"unknown algorithm, 1.2.840.113549.2.119"),
            ("cipher", "AES-256-CBC", "60864801650304012a", "608648016503040177",
             b"unknown algorithm, 2.16.840.1.101.3.4.1.119"),
            ("parameter set", "NONE", "06072a850302022301", "06072a850302022309",
             b"holds no private key that can be used"),
        ]
        for name, cipher, old, new, words in rows:
            with self.subTest(name):
                self.export("gost256", "-nomac", "-keypbe", cipher, "-certpbe", cipher, out="a.p12")
                changed = self.read("a.p12").replace(bytes.fromhex(old), bytes.fromhex(new))
                self.write("a.p12", changed)
                self.assertIn(words, self.ctl("identity", "import", "a.p12", "--password", "p",
                                              status=1))

    def import_at_once(self, file):
        begun = time.monotonic()
        words = self.ctl("identity", "import", file, "--password", "p", status=1)
        self.assertLess(time.monotonic() - begun, 2)
        return words

    def test_strangers_text_is_escaped(self):
        rows = [
            ("escape", "CN=a\x1b[31mb", b"a\\x1b[31mb", b"a\\u001b[31mb"),
            ("tag", "CN=a\U000e0041b", b"a\\U000e0041b", b"a\\udb40\\udc41b"),
            ("letters", "CN=Анна", "Анна".encode(), "Анна".encode()),
        ]
        for name, subject, shown, in_json in rows:
            with self.subTest(name):
                self.ctl("identity", "create", subject, "--provtype", "16", "--container", name)
                table = [line for line in self.ctl("identity", "list").split(b"\n")
                         if line.startswith(name.encode())]
                row = [line for line in self.ctl("identity", "list", "--json").split(b"\n")
                       if b'"' + name.encode() + b'"' in line]
                for text, form in ((table[0], shown), (row[0], in_json)):
                    # A name may come as "#" and hexadecimal digits already.
                    self.assertTrue(form in text or b"#" in text, text)
                    self.assertNotIn(b"\x1b", text)
                    self.assertNotIn("\u202e".encode(), text)
        error = self.ctl("identity", "import", "no\x1b[2J\nsuch\udcff.p12", "--password", "p",
                         status=1)
        self.assertIn(b"no\\x1b[2J\\x0asuch\\xff.p12", error)

    def test_what_cannot_be_read_is_named(self):
        def no_folder(home):
            self.write("home/containers", b"a file")
        def damaged_store(home):
            self.write("home/stores.db", b"no database" * 1000)
        rows = [
            (no_folder, b"containers"),
            (damaged_store, b"stores.db"),
        ]
        for spoil, named in rows:
            with self.subTest(spoil.__name__):
                subprocess.run(["rm", "-rf", self.home], check=True)
                os.mkdir(self.home)
                spoil(self.home)
                self.assertIn(named, self.ctl("identity", "list", status=1))
                if named == b"containers":
                    body = self.fail_with(None, "-CSPcert", "-provtype", "24", "-duOut")
                    self.assertNotIn(b"Containers not found", body)

    def test_output_that_does_not_arrive(self):
        work = [KESTRELCTL, "identity", "create", "CN=x", "--provtype", "16"]
        rows = [("full", ">/dev/full"), ("closed", ">&-"), ("all closed", "<&- >&- 2>&-")]
        for name, redirection in rows:
            with self.subTest(name):
                self.run_here("sh", "-c", f'"$@" {redirection}', "sh", *work, status=1)
        self.assertEqual(self.rows("container", "state"), [("x", ""), ("x-2", ""), ("x-3", "")])

    def test_password_leaves_the_arguments(self):
        os.mkfifo(self.path("wait"))
        for words in (["--password", "hidden123"], ["--password=hidden123"]):
            with self.subTest(words):
                process = subprocess.Popen([KESTRELCTL, "identity", "import", self.path("wait"),
                                            *words], env=self.env, stderr=subprocess.DEVNULL)
                with open(self.path("wait"), "wb"):  # it has come to reading the file
                    with open(f"/proc/{process.pid}/cmdline", "rb") as file:
                        self.assertNotIn(b"hidden123", file.read())
                self.assertEqual(process.wait(20), 1)

    def test_names_taken_and_types(self):
        runs = [subprocess.Popen([KESTRELCTL, "identity", "create", "CN=x", "--provtype", "16"],
                                 env=self.env, stdout=subprocess.DEVNULL) for _ in range(6)]
        self.assertEqual([run.wait(60) for run in runs], [0] * 6)
        self.assertEqual(self.rows("container"), [("x",)] + [(f"x-{n}",) for n in range(2, 7)])
        self.write("in", b"content")
        for kind in ("1", "75", "81"):
            self.ctl("identity", "create", f"CN=of {kind}", "--provtype", kind, "--container", "of " + kind)
            self.assertIn(("of " + kind, kind), self.rows("container", "provtype"))
            self.succeed("-sign", "-dn", "of " + kind, "-nochain", "in", "msg" + kind)
        self.ctl("identity", "create", "CN=one", "--container", "of 1", status=1)

    def test_days_up_to_the_last_year(self):
        # A day of grace: the day may end while the test runs.
        most = (datetime.date.max - datetime.datetime.now(datetime.timezone.utc).date()).days
        for days in (most + 1, 3000000, 2**32 - 1, 2**32 + 1):
            told = self.ctl("identity", "create", "CN=x", "--days", str(days), status=1)
            self.assertIn(b"would end after the year 9999", told)
        self.ctl("identity", "create", "CN=x", "--days", str(most - 1))
        self.assertEqual([until[:5] for until, in self.rows("not_after")], ["9999-"])
