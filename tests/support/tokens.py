"""Time-stamp tokens of any shape, good and bad, put together by hand (RFC 3161, RFC 5652).

Keys, certificates and signatures are the openssl command's; everything around them is DER that
is written here, so that a token may break any one rule.
"""

import hashlib
import os
import subprocess
import time

SHA256 = "2.16.840.1.101.3.4.2.1"
RSA = "1.2.840.113549.1.1.1"
SIGNED_DATA = "1.2.840.113549.1.7.2"
TST_INFO = "1.2.840.113549.1.9.16.1.4"
CONTENT_TYPE = "1.2.840.113549.1.9.3"
MESSAGE_DIGEST = "1.2.840.113549.1.9.4"
SIGNING_CERTIFICATE = "1.2.840.113549.1.9.16.2.12"
SIGNING_CERTIFICATE_V2 = "1.2.840.113549.1.9.16.2.47"
OTHER_SIGNING_CERTIFICATE = "1.2.840.113549.1.9.16.2.19"
CERT_VALUES = "1.2.840.113549.1.9.16.2.23"


def der(tag, *parts):
    body = b"".join(parts)
    if len(body) < 0x80:
        return bytes([tag, len(body)]) + body
    size = len(body).to_bytes((len(body).bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(size)]) + size + body


def sequence(*parts):
    return der(0x30, *parts)


def set_of(*parts):
    return der(0x31, *sorted(parts))


def integer(value):
    return der(0x02, value.to_bytes(value.bit_length() // 8 + 1, "big", signed=True))


def octets(value):
    return der(0x04, value)


def oid(text):
    arcs = [int(arc) for arc in text.split(".")]
    body = b""
    for arc in [arcs[0] * 40 + arcs[1], *arcs[2:]]:
        piece = bytes([arc & 0x7F])
        while arc := arc >> 7:
            piece = bytes([0x80 | arc & 0x7F]) + piece
        body += piece
    return der(0x06, body)


def algorithm(name, null=True):
    return sequence(oid(name), b"\x05\x00" if null else b"")


def attribute(name, *values):
    return sequence(oid(name), set_of(*values))


def take(data):
    """Tag, contents and rest of the first element, whose length may be open (X.690, 8.1.3.6)."""
    size, at = data[1], 2
    if size == 0x80:
        rest = data[at:]
        while rest[:2] != b"\0\0":
            rest = take(rest)[2]
        return data[0], data[at:len(data) - len(rest)], rest[2:]
    if size & 0x80:
        at += size & 0x7F
        size = int.from_bytes(data[2:at], "big")
    return data[0], data[at:at + size], data[at + size:]


def elements(data):
    found = []
    while data:
        tag, body, rest = take(data)
        found.append((tag, body, data[:len(data) - len(rest)]))
        data = rest
    return found


def issuer_and_serial(certificate):
    fields = elements(take(take(certificate)[1])[1])
    fields = [whole for tag, _, whole in fields if tag != 0xA0]
    return sequence(fields[2], fields[0])


class Signer:
    """A key and its certificate in a folder: name.key, name.pem, name.cer (DER)."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name
        with open(os.path.join(folder, name + ".cer"), "rb") as file:
            self.certificate = file.read()

    def sign(self, data):
        return subprocess.run(["openssl", "dgst", "-sha256", "-sign", self.name + ".key"],
                              cwd=self.folder, input=data, capture_output=True, check=True).stdout


def make_authority(folder, run):
    """`run(*words)` is the openssl command in the folder. Makes the root "ca" and below it the
    services "tsa", "other" (another name) and misfits, each with one rule of its use broken."""
    run("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out", "ca.pem",
        "-subj", "/CN=Stamp Root", "-days", "3650")
    issued = {
        "tsa": "extendedKeyUsage=critical,timeStamping\nkeyUsage=digitalSignature",
        "other": "extendedKeyUsage=critical,timeStamping",
        "not-critical": "extendedKeyUsage=timeStamping",
        "more-uses": "extendedKeyUsage=critical,timeStamping,codeSigning",
        "no-use": "",
        "key-usage": "extendedKeyUsage=critical,timeStamping\nkeyUsage=keyEncipherment",
    }
    for name, extensions in issued.items():
        with open(os.path.join(folder, name + ".ext"), "w", encoding="ascii") as file:
            file.write(extensions + "\n")
        run("req", "-new", "-newkey", "rsa:2048", "-nodes", "-keyout", name + ".key", "-out",
            name + ".req", "-subj", "/CN=Service " + name)
        run("x509", "-req", "-in", name + ".req", "-CA", "ca.pem", "-CAkey", "ca.key", "-days",
            "3000", "-CAcreateserial", "-extfile", name + ".ext", "-out", name + ".pem")
    for name in ["ca", *issued]:
        run("x509", "-in", name + ".pem", "-outform", "DER", "-out", name + ".cer")


def tst_info(imprint, hash_oid=SHA256, nonce=None, when=None, policy="1.2.3.4.5", extensions=b"",
             accuracy=b""):
    moment = time.strftime("%Y%m%d%H%M%SZ", time.gmtime(time.time() if when is None else when))
    return sequence(
        integer(1), oid(policy), sequence(algorithm(hash_oid), octets(imprint)), integer(1234567),
        der(0x18, moment.encode()), accuracy, b"" if nonce is None else integer(nonce),
        der(0xA1, extensions) if extensions else b"")


def ess_v1(certificate):
    return attribute(SIGNING_CERTIFICATE,
                     sequence(sequence(sequence(octets(hashlib.sha1(certificate).digest())))))


def ess_v2(certificate, explicit=False):
    """With the hash named though it is the default one, and its NULL: as many services do."""
    named = algorithm(SHA256) if explicit else b""
    return attribute(
        SIGNING_CERTIFICATE_V2,
        sequence(sequence(sequence(named, octets(hashlib.sha256(certificate).digest())))))


def ess_other(certificate):
    value = sequence(algorithm(SHA256, null=False), octets(hashlib.sha256(certificate).digest()))
    return attribute(OTHER_SIGNING_CERTIFICATE, sequence(sequence(sequence(value))))


def signer_info(signer, content, names, content_type=TST_INFO, unsigned=()):
    attributes = sorted([attribute(CONTENT_TYPE, oid(content_type)),
                         attribute(MESSAGE_DIGEST, octets(hashlib.sha256(content).digest())),
                         *names])
    signature = signer.sign(der(0x31, *attributes))
    return sequence(integer(1), issuer_and_serial(signer.certificate), algorithm(SHA256),
                    der(0xA0, *attributes), algorithm(RSA), octets(signature),
                    der(0xA1, *sorted(unsigned)) if unsigned else b"")


def token(content, signer_infos, certificates=(), content_type=TST_INFO, crls=()):
    signed = sequence(
        integer(3), set_of(algorithm(SHA256)),
        sequence(oid(content_type), der(0xA0, octets(content))),
        der(0xA0, *certificates) if certificates else b"", der(0xA1, *crls) if crls else b"",
        set_of(*signer_infos))
    return sequence(oid(SIGNED_DATA), der(0xA0, signed))


def response(status, body=b"", text=None, fail_bit=None):
    words = sequence(der(0x0C, text.encode())) if text is not None else b""
    bits = b"" if fail_bit is None else der(0x03, bytes([7 - fail_bit % 8]) +
                                            bytes(fail_bit // 8) + bytes([0x80 >> fail_bit % 8]))
    return sequence(sequence(integer(status), words, bits), body)


class Request:
    """What a TimeStampReq asks for."""

    def __init__(self, data):
        fields = elements(take(data)[1])
        hashed = elements(fields[1][1])
        self.imprint = hashed[1][1]
        self.nonce = None
        self.cert_req = False
        for tag, body, _ in fields[2:]:
            if tag == 0x02:
                self.nonce = int.from_bytes(body, "big", signed=True)
            elif tag == 0x01:
                self.cert_req = body != b"\x00"
