"""`kestrelctl message`: verdicts over messages that lie, each built from parts, beside what the
openssl command says of them; documents held against their schema."""

import base64
import hashlib
import json
import os
import re
import shutil
import subprocess
import time

import evidence
from authority import Web
from evidence import (AUTHORITY, CONTENT_STAMP, DAY, HOUR, NOW, SIGNATURE_STAMP, SIGNING,
                      STAMPING, Party, Shop, basics, digest_attribute, key_identifier, key_usage,
                      message, moment, signer, stamp)
from kestrel_case import KESTRELCTL, KestrelCase
from tokens import (MESSAGE_DIGEST, attribute, der, elements, integer, octets, oid, response, sequence,
                    take)

import jsonschema

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
CONTENT = b"what was signed\n"
PSS, RSA_SHA256 = "1.2.840.113549.1.1.10", "1.2.840.113549.1.1.11"
SHA512 = "2.16.840.1.101.3.4.2.3"
PROTECTION = "1.2.840.113549.1.9.52"
MARKS = [f"1.2.840.113549.1.9.16.2.{last}" for last in (12, 47, 19)]
MD5 = "md5", sequence(oid("1.2.840.113549.2.5"))


class MessageCase(KestrelCase):
    def setUp(self):
        super().setUp()
        self.shop = Shop(self.folder)
        self.root = Party(self.shop, "Root", uses=AUTHORITY)
        self.ann = Party(self.shop, "Ann", self.root, uses=SIGNING)
        self.clock = Party(self.shop, "Clock", self.root, uses=STAMPING)
        self.clean = self.root.revoke()
        self.write("root.cer", self.root.certificate)
        self.ctl("trust", "root.cer")
        self.openssl("x509", "-in", "root.cer", "-out", "root.pem")
        with open(os.path.join(ROOT, "docs/verdicts.schema.json"), encoding="ascii") as file:
            schema = json.load(file)
        jsonschema.Draft7Validator.check_schema(schema)
        self.schemas = {kind: jsonschema.Draft7Validator(
            {**schema, "anyOf": [{"$ref": f"#/definitions/{kind}"}]}) for kind in ("verify", "show")}

    def run_message(self, verb, *words):
        return subprocess.run([KESTRELCTL, "message", verb, *words], cwd=self.folder, env=self.env,
                              capture_output=True, timeout=60, check=False)

    def documents(self, verb, *words, line="--json"):
        """Exit status and the documents that were printed, each of which keeps to the schema."""
        done = self.run_message(verb, *words, line)
        self.assertEqual(done.stderr, b"", words)
        texts = done.stdout.splitlines() if line == "--jsonl" else [done.stdout]
        found = [json.loads(text) for text in texts]
        for document in found:
            faults = [error.message for error in self.schemas[verb].iter_errors(document)]
            self.assertEqual(faults, [], document)
        return done.returncode, found

    def signed(self, *signers, who=(), lists=None, content=CONTENT, digests=(evidence.SHA256,)):
        """With Ann's certificate and a list on which nobody stands, unless told otherwise."""
        return message(content, signers or [signer(self.ann, CONTENT)],
                       [one.certificate for one in who or [self.ann]],
                       [self.clean] if lists is None else lists, digests=digests)

    def stamped(self, when=NOW - HOUR, who=None, service=None, lists=None, covered=None, **token):
        """Signed by Ann, or by `who`, and stamped over the signature."""
        who = who or self.ann
        def stamps(signature):
            made = stamp(service or self.clock, covered or signature, when, **token)
            return [attribute(SIGNATURE_STAMP, made)]
        return self.signed(signer(who, CONTENT, unsigned=stamps), who=[who], lists=lists)

    def party(self, *words, **more):
        return Party(self.shop, *words, **{"uses": SIGNING, **more})


class Verdicts(MessageCase):
    def strangers(self):
        """Who signed is told by names; whoever chooses names must come to nothing."""
        ann, root = self.ann, self.root
        false_root = self.party("Root", uses=AUTHORITY)
        eve = self.party("Ann", false_root, number=ann.number)
        renewed = self.party("Ann", root, key=ann.key)
        namesake = self.party("Ann", root, number=ann.number)
        borrowed = hashlib.sha1(b"Ann's key").digest()
        keyed = self.party("Ann Key", root, uses=[*SIGNING, key_identifier(borrowed)])
        thief = self.party("Thief", root, uses=[*SIGNING, key_identifier(borrowed)])
        decoys = [self.party("Ann", root, number=ann.number, key=namesake.key, end=NOW + (n + 1) * DAY)
                  for n in range(40)]
        by_key = {"sid": der(0x80, borrowed)}
        by_eve = signer(eve, CONTENT)
        return [
            ("forged issuer and serial", self.signed(by_eve, who=[eve]), "bad",
             "chain-signature", False),
            ("forged, her own root inside", self.signed(by_eve, who=[eve, false_root]),
             "indeterminate", "root-untrusted", False),
            ("forged, the true one first", self.signed(by_eve, who=[ann, eve]), "bad",
             "chain-signature", False),
            ("true, the forged one first", self.signed(who=[eve, ann]), "good", None, None),
            ("two of one serial, the second's", self.signed(signer(namesake, CONTENT),
                                                           who=[ann, namesake]), "good", None, None),
            ("named whole", self.signed(signer(ann, CONTENT, [ann.mark()])), "good", None, True),
            ("another's MD5", self.signed(signer(ann, CONTENT, [renewed.mark(*MD5)])), "bad",
             "certificate-differs", None),
            ("another certificate of one key", self.signed(signer(ann, CONTENT, [renewed.mark()])),
             "bad", "certificate-differs", None),
            ("named whole, and forged", self.signed(signer(eve, CONTENT, [ann.mark()]),
                                                    who=[eve, ann]), "bad", "certificate-differs",
             False),
            ("key identifier", self.signed(signer(keyed, CONTENT, **by_key), who=[keyed]), "good",
             None, True),
            ("somebody else's key identifier", self.signed(signer(thief, CONTENT, **by_key),
                                                           who=[keyed]), "bad", "signature-wrong",
             False),
            ("an identifier of two", self.signed(signer(keyed, CONTENT, **by_key),
                                                 who=[thief, keyed]), "good", None, None),
            ("among many namesakes", self.signed(who=decoys + [ann]), "indeterminate",
             "too-many-candidates", None),
            ("nobody's certificate", self.signed(who=[root]), "indeterminate",
             "certificate-missing", False),
            ("self-made", self.signed(signer(false_root, CONTENT), who=[false_root]), "bad",
             "not-for-signing", False),
        ]

    def shapes(self):
        """Faults of the message alone."""
        ann = self.ann
        attributes = sorted(basics(CONTENT))
        twin = digest_attribute(b"other")
        protect = lambda digest, kind: [attribute(PROTECTION, sequence(
            sequence(oid(digest)), der(0xA1, oid(kind))))]
        armour = lambda octets_of, end=b"CMS": (b"-----BEGIN CMS-----\n" + base64.encodebytes(
            octets_of) + b"-----END " + end + b"-----\n")
        broken = signer(ann, CONTENT)
        as_content = der(0x31, *attributes)
        exchanged = signer(ann, as_content, bare=True)
        return [
            ("good", self.signed(), "good", None, True),
            ("no signed attributes", self.signed(signer(ann, CONTENT, bare=True)), "good", None, True),
            ("other content", self.signed(content=b"changed"), "bad", "content-changed", False),
            ("other content, bare", self.signed(signer(ann, CONTENT, bare=True), content=b"changed"),
             "bad", "signature-wrong", False),
            ("a bit of the signature", self.signed(broken[:-1] + bytes([broken[-1] ^ 1])), "bad",
             "signature-wrong", False),
            ("digest twice", self.signed(signer(ann, CONTENT, [twin])), "bad", "attribute-twice",
             False),
            ("two values of one digest", self.signed(signer(ann, CONTENT, attributes=[
                basics(CONTENT)[0], attribute(MESSAGE_DIGEST, *[octets(hashlib.sha256(c).digest())
                                                                for c in (b"", CONTENT)])])),
             "bad", "attribute-twice", False),
            ("no digest", self.signed(signer(ann, CONTENT, attributes=attributes[:1])), "bad",
             "attribute-wrong", False),
            *[(f"{kind} without a value", self.signed(signer(ann, CONTENT, [attribute(kind)])), "bad",
               "attribute-wrong", None) for kind in (*MARKS, PROTECTION, evidence.SIGNING_TIME)],
            ("a time that is none", self.signed(signer(ann, CONTENT, [attribute(
                evidence.SIGNING_TIME, octets(b"x"))])), "bad", "attribute-wrong", None),
            ("another type", self.signed(signer(ann, CONTENT, content_type="1.2.3")), "bad",
             "attribute-wrong", None),
            ("an unsigned signing time", self.signed(signer(
                ann, CONTENT, unsigned=lambda _: [attribute(evidence.SIGNING_TIME, moment(NOW))])), "bad", "attribute-wrong", None),
            ("the algorithms signed, too", self.signed(signer(ann, CONTENT, protect(
                evidence.SHA256, evidence.ECDSA))), "good", None, True),
            ("other algorithms signed", self.signed(signer(ann, CONTENT, protect(
                SHA512, evidence.ECDSA))), "bad", "attribute-wrong", None),
            ("another signature signed", self.signed(signer(ann, CONTENT, protect(
                evidence.SHA256, RSA_SHA256))), "bad", "attribute-wrong", None),
            ("attributes as content", self.signed(exchanged, content=as_content), "bad",
             "content-ambiguous", None),
            ("nobody", message(CONTENT, [], [ann.certificate]), "bad", "no-signer", False),
            ("not here", self.signed(content=None), "indeterminate", "no-content", False),
            ("SHA-1", self.signed(signer(ann, CONTENT, digest="sha1"), digests=[evidence.SHA1]),
             "indeterminate", "weak-algorithm", None),
            ("another digest than announced", self.signed(digests=[SHA512]), "indeterminate",
             "algorithm-unknown", None),
            ("nothing", b"", "indeterminate", "no-signature", False),
            ("a sequence of something else", sequence(integer(1)), "indeterminate", "no-signature", False),
            ("another type of message", sequence(oid("1.2.3.4")), "bad", "malformed", False),
            ("octets behind", self.signed() + b"\0", "bad", "malformed", None),
            ("armour", armour(self.signed()), "good", None, None),
            ("two in armour", armour(self.signed()) + armour(self.signed()), "bad", "malformed", None),
            ("text behind in UTF-16", (armour(self.signed()) + b"Pay").decode().encode("utf-16-le"), "bad",
             "malformed", None),
            ("half a character", base64.encodebytes(self.signed()).decode().encode("utf-16-be") + b"\0",
             "bad", "malformed", None),
            ("beyond ASCII", (base64.b64encode(self.signed()[:60]).decode() + "\u0439").encode("utf-16"), "bad",
             "malformed", None),
            ("text behind armour", armour(self.signed()) + b"Pay", "bad", "malformed", None),
            ("another end", armour(self.signed(), b"PKCS7"), "bad", "malformed", None),
            ("no end", armour(self.signed())[:-10], "bad", "cut-short", None),
            ("one part", b'Content-Type: multipart/signed;\n boundary="x"\n\n--x\nA: b\n\n--x--\n',
             "bad", "malformed", None),
        ]

    def certificates(self):
        """Chains, and the time that counts."""
        ann, root = self.ann, self.root
        gone = self.party("Gone", root, end=NOW - DAY)
        early = self.party("Early", root, start=NOW + DAY)
        lock = self.party("Lock", root, uses=[key_usage(0x20)])
        server = self.party("Server", root, uses=[evidence.extension(
            "2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.1")))])
        lost = self.party("Lost", self.party("Nobody", uses=AUTHORITY))
        before, after = NOW - 2 * HOUR, NOW - HOUR // 2
        def since(when, reason=1):
            date = time.strftime("%Y%m%d%H%M%SZ", time.gmtime(when)).encode()
            return sequence(evidence.extension("2.5.29.21", der(0x0A, bytes([reason])), False),
                            evidence.extension("2.5.29.24", der(0x18, date), False))
        def later(*more):
            return self.stamped(lists=[root.revoke((ann, after, *more))])
        def below(bits, *named, hashed="-sha256", clock=False, uses=()):
            key = self.shop.new_key("RSA", f"rsa_keygen_bits:{bits}")
            issuer = self.party("Issuer", root, uses=[*AUTHORITY, *(evidence.extension(
                "2.5.29.37", sequence(oid(use))) for use in uses)], key=key)
            issuer.algorithm = sequence(*named[:2])
            issuer.sealing = [hashed, *" ".join(named[2:]).split()]
            who = self.party("Who", issuer, uses=STAMPING if clock else SIGNING)
            def stamps(signature):
                return [attribute(SIGNATURE_STAMP, stamp(who, signature, NOW - HOUR))]
            made = signer(ann, CONTENT, unsigned=stamps) if clock else signer(who, CONTENT)
            return self.signed(made, who=[ann, who, issuer], lists=[self.clean, issuer.revoke()])
        def by(who, **more):
            return self.signed(signer(who, CONTENT), who=[who], **more)
        def limited(use, **more):
            return below(2048, oid(RSA_SHA256), b"\5\0", uses=[use], **more)
        def kept(when):  # of those that had ended by then, the list tells, too
            return [root.revoke(more=[evidence.extension("2.5.29.60", der(0x18, time.strftime(
                "%Y%m%d%H%M%SZ", time.gmtime(when)).encode()), False)])]
        servers, anything = "1.3.6.1.5.5.7.3.1", "2.5.29.37.0"
        ended = lambda **more: self.stamped(NOW - 2 * DAY, gone, **more)
        unsure = lambda *accuracy: self.stamped(
            lists=[root.revoke((ann, after))], accuracy=sequence(*accuracy))
        return [
            ("revoked", self.signed(lists=[root.revoke((ann, before))]), "bad", "revoked", None),
            ("revoked before the stamp", self.stamped(lists=[root.revoke((ann, before))]), "bad",
             "revoked", None),
            ("revoked after the stamp", self.stamped(lists=[root.revoke((ann, after))]), "good",
             None, None),
            ("lost before the stamp", later(since(before)), "bad", "revoked", None),
            ("lost after the stamp", later(since(after)), "good", None, None),
            ("lost, nobody knows when", later(sequence(evidence.extension(
                "2.5.29.21", der(0x0A, b"\1"), False))), "good", None, None),
            ("a list for ever", self.signed(lists=[root.revoke(end=None)]), "indeterminate",
             "revocation-unknown", None),
            ("no list", self.signed(lists=[]), "indeterminate", "revocation-unknown", None),
            ("a list in force at the stamp's time", self.stamped(lists=[root.revoke(
                start=NOW - DAY, end=NOW - 99)]), "indeterminate", "revocation-unknown", None),
            ("issued with SHA-1 in PSS", below(2048, oid(PSS), sequence(), *(
                f"-sigopt rsa_{o}" for o in ("padding_mode:pss", "pss_saltlen:20")), hashed="-sha1"),
             "indeterminate", "weak-algorithm", None),
            ("issued with 1024 bits", below(1024, oid(RSA_SHA256), b"\5\0"), "indeterminate",
             "weak-algorithm", True),
            ("stamped below 1024 bits", below(1024, oid(RSA_SHA256), b"\5\0", clock=True),
             "indeterminate", "stamp-weak", None),
            ("expired", by(gone), "indeterminate", "expired", False),
            ("expired before the stamp", self.stamped(who=gone), "indeterminate", "expired", None),
            ("expired after the stamp", ended(lists=[root.revoke(start=NOW - 3 * DAY)]), "good", None, None),
            ("expired, and a list of after that", ended(), "indeterminate", "revocation-unknown", None),
            ("expired, the earlier of two lists names it", ended(lists=[self.clean, root.revoke(
                (gone, NOW - 3 * DAY), start=NOW - 3 * DAY)]), "indeterminate", "revocation-unknown", None),
            ("a list that keeps the expired", ended(lists=kept(NOW - 2 * DAY)), "good", None, None),
            ("a list that keeps later ones", ended(lists=kept(NOW - HOUR)), "indeterminate",
             "revocation-unknown", None),
            ("revoked within the stamp's accuracy", unsure(integer(1800)), "bad", "revoked", None),
            ("revoked after its accuracy", unsure(integer(1799), der(0x80, b"\1"), der(0x81, b"\1")),
             "good", None, None),
            ("expired within the stamp's accuracy", self.stamped(NOW - 2 * DAY, gone, accuracy=sequence(
                integer(DAY + 99))), "indeterminate", "expired", None),
            ("an accuracy of centuries", self.stamped(accuracy=sequence(integer(1 << 62))), "good", None, None),
            ("below an authority for servers", limited(servers), "bad", "not-for-signing", None),
            ("below one for anything", limited(anything), "good", None, None),
            ("stamped below one for servers", limited(servers, clock=True), "bad", "stamp-usage", None),
            ("not yet", by(early), "indeterminate", "not-yet-valid", False),
            ("not for signing", by(lock), "bad", "not-for-signing", None),
            ("for servers", by(server), "bad", "not-for-signing", None),
            ("no issuer", by(lost), "indeterminate", "chain-incomplete", False),
        ]

    def keys(self):
        """RSA whose exponent anybody signs with, and masks of other digests."""
        rsa = self.party("Rsa", self.root, key=self.shop.new_key("RSA", "rsa_keygen_bits:2048"))
        plain = sequence(oid("1.2.840.113549.1.1.1"), b"\5\0")
        def anybodys(exponent):
            """The modulus is made for the padded digest, of which the value is the root."""
            covered = der(0x31, *sorted(basics(CONTENT)))
            info = sequence(sequence(oid(evidence.SHA256), b"\5\0"), octets(hashlib.sha256(covered).digest()))
            padded = int.from_bytes(b"\0\1".ljust(255 - len(info), b"\xff") + b"\0" + info, "big")
            value = 3 << 1022 | padded & 1 ^ 1
            modulus = value ** 2 - padded if exponent == 2 else 1 << 2047 | 1
            who = self.party("Open", self.root, public=sequence(plain, der(0x03, b"\0" + sequence(
                integer(modulus), integer(exponent)))))
            who.sign = lambda *_: (value if exponent == 2 else padded).to_bytes(256, "big")
            return self.signed(signer(who, CONTENT, by=plain), who=[who])
        def masked(name, number):
            one = lambda tag, *parts: der(tag, sequence(*parts))
            hashed = one(0xA1, oid("1.2.840.113549.1.1.8"), sequence(oid(number), b"\5\0"))
            rsa.sign = lambda data, _: self.shop.run(
                "openssl", "dgst", "-sha256", "-sign", rsa.key, *(word
                for option in ("padding_mode:pss", "pss_saltlen:32", f"mgf1_md:{name}")
                for word in ("-sigopt", f"rsa_{option}")), stdin=data)
            return self.signed(signer(rsa, CONTENT, by=sequence(oid(PSS), sequence(
                one(0xA0, oid(evidence.SHA256), b"\5\0"), hashed, der(0xA2, integer(32))))), who=[rsa])
        return [
            ("an exponent of 1", anybodys(1), "indeterminate", "weak-algorithm", None),
            ("an exponent of 2", anybodys(2), "indeterminate", "weak-algorithm", None),
            ("a mask by SHA-256", masked("sha256", evidence.SHA256), "good", None, True),
            ("a mask by SHA-1", masked("sha1", evidence.SHA1), "indeterminate", "weak-algorithm", True),
        ]

    def stamps(self):
        """Tokens in the signature's unsigned attributes; each good twin is among the others."""
        uses = STAMPING[:1]
        plain = self.party("Plain", self.root)
        stranger = self.party("Stranger", uses=AUTHORITY)
        foreign = self.party("Foreign", stranger, uses=uses)
        later = lambda info: re.sub(rb"\x18\x0f\d{8}", lambda m: m[0][:2] + b"20260101", info)
        false_root = self.party("Root", uses=AUTHORITY)
        lie = self.stamped(service=self.party("Clock", false_root, number=self.clock.number, uses=uses))
        return [
            ("stamped", self.stamped(), "good", None, True),
            ("of other content", self.stamped(covered=b"other"), "bad", "stamp-imprint", False),
            ("a forged time", self.stamped(forge=later), "bad", "stamp-signature", False),
            ("not trusted", self.stamped(service=foreign), "indeterminate", "stamp-untrusted", False),
            ("the service's names", lie, "bad", "stamp-chain", False),
            ("names no certificate", self.stamped(mark=False), "bad", "stamp-certificate", False),
            ("names nothing", self.stamped(mark=attribute(MARKS[1])), "bad", "stamp-signature", None),
            ("names its certificate by MD5", self.stamped(mark=self.clock.mark(*MD5)), "bad",
             "stamp-certificate", None),
            ("no service", self.stamped(service=plain), "bad", "stamp-usage", False),
            ("of tomorrow", self.stamped(NOW + DAY), "bad", "stamp-future", None),
            ("before the service began", self.stamped(NOW - 301 * DAY), "indeterminate",
             "stamp-expired", None),
            ("a revoked service", self.stamped(lists=[self.root.revoke((self.clock, NOW - 99))]),
             "bad", "stamp-revoked", None),
            ("another algorithm", self.stamped(named="1.2.3.4"), "indeterminate", "stamp-algorithm",
             None),
            ("an old imprint", self.stamped(hashed="sha1", named=evidence.SHA1), "indeterminate",
             "stamp-weak", None),
            ("no token", self.signed(signer(self.ann, CONTENT, unsigned=lambda _: [
                attribute(SIGNATURE_STAMP, octets(b"x"))])), "bad", "stamp-malformed", None),
            ("of the content, unsigned", self.signed(signer(self.ann, CONTENT, unsigned=lambda _: [
                attribute(CONTENT_STAMP, stamp(self.clock, CONTENT, NOW - HOUR))])), "bad",
             "attribute-wrong", None),
            ("of a signature, signed", self.signed(signer(self.ann, CONTENT, [attribute(
                SIGNATURE_STAMP, stamp(self.clock, b"other", NOW - HOUR))])), "bad", "attribute-wrong", None),
            ("two, one of other content", self.signed(signer(self.ann, CONTENT, unsigned=lambda s: [
                attribute(SIGNATURE_STAMP, stamp(self.clock, c, NOW - HOUR)) for c in (s, b"")])),
             "bad", "stamp-imprint", None),
        ]

    def countersignatures(self):
        """Signatures over a signature's value, in its unsigned attributes."""
        bob = self.party("Bob", self.root)
        eve = self.party("Bob", self.party("Root", uses=AUTHORITY), number=bob.number)
        def by(*make, who=(bob,)):
            return self.signed(signer(self.ann, CONTENT, unsigned=lambda value: [
                attribute(evidence.COUNTERSIGNATURE, one(value)) for one in make]), who=[self.ann, *who])
        def own(value, covered=None):
            return signer(bob, value, attributes=[digest_attribute(covered or value)])
        wrong = "countersignature-wrong"
        return [
            ("countersigned", by(own), "good", None, True),
            ("without attributes", by(lambda value: signer(bob, value, bare=True)), "good", None, True),
            ("of another signature", by(lambda value: own(b"other")), "bad", wrong, True),
            ("a digest that nobody signed", by(lambda value: own(b"other").replace(
                *(hashlib.sha256(c).digest() for c in (b"other", value)))), "bad", wrong, True),
            ("in another's name", by(own, who=[eve]), "bad", wrong, True),
            ("by nobody known", by(own, who=[]), "good", None, True),
            ("names nothing", by(lambda value: signer(bob, value, [attribute(MARKS[1])])), "bad", wrong,
             None),
            ("no signature", by(lambda _: octets(b"x")), "bad", wrong, True),
            ("many", by(*[lambda _: octets(b"x")] * 21), "indeterminate", "too-many-countersignatures",
             True),
        ]

    def stamp_by_openssl(self, encoded):
        """What `openssl ts` says of the token in a message, taken out by its head."""
        start = encoded.index(oid(SIGNATURE_STAMP)) + len(oid(SIGNATURE_STAMP))
        token = elements(take(encoded[start:])[1])[0][2]
        signature = re.search(rb"\x30\x0a\x06\x08\x2a\x86\x48\xce\x3d\x04\x03\x02\x04(.)", encoded, re.S)
        self.write("token", token)
        self.write("value", encoded[signature.end():signature.end() + signature[1][0]])
        return self.openssl("ts", "-verify", "-in", "token", "-token_in", "-data", "value",
                            "-CAfile", "root.pem", status=None)[0] == 0

    def test_rows(self):
        for table in (self.strangers, self.shapes, self.certificates, self.keys, self.stamps,
                      self.countersignatures):
            for title, encoded, verdict, reason, other in table():
                with self.subTest(title):
                    self.write("m", encoded)
                    status, (document,) = self.documents("verify", "m")
                    self.assertEqual((document["verdict"], document["reason"]), (verdict, reason),
                                     document["findings"])
                    self.assertEqual(status, {"good": 0, "bad": 1, "indeterminate": 3}[verdict])
                    if table == self.countersignatures and title == "by nobody known":
                        signed = document["signers"][0]
                        self.assertEqual((signed["checks"]["countersignatures"],
                                          signed["countersignatures"][0]["reason"]),
                                         ("indeterminate", "certificate-missing"))
                    if reason in ("certificate-missing", "too-many-candidates"):
                        self.assertEqual(document["signers"][0]["checks"]["signature"], "indeterminate")
                    if table == self.stamps:
                        signed = document["signers"][0]
                        self.assertEqual((signed["checks"]["stamps"], {s["time"] is None for s in signed["stamps"]}),
                                         (verdict, {reason == "stamp-malformed"}))
                    if other is None:
                        continue
                    if table == self.stamps:
                        said = self.stamp_by_openssl(encoded)
                    else:
                        said = self.openssl("cms", "-verify", "-binary", "-inform", "DER", "-in", "m",
                                            "-CAfile", "root.pem", "-purpose", "any", "-out",
                                            "plain", status=None)[0] == 0
                    self.assertEqual(said, other, "openssl")

    def test_what_is_cut_or_flipped_where_it_is_signed_is_never_good(self):
        whole = self.stamped()
        # What stands outside of every signature: the numbers of versions, and the stamp's attribute
        # type, without which there is no stamp.
        kind = oid(SIGNATURE_STAMP)
        unsigned = {whole.index(kind) + at for at in range(2, len(kind))} | {
            whole.index(integer(1) + who.identifier()) + 2 for who in (self.ann, self.clock)}
        names = []
        for at in range(len(whole)):
            names.append(f"bit{at}")
            self.write(names[-1], whole[:at] + bytes([whole[at] ^ 0x10]) + whole[at + 1:])
        for at in range(0, len(whole), 7):
            names.append(f"cut{at}")
            self.write(names[-1], whole[:at])
        _, found = self.documents("verify", *names, line="--jsonl")
        self.assertEqual([d["file"] for d in found], names)
        cut = [d["reason"] for d in found if d["file"].startswith("cut")]
        self.assertEqual(cut, ["no-signature"] + ["cut-short"] * (len(cut) - 1))
        good = {d["file"] for d in found if d["verdict"] == "good"}
        self.assertEqual(good, {f"bit{at}" for at in unsigned})


class Uses(MessageCase):
    def verify(self, *words):
        status, (document,) = self.documents("verify", *words)
        return status, document

    def test_demands(self):
        bob = self.party("Bob", self.root)
        eve = self.party("Eve", self.party("Elsewhere", uses=AUTHORITY))
        both = [signer(who, CONTENT) for who in (self.ann, eve)]
        self.write("m", self.signed(*both, who=[self.ann, eve]))
        for file in ("ann.cer", "ann.CER"):
            self.write(file, self.ann.certificate)
        for file in ("bob.cer", "Ann"):  # a name is none of a file in the folder
            self.write(file, bob.certificate)
        sha1 = hashlib.sha1(self.ann.certificate).hexdigest()
        sha256 = hashlib.sha256(self.ann.certificate).hexdigest()
        rows = [
            ([], 0, None), (["--all"], 3, "chain-incomplete"), (["--signer", "Ann"], 0, None),
            (["--signer", "CN=ann"], 0, None), (["--signer", "CN = Ann"], 0, None),
            (["--signer", "ann.CER"], 0, None), (["--signer", sha1], 0, None),
            (["--signer", ":".join(sha256[i:i + 2] for i in range(0, 64, 2)).upper()], 0, None),
            (["--signer", sha1[:12]], 1, "signer-missing"), (["--signer", "An"], 1, "signer-missing"),
            (["--signer", "ann.cer"], 0, None), (["--signer", "bob.cer"], 1, "signer-missing"),
            (["--signer", "./bob.cer"], 1, "signer-missing"),
            (["--signer", "Eve"], 3, "chain-incomplete"),
            (["--signer", "Ann", "--signer", "Bob"], 1, "signer-missing"),
            (["--signer", "Ann", "--all"], 3, "chain-incomplete"),
            (["--signer", "Ann", "--at", "2001-01-01"], 3, "not-yet-valid"),
        ]
        for words, status, reason in rows:
            with self.subTest(words):
                code, document = self.verify("m", *words)
                self.assertEqual((code, document["reason"]), (status, reason))
        two = self.party(["Ann", "Zoe"], self.root)  # the last names him: the first is a group's
        self.write("two", self.signed(signer(two, CONTENT), who=[two]))
        for who, status in (("Zoe", 0), ("Ann", 1), ("CN=Ann, CN=Zoe", 0), ("CN=Zoe", 1)):
            self.assertEqual(self.verify("two", "--signer", who)[0], status, who)
        text = self.party("CN=Ann, CN=Zoe", self.root)  # a name that reads as a whole subject
        self.write("text", self.signed(signer(text, CONTENT), who=[text]))
        for who, status in (("CN=Ann, CN=Zoe", 1), ('CN="CN=Ann, CN=Zoe"', 0)):
            self.assertEqual(self.verify("text", "--signer", who)[0], status, who)
        self.write("md5", self.signed(signer(self.ann, CONTENT, [self.ann.mark(*MD5)])))
        self.assertFalse(self.verify("md5")[1]["signers"][0]["identity"]["comparedWhole"])
        broken = signer(self.ann, CONTENT)[:-1] + b"\0"
        self.write("twice", self.signed(signer(self.ann, CONTENT), broken))
        code, document = self.verify("twice", "--signer", "Ann")
        self.assertEqual((code, document["demanded"][0]["signer"]), (1, [
            s["verdict"] for s in document["signers"]].index("bad")))

    def test_files_beside(self):
        self.write("m.sgn", self.signed(content=None))
        self.write("m", CONTENT)
        self.write("other", b"other")
        self.write("whole.sgn", self.signed())
        self.write("whole", b"something else")
        os.mkdir(self.path("kept"))
        os.mkdir(self.path("src"))
        for name in ("kept/other.sgn", "n.sgn"):
            shutil.copy(self.path("m.sgn"), self.path(name))
        for name in ("src/m", "src/n"):
            self.write(name, CONTENT)
        self.write("plain", b"0 or more\n")
        self.write("src/m.sgn", self.signed(signer(self.ann, b"x"), content=None))
        self.write("x", CONTENT)
        os.mkfifo(self.path("x.sgn"))
        rows = [
            (["x"], "indeterminate", "cannot-read", "x.sgn", None),
            (["m"], "good", None, "m.sgn", "m"), (["m.sgn"], "good", None, "m.sgn", "m"),
            (["m.sgn", "--content", "other"], "bad", "content-changed", "m.sgn", "other"),
            (["other", "--dir", "kept"], "bad", "content-changed", "kept/other.sgn", "other"),
            (["m", "--dir", "kept"], "indeterminate", "no-signature", "kept/m.sgn", None),
            (["plain"], "indeterminate", "no-signature", "plain", None),
            (["src/n"], "good", None, "n.sgn", "src/n"),
            (["src/m"], "bad", "content-changed", "src/m.sgn", "src/m"),
            (["src/m", "--dir", "."], "good", None, "./m.sgn", "src/m"),
            (["gone", "--dir", "kept"], "indeterminate", "cannot-read", "kept/gone.sgn", None),
            (["src"], "indeterminate", "cannot-read", "src", None),
            (["whole"], "indeterminate", "content-inside", "whole.sgn", None),
            (["whole.sgn"], "good", None, "whole.sgn", None),
            (["m.sgn", "--content", "nowhere"], "indeterminate", "cannot-read", "m.sgn", "nowhere"),
        ]
        members = ("verdict", "reason", "messageFile", "contentFile")
        for words, *expected in rows:
            with self.subTest(words):
                _, document = self.verify(*words)
                self.assertEqual([document[member] for member in members], expected)
        status, found = self.documents("verify", "m", "nowhere", "x.sgn", "whole.sgn", line="--jsonl")
        self.assertEqual((status, [d["verdict"] for d in found]),
                         (3, ["good", "indeterminate", "indeterminate", "good"]))

    def test_content_goes_out_when_it_is_good(self):
        self.write("good", self.signed())
        self.write("bad", self.signed(content=b"changed"))
        self.write("kept", b"before")
        os.chmod(self.path("kept"), 0o640)
        os.mkfifo(self.path("pipe"))
        for file, out, status, after in [("bad", "kept", 1, b"before"), ("bad", "new", 1, None),
                                         ("good", "kept", 0, CONTENT), ("good", "new", 0, CONTENT)]:
            with self.subTest((file, out)):
                before = set(os.listdir(self.folder))
                code, document = self.verify(file, "--output", out)
                self.assertEqual((code, document["output"]), (status, None if status else out))
                self.assertEqual(self.read(out) if os.path.exists(self.path(out)) else None, after)
                self.assertLessEqual(set(os.listdir(self.folder)), before | {out})
        self.assertEqual(os.stat(self.path("kept")).st_mode & 0o777, 0o640)
        for link, end in (("loop", "loop"), ("link", "far/end")):
            os.symlink(end, self.path(link))
        self.assertEqual(self.run_message("verify", "good", "--output", "link").returncode, 1)
        os.mkdir(self.path("far"))
        self.assertEqual((self.verify("good", "--output", "link")[0], self.read("far/end")), (0, CONTENT))
        done = self.run_message("verify", "good", "--output", "loop")
        self.assertEqual((done.returncode, done.stdout), (1, b""))
        self.assertTrue(os.path.islink(self.path("link")) and os.path.islink(self.path("loop")))
        self.write("t", stamp(self.clock, CONTENT, NOW - HOUR, lists=[self.clean]))
        self.write("r", response(0, self.read("t")))
        for file in "tr":
            done = self.run_message("verify", file, "--content", "kept", "--output", "other")
            self.assertEqual((done.returncode, done.stdout, self.read("kept")), (2, b"", CONTENT))
        done = self.run_message("verify", "good", "--output", "none", "--report", "nowhere/r.html")
        self.assertEqual((done.returncode, done.stdout, os.path.exists(self.path("none"))),
                         (1, b"", False))
        for words, told in ((["verify", "good", "--output", "pipe"], b"could wait for the verdict"),
                            (["verify", "good", "--output", "nowhere/o"], b": nowhere/o ("),
                            (["show", "."], b"'.' is a folder")):
            done = self.run_message(*words)
            self.assertEqual(done.returncode, 1)
            self.assertIn(told, done.stderr)

    def test_nothing_that_is_read_is_written(self):
        files = {"m": self.signed(), "in": CONTENT, "d": self.signed(content=None), "e": CONTENT,
                 "e.sgn": self.signed(content=None), "ann.cer": self.ann.certificate}
        for file, octets_of in files.items():
            self.write(file, octets_of)
        os.link(self.path("m"), self.path("hard"))
        os.symlink("in", self.path("soft"))
        os.symlink("new", self.path("dangling"))
        os.symlink(".", self.path("here"))
        beside = ["d", "--content", "in"]
        for words in (["m", "--output", "m"], ["m", "--report", "hard"], [*beside, "--output", "soft"],
                      [*beside, "--report", "in"], [*beside, "--output", "./d"], ["e", "--report", "e.sgn"],
                      ["e", "--output", "e"], ["m", "--signer", "ann.cer", "--report", "here/ann.cer"],
                      ["m", "--output", "new", "--report", "here/new"],
                      ["m", "--output", "dangling", "--report", "new"]):
            with self.subTest(words):
                done = self.run_message("verify", *words)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertIn(b" are one file: ", done.stderr)
        self.assertEqual({file: self.read(file) for file in files}, files)
        self.assertEqual(self.verify("m", "--output", "in", "--report", "new")[0], 0)

    def test_stamps_of_other_kinds(self):
        content = stamp(self.clock, CONTENT, NOW - HOUR, hashed="sha512", named=SHA512)
        more = [attribute(CONTENT_STAMP, content)]
        token = stamp(self.clock, CONTENT, NOW - HOUR, lists=[self.clean])
        broken = self.party("Broken", self.root, uses=STAMPING)  # its name is a number
        broken.certificate = broken.certificate.replace(b"\x0c\x06Broken", b"\x02\x06Broken")
        files = {"broken": stamp(broken, CONTENT, NOW - HOUR),
                 "m": self.signed(signer(self.ann, CONTENT, more)), "in": CONTENT, "t": token,
                 "r": response(0, token), "in.sgn": token, "no": response(2, text="no"),
                 "refused": response(2, token),
                 "wrong": self.signed(signer(self.ann, b"x", more), content=b"x")}
        for file, octets_of in files.items():
            self.write(file, octets_of)
        rows = [(["m"], "good", None), (["wrong"], "bad", "stamp-imprint"),
                (["t", "--content", "in"], "good", None), (["t"], "indeterminate", "no-content"),
                (["t", "--content", "m"], "bad", "stamp-imprint"),
                (["broken", "--content", "in"], "bad", "stamp-malformed"),
                (["r", "--content", "in", "--signer", "Clock"], "good", None),
                (["no"], "bad", "not-signed"), (["refused", "--content", "in"], "bad", "not-signed"), (["t", "--content", "in", "--all"], "bad", "no-signer"),
                (["in"], "bad", "not-signed"), (["in.sgn"], "bad", "not-signed"),
                (["in.sgn", "--content", "in"], "bad", "not-signed")]
        for words, verdict, reason in rows:
            with self.subTest(words):
                _, document = self.verify(*words)
                self.assertEqual((document["verdict"], document["reason"]), (verdict, reason))
        _, document = self.verify("m")  # a stamp below the signature proves no later time
        self.assertEqual(document["signers"][0]["timeSource"], "now")

    def test_services_now(self):
        """A stamp rests on what is known of its service today, whenever it was made."""
        below = self.party("Below", self.root, uses=AUTHORITY)
        far = self.party("Far", below, uses=STAMPING)
        self.write("below.cer", below.certificate)
        self.write("old.crl", below.revoke(start=NOW - 20 * DAY, end=NOW - 5 * DAY))
        for file in ("below.cer", "old.crl"):
            self.ctl("store", "add", "CA", file)
        self.write("open", self.stamped(NOW - 9 * DAY, service=far))
        self.write("told", self.stamped(NOW - 9 * DAY, service=far, lists=[self.clean, below.revoke()]))
        self.write("gone", self.stamped(NOW - 9 * DAY, lists=[self.root.revoke((self.clock, NOW - DAY))]))
        self.write("weak", self.stamped(hashed="sha1", named=evidence.SHA1))
        before = time.strftime("%Y-%m-%d", time.gmtime(NOW - 3 * DAY))
        rows = [(["open"], 3, "stamp-revocation-unknown"), (["told"], 0, None),
                (["gone"], 1, "stamp-revoked"), (["gone", "--at", before], 1, "stamp-revoked")]
        for words, status, reason in rows:
            with self.subTest(words):
                code, document = self.verify(*words)
                self.assertEqual((code, document["reason"]), (status, reason))

        _, document = self.verify("weak", "--at", "2013-01-01")
        self.assertIn("stamp-weak", [finding["reason"] for finding in document["findings"]])

    def test_work_has_a_bound(self):
        """Whoever comes first is judged; the rest is not known, and nothing is bad."""
        slow = self.shop.new_key(option="ec_paramgen_curve:P-384")
        decoys = [self.party("Ann", self.root, number=self.ann.number, key=slow, end=NOW + (n + 1) * DAY)
                  for n in range(31)]
        value = lambda v: signer(self.ann, v, attributes=[digest_attribute(v)])
        one = signer(self.ann, CONTENT, unsigned=lambda v: [
            attribute(SIGNATURE_STAMP, stamp(self.clock, v, NOW - HOUR)),
            attribute(evidence.COUNTERSIGNATURE, value(v))])
        self.write("m", self.signed(*[one] * 60, who=[*decoys, self.ann]))
        for words, status, reason in ([], 0, None), (["--all"], 3, "too-many-candidates"):
            code, document = self.verify("m", *words)
            self.assertEqual((code, document["reason"]), (status, reason))
        last = document["signers"][-1]
        self.assertEqual((last["reason"], last["stamps"][0]["reason"], last["chain"]),
                         ("too-many-candidates", "stamp-untrusted", None))

    def test_mail(self):
        self.write("in", b"one\ntwo\n\nthree")
        self.make_certificate("rsa", "rita")
        self.ctl("trust", "rita.pem")
        self.openssl("cms", "-sign", "-text", "-in", "in", "-signer", "rita.pem", "-inkey",
                     "rita.key", "-out", "m")
        mail = self.read("m")
        boundary = re.search(rb'boundary="(.*)"', mail)[1]
        mark, kind = b"--" + boundary, b"multipart/signed"
        second = mail.index(mark, mail.index(mark) + 1)
        signed = b"Content-Type: text/plain\r\n\r\none\r\ntwo\r\n\r\nthree"
        rows = [
            ("as it is", mail, None),
            ("as sent", mail.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n"), None),
            ("no quotation marks", mail.replace(b'"' + boundary + b'"', boundary), None),
            ("a far second part", mail.replace(b"--" + boundary, b"-" * 99999 + b"\n--" + boundary, 1),
             None),
            ("altered", mail.replace(b"two", b"tvo"), "content-changed"),
            ("another header", mail.replace(b"text/plain", b"text/html"), "content-changed"),
            ("a third part", mail.replace(b"one", b"one\r\n" + mark), "malformed"),
            ("a third part, no close", mail.rstrip()[:-2] + b"\n\nPay Eve\n", "malformed"),
            ("a close first", mail.replace(mark + b"\n", mark + b"--\n", 1), "malformed"),
            ("a close second", mail[:second] + mail[second:].replace(mark + b"\n", mark + b"--\n", 1),
             "malformed"),
            ("blanks and text", mail[:second] + mail[second:].replace(mark, mark + b"    Pay Eve", 1),
             "malformed", True),
            ("a boundary between CR alone", mail.replace(mark, b"\r" + mark + b"\r\rPay Eve\n" + mark,
             1), "malformed", True),
            ("text behind the close", mail + b"Pay Eve\n", None),
            ("text of a kind", mail.replace(kind, b'text/html; x="multipart/signed"', 1), "malformed"),
            ("parts of another kind", mail.replace(kind, b'multipart/mixed; x="multipart/signed"', 1),
             "malformed"),
            ("two types", b"Content-Type: text/html\n" + mail, "malformed"),
            ("two boundaries", mail.replace(kind, kind + b"; boundary=y", 1), "malformed", None),
            ("another's boundary", mail.replace(kind, kind + b'; xboundary="y"; z="; boundary=y"', 1), None),
            ("a folded type", mail.replace(kind + b";", b"MultiPart/Signed;\n\t", 1), None),
            ("an empty line first", b"\n" + mail, "malformed"),
            ("a long header", b"X: y\n" * 20000 + mail, None),
            ("a longer one", b"X: y\n" * 220000 + mail, "no-signature", None),
            ("cut", mail[:-len(boundary) - 9], "malformed"),
        ]
        for title, text, reason, *other in rows:
            with self.subTest(title):
                self.write("m", text)
                _, document = self.verify("m", "--output", "out")
                self.assertEqual(document["reason"], reason)
                if reason is None:
                    self.assertEqual(self.read("out"), signed)
                said = self.openssl("cms", "-verify", "-in", "m", "-CAfile", "rita.pem", "-purpose",
                                    "any", "-out", "plain", status=None)[0] == 0
                if other != [None]:
                    self.assertEqual(said, other[0] if other else reason is None)

    def test_mail_about_something_else(self):
        for title, second in (("a message", self.signed()), ("a token", stamp(
                self.clock, CONTENT, NOW - HOUR, lists=[self.clean])), ("an answer", response(
                    0, stamp(self.clock, CONTENT, NOW - HOUR, lists=[self.clean])))):
            with self.subTest(title):
                self.write("in", CONTENT)
                self.write("m", b'Content-Type: multipart/signed; boundary="x"\n\n--x\n\nPay Eve\n--x\n'
                           b"Content-Transfer-Encoding: base64\n\n"
                           + base64.encodebytes(second) + b"--x--\n")
                for words in ([], ["--content", "in"]):
                    status, document = self.verify("m", *words)
                    self.assertEqual((status, document["reason"]), (1, "part-not-signed"))

    def test_bad_command_lines(self):
        self.write("m", self.signed())
        self.write("two.pem", self.read("root.pem") * 2)
        for words in (["m", "m", "--json"], ["m", "--json", "--jsonl"], ["m", "m", "--output", "o"],
                      ["m", "--at", "soon"], ["m", "--signer", ""], ["m", "--signer", "two.pem"], ["m", "--content", "m", "--dir", "."], [],
                      *(["m", option, ""] for option in ("--content", "--dir", "--output", "--report")),
                      ["m", "--at", "2026-01-01", "--at", "2026-01-02"]):
            with self.subTest(words):
                done = self.run_message("verify", *words)
                self.assertEqual((done.returncode, done.stdout), (2, b""), done.stderr)


class Run(MessageCase):
    def test_lists_of_the_message_come_last(self):
        web = Web(self)
        names = der(0xA0, der(0xA0, der(0x86, web.address("list").encode())))
        point = evidence.extension("2.5.29.31", sequence(sequence(names)))
        gone = self.party("Gone", self.root, uses=[*SIGNING, point])
        web.pages["/list"] = self.root.revoke((gone, NOW - 20 * DAY))
        over = self.root.revoke(start=NOW - 22 * DAY, end=NOW - 8 * DAY)
        held = self.root.revoke(start=NOW - 22 * DAY, end=NOW + 8 * DAY)
        self.write("over", self.stamped(NOW - 10 * DAY, gone, lists=[over, self.clean]))
        self.write("held", self.signed(signer(gone, CONTENT), who=[gone], lists=[held]))
        rows = [(["held", "--offline"], 0, None), (["held"], 1, "revoked"),
                (["over"], 1, "revoked"), (["held", "--offline"], 1, "revoked")]
        for words, status, reason in rows:
            with self.subTest(words):
                code, (document,) = self.documents("verify", *words)
                self.assertEqual((code, document["reason"]), (status, reason))
        self.assertEqual(web.asked, ["/list"])

    def test_a_responder_tells_of_those_that_ended(self):
        web = Web(self)
        place = sequence(oid("1.3.6.1.5.5.7.48.1"), der(0x86, web.address("ocsp").encode()))
        gone = self.party("Gone", self.root, end=NOW - DAY, uses=[*SIGNING, evidence.extension(
            "1.3.6.1.5.5.7.1.1", sequence(place), False)])
        at = lambda when: der(0x18, time.strftime("%Y%m%d%H%M%SZ", time.gmtime(when)).encode())
        subject = evidence.name("Root")
        public = self.shop.run("openssl", "pkey", "-in", self.root.key, "-pubout", "-outform", "DER")
        names = [octets(hashlib.sha1(part).digest()) for part in (subject, elements(take(public)[1])[1][1][1:])]
        self.write("m", self.stamped(NOW - 2 * DAY, gone))
        for cutoff, status, reason in ((None, 3, "revocation-unknown"), (NOW - HOUR, 3, "revocation-unknown"),
                                       (NOW - 2 * DAY, 0, None)):
            with self.subTest(cutoff):
                more = b"" if cutoff is None else der(0xA1, sequence(evidence.extension(
                    "1.3.6.1.5.5.7.48.1.6", at(cutoff), False)))
                single = sequence(sequence(sequence(oid(evidence.SHA1)), *names, integer(gone.number)),
                                  der(0x80), at(NOW - HOUR), der(0xA0, at(NOW + DAY)), more)
                basic = self.root.seal(sequence(der(0xA1, subject), at(NOW - HOUR), sequence(single)))
                web.pages["/ocsp"] = sequence(der(0x0A, b"\0"), der(0xA0, sequence(
                    oid("1.3.6.1.5.5.7.48.1.1"), octets(basic))))
                self.ctl("cache", "clear")
                code, (document,) = self.documents("verify", "m")
                self.assertEqual((code, document["reason"]), (status, reason), document["findings"])

    def test_pages_agree(self):
        with open(os.path.join(ROOT, "docs/verdicts.md"), encoding="utf-8") as file:
            page = file.read()
        with open(os.path.join(ROOT, "kestrelctl/message/reasons.cpp"), encoding="utf-8") as file:
            rows = re.findall(r'\{\w+,\s*"([a-z-]+)",\s*(\w+),\s*Check::(\w+),\s*"([^"]+)"', file.read())
        told = re.findall(r"^\| `([a-z-]+)` \| (bad|indeterminate) \| (\w+) \| (.+) \|$", page, re.M)
        self.assertEqual(told, [(word, verdict.lower(), check.lower(), text)
                                for word, verdict, check, text in rows])
        schema = self.schemas["verify"].schema["definitions"]
        self.assertEqual([row[0] for row in told], schema["reason"]["enum"])
        self.assertEqual({row[2] for row in told}, set(schema["check"]["enum"]))
        def members(part):
            inside = part.values() if isinstance(part, dict) else part if isinstance(part, list) else []
            named = set(part.get("properties", ())) if isinstance(part, dict) else set()
            return named.union(*map(members, inside))
        self.assertEqual({name for name in members(schema) if f"`{name}`" not in page}, set())
        example = json.loads(re.search(r"^```json\n(.*?)^```", page, re.M | re.S)[1])
        self.assertTrue(self.schemas["verify"].is_valid(example))


class Shown(MessageCase):
    def test_kinds_and_forms(self):
        self.write("in", CONTENT)
        self.make_certificate("rsa", "rita")
        self.openssl("crl2pkcs7", "-nocrl", "-certfile", "rita.pem", "-outform", "DER", "-out", "c.p7")
        self.write("token", stamp(self.clock, CONTENT, NOW))
        self.write("answer", response(0, self.read("token")))
        key = ["-secretkey", "00112233445566778899aabbccddeeff"]
        kinds = {
            "enveloped": ["-encrypt", "-in", "in", "-aes256", "rita.pem"],
            "authenticated-enveloped": ["-encrypt", "-in", "in", "-aes-256-gcm", "rita.pem"],
            "encrypted": ["-EncryptedData_encrypt", "-in", "in", "-aes128", *key],
            "digested": ["-digest_create", "-in", "in"], "data": ["-data_create", "-in", "in"],
            "signed": ["-sign", "-in", "in", "-nodetach", "-signer", "rita.pem", "-inkey", "rita.key"],
        }
        rows = [("c.p7", "certificates", "DER"), ("token", "time-stamp-token", "DER"),
                ("answer", "time-stamp-response", "DER")]
        for kind, words in kinds.items():
            for form, option in (("DER", []), ("PEM", []), ("S/MIME", []), ("DER", ["-stream"])):
                file = f"{kind}-{len(rows)}"
                self.openssl("cms", *words[:1], "-binary", "-outform", form.replace("/", ""), *option,
                             "-out", file, *words[1:])
                rows.append((file, kind, form))
        self.openssl("base64", "-in", rows[3][0], "-out", "text")
        rows.append(("text", "enveloped", "BASE64"))
        for file, kind, form in rows[-1:] + [row for row in rows if row[2] == "PEM"]:
            for code, mark in (("utf-16-le", b""), ("utf-16-be", b""), ("utf-16-le", b"\xff\xfe"),
                               ("utf-16-be", b"\xfe\xff"), ("utf-8", b"\xef\xbb\xbf")):
                rows.append((f"{file}-{code}{len(mark)}", kind, form))
                self.write(rows[-1][0], mark + self.read(file).decode().encode(code))
        for file, kind, form in rows:
            with self.subTest((file, kind, form)):
                status, (document,) = self.documents("show", file)
                self.assertEqual((status, document["kind"], document["form"]), (0, kind, form))
                self.assertEqual(document["size"], os.path.getsize(self.path(file)))
                self.assertIn(f"kind: {kind}\n".encode(), self.run_message("show", file).stdout)
        _, (document,) = self.documents("show", "enveloped-3")
        self.assertEqual(document["recipients"][0]["identifier"]["issuer"], "CN=rita")
        self.assertEqual(document["content"]["algorithm"]["name"], "AES-256-CBC")

    def test_attributes(self):
        told = [attribute("1.2.840.113549.1.9.16.2.15", sequence(oid("1.2.3.4"), sequence())),
                attribute("1.2.840.113549.1.9.16.2.16", sequence(oid("1.2.840.113549.1.9.16.6.5"))),
                attribute(evidence.SIGNING_TIME, moment(1700000000)), attribute("1.2.3", octets(b"x"))]
        self.write("m", self.signed(signer(self.ann, CONTENT, told, unsigned=lambda value: [attribute(
            evidence.COUNTERSIGNATURE, signer(self.clock, value, bare=True), octets(b"damaged"))])))
        _, (document,) = self.documents("show", "m")
        found = {one["type"]["name"] or one["type"]["oid"]: [v["decoded"] for v in one["values"]]
                 for part in ("signedAttributes", "unsignedAttributes")
                 for one in document["signers"][0][part]}
        number = "%02x" % self.clock.number
        self.assertEqual(found, {
            "content type": ["data (1.2.840.113549.1.7.1)"], "signature policy": ["1.2.3.4"],
            "message digest": [hashlib.sha256(CONTENT).hexdigest()], "1.2.3": [None],
            "commitment type": ["proof of approval (1.2.840.113549.1.9.16.6.5)"],
            "signing time": ["2023-11-14T22:13:20Z"],
            "countersignature": [None, f"number {number} of CN=Root"]})

    def test_recipients(self):
        """Of each kind, as the openssl command makes them; the last by hand."""
        self.write("in", CONTENT)
        for kind in ("rsa", "ec"):
            self.make_certificate(kind, kind)
        self.openssl("cms", "-encrypt", "-in", "in", "-outform", "DER", "-out", "m", "-aes256",
                     "-secretkey", "0011" * 8, "-secretkeyid", "0a0b0c", "-pwri_password", "secret",
                     "rsa.pem", "ec.pem")
        sender = sequence(oid("1.2.840.10045.2.1"), oid("1.3.132.0.34"))
        agreement = lambda originator: der(0xA1, integer(3), der(0xA0, originator), sequence(
            oid("1.3.132.1.11.1"), sequence(oid("2.16.840.1.101.3.4.1.45"))), sequence(sequence(
                self.ann.identifier(), octets(b"key"))))
        others = [agreement(der(0xA1, sender, der(0x03, b"\0key"))), agreement(der(0x80, b"\1\2")),
                  agreement(self.ann.identifier()), der(0xA4, oid("1.2.3.4"), octets(b"x")),
                  der(0xA2, octets(b"damaged"))]
        sent = der(0xA0, der(0xA0, self.ann.certificate), der(0xA1, self.clean))
        body = sequence(integer(2), sent, der(0x31, *others), sequence(oid(evidence.DATA), sequence(
            oid("2.16.840.1.101.3.4.1.42"), octets(bytes(16))), der(0x80, bytes(16))),
                        der(0xA1, attribute("1.2.643.7.1.0.6.1.1", octets(b"\1\2"))))
        self.write("h", sequence(oid("1.2.840.113549.1.7.3"), der(0xA0, body)))
        ecdh = ("ECDH, SHA-256", "AES-256 key wrap", None)
        rows = {
            "m": [("key-transport", "CN=rsa", "RSA", None, None, None, None),
                  ("key-agreement", "CN=ec", "ECDH, SHA-1", "AES-256 key wrap", None, "key", None),
                  ("shared-key", "0a0b0c", "AES-128 key wrap", None, None, None, None),
                  ("password", None, "PWRI-KEK", "AES-256-CBC", "PBKDF2", None, None)],
            "h": [("key-agreement", "CN=Root", *ecdh, "key", None),
                  ("key-agreement", "CN=Root", *ecdh, "key-identifier", None),
                  ("key-agreement", "CN=Root", *ecdh, "issuer-and-serial", None),
                  ("other", None, None, None, None, None, "1.2.3.4"),
                  ("shared-key", None, None, None, None, None, None)],
        }
        named = lambda value, member="name": value and value[member]
        for file, wanted in rows.items():
            _, (document,) = self.documents("show", file)
            found = [(one["kind"], one["identifier"] and (one["identifier"]["issuer"] or one[
                "identifier"]["keyIdentifier"]), *(named(one[member]) for member in (
                    "keyEncryption", "keyWrap", "keyDerivation")), named(one["originator"], "by"),
                      named(one["type"], "oid")) for one in document["recipients"]]
            self.assertCountEqual(found, wanted)
        self.assertEqual([document[part][0][member] for part, member in (
            ("certificates", "subject"), ("crls", "issuer"))], ["CN=Ann", "CN=Root"])
        self.assertEqual([v["decoded"] for v in document["unprotectedAttributes"][0]["values"]], ["0102"])
        first, second = [document["recipients"][i]["originator"] for i in (0, 1)]
        self.assertEqual((first["algorithm"]["name"], first["curve"]["name"]), ("elliptic curve", "P-384"))
        self.assertEqual(second["identifier"]["keyIdentifier"], "0102")

    def test_strangers_text_is_escaped(self):
        eve = self.party('</script>"\x1b[2J\u202e<b>', self.root)
        self.write("m", self.signed(signer(eve, CONTENT), who=[eve]))
        for words in (["show", "m"], ["verify", "m"], ["verify", "m", "--jsonl"], ["show", "m", "--json"]):
            with self.subTest(words):
                shown = self.run_message(*words).stdout
                self.assertNotRegex(shown, b"[\x00-\x09\x0b-\x1f\x7f]")
                self.assertNotIn("\u202e".encode(), shown)
