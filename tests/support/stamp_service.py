"""A time-stamp service on 127.0.0.1 for tests: the openssl command behind a small HTTP server,
and every answer that a client has to refuse, chosen by the path of the address.

    with StampService(folder, openssl) as service:
        service.url("good")
"""

import hashlib
import subprocess
import threading
import time

import loopback
import tokens

CONFIG = """[tsa]
default_tsa = it
[it]
serial = serial
default_policy = 1.2.3.4.5
other_policies = 1.2.3.4.6
digests = md5,sha1,sha224,sha256,sha384,sha512,ripemd160
signer_digest = sha256
ess_cert_id_alg = sha256
ess_cert_id_chain = no
accuracy = secs:1
"""


def write_config(folder):
    """What `openssl ts -reply` reads in the authority's folder."""
    for name, text in (("tsa.cnf", CONFIG), ("serial", "01")):
        with open(f"{folder}/{name}", "w", encoding="ascii") as file:
            file.write(text)


class Answers:
    """One method for each path: from the request's bytes to status, body and headers."""

    def __init__(self, folder):
        self.folder = folder
        self.lock = threading.Lock()

    def signer(self, name="tsa"):
        return tokens.Signer(self.folder, name)

    def good(self, body):
        with self.lock:
            with open(f"{self.folder}/query", "wb") as file:
                file.write(body)
            done = subprocess.run(
                ["openssl", "ts", "-reply", "-config", "tsa.cnf", "-section", "it", "-signer",
                 "tsa.pem", "-inkey", "tsa.key", "-queryfile", "query"],
                cwd=self.folder, capture_output=True, check=False)
        return 200, done.stdout

    def build(self, body, name="tsa", names=None, **changes):
        request = tokens.Request(body)
        fields = {"imprint": request.imprint, "nonce": request.nonce}
        extra = {key: changes.pop(key) for key in ("content_type", "unsigned") if key in changes}
        certificates = changes.pop("certificates", None)
        crls = changes.pop("crls", ())
        count = changes.pop("signers", 1)
        fields.update(changes)
        content = tokens.tst_info(**fields)
        signer = self.signer(name)
        names = [tokens.ess_v2(signer.certificate)] if names is None else names(signer.certificate)
        infos = [tokens.signer_info(signer, content, names, **extra)]
        if count == 2:
            infos.append(tokens.signer_info(self.signer("other"), content, names, **extra))
        certificates = [signer.certificate] if certificates is None else certificates
        return tokens.token(content, infos, certificates, extra.get("content_type",
                                                                    tokens.TST_INFO), crls)

    def granted(self, *args, **changes):
        return 200, tokens.response(0, self.build(*args, **changes))

    def explicit_hash(self, body):
        return self.granted(body, names=lambda c: [tokens.ess_v2(c, explicit=True)])

    def first_form(self, body):
        return self.granted(body, names=lambda c: [tokens.ess_v1(c)])

    def both_forms(self, body):
        return self.granted(body, names=lambda c: [tokens.ess_v1(c), tokens.ess_v2(c)])

    def other_form(self, body):
        return self.granted(body, names=lambda c: [tokens.ess_other(c)])

    def no_form(self, body):
        return self.granted(body, names=lambda c: [])

    def cert_values(self, body):
        """The certificate comes in an attribute alone."""
        values = tokens.attribute(tokens.CERT_VALUES,
                                  tokens.sequence(self.signer().certificate))
        return self.granted(body, certificates=[], unsigned=[values])

    def ocsp_among_crls(self, body):
        """[1] of RevocationInfoChoices: an answer of OCSP (RFC 5940)."""
        answer = tokens.der(0xA1, tokens.oid("1.3.6.1.5.5.7.16.2"),
                            tokens.sequence(tokens.der(0x0A, b"\x06")))
        return self.granted(body, crls=[answer])

    def no_certificate(self, body):
        return self.granted(body, certificates=[])

    def mods(self, body):
        return 200, tokens.response(1, self.build(body))

    def leading_zero(self, body):
        """The nonce with a sign octet too many."""
        request = tokens.Request(body)
        nonce = request.nonce.to_bytes(8, "big")
        content = tokens.tst_info(request.imprint, nonce=request.nonce)
        padded = content.replace(tokens.integer(request.nonce), tokens.der(2, b"\0\0\0" + nonce))
        head = padded[2:] if padded[1] < 0x80 else padded[3:]
        content = tokens.der(0x30, head)
        signer = self.signer()
        info = tokens.signer_info(signer, content, [tokens.ess_v2(signer.certificate)])
        return 200, tokens.response(0, tokens.token(content, [info], [signer.certificate]))

    def wrong_nonce(self, body):
        return self.granted(body, nonce=tokens.Request(body).nonce ^ 1)

    def no_nonce(self, body):
        return self.granted(body, nonce=None)

    def stale(self, body):
        return self.granted(body, nonce=None, when=time.time() - 400)

    def wrong_imprint(self, body):
        return self.granted(body, imprint=hashlib.sha256(b"another").digest())

    def two_signers(self, body):
        return self.granted(body, signers=2)

    def critical(self, body):
        extension = tokens.sequence(tokens.oid("1.2.3.4"), b"\x01\x01\xff", tokens.octets(b"\5\0"))
        return self.granted(body, extensions=extension)

    def harmless_extension(self, body):
        extension = tokens.sequence(tokens.oid("1.2.3.4"), tokens.octets(b"\5\0"))
        return self.granted(body, extensions=extension)

    def other_type(self, body):
        return self.granted(body, content_type="1.2.840.113549.1.7.1")

    def not_critical(self, body):
        return self.granted(body, name="not-critical")

    def more_uses(self, body):
        return self.granted(body, name="more-uses")

    def no_use(self, body):
        return self.granted(body, name="no-use")

    def key_usage(self, body):
        return self.granted(body, name="key-usage")

    def forged(self, body):
        """A byte of the signature is another."""
        made = bytearray(self.build(body))
        made[-10] ^= 1
        return 200, tokens.response(0, bytes(made))

    def rejected(self, _):
        return 200, tokens.response(2, text="We are closed", fail_bit=2)

    def status_7(self, _):
        return 200, tokens.response(7)

    def empty_grant(self, _):
        return 200, tokens.response(0)

    def broken(self, _):
        return 500, b"broken"

class StampService:
    """Runs in a thread of the test, and ends with it. `seen` holds what was asked."""

    def __init__(self, folder, openssl):
        tokens.make_authority(folder, openssl)
        write_config(folder)
        self.answers = Answers(folder)
        self.seen = []

    def __enter__(self):
        service = self

        class Handler(loopback.Handler):
            def serve(self):
                body = self.body_of_request()
                service.seen.append((self.path, dict(self.headers), body))
                name = self.path.split("?")[0].strip("/").replace("-", "_")
                status, answer, *headers = getattr(service.answers, name)(body)
                self.answer(status, [*headers, ("Content-Type", "application/timestamp-reply")],
                            answer)

            do_GET = do_POST = serve

        self.server = loopback.Server(Handler)
        self.server.start()
        return self

    def __exit__(self, *_):
        self.server.close()

    def url(self, name):
        return self.server.address(name)
