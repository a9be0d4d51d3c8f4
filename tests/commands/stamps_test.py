"""-sd and -ss: stamps asked for, refused, put into messages and checked."""

import hashlib
import os
import subprocess
import time

import tokens
from kestrel_case import KESTREL, OK, closing
from stamp_case import HASH, POLICY, StampCase

GETTING = b"Getting time stamp..."


class Stamps(StampCase):
    def test_every_answer_that_is_good(self):
        for name in ("good", "explicit-hash", "first-form", "both-forms", "cert-values",
                     "ocsp-among-crls", "mods", "leading-zero", "harmless-extension"):
            for key in ("-sd", "-ss"):
                with self.subTest(answer=name, key=key):
                    body = self.sign(key + self.service.url(name))
                    self.assertIn(GETTING + b"OK.\n", body)
                    body = self.succeed("-verify", "-nochain", key + "1", "out", "back")
                    self.assertIn(b"Verifying time stamp...OK.\n", body)
                    self.assertEqual(self.read("back"), self.read("in"))

    def test_every_answer_that_is_refused(self):
        result = 0x80070000
        rows = {
            "no-nonce": 0xC2100120, "wrong-nonce": 0xC2100120, "wrong-imprint": 0x80091007,
            "two-signers": 0x80090006, "forged": 0x80090006, "critical": 0x800B0105,
            "other-type": 0x8009310B, "no-certificate": 0x80092004, "no-form": 0x80092004,
            "other-form": result | 11, "empty-grant": result | 5023,
            "rejected": 0xC2100124, "status-7": 0x80004005,
            "broken": 0xC2100100, "not-critical": 0x800B0110, "more-uses": 0x800B0110,
            "no-use": 0x800B0110, "key-usage": 0x800B0106,
        }
        for name, code in rows.items():
            with self.subTest(answer=name):
                for key in ("-sd", "-ss"):
                    self.write("old", b"old")
                    body = self.sign(key + self.service.url(name), out="new", code=code)
                    self.assertTrue(body.endswith(b" (0x%X)\n" % code + closing(code)), body)
                    # The content's stamp comes first, so that nothing was written.
                    self.assertEqual(os.path.exists(self.path("new")), key == "-ss")
                    if key == "-ss":
                        os.remove(self.path("new"))

    def test_time_counts_without_a_nonce(self):
        for accuracy, name, code in (("", "stale", 0xC2100122), ("", "no-nonce", 0),
                                     # Old enough; now the service's certificate is too young.
                                     ('"StampAccuracy"=dword:0007a120', "stale", 0x800B0101)):
            with self.subTest(accuracy=accuracy, answer=name):
                self.policy(f'"DefaultHashAlg"="{HASH}"', '"UseNonceByDefault"=dword:00000000',
                            accuracy)
                self.sign("-sd" + self.service.url(name), code=code)

    def test_policy_decides_before_any_traffic(self):
        good = self.service.url("good")
        base = f'"DefaultHashAlg"="{HASH}"'
        rows = (
            ("no address", (base,), (), "", 0xC2100121),
            ("allowed", (base, '"AllowedTSPsSetted"=dword:00000001'), [("AllowedTSPs", [good])], good, 0),
            ("in other letters", (base, '"AllowedTSPsSetted"=dword:00000001'),
             [("AllowedTSPs", [good.upper()])], good, 0xC2100103),
            ("hash denied", (base, '"HashAlgsDeniedSetted"=dword:00000001'),
             [("HashAlgsDenied", [HASH])], good, 0xC2100110),
            ("anonymous denied", (base, '"AuthDenyAnonym"=dword:00000001'), (), good, 0xC2100101),
            ("anonymous denied on https alone", (base, '"AuthSSLDenyAnonym"=dword:00000001'), (), good, 0),
            ("nonce denied", (base, '"DisableNonce"=dword:00000001'), (), good, 0xC2100104),
            ("policy denied", (base, '"DefaultPolicyID"="1.2.3.4.6"', '"DisablePolicyID"=dword:00000001'),
             (), good, 0xC2100111),
        )
        for name, lines, lists, url, code in rows:
            with self.subTest(name):
                self.policy(*lines, lists=lists)
                before = len(self.service.seen)
                self.sign("-sd" + url, code=code)
                self.assertEqual(len(self.service.seen) - before, 0 if code else 1)

    def test_what_goes_over_the_wire(self):
        self.policy(f'"DefaultHashAlg"="{HASH}"', '"DefaultPolicyID"="1.2.3.4.6"')
        for more, cert_req in (((), True), (("-nostampcert",), False)):
            self.ctl("store", "add", "AddressBook", f"{self.shared.folder}/tsa.pem")
            self.sign("-sd" + self.service.url("good?x=1"), "-ss" + self.service.url("good?x=2"), *more)
            (path, headers, first), (other, _, second) = self.service.seen[-2:]
            self.assertEqual((path, other), ("/good?x=1", "/good?x=2"))
            self.assertEqual(headers["Content-type"], "application/timestamp-query")
            self.assertEqual(headers["User-Agent"], "Ferro-Line stamper.dll")
            asked = tokens.Request(first)
            self.assertEqual(asked.imprint, hashlib.sha256(self.read("in")).digest())
            self.assertEqual(asked.cert_req, cert_req)
            self.assertGreater(asked.nonce, 0)
            self.assertNotEqual(asked.nonce, tokens.Request(second).nonce)

    def test_openssl_accepts_both_stamps(self):
        self.sign("-sd" + self.service.url("good"), "-ss")
        printed = self.cms_printed("out")
        self.assertIn(b"id-smime-aa-ets-contentTimestamp", printed)
        self.assertIn(b"id-smime-aa-timeStampToken", printed)
        message = self.read("out")
        signature = None
        for marker, data in ((tokens.oid("1.2.840.113549.1.9.16.2.20"), self.read("in")),
                             (tokens.oid("1.2.840.113549.1.9.16.2.14"), None)):
            behind = message[message.index(marker) + len(marker):]
            token = tokens.elements(tokens.take(behind)[1])[0][2]
            self.write("token", token)
            if data is None:
                # The signature stands in front of the unsigned attributes.
                head = message[:message.index(marker)]
                at = head.rindex(b"\x04\x82\x01\x00")
                data = signature = head[at + 4:at + 260]
            self.write("data", data)
            self.openssl("ts", "-verify", "-in", "token", "-token_in", "-data", "data", "-CAfile",
                         f"{self.shared.folder}/ca.pem", "-untrusted",
                         f"{self.shared.folder}/tsa.pem")
        self.assertEqual(len(signature), 256)

    def test_hours_and_content_are_checked(self):
        self.sign("-sd", "-ss" + self.service.url("good"))
        for hours, code in (("", 0), ("1", 0), ("0", 0x200001FA), ("abc", 0x200001FA)):
            for key in ("-sd", "-ss"):
                with self.subTest(hours=hours, key=key):
                    self.fail_with(code, "-verify", "-nochain", key + hours, "out", "back")

    def test_old_stamps_by_the_hour(self):
        # Tokens of other times, put into a message by openssl's own hand.
        for minutes, hours, good in ((69, "1", True), (71, "1", False), (-9, "1", True),
                                     (-11, "1", False), (71, "2", True), (71, "", True)):
            with self.subTest(minutes=minutes, hours=hours):
                content = tokens.tst_info(hashlib.sha256(self.read("in")).digest(),
                                          when=time.time() - minutes * 60)
                self.check_token(content, hours, 0 if good else 0x200001FA)

    def test_old_hashes_are_known(self):
        names = {"md5": "1.2.840.113549.2.5", "ripemd160": "1.3.36.3.2.1",
                 "sha224": "2.16.840.1.101.3.4.2.4", "sha1": "1.3.14.3.2.26"}
        for name, oid in names.items():
            with self.subTest(name):
                _, digest = self.openssl("dgst", "-" + name, "-binary", "in")
                self.check_token(tokens.tst_info(digest, hash_oid=oid), "", 0)
                self.check_token(tokens.tst_info(digest[::-1], hash_oid=oid), "", 0x200001FA)

    def check_token(self, content, hours, code):
        signer = tokens.Signer(self.shared.folder, "tsa")
        info = tokens.signer_info(signer, content, [tokens.ess_v2(signer.certificate)])
        self.write("stamp", tokens.set_of(tokens.token(content, [info], [signer.certificate])))
        self.write("value", tokens.token(content, [info], [signer.certificate]))
        self.sign("-authattr", "1.2.840.113549.1.9.16.2.20,value")
        self.fail_with(code, "-verify", "-nochain", "-sd" + hours, "out", "back")

    def test_whole_tokens_when_the_administrator_wants_them(self):
        self.sign("-sd" + self.service.url("good"))
        with open(self.path("machine/registry.reg"), "a", encoding="utf-8") as file:
            file.write("\n[HKEY_LOCAL_MACHINE\\Software\\Kestrel\\Platform]\n"
                       '"VerifyTokens"=dword:00000001\n')
        self.succeed("-verify", "-nochain", "-sd", "out", "back")
        listed = self.ctl("store", "list", "Root", "--json", "--machine")
        self.assertIn(b"Stamp Root", listed)
        os.remove(self.path("machine/stores.db"))
        body = self.fail_with(0x200001FA, "-verify", "-nochain", "-sd", "out", "back")
        self.assertIn(b"(0x800B010A)", body)

    def test_batch_and_added_signatures(self):
        url = self.service.url("good")
        self.succeed("-signf", "-dn", "Signer", "-nochain", "-cert", "-ss" + url, "in")
        self.sign()
        self.succeed("-addsign", "-dn", "Signer", "-nochain", "-sd" + url, "-ss", "out")
        body = self.succeed("-verify", "-nochain", "-sd1", "-ss1", "out", "back")
        # The content's stamp is in the second signature, the other one on the first.
        self.assertEqual(body.count(b"Verifying time stamp...OK.\n"), 2)
        self.assertTrue(body.endswith(OK))

    def test_files_without_the_services_certificate(self):
        words = ("-signf", "-dn", "Signer", "-nochain", "-cert", "-nostampcert", "in",
                 "-sd" + self.service.url("good"), "-ss")
        body = self.fail_with(0x80092004, *words)
        self.assertIn(b"(0x80092004)", body)
        self.assertFalse(os.path.exists(self.path("in.sgn")))
        self.ctl("store", "add", "AddressBook", f"{self.shared.folder}/tsa.pem")
        self.assertEqual(self.succeed(*words).count(GETTING + b"OK.\n"), 2)
        self.assertEqual([tokens.Request(body).cert_req for _, _, body in self.service.seen[-2:]],
                         [False, False])
        self.succeed("-vsignf", "-nochain", "-dn", "Signer", "in")

    def test_large_content_is_refused_before_memory_is_taken(self):
        with open(self.path("large"), "wb") as file:
            file.truncate(3 << 30)
        for words in (("-sign", "large", "out"), ("-signf", "large"), ("-addsign", "large")):
            with self.subTest(words):
                before = len(self.service.seen)
                child = subprocess.Popen(
                    [KESTREL, *words, "-dn", "Signer", "-nochain", "-sd" + self.service.url("good")],
                    cwd=self.folder, env=self.env, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
                with child.stdout as output:
                    text = output.read()
                _, _, usage = os.wait4(child.pid, 0)
                child.returncode = 0
                self.assertIn(b"File is too large", text)
                self.assertTrue(text.endswith(closing(0x20000069)), text)
                self.assertLess(usage.ru_maxrss, 512 << 10)
                self.assertEqual(len(self.service.seen), before)
                self.assertFalse(os.path.exists(self.path("out")))

    def test_values_of_another_kind_are_named(self):
        for line, name, code in (('"StampAccuracy"="long"', b"StampAccuracy", 0x800700EA),
                                 ('"NonceLength"=hex(2):00,00', b"NonceLength", 0x8007000D),
                                 ('"DefaultProxy"=dword:00000001', b"DefaultProxy", 0x8007000D)):
            with self.subTest(line):
                self.policy(line)
                body = self.sign("-sd" + self.service.url("good"), code=code)
                self.assertIn(b": " + POLICY.encode() + b"\\" + name + b" (0x%X)\n" % code, body)
