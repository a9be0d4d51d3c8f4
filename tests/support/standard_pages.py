"""The web pages of a standard authority, issuing by `openssl ca`. A server of any kind mounts them.

All state is in a folder, so that another process may approve between two questions: N.csr is a
request, N.state its fate, "policy" the fate of new ones (issued, pending, denied, revoked, failed)."""

import base64
import os
import subprocess
import textwrap
import urllib.parse

CONFIG = """[ca]
default_ca = d
[d]
database = index
serial = serial
new_certs_dir = .
certificate = ca.pem
private_key = ca.key
default_md = sha256
default_days = 30
policy = any
unique_subject = no
copy_extensions = copyall
[any]
commonName = supplied
"""
# As the pages' scripts name what they tell.
MARKERS = {"pending": "locTimeoutWarning", "denied": "locDenied", "revoked": "locIssRev",
           "failed": "locReqFailed"}


class StandardPages:
    def __init__(self, folder):
        self.folder = folder
        os.makedirs(folder, exist_ok=True)
        if os.path.exists(self.path("ca.pem")):
            return
        for name, text in (("ca.cnf", CONFIG), ("index", ""), ("serial", "1000\n"),
                           ("policy", "issued")):
            self.write(name, text)
        self.openssl("req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", "ca.key", "-out",
                     "ca.pem", "-subj", "/CN=Standard Authority", "-days", "60", "-addext",
                     "basicConstraints=critical,CA:TRUE")

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        with open(self.path(name), "w", encoding="latin-1") as file:
            file.write(text)

    def read(self, name):
        with open(self.path(name), encoding="latin-1") as file:
            return file.read()

    def openssl(self, *words):
        return subprocess.run(["openssl", *words], cwd=self.folder, capture_output=True,
                              check=True).stdout

    def handle(self, method, path, _headers, body):
        """(status, headers, bytes) for one request."""
        if method != "POST" or not path.endswith("/certfnsh.asp"):
            return 404, {}, b"no such page"
        form = dict(urllib.parse.parse_qsl(body.decode("ascii"), strict_parsing=True))
        if form["Mode"] == "newreq":
            return self.take(form)
        number = int(form["ReqID"])
        if not os.path.exists(self.path(f"{number}.csr")):
            return 200, {}, self.page("failed")
        return 200, {}, self.tell(number, '"-----BEGIN CERTIFICATE-----"', "-----END CERTIFICATE-----")

    def take(self, form):
        number = 1 + sum(name.endswith(".csr") for name in os.listdir(self.folder))
        lines = "\n".join(textwrap.wrap(form["CertRequest"], 64))
        self.write(f"{number}.csr", "-----BEGIN CERTIFICATE REQUEST-----\n" + lines +
                   "\n-----END CERTIFICATE REQUEST-----\n")
        self.write(f"{number}.state", self.read("policy"))
        # The requests of this browser, an older one first.
        name = urllib.parse.quote(form["FriendlyType"], safe="")
        cookie = f"Requests=%5B{number + 70}%2C0%2COlder%5D%5B{number}%2C0%2C{name}%2C1%5D; path=/"
        return 200, {"Set-Cookie": cookie}, self.tell(number, '""')

    def approve(self, number):
        self.write(f"{number}.state", "issued")

    def tell(self, number, first, last=None):
        state = self.read(f"{number}.state")
        if state != "issued":
            return self.page(state)
        if not os.path.exists(self.path(f"{number}.pem")):
            self.openssl("ca", "-batch", "-notext", "-config", "ca.cnf", "-in", f"{number}.csr",
                         "-out", f"{number}.pem")
        der = self.openssl("crl2pkcs7", "-nocrl", "-certfile", f"{number}.pem", "-certfile",
                           "ca.pem", "-outform", "DER")
        lines = textwrap.wrap(base64.b64encode(der).decode(), 64) + ([last] if last else [])
        begin = f"sPKCS7={first}" + (" & vbNewLine" if last else "")
        return self.script([begin] + [f'sPKCS7=sPKCS7 & "{line}" & vbNewLine' for line in lines])

    def page(self, state):
        return self.script([f"Response.Write {MARKERS[state]}"])

    @staticmethod
    def script(lines):
        return "\r\n".join(['<HTML><Script Language="VBScript">', *lines,
                            "</Script></HTML>\r\n"]).encode()
