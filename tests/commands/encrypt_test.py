"""-encr and -decr from end to end, and with `openssl cms` as the other side."""

import base64
import os
import shutil
import unittest

from kestrel_case import TRANSPORT_KEYS, KestrelCase, closing, error_line, progress

BAD_DATA = 0x80090005
CREATED = b"Encrypted message is created.\n"
DECRYPTED = b"Message is decrypted.\n"
# Above 2 MiB, so that the keys of GOST 28147-89 are meshed many times over.
LARGE = 2 * 1024 * 1024 + 12345


class Encrypt(KestrelCase):
    def test_every_key_both_directions(self):
        self.write("in", os.urandom(LARGE))
        for kind in TRANSPORT_KEYS:
            self.make_identity(kind, kind)
            cipher = "-aes256" if kind == "rsa" else "-gost89"
            with self.subTest(f"{kind} ours"):
                self.succeed("-encr", "-dn", kind, "-der", "in", "msg")
                self.succeed("-decr", "-dn", kind, "msg", "out")
                self.assertEqual(self.read("out"), self.read("in"))
            with self.subTest(f"{kind} to openssl"):
                self.openssl("cms", "-decrypt", "-inform", "DER", "-binary", "-in", "msg", "-recip",
                             f"{kind}.pem", "-inkey", f"{kind}.key", "-out", "out2")
                self.assertEqual(self.read("out2"), self.read("in"))
            for stream in ([], ["-stream"]):
                with self.subTest(f"{kind} from openssl {stream}"):
                    self.openssl("cms", "-encrypt", "-binary", "-in", "in", "-outform", "DER",
                                 "-out", "msg", cipher, *stream, f"{kind}.pem")
                    self.succeed("-decr", "-dn", kind, "msg", "out")
                    self.assertEqual(self.read("out"), self.read("in"))

    def set_cipher(self, identifier):
        os.makedirs(self.path("machine"), exist_ok=True)
        self.write("machine/registry.reg", (
            "Windows Registry Editor Version 5.00\r\n\r\n"
            "[HKEY_LOCAL_MACHINE\\Software\\Kestrel\\Platform]\r\n"
            f'"GostCipher"="{identifier}"\r\n').encode())

    def test_ciphers_that_the_settings_name(self):
        self.need_engine()
        rows = [
            ("1.2.643.7.1.1.5.1.1", "magma-ctr-acpkm"),
            ("1.2.643.7.1.1.5.1.2", "magma-ctr-acpkm-omac"),
            ("1.2.643.7.1.1.5.2.1", "kuznyechik-ctr-acpkm"),
            ("1.2.643.7.1.1.5.2.2", "kuznyechik-ctr-acpkm-omac"),
        ]
        for kind in ("gost2001", "gost256", "gost512"):
            self.make_identity(kind, kind)
        for identifier, cipher in rows:
            self.set_cipher(identifier)
            # The engine opens no more than 1 KiB of these: it changes keys then.
            for kind, size in (("gost256", 1000), ("gost512", LARGE)):
                with self.subTest(f"{kind} {cipher}"):
                    self.write("in", os.urandom(size))
                    self.succeed("-encr", "-dn", kind, "-dn", "gost256", "-der", "in", "msg")
                    shape = self.openssl("asn1parse", "-inform", "DER", "-in", "msg")[1]
                    self.assertIn(f":{cipher}\n".encode(), shape)
                    for name in (kind, "gost256"):
                        self.succeed("-decr", "-dn", name, "msg", "out")
                        self.assertEqual(self.read("out"), self.read("in"))
                    if size <= 1024:
                        self.openssl("cms", "-decrypt", "-inform", "DER", "-binary", "-in", "msg",
                                     "-recip", f"{kind}.pem", "-inkey", f"{kind}.key", "-out", "out2")
                        self.assertEqual(self.read("out2"), self.read("in"))
                    self.openssl("cms", "-encrypt", "-binary", "-in", "in", "-outform", "DER",
                                 "-out", "msg", f"-{cipher}", f"{kind}.pem")
                    self.succeed("-decr", "-dn", kind, "msg", "out")
                    self.assertEqual(self.read("out"), self.read("in"))
        # Keys of 2001 have no wrap for these ciphers, and keep their own.
        self.succeed("-encr", "-dn", "gost2001", "-der", "in", "msg")
        self.assertIn(b"GOST 28147-89",
                      self.openssl("asn1parse", "-inform", "DER", "-in", "msg")[1])
        one, other = self.read("gost2001.pem"), self.read("gost256.pem")
        self.write("first", one + other)
        self.write("second", other + one)
        self.succeed("-encr", "-nochain", "-f", "first", "in", "msg")
        body = self.fail_with(0x80090008, "-encr", "-nochain", "-f", "second", "in", "no")
        self.assertIn(b"CN=gost2001 (0x80090008)", body)
        self.assertEqual(self.read("no"), b"")
        self.set_cipher("2.16.840.1.101.3.4.1.42")
        self.fail_with(0x20000134, "-encr", "-dn", "gost256", "in", "msg")

    def test_sizes_around_chunk_and_block(self):
        self.make_identity("rsa", "rsa")
        for size in (0, 1, 15, 16, 17, 65535, 65536, 65537, 200_000):
            for keys in ([], ["-der"]):
                with self.subTest(f"{size} {keys}"):
                    self.write("in", os.urandom(size))
                    self.expect(["-encr", "-dn", "rsa", *keys, "in", "msg"], 0,
                                self.chosen("rsa") + b"Encrypting the data..." + progress(size) +
                                CREATED)
                    body = self.succeed("-decr", "-dn", "rsa", "msg", "out")
                    self.assertTrue(body.endswith(DECRYPTED + b"[ReturnCode: 0]\n"))
                    self.assertEqual(self.read("out"), self.read("in"))

    def test_ciphers_of_received_messages(self):
        self.make_identity("rsa", "rsa")
        self.write("in", os.urandom(1000))
        for cipher in ("-aes128", "-aes192", "-aes256", "-des3", "-camellia128", "-camellia256",
                       "-aria-128-cbc", "-aria-256-cbc"):
            with self.subTest(cipher):
                self.openssl("cms", "-encrypt", "-binary", "-in", "in", "-outform", "DER", "-out",
                             "msg", cipher, "rsa.pem")
                self.succeed("-decr", "-dn", "rsa", "msg", "out")
                self.assertEqual(self.read("out"), self.read("in"))

    def test_several_recipients(self):
        for name in ("ann", "bob", "eve"):
            self.make_identity("rsa", name)
        self.write("in", b"for two of us")
        self.succeed("-encr", "-dn", "ann", "-dn", "bob", "in", "msg")
        for name in ("ann", "bob"):
            self.succeed("-decr", "-dn", name, "msg", "out")
            self.assertEqual(self.read("out"), self.read("in"))
        body = self.fail_with(0x2000025A, "-decr", "-dn", "eve", "msg", "out")
        self.assertIn(error_line(b"Recipient certificate not found.", 0x2000025A), body)

    def test_recipients_of_other_kinds_are_passed_over(self):
        for name, kind in (("ann", "rsa"), ("ec", "ec"), ("keyid", "rsa")):
            self.make_identity(kind, name)
        self.write("in", b"for all of us")
        self.openssl("cms", "-encrypt", "-binary", "-in", "in", "-outform", "DER", "-out", "msg",
                     "-aes128", "-recip", "ec.pem", "-recip", "ann.pem")
        self.succeed("-decr", "-dn", "ann", "msg", "out")
        self.assertEqual(self.read("out"), self.read("in"))
        self.openssl("cms", "-encrypt", "-binary", "-in", "in", "-outform", "DER", "-out", "msg",
                     "-aes128", "-keyid", "-recip", "ec.pem", "-recip", "keyid.pem")
        self.fail_with(0x2000025A, "-decr", "-dn", "ann", "msg", "out")
        self.succeed("-decr", "-dn", "keyid", "msg", "out")
        self.assertEqual(self.read("out"), self.read("in"))

    def test_one_indistinct_failure(self):
        self.make_identity("rsa", "ann")
        self.write("in", b"secret " * 20)
        self.succeed("-encr", "-dn", "ann", "-der", "in", "msg")
        good = self.read("msg")
        at = good.index(self.wrapped_key(good))
        rows = [
            ("wrapped key", at + 7),
            ("first octet of the wrapped key", at),
            ("block before the last", self.padding_changer(good)),
        ]
        seen = set()
        for name, index in rows:
            with self.subTest(name):
                bad = bytearray(good)
                bad[index] ^= 0x01
                self.write("bad", bytes(bad))
                seen.add(self.failure_of("bad"))
        self.assertEqual(len(seen), 1, seen)

    def failure_of(self, message):
        """What a failed decryption prints. A damaged key counts as a random one, and about
        one random key in 256 leaves padding that looks right, so it is tried again then."""
        for _ in range(5):
            status, body = self.kestrel("-decr", "-dn", "ann", message, "out")
            if status != 0:
                self.assertTrue(body.endswith(b"[ErrorCode: 0x%08x]\n" % BAD_DATA), body)
                return body
            self.assertNotEqual(self.read("out"), self.read("in"))
        return self.fail("five random keys in a row left good padding")

    def wrapped_key(self, der):
        """The 256 octets behind the first OCTET STRING of that length."""
        at = der.index(b"\x04\x82\x01\x00") + 4
        return der[at:at + 256]

    def padding_changer(self, der):
        """The last octet of the block before the last one, which stands in a piece of its
        own behind tag and length: flipped, it makes the count of padding octets wrong."""
        last_block = len(der) - 10 - 16
        self.assertEqual(der[last_block - 2:last_block], b"\x04\x10")
        return last_block - 3

    def test_wrong_key_is_never_garbage_with_success(self):
        self.make_identity("rsa", "ann")
        self.write("in", os.urandom(5000))
        self.succeed("-encr", "-dn", "ann", "-der", "in", "msg")
        shutil.copy(self.path("ann.pem"), self.path("real.pem"))
        self.ctl("identity", "create", "CN=other", "--container", "other")
        for part in ("exchange.key",):
            shutil.copy(os.path.join(self.home, "containers", "other", part),
                        os.path.join(self.home, "containers", "ann", part))
        status, body = self.kestrel("-decr", "-dn", "ann", "msg", "out")
        self.assertNotEqual(status, 0, body)
        self.assertNotEqual(self.read("out") if os.path.exists(self.path("out")) else b"",
                            self.read("in"))

    def test_an_output_keeps_what_it_holds_until_something_replaces_it(self):
        self.make_identity("rsa", "ann", pin="right")
        self.make_identity("rsa", "bob")
        self.openssl("req", "-x509", "-new", "-key", "bob.key", "-subj", "/CN=only", "-days", "30",
                     "-out", "only.pem", "-addext", "keyUsage=digitalSignature")
        self.write("in", b"content")
        self.write("empty", b"")
        self.write("oid", b"no DER")
        self.succeed("-encr", "-dn", "ann", "in", "msg")
        self.succeed("-encr", "-dn", "ann", "empty", "nothing")
        decr, sign = ["-decr", "-dn", "ann"], ["-sign", "-dn", "ann"]
        rows = [
            ("wrong -pin", [*decr, "-pin", "wrong", "msg"], 0x8010006B),
            ("cancelled prompt", [*decr, "msg"], 0x8010006E),
            ("for somebody else", ["-decr", "-dn", "bob", "msg"], 0x2000025A),
            ("no message", [*decr, "-pin", "right", "oid"], None),
            ("unfit certificate", ["-encr", "-f", "only.pem", "-nochain", "in"], 0x20000132),
            ("wrong -pin of a signer", [*sign, "-pin", "wrong", "in"], 0x8010006B),
            ("cancelled prompt of a signer", [*sign, "in"], 0x8010006E),
            ("bad attribute", [*sign, "-pin", "right", "-attr", "1.2.3,oid", "in"], None),
            ("nothing to verify", ["-verify", "oid"], None),
        ]
        for name, words, code in rows:
            with self.subTest(name):
                self.write("out", b"what was there")
                status, body = self.kestrel(*words, "out")
                self.assertTrue(status != 0 if code is None else body.endswith(closing(code)), body)
                self.assertEqual(self.read("out"), b"what was there")
        for source, held in (("nothing", b""), ("msg", b"content")):
            self.write("out", b"what was there")
            self.succeed(*decr, "-pin", "right", source, "out")
            self.assertEqual(self.read("out"), held)

    def test_unfit_certificate(self):
        self.make_identity("rsa", "ann")
        self.openssl("req", "-x509", "-new", "-key", "ann.key", "-subj", "/CN=signer only", "-days",
                     "30", "-out", "only.pem", "-addext", "keyUsage=digitalSignature")
        self.openssl("req", "-x509", "-new", "-key", "ann.key", "-subj", "/CN=no usage", "-days",
                     "30", "-out", "none.pem")
        self.write("in", b"content")
        body = self.fail_with(0x20000132, "-encr", "-f", "only.pem", "-nochain", "in", "msg")
        self.assertIn(error_line(b"This certificate can't be used for current operation.", 0x20000132),
                      body)
        self.succeed("-encr", "-f", "none.pem", "-nochain", "in", "msg")

    def test_file_checks(self):
        self.make_identity("rsa", "ann")
        self.write("in", b"content")
        rows = [
            ("no input", ["-encr"], 0x200000D0, b"No input file."),
            ("no message", ["-encr", "in"], 0x200000D3, b"No message file."),
            ("no message to decrypt", ["-decr"], 0x200000D3, b"No message file."),
            ("no output", ["-decr", "msg"], 0x200000D1, b"No output file."),
        ]
        for name, words, code, text in rows:
            with self.subTest(name):
                self.expect(words, code, error_line(text, code))
        body = self.fail_with(0x20000065, "-encr", "-dn", "ann", "in", "no/such/msg")
        self.assertIn(error_line(b"Can't open file 'in'.", 0x20000065), body)

    def test_cut_message_is_an_error(self):
        self.make_identity("rsa", "ann")
        self.write("in", os.urandom(300))
        self.succeed("-encr", "-dn", "ann", "in", "msg")
        der = base64.b64decode(self.read("msg"))
        for length in (0, 1, 20, len(der) // 2, len(der) - 40, len(der) - 8, len(der) - 1):
            with self.subTest(length):
                self.write("cut", der[:length])
                status, body = self.kestrel("-decr", "-dn", "ann", "cut", "out")
                self.assertNotEqual(status, 0, body)


if __name__ == "__main__":
    unittest.main()
