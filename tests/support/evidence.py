"""Certificates, lists and signed messages of any shape, put together by hand: any name, number,
date and attribute, so that a message may lie about any one thing. Keys and signatures are the
openssl command's, DER is written here and in tokens.py."""

import hashlib
import os
import subprocess
import time

from tokens import (CONTENT_TYPE, MESSAGE_DIGEST, SHA256, SIGNED_DATA, algorithm, attribute, der,
                    integer, octets, oid, sequence, set_of, tst_info)

ECDSA = "1.2.840.10045.4.3.2"
SHA1 = "1.3.14.3.2.26"
DATA = "1.2.840.113549.1.7.1"
SIGNING_TIME = "1.2.840.113549.1.9.5"
COUNTERSIGNATURE = "1.2.840.113549.1.9.6"
SIGNATURE_STAMP = "1.2.840.113549.1.9.16.2.14"
CONTENT_STAMP = "1.2.840.113549.1.9.16.2.20"
HOUR, DAY = 3600, 86400
NOW = int(time.time())


def moment(seconds):
    return der(0x17, time.strftime("%y%m%d%H%M%SZ", time.gmtime(seconds)).encode())


def name(text):
    """Common names, from the uppermost down."""
    return sequence(*(set_of(sequence(oid("2.5.4.3"), der(0x0C, one.encode())))
                      for one in ([text] if isinstance(text, str) else text)))


def extension(number, value, critical=True):
    return sequence(oid(number), b"\x01\x01\xff" if critical else b"", octets(value))


def key_usage(bits):
    return extension("2.5.29.15", der(0x03, bytes([0, bits])))


AUTHORITY = [extension("2.5.29.19", sequence(b"\x01\x01\xff")), key_usage(0x06)]
SIGNING = [key_usage(0x80)]
STAMPING = [extension("2.5.29.37", sequence(oid("1.3.6.1.5.5.7.3.8"))), key_usage(0x80)]


def key_identifier(value):
    return extension("2.5.29.14", octets(value), critical=False)


class Party:
    """A key, and whoever it is said to belong to. It seals by `algorithm`, as `sealing` tells
    the openssl command."""
    algorithm = algorithm(ECDSA, null=False)
    sealing = ("-sha256",)

    def __init__(self, shop, subject, issuer=None, number=None, uses=(), start=NOW - 300 * DAY,
                 end=NOW + 300 * DAY, key=None, public=None):
        self.shop, self.subject, self.issuer = shop, subject, issuer or self
        self.key = key or shop.new_key()
        shop.count += 1
        self.number = number or shop.count
        public = public or shop.run("openssl", "pkey", "-in", self.key, "-pubout", "-outform", "DER")
        body = sequence(
            der(0xA0, integer(2)), integer(self.number), self.issuer.algorithm,
            name(self.issuer.subject), sequence(moment(start), moment(end)), name(subject), public,
            der(0xA3, sequence(*uses)) if uses else b"")
        self.certificate = self.issuer.seal(body)

    def sign(self, data, digest="sha256"):
        return self.shop.run("openssl", "dgst", f"-{digest}", "-sign", self.key, stdin=data)

    def seal(self, body):
        value = self.shop.run("openssl", "dgst", *self.sealing, "-sign", self.key, stdin=body)
        return sequence(body, self.algorithm, der(0x03, b"\0" + value))

    def revoke(self, *entries, start=NOW - HOUR, end=NOW + DAY, more=()):
        """A list of (party, time) with extensions behind, in force now unless told otherwise, and
        `more` of its own."""
        rows = [sequence(integer(who.number), moment(when), *more) for who, when, *more in entries]
        return self.seal(sequence(
            integer(1), self.algorithm, name(self.subject), moment(start),
            moment(end) if end else b"", sequence(*rows) if rows else b"",
            der(0xA0, sequence(*more)) if more else b""))

    def identifier(self):
        return sequence(name(self.issuer.subject), integer(self.number))

    def mark(self, hashed="sha256", named=b""):
        """The signing-certificate attribute of the second version; SHA-256 needs no name."""
        digest = hashlib.new(hashed, self.certificate).digest()
        return attribute("1.2.840.113549.1.9.16.2.47", sequence(sequence(sequence(named, octets(digest)))))


class Shop:
    def __init__(self, folder):
        self.folder, self.count, self.keys = folder, 100, 0

    def run(self, *words, stdin=b""):
        return subprocess.run(words, cwd=self.folder, input=stdin, capture_output=True,
                              check=True).stdout

    def new_key(self, kind="EC", option="ec_paramgen_curve:P-256"):
        self.keys += 1
        key = os.path.join(self.folder, f"key{self.keys}.pem")
        self.run("openssl", "genpkey", "-algorithm", kind, "-pkeyopt", option, "-out", key)
        return key


def digest_attribute(content, digest="sha256"):
    return attribute(MESSAGE_DIGEST, octets(hashlib.new(digest, content).digest()))


def basics(content, content_type=DATA, digest="sha256"):
    return [attribute(CONTENT_TYPE, oid(content_type)), digest_attribute(content, digest)]


def signer(party, content, more=(), attributes=None, unsigned=None, sid=None, digest="sha256",
           content_type=DATA, bare=False, by=None):
    """One SignerInfo; `unsigned` makes the unsigned attributes of the signature's value."""
    attributes = sorted([*basics(content, content_type, digest), *more]
                        if attributes is None else attributes)
    covered = content if bare else der(0x31, *attributes)
    signature = party.sign(covered, digest)
    outer = sorted(unsigned(signature)) if unsigned else []
    hashed = algorithm({"sha256": SHA256, "sha1": SHA1}[digest], null=False)
    signed_with = algorithm({"sha256": ECDSA, "sha1": "1.2.840.10045.4.1"}[digest], null=False)
    return sequence(integer(1 if sid is None else 3), sid or party.identifier(), hashed,
                    b"" if bare else der(0xA0, *attributes), by or signed_with,
                    octets(signature), der(0xA1, *outer) if outer else b"")


def message(content, signers, certificates=(), lists=(), content_type=DATA, digests=(SHA256,)):
    """`content` None: it stands beside the message. Certificates keep their order."""
    signed = sequence(
        integer(1 if content_type == DATA else 3),
        set_of(*(algorithm(one, null=False) for one in digests)),
        sequence(oid(content_type), der(0xA0, octets(content)) if content is not None else b""),
        der(0xA0, *certificates) if certificates else b"", der(0xA1, *lists) if lists else b"",
        set_of(*signers))
    return sequence(oid(SIGNED_DATA), der(0xA0, signed))


def stamp(service, covered, when, mark=True, lists=(), forge=lambda info: info, hashed="sha256",
          named=SHA256, accuracy=b""):
    """A token over `covered`; `forge` changes what it says once it is signed."""
    info = tst_info(hashlib.new(hashed, covered).digest(), named, when=when, accuracy=accuracy)
    kind = "1.2.840.113549.1.9.16.1.4"
    mark = service.mark() if mark is True else mark
    info_signer = signer(service, info, [mark] if mark else [], content_type=kind)
    return message(forge(info), [info_signer], [service.certificate], lists, kind)
