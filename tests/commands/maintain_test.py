"""-addsign, -addattr and -delsign from end to end, on messages of the openssl command."""

import base64
import os

from kestrel_case import KestrelCase, error_line
from tokens import elements, take

NO_SIGNATURE = 0x200001F8
SIGNING = b"Signing the data...\n"
SIGNED = b"Signed message is created.\n"
DELETED = b"The signature is deleted.\n"
VALUE = bytes.fromhex("0c056c6f63616c")


def children(data):
    """The elements inside the first element of `data`, each whole."""
    return [whole for _, _, whole in elements(take(data)[1])]


class Parts:
    """A SignedData taken apart."""

    def __init__(self, message):
        body = children(children(children(message)[1])[0])
        self.digests = children(body[1])
        self.content = body[2]
        self.certificates = self.crls = []
        for part in body[3:-1]:
            if part[0] == 0xA0:
                self.certificates = children(part)
            else:
                self.crls = children(part)
        self.signers = children(body[-1])


class Maintain(KestrelCase):
    def setUp(self):
        super().setUp()
        self.content = bytes(range(256)) * 20
        self.write("in", self.content)

    def make(self, kinds):
        for kind in kinds:
            self.make_identity(kind, kind)
        self.write("all.pem", b"".join(self.read(f"{kind}.pem") for kind in kinds))

    def der(self, name):
        data = self.read(name)
        return base64.b64decode(data) if data[:1] == b"M" else data

    def openssl_verifies(self, name, signers):
        """All signatures, and that they are those of `signers`, in any order."""
        self.write("check.der", self.der(name))
        self.cms_verify("check.der", "all.pem", "-certfile", "all.pem", "-signer", "signers.pem")
        self.assertEqual(self.read("out2"), self.content)
        self.assertEqual(self.read("signers.pem").count(b"-----BEGIN"), len(signers))
        for signer in signers:
            self.assertIn(self.read(f"{signer}.pem"), self.read("signers.pem"))

    def kept(self, before, after):
        """Nothing of the old message but its frame has changed, and the new stands behind."""
        old, new = Parts(before), Parts(after)
        self.assertEqual(new.signers[:len(old.signers)], old.signers)
        self.assertEqual(new.certificates[:len(old.certificates)], old.certificates)
        self.assertEqual(new.crls[:len(old.crls)], old.crls)
        self.assertEqual([d for d in new.digests if d in old.digests], old.digests)
        return old, new

    def test_text_stays_text_in_64_columns(self):
        self.make(["rsa", "ec"])
        self.cms_sign("msg", ["rsa"])
        before = self.read("msg")
        texts = [("76 columns", base64.encodebytes(before)), ("one line", base64.b64encode(before)),
                 ("armoured", b"-----BEGIN CMS-----\n" + base64.encodebytes(before) +
                  b"-----END CMS-----\n")]
        for name, text in texts:
            with self.subTest(name):
                self.write("msg", text)
                self.succeed("-addsign", "-dn", "ec", "msg")
                lines = self.read("msg").split(b"\r\n")
                self.assertEqual(lines.pop(), b"")
                self.assertEqual({len(line) for line in lines[:-1]}, {64})
                self.kept(before, self.der("msg"))
                self.openssl_verifies("msg", ["rsa", "ec"])

    def test_signatures_of_both_programs_in_turn(self):
        kinds = ["rsa", "ec", "gost256", "gost512"]
        self.make(kinds)
        # openssl takes the content's digest out of a signed attribute.
        attribute = ["-authattr", "1.2.3.4," + self.value()]
        self.succeed("-sign", "-dn", "rsa", "-der", *attribute, "in", "msg")
        self.openssl("cms", "-resign", "-binary", "-inform", "DER", "-in", "msg", "-outform", "DER",
                     "-out", "msg2", "-signer", "ec.pem", "-inkey", "ec.key")
        before = self.read("msg2")
        for added in ("gost256", "gost512"):
            self.succeed("-addsign", "-dn", added, *attribute, "msg2")
        self.kept(before, self.read("msg2"))
        self.openssl_verifies("msg2", kinds)
        body = self.succeed("-verify", "-dn", "CN", "msg2")
        self.assertEqual(body.count(b" Signature's verified.\n"), 4)
        self.expect(["-delsign", "-dn", "ec", "msg2"], 0, self.chosen("ec") + DELETED)
        self.openssl_verifies("msg2", ["rsa", "gost256", "gost512"])
        self.openssl("cms", "-resign", "-binary", "-inform", "DER", "-in", "msg2", "-outform", "DER",
                     "-out", "msg3", "-signer", "ec.pem", "-inkey", "ec.key", "-nocerts")
        self.openssl_verifies("msg3", kinds)

    def value(self):
        self.write("value", VALUE)
        return "value"

    def test_keys_of_addsign(self):
        self.make(["rsa"])
        self.make_identity("ec", "ec", pin="right")
        self.cms_sign("msg", ["rsa"])
        before = self.read("msg")
        self.write("b", b"\x02\x01\x07")
        self.fail_with(0x8010006B, "-addsign", "-dn", "ec", "-pin", "wrong", "msg")
        self.assertEqual(self.read("msg"), before)
        self.succeed("-addsign", "-dn", "ec", "-pin", "right", "-nocert", "-authattr",
                     "1.2.3.4," + self.value(), "-attr", "1.2.3.5,b", "msg")
        old, new = self.kept(before, self.read("msg"))
        self.assertEqual(new.certificates, old.certificates)
        fields = children(new.signers[1])
        self.assertEqual([f[0] for f in fields], [0x02, 0x30, 0x30, 0xA0, 0x30, 0x04, 0xA1])
        self.assertEqual(len(children(fields[3])), 3)
        self.assertIn(VALUE, fields[3])
        self.assertEqual(fields[6].hex(), "a10c300a06032a03053103020107")
        # Neither of the others needs the key.
        self.succeed("-addattr", "-dn", "ec", "-attr", "1.2.3,b", "msg")
        self.succeed("-delsign", "-dn", "ec", "msg")
        self.assertEqual(self.read("msg"), before)

    def test_crl_is_looked_for_beside_the_intermediates_only(self):
        self.make(["rsa", "ec"])
        self.make_crl("ec")
        self.cms_sign("msg", ["rsa"])
        before = self.read("msg")
        words = ["-addsign", "-dn", "ec", "-crl", "msg"]
        front = self.chosen("ec") + SIGNING + b"Adding CRL.\n"
        missing = error_line(b"The object searched for was not found.", 0x80092004)
        self.ctl("store", "add", "Root", "ec.crl")
        self.expect(words, 0x80092004, front + missing)
        self.ctl("store", "add", "CA", "ec.pem")  # the issuer alone
        self.expect(words, 0x80092004, front + missing)
        self.assertEqual(self.read("msg"), before)
        self.ctl("store", "add", "CA", "ec.crl")
        self.expect(words, 0, front + SIGNED)
        _, new = self.kept(before, self.read("msg"))
        _, crl = self.openssl("crl", "-in", "ec.crl", "-outform", "DER")
        self.assertEqual(new.crls, [crl])

    def test_the_last_signature_may_go_and_another_come(self):
        self.make(["rsa", "gost512"])
        for text in (False, True):
            with self.subTest(f"text {text}"):
                self.cms_sign("msg", ["rsa"])
                if text:
                    self.write("msg", base64.encodebytes(self.read("msg")))
                self.succeed("-delsign", "-dn", "rsa", "msg")
                parts = Parts(self.der("msg"))
                self.assertEqual((parts.signers, parts.digests), ([], []))
                self.assertEqual(len(parts.certificates), 1)
                self.write("der", self.der("msg"))
                self.openssl("cms", "-cmsout", "-noout", "-inform", "DER", "-in", "der")
                body = self.fail_with(NO_SIGNATURE, "-verify", "msg", "out")
                self.assertIn(error_line(b"Signature isn't found.", NO_SIGNATURE), body)
                self.assertEqual(self.read("out"), self.content)
                self.succeed("-addsign", "-dn", "gost512", "msg")
                self.openssl_verifies("msg", ["gost512"])

    def test_a_bad_signature_before_the_wanted_one_is_passed_over(self):
        self.make(["rsa", "ec"])
        self.cms_sign("msg", ["rsa", "ec"])
        message = self.read("msg")
        ec, rsa = (children(s)[-1][-64:] for s in Parts(message).signers)
        damaged = message.replace(ec, bytes(64))
        self.write("msg", damaged)
        self.succeed("-addattr", "-dn", "rsa", "-attr", "1.2.3," + self.value(), "msg")
        self.assertIn(rsa, self.read("msg"))
        self.expect(["-delsign", "-dn", "ec", "msg"], 0x80090006, self.chosen("ec") +
                    error_line(b"The signature does not match the data.", 0x80090006))

    def test_words_that_are_refused(self):
        self.make(["rsa", "ec"])
        self.cms_sign("msg", ["rsa"], "-certfile", "ec.pem")
        before = self.read("msg")
        self.write("bad", b"\x02\x05\x07")
        found = self.chosen("rsa")
        no_message = error_line(b"No message file.", 0x200000D3)
        many = error_line(b"Too many files: 'in'.", 0x200000C8)
        wrong = error_line(b"Wrong key: 'der'.", 0x200000CE)
        value = "1.2.3," + self.value()
        rows = [(f"{c}: {name}", [c, *words], code, body) for c in ("-addsign", "-addattr", "-delsign")
                for name, words, code, body in (
                    ("no file", ["-dn", "rsa"], 0x200000D3, no_message),
                    ("two files", ["-dn", "rsa", "msg", "in"], 0x200000C8, many))]
        rows += [
            ("another's key", ["-addsign", "-dn", "rsa", "-der", "msg"], 0x200000CE, found + wrong),
            ("another's key", ["-addattr", "-dn", "rsa", "-attr", value, "-der", "msg"], 0x200000CE,
             wrong),
            ("no attribute", ["-addattr", "-dn", "rsa", "absent"], 0x200000CD,
             error_line(b"No required key: '-attr'.", 0x200000CD)),
            ("no comma", ["-addattr", "-dn", "rsa", "-attr", "1.2.3", "msg"], 87, b""),
            ("certificate of no signer", ["-delsign", "-dn", "ec", "msg"], NO_SIGNATURE,
             self.chosen("ec") + error_line(b"Signature isn't found.", NO_SIGNATURE)),
            ("stamp by nobody", ["-addsign", "-dn", "rsa", "-sshttp://127.0.0.1:1/", "msg"],
             0x80072EFD, None),
            ("half a value", ["-addattr", "-dn", "rsa", "-attr", "1.2.3,bad", "msg"], None, None),
            ("bad identifier", ["-addattr", "-dn", "rsa", "-attr", ",value", "msg"], None, None),
        ]
        for name, words, code, body in rows:
            with self.subTest(f"{name} {words}"):
                self.refused(words, code, body)
                self.assertEqual(self.read("msg"), before)

    def refused(self, words, code, body):
        if body is not None:
            return self.expect(words, code, body)
        printed = self.fail_with(None, *words, errors=1)
        self.assertNotIn(b"Unknown error.", printed)
        if code is not None:
            self.assertIn(b"(0x%X)\n" % code, printed)

    def test_files_that_are_no_signed_message(self):
        self.make(["rsa"])
        value = "1.2.3," + self.value()
        self.cms_sign("good", ["rsa"])
        good = self.read("good")
        self.cms_encrypt("env", "rsa.pem")
        self.cms_sign("detached", ["rsa"], detached=True)
        files = [
            ("empty", b"", 0x20000065), ("text", b"Hello, world\n", None),
            ("cut", good[:-1], None),
            ("cut in BASE64", base64.b64encode(good[:-9]), None), ("tail", good + b"\0", None),
            ("enveloped", self.read("env"), None), ("detached", self.read("detached"), None),
            ("nested", b"\x30\x80" * 100_000, None),
        ]
        for name, content, code in files:
            for words in (["-addsign"], ["-addattr", "-attr", value], ["-delsign"]):
                with self.subTest(f"{name} {words}"):
                    self.write("msg", content)
                    self.refused([*words, "-dn", "rsa", "msg"], code, None)
                    self.assertEqual(self.read("msg"), content)
        os.mkfifo(self.path("fifo"))
        for words in (["-addsign"], ["-addattr", "-attr", value], ["-delsign"]):
            for name in ("absent", "fifo"):
                with self.subTest(f"{name} {words}"):
                    self.refused([*words, "-dn", "rsa", name], 0x20000065, None)
