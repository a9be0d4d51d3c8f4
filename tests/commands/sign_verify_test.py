"""-sign and -verify from end to end, and with `openssl cms` as the other side."""

import base64
import os
import time

from kestrel_case import ALL_KEYS, KestrelCase, error_line, progress

BAD_SIGNATURE = 0x80090006
NO_SIGNATURES_GOOD = 0x200001F9
VERIFYING = b"Signature verifying... "
SIGNED = b"Signed message is created.\n"


def verified(name):
    return b"Signer: " + name.encode() + b"\n Signature's verified.\n"


class SignVerify(KestrelCase):
    def setUp(self):
        super().setUp()
        self.write("in", b"content")

    def test_every_key_and_form_round_trips_and_openssl_agrees(self):
        self.write("in", bytes(range(256)) * 300)
        for kind in (*ALL_KEYS, "pss"):
            self.make_identity(kind, kind)
            for form in ("-der", None):
                with self.subTest(f"{kind} {form}"):
                    keys = [form] if form else []
                    self.succeed("-sign", "-dn", kind, *keys, "in", "msg")
                    body = self.succeed("-verify", "msg", "out")
                    self.assertIn(verified(kind), body)
                    self.assertEqual(self.read("out"), self.read("in"))
                    der = self.read("msg") if form else base64.b64decode(self.read("msg"))
                    self.write("der", der)
                    self.cms_verify("der", f"{kind}.pem")
                    self.same("out2")

    def test_sizes_around_the_chunk(self):
        self.make_identity("rsa", "rsa")
        for size in (0, 1, 47, 48, 65535, 65536, 65537, 131072, 1_000_003):
            for keys in ([], ["-der"]):
                with self.subTest(f"{size} {keys}"):
                    self.write("in", os.urandom(size))
                    self.expect(["-sign", "-dn", "rsa", *keys, "in", "msg"], 0,
                                self.chosen("rsa") + b"Signing the data..." + progress(size) + SIGNED)
                    self.succeed("-verify", "msg", "out")
                    self.assertEqual(self.read("out"), self.read("in"))

    def test_what_openssl_signs(self):
        self.write("in", b"line one\r\nline two\n" * 5000)
        rows = [[], ["-stream"], ["-noattr"], ["-noattr", "-stream"], ["-keyid"],
                ["-keyid", "-stream", "-noattr"], ["-nosmimecap"]]
        of_rsa = [["-md", "sha1"], ["-md", "sha384"], ["-md", "sha512", "-noattr"],
                  ["-keyopt", "rsa_padding_mode:pss"],
                  ["-keyopt", "rsa_padding_mode:pss", "-md", "sha512"]]
        for kind in ALL_KEYS:
            self.make_identity(kind, kind)
            for row in rows + (of_rsa if kind == "rsa" else []):
                with self.subTest(f"{kind} {row}"):
                    self.cms_sign("msg", [kind], *row)
                    self.assertIn(verified(kind), self.succeed("-verify", "msg", "out"))
                    self.same("out")

    def test_changed_message_is_never_verified(self):
        self.write("in", b"pay 100 to Bob" * 10)
        for kind in ("rsa", "gost256"):
            self.make_identity(kind, kind)
            for attributes in ([], ["-authattr", "1.2.3.4,value"]):
                self.write("value", b"\x04\x01x")
                with self.subTest(f"{kind} {attributes}"):
                    self.succeed("-sign", "-dn", kind, "-der", *attributes, "in", "msg")
                    good = self.read("msg")
                    self.write("msg", good.replace(b"pay 100", b"pay 900", 1))
                    body = self.fail_with(NO_SIGNATURES_GOOD, "-verify", "msg", "out")
                    self.assertIn(b"(0x%X)" % BAD_SIGNATURE, body)
                    self.assertNotIn(b"verified", body.replace(VERIFYING, b""))

    def test_unknown_algorithms_are_named(self):
        self.make_identity("rsa", "rsa")
        self.cms_sign("good", ["rsa"], "-noattr")
        for known, name in ((b"\x60\x86\x48\x01\x65\x03\x04\x02\x01", b"2.16.840.1.101.3.4.2.99"),
                            (b"\x2a\x86\x48\x86\xf7\x0d\x01\x01\x01", b"1.2.840.113549.1.1.99")):
            with self.subTest(name):
                head, _, tail = self.read("good").rpartition(known)
                self.write("msg", head + known[:-1] + b"\x63" + tail)
                body = self.fail_with(NO_SIGNATURES_GOOD, "-verify", "msg")
                self.assertIn(b": " + name + b" (0x80090008)\n", body)

    def test_two_signers_and_the_criterion(self):
        for name, kind in (("ann", "rsa"), ("bob", "ec")):
            self.make_identity(kind, name)
        self.cms_sign("msg", ["ann", "bob"], "-nocerts")
        skip = (b"Skipping the signature due to signer certificate is not in certificate "
                b"criterion.\n")
        missing = b"Signer certificate not found.\n"
        rows = [
            ("both in the list", ["-dn", "CN"], 0, [verified("ann"), verified("bob")], []),
            ("one in the list", ["-dn", "ann"], NO_SIGNATURES_GOOD, [verified("ann"), missing], [skip]),
            ("one in the list, all asked", ["-dn", "ann", "-verall"], NO_SIGNATURES_GOOD,
             [verified("ann"), missing], [skip]),
            ("default list", ["-verall"], 0, [verified("ann"), verified("bob")], []),
            ("found, and none chosen", ["-dn", "CN", "-1"], NO_SIGNATURES_GOOD, [missing * 2],
             [verified("ann")]),
        ]
        for name, keys, code, present, absent in rows:
            with self.subTest(name):
                body = self.fail_with(code, "-verify", *keys, "msg")
                for text in present:
                    self.assertIn(text, body)
                for text in absent:
                    self.assertNotIn(text, body)

    def test_embedded_signer_outside_the_criterion_is_skipped(self):
        self.make_identities("ann", "bob")
        self.succeed("-sign", "-dn", "ann", "in", "msg")
        body = self.fail_with(NO_SIGNATURES_GOOD, "-verify", "-dn", "bob", "msg")
        self.assertIn(b"Skipping the signature due to signer certificate is not in", body)
        self.assertIn(verified("ann"), self.succeed("-verify", "-dn", "bob", "-verall", "msg"))

    def test_nocert_leaves_the_certificate_to_the_criterion(self):
        self.make_identity("rsa", "ann")
        self.succeed("-sign", "-dn", "ann", "-nocert", "-der", "in", "msg")
        self.assertNotIn(self.pem_body("ann"), base64.b64encode(self.read("msg")))
        self.assertIn(verified("ann"), self.succeed("-verify", "msg"))
        self.ctl("identity", "delete", "ann")
        body = self.fail_with(NO_SIGNATURES_GOOD, "-verify", "msg")
        self.assertIn(b"Signer certificate not found.\n", body)
        self.assertIn(verified("ann"), self.succeed("-verify", "-f", "ann.pem", "msg"))

    def pem_body(self, name):
        return b"".join(self.read(f"{name}.pem").splitlines()[1:4])

    def test_chain_questions(self):
        self.make_identity("rsa", "ann", trust=False)
        found = self.chosen("ann", checked=False)
        question = (b"Certificate chain is not checked for this certificate:\n" + self.summary("ann") +
                    b"The certificate or certificate chain is based on an untrusted root.\n")
        ask = b"Do you want to use this certificate ([Y]es, [N]o, [C]ancel)?\n"
        done = b"Certificate chains are checked.\n"
        signing = b"Signing the data..." + progress(7) + SIGNED
        rows = [
            ("yes", [], b"q\ny\n", 0, question + ask + done + signing),
            ("no", [], b"n\n", 0x20000131,
             question + ask + done + error_line(b"No certificate to use.", 0x20000131)),
            ("cancel", [], b"c", 0x20000066,
             question + ask + error_line(b"Canceled by user.", 0x20000066)),
            ("fatal", ["-errchain"], b"", 0x20000133, question),
            ("not checked", ["-nochain"], b"", 0, signing),
        ]
        for name, keys, stdin, code, body in rows:
            with self.subTest(name):
                self.expect(["-sign", "-dn", "ann", *keys, "in", "msg"], code, found + body, stdin)

    def test_verify_chain_answers(self):
        self.make_identity("rsa", "ann", trust=False)
        self.succeed("-sign", "-dn", "ann", "-nochain", "in", "msg")
        rows = [
            ("yes", [], b"Y", 0, True),
            ("no for the last signer stays good", [], b"N", 0, False),
            ("cancel", [], b"C", 0x20000066, False),
            ("fatal", ["-errchain"], b"", NO_SIGNATURES_GOOD, False),
            ("not checked", ["-nochain"], b"", 0, True),
        ]
        for name, keys, stdin, code, good in rows:
            with self.subTest(name):
                body = self.fail_with(code, "-verify", *keys, "msg", stdin=stdin)
                self.assertEqual(b" Signature's verified.\n" in body, good)

    def test_key_usage_of_signers(self):
        self.make_identity("rsa", "ann")
        unfit = b"The certificate or certificate chain is not valid for its proposed usage.\n"
        rows = [("keyEncipherment", False), ("keyEncipherment,digitalSignature", True),
                ("nonRepudiation", True)]
        for usage, fits in rows:
            with self.subTest(usage):
                self.self_sign("bob", f"keyUsage={usage}", key="ann")
                self.export("bob", key="ann")
                self.ctl("identity", "import", "bob.p12", "--password", "p", "--trust")
                self.succeed("-sign", "-dn", "bob", "-nochain", "in", "msg")
                for keys in (["-sign", "-dn", "bob", "-errchain", "in", "out"],
                             ["-verify", "-errchain", "msg"]):
                    _, body = self.kestrel(*keys)
                    self.assertEqual(unfit in body, not fits, body)
                if not fits:
                    self.succeed("-encr", "-dn", "bob", "-errchain", "in", "out")
                self.succeed("-delcert", "-dn", "bob", "-nochain", "-yes")

    def test_attributes(self):
        self.make_identity("rsa", "ann")
        self.write("a.bin", bytes.fromhex("0c056c6f63616c"))
        self.write("b,c.bin", bytes.fromhex("020107"))
        self.succeed("-sign", "-dn", "ann", "-der", "-authattr", "1.2.3.4,a.bin", "-attr",
                     "1.2.3.5,b,c.bin", "in", "msg")
        signed, _, unsigned = self.cms_printed("msg").partition(b"unsignedAttrs:")
        for part, wanted in ((signed, b"1.2.3.4"), (signed, b"contentType"),
                             (signed, b"messageDigest"), (unsigned, b"1.2.3.5")):
            self.assertIn(wanted, part)
        self.cms_verify("msg", "ann.pem")
        rows = [("no file", "1.2.3,absent", 0x20000065)]
        for name, value, code in rows:
            with self.subTest(name):
                self.fail_with(code, "-sign", "-dn", "ann", "-attr", value, "in", "msg2")
                self.assertFalse(os.path.exists(self.path("msg2")))

    def test_crl_goes_into_the_message(self):
        self.make_identity("rsa", "ann")
        self.fail_with(0x80092004, "-sign", "-dn", "ann", "-crl", "in", "msg")
        self.make_crl("ann")
        self.ctl("store", "add", "CA", "ann.crl")
        self.assertIn(b"Adding CRL.\n", self.succeed("-sign", "-dn", "ann", "-crl", "-der", "in", "msg"))
        text = self.cms_printed("msg")
        self.assertIn(b"crls:\n", text)
        self.assertIn(b"lastUpdate:", text)

    def test_refusals_before_anything_is_written(self):
        self.make_identity("rsa", "ann")
        found = self.chosen("ann")
        rows = [
            ("stray key", ["-dn", "ann", "-yes", "in", "msg"], 0x200000CE,
             found + b"Signing the data...    " + error_line(b"Wrong key: 'yes'.", 0x200000CE)),
            ("a mask is a name", ["-dn", "ann", "i*", "msg"], 0x20000065, None),
            ("output folder missing", ["-dn", "ann", "in", "no/such/msg"], 0x20000065,
             found + b"Signing the data...    " + error_line(b"Can't open file 'in'.", 0x20000065)),
            ("not found", ["-dn", "Nobody", "in", "msg"], 0x2000012D,
             error_line(b"No certificate found.", 0x2000012D)),
        ]
        for name, words, code, body in rows:
            with self.subTest(name):
                if body is None:
                    self.fail_with(code, "-sign", *words)
                else:
                    self.expect(["-sign", *words], code, body)
                self.assertFalse(os.path.exists(self.path("msg")))

    def test_outputs_that_are_left_alone(self):
        self.make_identity("ec", "ann")
        self.succeed("-sign", "-dn", "ann", "in", "msg")
        message = self.read("msg")
        os.link(self.path("msg"), self.path("twin"))
        os.mkdir(self.path("folder"))
        for output in ("msg", "./msg", "twin", "no/such/file", "folder"):
            with self.subTest(output):
                self.assertIn(verified("ann"), self.succeed("-verify", "msg", output))
                self.assertEqual(self.read("msg"), message)

    def test_start(self):
        self.make_identity("rsa", "ann")
        self.succeed("-sign", "-dn", "ann", "in", "msg")
        os.mkdir(self.path("bin"))
        script = self.write("bin/cmd", b"#!/bin/sh\necho \"$@\" >started\n")
        os.chmod(script, 0o755)
        self.env["PATH"] = self.path("bin") + ":" + self.env["PATH"]
        self.fail_with(0x200001F4, "-verify", "-start", "msg")
        body = self.succeed("-verify", "-start", "msg", "out")
        self.assertTrue(body.endswith(b"Openning/starting file...\n[ReturnCode: 0]\n"))
        for _ in range(100):
            if os.path.exists(self.path("started")) and self.read("started"):
                break
            time.sleep(0.05)
        self.assertEqual(self.read("started"), b"/c out\n")
        der = base64.b64decode(self.read("msg"))
        self.write("bad", base64.encodebytes(der.replace(b"content", b"CONTENT")))
        body = self.fail_with(NO_SIGNATURES_GOOD, "-verify", "-start", "bad", "out")
        self.assertIn(b"File won't be started due to bad signatures.\n", body)
