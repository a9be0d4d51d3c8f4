"""-copycert, -CSPcert and -delcert, and the administrator's tool beside them."""

import base64
import os

from kestrel_case import KestrelCase, error_line

COPIED = b"Certificate's been copied.\n"
ALREADY = b"Certificate's not been copied because the same one was in store.\n"


# SignedData of version 1 with nothing in it.
EMPTY_BUNDLE = "302306092a864886f70d010702a0163014020101310030" "0b06092a864886f70d0107013100"


class Stores(KestrelCase):
    def test_copy_to_stores(self):
        self.make_identity("rsa", "ann")
        self.expect(["-copycert", "-dn", "ann", "-duFriends"], 0, self.chosen("ann") + COPIED)
        self.assertEqual(self.subjects("friends"), ["CN=ann"])
        self.expect(["-copycert", "-dn", "ann", "-duFriends"], 0,
                    self.chosen("ann") + ALREADY + COPIED)
        self.succeed("-copycert", "-dn", "ann", "-dm")
        self.assertEqual(len(self.listing("store", "list", "My", "--machine")), 1)
        self.assertEqual(self.subjects("Friends"), ["CN=ann"])
        self.expect(["-copycert", "-dn", "ann"], 0, self.chosen("ann") + ALREADY + COPIED)
        self.make_identity("rsa", "bob")
        body = self.succeed("-copycert", "-nochain", "-uMy", "-duFriends")
        self.assertIn(b"Certificates found: 2\n" + ALREADY + COPIED, body)
        self.assertEqual(self.subjects("Friends"), ["CN=ann", "CN=bob"])

    def test_copy_to_files(self):
        self.make_identities("ann", "bob")
        self.succeed("-copycert", "-dn", "ann", "-df", "one.cer", "-der")
        self.assertEqual(self.read("one.cer"), self.der_of("ann"))
        self.succeed("-copycert", "-dn", "CN", "-df", "two.p7b", "-der")
        _, text = self.openssl("pkcs7", "-inform", "DER", "-in", "two.p7b", "-print_certs", "-noout")
        self.assertIn(b"CN = ann", text)
        self.assertIn(b"CN = bob", text)
        self.succeed("-copycert", "-dn", "CN", "-df", "two.txt")
        for file in ("two.p7b", "two.txt", "one.cer", "ann.pem"):
            with self.subTest(file):
                body = self.succeed("-copycert", "-f", file, "-duFrom" + file.replace(".", ""),
                                    "-nochain")
                self.assertIn(COPIED, body)

    def test_keys_that_stay_behind(self):
        self.make_identity("rsa", "ann")
        rows = [
            ("der without a file", ["-copycert", "-der"], b"der"),
            ("two destinations", ["-copycert", "-dm", "-du"], b"du"),
            ("both keys", ["-CSPcert", "-provtype", "24", "-cont", "ann", "-ex", "-sg"], b"sg"),
            ("a search key", ["-CSPcert", "-provtype", "24", "-cont", "ann", "-dn", "x"], b"dn"),
        ]
        for name, words, word in rows:
            with self.subTest(name):
                self.expect(words, 0x200000CE, error_line(b"Wrong key: '" + word + b"'.", 0x200000CE))
        self.expect(["-copycert", "x"], 0x200000D2,
                    error_line(b"Command doesn't need file argument.", 0x200000D2))

    def test_container_certificate(self):
        for kind, provtype in (("rsa", "24"), ("gost256", "80")):
            with self.subTest(kind):
                self.make_identity(kind, kind)
                self.expect(["-CSPcert", "-provtype", provtype, "-cont", kind, "-df", "c.cer", "-der"],
                            0, b"Openning container...\n" + COPIED)
                self.assertEqual(self.read("c.cer"), self.der_of(kind))
        self.fail_with(0x80090016, "-CSPcert", "-provtype", "24", "-cont", "absent", "-df", "x")
        for words in (["-provtype", "24", "-cont", "rsa", "-sg"], ["-provtype", "x", "-cont", "rsa"]):
            _, body = self.kestrel("-CSPcert", *words, "-df", "x")
            self.assertRegex(body, rb"^Openning container...\nError: [^\n]+ \(0x8009....\)\n")

    def test_container_by_number(self):
        self.make_identities("ann", "bob")
        prompt = b"Please, choose container (type its number and press [ENTER]).\n\n"
        self.expect(["-CSPcert", "-provtype", "24", "-duOut"], 0,
                    prompt + b"#1: ann\n#2: bob\nNumber:2\n" + b"Openning container...\n" + COPIED,
                    stdin=b"2\r")
        self.assertEqual(self.subjects("Out"), ["CN=bob"])
        body = self.on_terminal(b"Number:", b"1\r", "-CSPcert", "-provtype", "24", "-duNew", ahead=b"2")
        self.assertIn(b"Number:1\r\n", body)
        self.assertEqual(self.subjects("New"), ["CN=ann"])

    def shown(self, name):
        subject, validity, _ = self.summary(name).split(b"\n", 2)
        return (b"\nDo you want to delete this certificate:\n" + validity + b"\n\n" + subject +
                b"\n\n\n\n\n")

    def test_delete_answers(self):
        deleted = b"Certificate's been deleted.\n"
        kept = b"Certificate's not been deleted.\n"
        ask = b"[D]elete, [A]ll, [S]kip, [C]ancel?\n"
        cancelled = error_line(b"Canceled by user.", 0x20000066)
        for name in ("ann", "bob"):
            self.make_certificate("rsa", name)
        rows = [
            ("skip, delete", b"s\nd\n", 0, ask + kept, ask + deleted, ["CN=ann"]),
            ("all", b"x\na\n", 0, ask + deleted, deleted, []),
            ("delete, cancel", b"dc", 0x20000066, ask + deleted, ask + cancelled, ["CN=bob"]),
            ("end of input", b"", 0x20000066, ask + cancelled, None, ["CN=ann", "CN=bob"]),
        ]
        for name, stdin, code, first, second, left in rows:
            with self.subTest(name):
                store = name.partition(",")[0].replace(" ", "")
                self.ctl("store", "add", store, "ann.pem", "bob.pem")
                body = b"\nCertificates found: 2\n" + self.shown("ann") + first
                if second is not None:
                    body += self.shown("bob") + second
                self.expect(["-delcert", "-u" + store, "-nochain"], code, body, stdin)
                self.assertEqual(self.subjects(store), left)

    def test_delete_without_questions(self):
        for name in ("ann", "bob"):
            self.make_certificate("rsa", name)
        self.ctl("store", "add", "Old", "ann.pem", "bob.pem")
        deleted = b"Certificate's been deleted.\n"
        self.expect(["-delcert", "-uOld", "-nochain", "-yes", "ignored.txt"], 0,
                    b"\nCertificates found: 2\n" + self.shown("ann") + deleted + self.shown("bob") +
                    deleted)
        self.fail_with(0x2000012D, "-delcert", "-uOld", "-nochain", "-yes")

    def test_damaged_store_is_named_and_kept(self):
        os.makedirs(self.home)
        damaged = b"this is no database" * 100
        self.write("home/stores.db", damaged)
        self.make_certificate("rsa", "ann")
        for words in (["-copycert", "-f", "ann.pem", "-nochain", "-duX"], ["-verify", "ann.pem"]):
            with self.subTest(words[0]):
                self.fail_with(None, *words)
                self.assertEqual(self.read("home/stores.db"), damaged)
        error = self.ctl("store", "list", status=1)
        self.assertIn(b"stores.db", error)


class Administration(KestrelCase):
    def setUp(self):
        super().setUp()
        self.write("in", b"content")

    def test_export_comes_back(self):
        self.need_engine()
        self.ctl("identity", "create", "CN=ann", "--provtype", "80", "--pin", "p", "--trust")
        self.ctl("identity", "export", "ann", "ann.p12", "--pin", "p", "--password", "transfer")
        self.openssl("pkcs12", "-in", "ann.p12", "-passin", "pass:transfer", "-nodes", "-out", "x")
        self.ctl("identity", "delete", "ann")
        self.assertEqual(self.listing("identity", "list"), [])
        self.assertIn(b"wrong password",
                      self.ctl("identity", "import", "ann.p12", "--password", "no", status=1))
        self.ctl("identity", "import", "ann.p12", "--password", "transfer", "--container", "ann2")
        self.succeed("-sign", "-dn", "ann", "in", "msg")

    def test_password_changes(self):
        self.ctl("identity", "create", "CN=ann", "--trust")
        self.ctl("identity", "passwd", "ann", stdin=b"one\n")
        self.fail_with(0x8010006B, "-sign", "-dn", "ann", "-pin", "two", "in", "msg")
        self.ctl("identity", "passwd", "ann", stdin=b"wrong\ntwo\n", status=1)
        self.ctl("identity", "passwd", "ann", stdin=b"one\ntwo\n")
        self.succeed("-sign", "-dn", "ann", "-pin", "two", "in", "msg")
        self.ctl("identity", "passwd", "ann", "--pin", "two", "--new-pin", "")
        self.succeed("-sign", "-dn", "ann", "in", "msg")

    def test_store_commands(self):
        for name in ("ann", "bob"):
            self.make_certificate("rsa", name)
        self.ctl("trust", "ann.pem")
        self.ctl("store", "add", "Root", "bob.pem", "ann.pem")
        rows = self.listing("store", "list", "Root")
        self.assertEqual([row["subject"] for row in rows], ["CN=ann", "CN=bob"])
        self.assertIn(b"Wrote 2 certificates and 0 CRLs", self.ctl("store", "export", "Root", "all.pem"))
        self.assertIn(b"--force", self.ctl("store", "export", "Root", "all.pem", status=1))
        self.ctl("store", "export", "Root", "all.pem", "--force")
        for target in ("-", "/dev/stdout"):
            self.assertEqual(self.ctl("store", "export", "Root", target), self.read("all.pem"))
        # OpenSSL reads no name that is no UTF-8; what the store holds comes out all the same.
        self.write("odd.cer", self.der_of("ann").replace(b"\x0c\x03ann", b"\x0c\x03\xc3\x28n"))
        self.openssl("x509", "-inform", "DER", "-in", "odd.cer", status=1)
        self.ctl("store", "add", "Odd", "odd.cer")
        lines = self.ctl("store", "export", "Odd", "-").splitlines()
        self.assertEqual(base64.b64decode(b"".join(lines[1:-1])), self.read("odd.cer"))
        self.ctl("store", "remove", "Root", rows[0]["thumbprint"].upper())
        self.assertEqual(len(self.listing("store", "show", "Root")), 1)
        self.ctl("store", "add", "Root", "all.pem")
        self.assertEqual(len(self.listing("store", "list", "Root")), 2)
        self.ctl("store", "remove", "Root", "00", status=1)
        self.write("nothing.p7b", bytes.fromhex(EMPTY_BUNDLE))
        self.write("bad.pem", b"-----BEGIN CERTIFICATE-----\nMAAB\n-----END CERTIFICATE-----\n")
        for file, words in (("nothing.p7b", b"holds no certificate"), ("bad.pem", b"bad.pem")):
            with self.subTest(file):
                self.assertIn(words, self.ctl("store", "add", "Fresh", "ann.pem", file, status=1))
                self.assertNotIn("Fresh", [row["store"] for row in self.listing("store", "list")])
        self.assertIn(b"absent.pem", self.ctl("store", "add", "Root", "absent.pem", status=1))
