"""Root, issuing authority and TLS certificate of the test authority, and its decisions."""

import base64
import os
import textwrap

from enrolment.openssl import KINDS, OpenSsl
from enrolment.state import DENIED, ISSUED, PENDING, REVOKED, State

CONFIG = """[ca]
default_ca = d
[d]
database = index
serial = serial
new_certs_dir = .
default_md = {digest}
default_days = 365
policy = any
unique_subject = no
copy_extensions = copy
x509_extensions = end
[any]
countryName = optional
stateOrProvinceName = optional
localityName = optional
organizationName = optional
organizationalUnitName = optional
commonName = supplied
emailAddress = optional
[end]
basicConstraints = CA:false
[user]
basicConstraints = CA:false
extendedKeyUsage = clientAuth,emailProtection
[authority]
basicConstraints = critical,CA:true
keyUsage = critical,keyCertSign,cRLSign,digitalSignature
subjectKeyIdentifier = hash
[web]
basicConstraints = CA:false
extendedKeyUsage = serverAuth
subjectAltName = DNS:localhost,IP:127.0.0.1
[req]
distinguished_name = empty
[empty]
"""


def lines_of(octets, columns=64):
    """BASE64 as pages show it, each line ended by CR LF."""
    text = base64.b64encode(octets).decode()
    return "".join(line + "\r\n" for line in textwrap.wrap(text, columns))


class Issuer:
    """Makes what is missing of its folder, so that the same folder is the same authority."""

    def __init__(self, folder, kind="rsa"):
        os.makedirs(folder, mode=0o700, exist_ok=True)
        self.folder, self.state = folder, State(folder)
        kind_file = self.path("kind")
        if os.path.exists(kind_file):
            kind = self.read("kind").decode()
        self.kind = kind
        self.algorithm, self.options, self.digest = KINDS[kind]
        self.openssl = OpenSsl(folder)
        if not os.path.exists(kind_file):
            self.make_all()
            self.write("kind", kind.encode())  # last: it says that all is there

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def write(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)

    def make_all(self):
        self.write("ca.cnf", CONFIG.format(digest=self.digest).encode())
        self.write("index", b"")
        self.write("serial", b"1000\n")
        own = (self.algorithm, self.options, self.digest)
        self.make("root", "Test root", own, "authority")
        self.make("ca", "Test issuing authority", own, "authority", "root")
        self.make("web-root", "Test root of web servers", KINDS["rsa"], "authority")
        self.make("web", "localhost", KINDS["rsa"], "web", "web-root")

    def make(self, name, common_name, kind, extensions, issuer=None):
        """NAME.key and NAME.pem, signed by itself unless an issuer is named."""
        algorithm, options, digest = kind
        self.openssl("req", "-new", "-newkey", algorithm, *options, "-nodes", f"-{digest}", "-config",
                     "ca.cnf", "-keyout", f"{name}.key", "-out", f"{name}.csr", "-subj",
                     f"/O=Kestrel tests/CN={common_name}")
        signer = (["-signkey", f"{name}.key"] if issuer is None else
                  ["-CA", f"{issuer}.pem", "-CAkey", f"{issuer}.key", "-CAcreateserial"])
        self.openssl("x509", "-req", "-in", f"{name}.csr", *signer, f"-{digest}", "-days", "3650",
                     "-extfile", "ca.cnf", "-extensions", extensions, "-out", f"{name}.pem")

    def chain(self, certificate=None):
        """PKCS #7 of root and issuing authority, with a certificate (PEM) or without."""
        self.write("chain.pem", (certificate or b"") + self.read("ca.pem") + self.read("root.pem"))
        return self.openssl("crl2pkcs7", "-nocrl", "-certfile", "chain.pem", "-outform", "DER")

    def alone(self, certificate):
        return self.openssl("crl2pkcs7", "-nocrl", "-certfile", "/dev/stdin", "-outform", "DER",
                            stdin=certificate)

    def sign(self, content):
        """`content` in a message of the issuing authority."""
        return self.openssl("cms", "-sign", "-binary", "-nodetach", "-signer", "ca.pem", "-inkey",
                            "ca.key", "-md", self.digest, "-outform", "DER", stdin=content)

    def unwrap(self, message):
        """The content of a signed message, whoever signed it; None when it is none."""
        try:
            return self.openssl("cms", "-verify", "-noverify", "-nosigs", "-no_content_verify",
                                "-binary", "-inform", "DER", stdin=message)
        except Exception:  # not a message, in whichever words
            return None

    def plain_request(self, octets):
        """The PKCS #10 inside however many messages. Raises for what is none, or badly signed."""
        while (content := self.unwrap(octets)) is not None:
            octets = content
        self.openssl("req", "-inform", "DER", "-verify", "-noout", "-config", "ca.cnf",
                     stdin=octets)
        return octets

    def take(self, owner, octets, decision, **more):
        """A new request (DER, wrapped or not): its number."""
        request = self.plain_request(octets)
        with self.state.change() as data:
            number = 1 + max(map(int, data["requests"]), default=0)
            data["requests"][str(number)] = {
                "owner": owner, "state": PENDING, **more,
                "request": base64.b64encode(request).decode(),
                "sent": base64.b64encode(octets).decode()}
        self.decide(number, decision)
        return number

    def decide(self, number, decision):
        with self.state.change() as data:
            row = data["requests"][str(number)]
            if decision == ISSUED and "certificate" not in row:
                row.update(self.issue(number, base64.b64decode(row["request"]),
                                      row.get("template", "end")))
            if decision == REVOKED:
                self.ca("-revoke", f"issued-{number}.pem")
            row["state"] = decision

    def ca(self, *arguments):
        self.openssl("ca", "-config", "ca.cnf", "-cert", "ca.pem", "-keyfile", "ca.key", *arguments)

    def issue(self, number, request, template):
        name = f"issued-{number}"
        self.write(f"{name}.csr", self.openssl("req", "-inform", "DER", "-config", "ca.cnf",
                                               stdin=request))
        self.ca("-batch", "-notext", "-extensions", template, "-in", f"{name}.csr", "-out", f"{name}.pem")
        serial = self.openssl("x509", "-in", f"{name}.pem", "-noout", "-serial").decode()
        return {"certificate": self.read(f"{name}.pem").decode(),
                "serial": serial.partition("=")[2].strip()}

    def deny(self, number):
        self.decide(number, DENIED)
