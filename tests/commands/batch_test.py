"""-hash, -vhash, -signf and -vsignf: the lines of each file, the companions, the peers."""

import base64
import hashlib
import os
import socket

from kestrel_case import ALL_KEYS, KestrelCase, closing, error_line

READ, LARGE, DIFFERS, BAD_STAMP, FORMAT = 0x20000065, 0x20000069, 0x20000194, 0x200001FA, 0x200001F5
CORRUPTED, WRONG_KEY, NO_MASK = 0x200001F9, 0x200000CE, 0x20000190
NO_SIGNER, WRONG_PIN, SILENT = 0x8009100E, 0x8010006B, 0x80090022
BACK, BLANKS = b"\b\b\b\b", b"    "
NO_PERCENT = b"-2147483648%"
GIB = 2**30
# Type, first line of the batch, the name that openssl has for the digest.
DIGESTS = [
    (1, b"SHA-256", "sha256"), (16, b"SHA-256", "sha256"), (24, b"SHA-256", "sha256"),
    (75, b"GOST R 34.11-94", "md_gost94"), (80, b"GOST 34.11-2012 256", "md_gost12_256"),
    (81, b"GOST 34.11-2012 512", "md_gost12_512"),
]
UNREADABLE = b"File reading error.\n"


def percents(size):
    if size == 0:
        return BACK + NO_PERCENT
    return b"".join(BACK + b"%3d%%" % int(i * 100.0 * 65536.0 / size)
                    for i in range(size // 65536 + 1))


def hashed(size, end=b"OK.\n"):
    return BLANKS + percents(size) + BACK + BLANKS + BACK + end


def rehashed(size, end=b"OK.\n"):
    return BLANKS + (BACK + NO_PERCENT) * (size // 65536 + 1) + BACK + BLANKS + BACK + end


class BatchCase(KestrelCase):
    def begin(self, folder=b".\\", algorithm=b"SHA-256"):
        return b"Hash algorithm: " + algorithm + b"\nFolder '" + folder + b"':\n"

    def sparse(self, name, size):
        with open(self.path(name), "wb") as file:
            file.truncate(size)

    def make_unreadable_things(self):
        """Names that no command of a batch may read, or wait for."""
        os.mkfifo(self.path("fifo"))
        with socket.socket(socket.AF_UNIX) as end:
            end.bind(self.path("socket"))
        os.symlink("nowhere", self.path("dangling"))
        os.symlink("ring", self.path("ring"))
        return ["fifo", "socket", "dangling", "ring", "/dev/zero", "absent", "*.none", ""]


class Hash(BatchCase):
    def hash(self, *args):
        return ["-hash", "-provtype", "24", *args]

    def vhash(self, *args):
        return ["-vhash", "-provtype", "24", *args]

    def test_every_provider_as_openssl(self):
        self.write("a", os.urandom(100_000))
        for kind, name, digest in DIGESTS:
            with self.subTest(kind):
                keys = ["-provtype", str(kind)] if kind != 75 else []
                self.expect(["-hash", *keys, "a"], 0,
                            self.begin(algorithm=name) + b"a... " + hashed(100_000))
                _, value = self.openssl("dgst", f"-{digest}", "-binary", "a")
                self.assertEqual(self.read("a.hsh"), value)
                self.expect(["-vhash", *keys, "a"], 0,
                            self.begin(algorithm=name) + b"a... " + rehashed(100_000))

    def test_sizes_around_the_chunk(self):
        for size in (0, 1, 65535, 65536, 65537, 131072):
            with self.subTest(size):
                self.write("a", os.urandom(size))
                self.expect(self.hash("a"), 0, self.begin() + b"a... " + hashed(size))
                self.assertEqual(self.read("a.hsh"), hashlib.sha256(self.read("a")).digest())
                self.expect(self.vhash("a"), 0, self.begin() + b"a... " + rehashed(size))

    def test_what_differs(self):
        self.write("a", b"text")
        value = hashlib.sha256(b"text").digest()
        rows = [("line end", value + b"\n"), ("short", value[:-1]), ("empty", b""),
                ("one bit", bytes([value[0] ^ 1]) + value[1:])]
        for name, companion in rows:
            with self.subTest(name):
                self.write("a.hsh", companion)
                self.expect(self.vhash("a"), DIFFERS,
                            self.begin() + b"a... " + rehashed(4, b"Hash differs.\n"))

    def test_first_failure_is_kept_and_the_rest_goes_on(self):
        for name in ("a", "b", "c"):
            self.write(name, name.encode())
        os.mkdir(self.path("folder"))
        self.succeed(*self.hash("a", "b", "c"))
        self.write("b.hsh", b"?")
        os.remove(self.path("c.hsh"))
        self.expect(self.vhash("a", "folder", "b", "absent", "c"), DIFFERS,
                    self.begin() + b"a... " + rehashed(1) + b"b... " +
                    rehashed(1, b"Hash differs.\n") + b"absent... " + UNREADABLE + b"c... " +
                    rehashed(1, b"Hash file reading error.\n"))
        self.expect(self.vhash("folder/"), 0, self.begin(b"folder/"))

    def test_files_of_one_name_share_a_companion(self):
        os.mkdir(self.path("folder"))
        self.write("a", b"first")
        self.write("folder/a", b"second")
        self.succeed(*self.hash("a", "folder/a"))
        self.assertEqual(self.read("a.hsh"),
                         self.openssl("dgst", "-sha256", "-binary", "folder/a")[1])

    def test_what_cannot_be_read(self):
        names = self.make_unreadable_things()
        lines = b"".join(name.encode() + b"... " + UNREADABLE for name in names)
        for command in (self.hash, self.vhash):
            self.expect(command(*names), READ, self.begin() + lines)
        self.assertEqual([name for name in os.listdir(self.folder) if "hsh" in name], [])

    def test_what_cannot_be_written(self):
        self.write("a", b"")
        os.mkdir(self.path("a.hsh"))
        self.write("file", b"unchanged")
        os.mkdir(self.path("special"))
        os.mkfifo(self.path("special/a.hsh"))
        for name, keys in (("a folder in its place", []), ("no room", ["-dir", "/dev/full"]),
                           ("a FIFO in its place", ["-dir", "special"]),
                           ("a file for a folder", ["-dir", "file"]),
                           ("two levels", ["-dir", "new/deep"])):
            with self.subTest(name):
                self.expect(self.hash(*keys, "a", "a"), READ,
                            self.begin() + (b"a... " + hashed(0, b"File writing error.\n")) * 2)
        self.assertEqual(self.read("file"), b"unchanged")
        self.assertFalse(os.path.exists(self.path("new")))
        self.assertEqual([name for name in os.listdir(self.folder) if "tmp" in name], [])

    def test_names_of_any_bytes(self):
        names = [b"two words", b"100%s%n%d", b"line\nend", b"\xff\xfe.bin", "имя".encode(), b"a'b\"c"]
        for name in names:
            with open(os.path.join(os.fsencode(self.folder), name), "wb") as file:
                file.write(name)
        for env in ({}, {"LC_ALL": "ru_RU.UTF-8"}):
            status, body = self.raw(*self.hash(*names), env=env)
            self.assertEqual(status, 0, body)
            for name in names:
                shown = name.replace(b"\n", b"\\x0A")
                self.assertIn(shown + b"... " + hashed(len(name), b""), body)
                with open(os.path.join(os.fsencode(self.folder), name + b".hsh"), "rb") as file:
                    self.assertEqual(file.read(), hashlib.sha256(name).digest())

    def test_companion_folder(self):
        os.makedirs(self.path("x/y"))
        for name in ("x/a", "x/y/a", "x/b"):
            self.write(name, name.encode())
        self.expect(self.hash("-dir", "out", "x/a", "x\\y\\a", "x/b"), 0,
                    self.begin(b"x/") + b"x/a... " + hashed(3) + b"x\\y\\a... " + hashed(5) +
                    b"x/b... " + hashed(3))
        self.assertEqual(sorted(os.listdir(self.path("out"))), ["a.hsh", "b.hsh"])
        self.assertEqual(self.read("out/a.hsh"), hashlib.sha256(b"x/y/a").digest(), "the later one")
        self.expect(self.vhash("-dir", "made", "x/a"), READ, self.begin(b"x/") + b"x/a... " +
                    rehashed(3, b"Hash file reading error.\n"))
        self.assertEqual(os.listdir(self.path("made")), [])
        self.succeed(*self.hash("-dir", "", "x/b"))
        self.assertEqual(self.read("b.hsh"), hashlib.sha256(b"x/b").digest())

    def test_refusals(self):
        self.write("a", b"")
        self.expect(["-hash"], NO_MASK, error_line(b"No file mask.", NO_MASK))
        for command in ("-hash", "-vhash"):
            self.expect([command, "-der", "a"], WRONG_KEY,
                        error_line(b"Wrong key: 'der'.", WRONG_KEY))
        rows = [(["-provtype", "999"], 0x80090017), (["-provtype", "abc"], 0x80090014),
                (["-provname", "Nobody"], 0x80090019)]
        for keys, code in rows:
            with self.subTest(str(keys)):
                body = self.fail_with(code, "-hash", *keys, "a", "a")
                self.assertTrue(body.startswith(self.begin(algorithm=b"") + b"a... " + BLANKS +
                                                BACK + BLANKS + BACK + b"Error: "))
                self.assertEqual(body.count(b"(0x%X)\n" % code), 2)

    def test_two_gibibytes(self):
        self.sparse("big", 2 * GIB)
        self.write("a", b"")
        self.expect(self.hash("big", "a"), LARGE, self.begin() + b"big... a... " + hashed(0))
        self.expect(self.vhash("big", "a"), LARGE, self.begin() + b"big... " +
                    error_line(b"File is too large.", LARGE) + b"a... " + rehashed(0))
        self.assertFalse(os.path.exists(self.path("big.hsh")))


class Signatures(BatchCase):
    def lines(self, lines, name="rsa"):
        return self.chosen(name) + b"Folder '.\\':\n" + lines

    def expect_lines(self, code, args, lines):
        """All that is printed behind the line of the folder."""
        body = self.fail_with(code, *args)
        self.assertTrue(body.endswith(b"Folder '.\\':\n" + lines + closing(code)), body)

    def verify(self, name, *keys):
        return ["-vsignf", "-dn", name, *keys]

    def test_every_key_in_both_directions(self):
        self.write("a", os.urandom(70_000) + b"!")
        for kind in ALL_KEYS:
            self.make_identity(kind, kind)
            for keys in ([], ["-der"], ["-cert", "-der"], ["-cert"]):
                with self.subTest(f"{kind} {keys}"):
                    self.expect(["-signf", "-dn", kind, *keys, "a"], 0,
                                self.lines(b"a... OK.\n", name=kind))
                    data = self.read("a.sgn")
                    self.write("der", data if "-der" in keys else base64.b64decode(data))
                    own = [] if "-cert" in keys else ["-certfile", f"{kind}.pem"]
                    self.cms_verify("der", f"{kind}.pem", "-content", "a", *own)
                    self.succeed(*self.verify(kind), "a")
            for keys in ([], ["-noattr"], ["-nocerts"], ["-keyid"]):
                with self.subTest(f"openssl {kind} {keys}"):
                    self.cms_sign("a.sgn", [kind], *keys, source="a", detached=True)
                    self.expect_lines(0, [*self.verify(kind), "a"], b"a... OK.\n")
            with self.subTest(f"{kind}, changed"):
                self.write("changed", self.read("a")[:-1] + b"?")
                os.rename(self.path("a.sgn"), self.path("changed.sgn"))
                self.expect_lines(CORRUPTED, [*self.verify(kind), "changed"],
                                  b"changed... Signature's corrupted.\n")

    def test_crl(self):
        self.make_identity("rsa", "rsa")
        for name in ("a", "b"):
            self.write(name, b"content")
        body = self.fail_with(0x80092004, "-signf", "-dn", "rsa", "-crl", "a", "b")
        self.assertEqual(body.count(b"(0x80092004)\n"), 2)
        self.make_crl("rsa")
        self.ctl("store", "add", "CA", "rsa.crl")
        self.succeed("-signf", "-nochain", "-dn", "rsa", "-crl", "-der", "a", "b")
        text = self.cms_printed("b.sgn")
        self.assertIn(b"crls:\n", text)
        self.assertNotIn(b"crls:\n      <ABSENT>", text)

    def test_signer_comes_from_the_message_or_the_criterion(self):
        self.make_identities("ann", "bob")
        self.write("a", b"content")
        for keys, other in (([], NO_SIGNER), (["-cert"], 0)):
            self.succeed("-signf", "-dn", "ann", *keys, "a")
            self.succeed(*self.verify("ann"), "a")
            self.fail_with(other, *self.verify("bob"), "a")

    def test_all_embedded_certificates_are_looked_at(self):
        self.make_identities("ann", "bob")
        self.write("a", b"content")
        for keys, code in ((["-nocerts"], NO_SIGNER), ([], 0)):
            self.cms_sign("a.sgn", ["ann"], "-certfile", "bob.pem", *keys, source="a", detached=True)
            self.fail_with(code, *self.verify("bob"), "a")

    def test_bad_signature_files(self):
        self.make_identity("rsa", "rsa")
        self.write("a", b"content")
        self.write("ok", b"content")
        self.succeed("-signf", "-dn", "rsa", "-der", "ok", "a")
        good = self.read("a.sgn")
        self.cms_encrypt("enveloped", "rsa.pem", source="a")
        cannot = error_line(b"Can't open file './a.sgn'.", READ)
        rows = [
            ("last byte", good[:-1] + bytes([good[-1] ^ 1]), CORRUPTED, b"Signature's corrupted.\n"),
            ("another type", self.read("enveloped"), FORMAT, b"Wrong signature format.\n"),
            ("empty", b"", READ, cannot),
            ("text", b"Hello", None, None), ("not text", b"hello", None, None),
            ("cut", good[:-1], None, None), ("more behind", good + b"\0", None, None),
        ]
        for name, companion, code, line in rows:
            with self.subTest(name):
                self.write("a.sgn", companion)
                status, body = self.kestrel(*self.verify("rsa"), "a", "ok")
                self.assertNotEqual(status, 0)
                end = b"ok... OK.\n" + (b"" if code is None else closing(code))
                self.assertIn(b"a... Error: " if line is None else b"a... " + line + end, body)
                self.assertIn(end, body)
        os.remove(self.path("a.sgn"))
        self.expect_lines(READ, [*self.verify("rsa"), "a"], b"a... " + cannot)
        for size in (2 * GIB, 4 * GIB + 1):
            self.sparse("a.sgn", size)
            self.expect_lines(READ, [*self.verify("rsa"), "a"],
                              b"a... " + error_line(b"File is too large.", LARGE))
        os.remove(self.path("a.sgn"))
        os.mkfifo(self.path("a.sgn"))
        self.expect_lines(READ, [*self.verify("rsa"), "a"], b"a... " + cannot)

    def test_unreadable_sources(self):
        self.make_identity("rsa", "rsa")
        self.sparse("big", 2 * GIB)
        self.write("a", b"")
        # The last one tells no length, so there is nothing to sign and something to read.
        names = [*self.make_unreadable_things(), "/proc/version"]
        lines = [name.encode() + b"... " + UNREADABLE for name in names]
        lines += [b"big... " + error_line(b"File is too large.", LARGE), b"a... OK.\n"]
        for command in ("-signf", "-vsignf"):
            self.expect_lines(READ, [command, "-dn", "rsa", *names, "big", "a"], b"".join(lines))

    def test_what_cannot_be_written(self):
        self.make_identity("rsa", "rsa")
        for name in ("a", "file"):
            self.write(name, b"content")
        os.mkdir(self.path("special"))
        os.mkfifo(self.path("special/a.sgn"))
        for keys in (["-dir", "file"], ["-der", "-dir", "file"], ["-dir", "special"]):
            self.expect_lines(READ, ["-signf", "-dn", "rsa", *keys, "a", "a"],
                              b"a... File writing error.\n" * 2)

    def test_passwords(self):
        self.make_identity("rsa", "rsa", pin="secret")
        self.write("a", b"content")
        sign = ["-signf", "-dn", "rsa"]
        two = b"a... OK.\n" * 2
        self.expect([*sign, "-pin", "secret", "a", "a"], 0, self.lines(two))
        body = self.on_terminal(b": ", b"secret\n", *sign, "-askpin", "a", "a")
        self.assertNotIn(b"secret", body)
        self.assertEqual(body.count(b"Enter pin for container"), 1, "asked once")
        self.assertIn(b"a... OK.\r\n" + closing(0).replace(b"\n", b"\r\n"), body)
        body = self.fail_with(WRONG_PIN, *sign, "-pin", "wrong", "a", "a")
        self.assertEqual(body.count(b"(0x%X)\n" % WRONG_PIN), 2)
        body = self.on_terminal(b": ", b"secret\n", *sign, "-askpin", "-pin", "x", "a")
        self.assertIn(b"Error: Wrong key: 'pin'. (0x%X)\r\n" % WRONG_KEY, body)
        # The longest one that is read, with its line end and cut from a longer line.
        longest = "p" * 252
        self.make_identity("rsa", "long", pin=longest)
        for typed in (longest, longest + "q" * 50):
            body = self.on_terminal(b": ", typed.encode() + b"\n", "-signf", "-dn", "long", "-askpin",
                                    "a")
            self.assertIn(b"\r\nOK.\r\n", body)

    def test_keys_that_are_left_are_told_for_each_file(self):
        self.make_identity("rsa", "rsa")
        self.write("a", b"content")
        line = b"a... " + error_line(b"Wrong key: 'both'.", WRONG_KEY)
        for command in ("-signf", "-vsignf"):
            self.expect_lines(WRONG_KEY, [command, "-dn", "rsa", "-both", "a", "a"], line * 2)
        self.assertFalse(os.path.exists(self.path("a.sgn")))

    def test_certificate_without_a_key_leaves_the_line_open(self):
        self.make_certificate("rsa", "rsa")
        self.write("a", b"content")
        self.expect(["-signf", "-nochain", "-f", "rsa.pem", "a", "a"], 0x8009200B,
                    self.chosen("rsa", False) + b"Folder '.\\':\na... a... ")

    def test_time_stamps_fail_each_file(self):
        self.make_identity("rsa", "rsa")
        self.write("a", b"content")
        body = self.fail_with(0x80072EFD, "-signf", "-dn", "rsa", "-sshttp://127.0.0.1:1/", "a", "a")
        self.assertEqual(body.count(b"a... Getting time stamp...\nError: "), 2)
        self.assertFalse(os.path.exists(self.path("a.sgn")))
        self.succeed("-signf", "-dn", "rsa", "a")
        self.assertIn(b"a... Error: ", self.fail_with(BAD_STAMP, *self.verify("rsa"), "-ss10", "a"))
