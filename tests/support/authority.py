"""A certification authority as `openssl ca` and `openssl ocsp` make it, and the web server on the
loopback address where it publishes: lists, issuers, and a responder."""

import os
import time

import loopback

CONFIG = """[ca]
default_ca = d
[d]
database = {name}.index
serial = {name}.serial
new_certs_dir = .
default_md = {digest}
default_days = 30
policy = any
unique_subject = no
[any]
commonName = supplied
[base]
2.5.29.20 = DER:020101
[delta]
2.5.29.20 = DER:020102
2.5.29.27 = critical,DER:020101
[req]
distinguished_name = empty
[empty]
"""
AUTHORITY = "basicConstraints=critical,CA:true\nkeyUsage=keyCertSign,cRLSign\n"
END = "basicConstraints=CA:false\nkeyUsage=digitalSignature\n"
DELEGATE = END + "extendedKeyUsage=OCSPSigning\nnoCheck=ignored\n"


class Handler(loopback.Handler):
    def serve(self):
        request = self.body_of_request()
        self.server.asked.append(self.path)
        self.server.heads.append(self.headers)
        page = self.server.pages.get(self.path)
        if callable(page):
            page = page(request)
        status, headers, body = page if isinstance(page, tuple) else (200, {}, page)
        try:
            self.answer(status if body is not None else 404, headers.items(), body or b"")
        except OSError:
            self.close_connection = True

    do_GET = do_POST = serve


class Web(loopback.Server):
    """Ends with its test."""

    def __init__(self, case):
        super().__init__(Handler)
        self.pages, self.asked, self.heads = {}, [], []
        self.start()
        case.addCleanup(self.close)


class Authority:
    """NAME.key, NAME.pem, and the files of `openssl ca` in the folder of a KestrelCase."""
    EC = ("ec", "ec_paramgen_curve:P-256", "sha256")
    GOST = ("gost2012_256", "paramset:A", "md_gost12_256")

    def __init__(self, case, web, name, issuer=None, extensions="", kind=EC):
        self.case, self.web, self.name = case, web, name
        self.algorithm, self.option, self.digest = kind
        case.write(f"{name}.cnf", CONFIG.format(name=name, digest=self.digest).encode())
        case.write(f"{name}.index", b"")
        case.write(f"{name}.serial", b"1000\n")
        self.make_key(name)
        if issuer is None:
            case.write(f"{name}.ext", AUTHORITY.encode())
            case.openssl("x509", "-req", "-in", f"{name}.csr", "-signkey", f"{name}.key", "-days",
                         "30", "-extfile", f"{name}.ext", "-out", f"{name}.pem",
                         f"-{self.digest}")
        else:
            issuer.issue(name, AUTHORITY + extensions, keyed=True)
        _, der = case.openssl("x509", "-in", f"{name}.pem", "-outform", "DER")
        web.pages[f"/{name}.cer"] = der

    def make_key(self, name):
        self.case.openssl("req", "-new", "-newkey", self.algorithm, "-pkeyopt", self.option,
                          f"-{self.digest}", "-nodes", "-keyout", f"{name}.key", "-subj", f"/CN={name}", "-out",
                          f"{name}.csr")

    def issue(self, name, extensions, keyed=False):
        if not keyed:
            self.make_key(name)
        self.case.write(f"{name}.ext", extensions.encode())
        self.ca("-batch", "-notext", "-in", f"{name}.csr", "-extfile", f"{name}.ext", "-out",
                f"{name}.pem")
        return name

    def ca(self, *arguments):
        self.case.openssl("ca", "-config", f"{self.name}.cnf", "-cert", f"{self.name}.pem",
                          "-keyfile", f"{self.name}.key", *arguments)

    def revoke(self, name):
        time.sleep(1)  # the list tells seconds, and a later revocation is none yet
        self.ca("-revoke", f"{name}.pem")

    def publish(self, seconds=86400, page=None, extensions=None):
        """The list as it is now, at /NAME.crl; `extensions`: "base", or a "delta" on it."""
        self.ca("-gencrl", "-crlsec", str(seconds), "-out", f"{self.name}.crl",
                *(["-crlexts", extensions] if extensions else []))
        _, der = self.case.openssl("crl", "-in", f"{self.name}.crl", "-outform", "DER")
        self.web.pages[page or f"/{self.name}.crl"] = der
        return der

    def respond(self, signer, *options):
        """A responder at /NAME.ocsp that `signer` answers for."""
        self.web.pages[f"/{self.name}.ocsp"] = lambda request: self.answer(request, signer, options)

    def answer(self, request, signer, options=("-ndays", "1")):
        case = self.case
        query, reply = case.write("query", request), case.path("reply")
        case.openssl("ocsp", "-index", f"{self.name}.index", "-CA", f"{self.name}.pem", "-rsigner",
                     f"{signer}.pem", "-rkey", f"{signer}.key", "-reqin", query, "-respout", reply,
                     "-rmd", self.digest, *(options or ("-ndays", "1")))
        with open(reply, "rb") as file:
            return file.read()

    def points(self):
        return f"crlDistributionPoints=URI:{self.web.address(self.name + '.crl')}\n"

    def access(self, responder=False):
        text = f"authorityInfoAccess=caIssuers;URI:{self.web.address(self.name + '.cer')}"
        if responder:
            text += f",OCSP;URI:{self.web.address(self.name + '.ocsp')}"
        return text + "\n"


def forget(case):
    """As after a long time: nothing kept, nothing failed."""
    case.ctl("cache", "clear")
    assert not os.listdir(case.path("home/cache"))
