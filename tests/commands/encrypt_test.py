"""-encr and -decr from end to end, and with `openssl cms` as the other side."""

import os

from kestrel_case import TRANSPORT_KEYS, KestrelCase, error_line, progress

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
                self.assertIn(CREATED, self.succeed("-encr", "-dn", kind, "-der", "in", "msg"))
                self.decrypts(kind)
                self.cms_decrypt("msg", kind)
                self.same("out2")
            for stream in ([], ["-stream"]):
                with self.subTest(f"{kind} from openssl {stream}"):
                    self.cms_encrypt("msg", cipher, *stream, f"{kind}.pem")
                    self.decrypts(kind)

    def decrypts(self, name):
        self.assertIn(DECRYPTED, self.succeed("-decr", "-dn", name, "msg", "out"))
        self.same("out")

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
            self.set_machine(f'"GostCipher"="{identifier}"')
            # The engine opens no more than 1 KiB of these: it changes keys then.
            for kind, size in (("gost256", 1000), ("gost512", LARGE)):
                with self.subTest(f"{kind} {cipher}"):
                    self.write("in", os.urandom(size))
                    self.succeed("-encr", "-dn", kind, "-dn", "gost256", "-der", "in", "msg")
                    shape = self.openssl("asn1parse", "-inform", "DER", "-in", "msg")[1]
                    self.assertIn(f":{cipher}\n".encode(), shape)
                    for name in (kind, "gost256"):
                        self.decrypts(name)
                    if size <= 1024:
                        self.cms_decrypt("msg", kind)
                        self.same("out2")
                    self.cms_encrypt("msg", f"-{cipher}", f"{kind}.pem")
                    self.decrypts(kind)
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
        self.set_machine('"GostCipher"="2.16.840.1.101.3.4.1.42"')
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

    def test_recipients_of_other_kinds_are_passed_over(self):
        for name, kind in (("ann", "rsa"), ("ec", "ec"), ("keyid", "rsa")):
            self.make_identity(kind, name)
        self.write("in", b"for all of us")
        self.cms_encrypt("msg", "-aes128", "-recip", "ec.pem", "-recip", "ann.pem")
        self.decrypts("ann")
        self.cms_encrypt("msg", "-aes128", "-keyid", "-recip", "ec.pem", "-recip", "keyid.pem")
        self.fail_with(0x2000025A, "-decr", "-dn", "ann", "msg", "out")
        self.decrypts("keyid")

    def test_an_output_keeps_what_it_holds_until_something_replaces_it(self):
        self.make_identity("rsa", "ann", pin="right")
        self.make_identity("rsa", "bob")
        self.self_sign("only", "keyUsage=digitalSignature", key="bob")
        self.self_sign("any", key="bob")
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
            ("no terminal to ask on", [*sign, "-askpin", "in"], 0x20000135),
            ("bad attribute", [*sign, "-pin", "right", "-attr", "1.2.3,oid", "in"], None),
            ("nothing to verify", ["-verify", "oid"], None),
        ]
        for name, words, code in rows:
            with self.subTest(name):
                self.write("out", b"what was there")
                self.fail_with(code, *words, "out")
                self.assertEqual(self.read("out"), b"what was there")
        self.assertIn(error_line(b"This certificate can't be used for current operation.", 0x20000132),
                      self.fail_with(0x20000132, *rows[4][1], "out"))
        self.succeed("-encr", "-f", "any.pem", "-nochain", "in", "msg2")
        for source, held in (("nothing", b""), ("msg", b"content")):
            self.write("out", b"what was there")
            self.succeed(*decr, "-pin", "right", source, "out")
            self.assertEqual(self.read("out"), held)

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
