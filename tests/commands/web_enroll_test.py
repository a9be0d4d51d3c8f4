"""-creatcert and -pendcert over the web pages of a standard authority."""

import base64
import os
import re
import struct
import urllib.parse

from authority import Web
from kestrel_case import VERSION_LINE_END, KestrelCase, error_line
from standard_pages import StandardPages

PAGE = "/certsrv//certfnsh.asp"
NEW = ["-creatcert", "-dn", "CN=Ann", "-provtype", "24"]
SENT = b"Creating request...\nSending request to CA...\n"
ANSWERED = SENT + b"Getting response from CA...\n"
ASKED = b"Sending request to CA...\n"
INSTALLING = b"Installing certificate...\n"
INSTALLED = INSTALLING + b"Certificate is installed.\n"
WAIT = (b"Your certificate request has been received.\nHowever, you must wait for an administrator "
        b"to issue the certificate you requested.\n")
REJECTED = 0x200002C3
BAD_ANSWER = (error_line(b"Incorrect response from the server.", 0x200002BE), 0x200002BE)
NO_CERTIFICATE = (error_line(b"Certificate isn't found in the server response.", 0x200002BF),
                  0x200002BF)
BAD_COOKIE = (WAIT + error_line(b"Incorrect Cookie.", 0x200002C2), 0x200002C2)


def rejection(words):
    return words + b"\n" + error_line(b"CA rejected request.", REJECTED), REJECTED


def cookie(text):
    """An answer "pending" with this cookie; NAME is the request's."""
    return lambda name: (200, {"Set-Cookie": text.replace("NAME", name)}, b"locTimeoutWarning")


def cut(text):
    """A body that is to be of 64 KiB, and a closed connection behind its beginning."""
    return 200, {"Transfer-Encoding": "chunked", "Connection": "close"}, b"10000\r\n" + text


class WebEnroll(KestrelCase):
    def setUp(self):
        super().setUp()
        self.web = Web(self)
        self.pages = StandardPages(self.path("authority"))
        self.address = self.web.address("certsrv/")
        self.forms, self.answer = [], None
        self.web.pages[PAGE] = self.reply
        self.set_machine('"InstallRoots"=dword:00000002')

    def reply(self, body):
        self.forms.append(body.decode())
        if self.answer is None:
            return self.pages.handle("POST", PAGE, {}, body)
        return self.answer(body.decode().rpartition("=")[2]) if callable(self.answer) else self.answer

    def create(self, *keys):
        return [*NEW, "-CA", self.address, *keys]

    def fetch(self, *keys, container="Ann"):
        return ["-pendcert", "-CA", "a", "-CA", self.address, "-provtype", "24", "-cont", container,
                *keys]

    def count(self, store):
        return len(self.listing("store", "list", store))

    def test_as_the_server_sees_it(self):
        self.pages.write("policy", "denied")
        _, output = self.raw(*self.create("-token", "secret", "-tpassword", "secret"))
        banner = output.partition(VERSION_LINE_END)[0].decode()
        self.assertEqual(self.web.asked, [PAGE])
        heads = dict(self.web.heads[0].items())
        length = heads.pop("Content-Length")
        self.assertEqual(heads, {
            "Host": self.address[7:-9], "Referer": "*/*",
            "User-Agent": banner + " {Mozilla MSIE 6 Win 2000}",
            "Content-Type": "application/x-www-form-urlencoded"})
        form = self.forms[0]
        self.assertEqual(int(length), len(form))
        match = re.fullmatch(r"CertRequest=((?:%[2-7][0-9A-F])+)&Mode=newreq&TargetStoreFlags=0&"
                             r"SaveCert=no&FriendlyType=Kestrel%3A[A-Y]{20}", form)
        self.assertTrue(match[1].startswith("%4D%49%49"), form[:40])  # "MII"
        der = base64.b64decode(urllib.parse.unquote(match[1]), validate=True)
        self.openssl("req", "-inform", "DER", "-verify", "-noout", stdin=der)
        self.raw(*self.fetch(), stdin=b"2147483647\n")
        self.assertEqual(self.forms[1],
                         "Mode=chkpnd&TargetStoreFlags=0&SaveCert=no&ReqID=2147483647")

    def test_approved_between_two_runs(self):
        self.pages.write("policy", "pending")
        self.expect(self.create(), 0, ANSWERED + WAIT + b"Request ID:1\n")
        self.expect(self.create("-FileID", "id"), 0,
                    ANSWERED + WAIT + b"Request ID is written to the file.\n")
        self.assertEqual(self.read("id"), b"\2\0\0\0")
        second = self.fetch("-FileID", "id", container="Ann-2")
        self.expect(second, 0, ASKED + WAIT)
        for number in (1, 2):
            self.pages.approve(number)
        self.expect(second, 0, ASKED + INSTALLED)
        self.expect(self.fetch(), 0, b"Enter request ID:1\n" + ASKED + INSTALLED, stdin=b"1\n")
        self.assertEqual([self.count(store) for store in ("My", "Root", "REQUEST")], [2, 1, 0])
        os.mkdir(self.path("folder"))
        _, body = self.kestrel(*self.create("-FileID", "folder"))
        self.assertIn(b"(0x20000065)\nRequest ID:3\n", body)

    def test_handed_in_again(self):
        """A refused request leaves its key in a container that is told, and another try takes it."""
        self.pages.write("policy", "denied")
        self.fail_with(REJECTED, *self.create())
        self.assertIn(b"\nAnn  ", self.ctl("request", "list"))
        self.pages.write("policy", "issued")
        again = self.create("-nokeygen", "-cont", "Ann")
        self.expect(again, 0, ANSWERED + INSTALLED)
        self.assertEqual([self.count(store) for store in ("My", "REQUEST")], [1, 0])

    def test_answers(self):
        """Pages that new requests and pending ones get, and what becomes of both."""
        pad = lambda size: b"locDenied".ljust(size)
        denied = rejection(b"Request was denied.")
        aborted = (None, 12030)
        begin, ends = b'"-BEGIN " & vbNewLine\n', b'"-----END"'
        ours = b'sPKCS7=""\nsPKCS7=sPKCS7 & "%s" & vbNewLine\n' % base64.b64encode(b"0" * 99)
        broken = (INSTALLING + NO_CERTIFICATE[0], NO_CERTIFICATE[1])
        refused = (None, 0x80092002)  # by the control: no certificate in it
        rows = [  # the answer, what a new request makes of it, and a pending one: None is success
            ("denied", b"x locDenied", denied, denied),
            ("revoked", b"locIssRev", *2 * (rejection(b"Certificate was issued, and then revoked."),)),
            ("failed", b"locReqFailed", *2 * (rejection(b"Request failed."),)),
            ("almost too large", pad(0x18FFE), denied, denied),
            ("too large", pad(0x18FFF), BAD_ANSWER, BAD_ANSWER),
            ("behind a zero", b"x\0locDenied", NO_CERTIFICATE, NO_CERTIFICATE),
            ("status 500", (500, {}, b"locDenied"), BAD_ANSWER, BAD_ANSWER),
            ("cut", cut(b"locDenied"), BAD_ANSWER, BAD_ANSWER),
            ("no answer", lambda _: 1 // 0, aborted, (ASKED, 0)),
            ("no closing quote", b'sPKCS7=""=sPKCS7 & "x', broken, NO_CERTIFICATE),
            ("no certificate in it", begin + b'"MDAw" & vbNewLine ' + ends + ours, refused, refused),
            ("no armour's end", begin + b'"MDAw" & vbNewLine', NO_CERTIFICATE, broken),
            ("no line's end", b'-BEGIN "', NO_CERTIFICATE, broken),
        ]
        self.write("id", struct.pack("<i", 1))
        for name, answer, *outcomes in rows:
            self.answer = (200, {}, answer) if isinstance(answer, bytes) else answer
            for args, lines, (text, code) in zip(
                    (self.create(), self.fetch("-FileID", "id")), (ANSWERED, ASKED), outcomes):
                with self.subTest(f"{name} {args[0]}"):
                    if text is None:
                        self.fail_with(code, *args, errors=1)
                    else:
                        self.expect(args, code, text if code == 0 else lines + text)
                    self.assertEqual([self.count(store) for store in ("My", "Root")], [0, 0])
        # What was not answered keeps its request, and that leads to the key.
        self.assertEqual(self.count("REQUEST"), len(rows))

    def test_cookies(self):
        rows = [
            ("Requests=%5B7%2C0%2CNAME%5D", (WAIT + b"Request ID:7\n", 0)),
            ("x%5B2147483647NAME", (WAIT + b"Request ID:2147483647\n", 0)),
            ("x%5B2147483648NAME", BAD_COOKIE), ("x%5B0%2CNAME", BAD_COOKIE),
            ("x7%2CNAME", BAD_COOKIE),
            ("NAME%5B7", BAD_COOKIE), ("%5B7%2CNAME", BAD_COOKIE), ("x%5B7%2CKestrel", BAD_COOKIE),
        ]
        for text, (body, code) in rows:
            with self.subTest(text):
                self.answer = cookie(text)
                self.expect(self.create(), code, ANSWERED + body)
        self.answer = (200, {}, b"locTimeoutWarning")
        self.fail_with(12150, *self.create())

    def test_addresses(self):
        self.pages.write("policy", "denied")
        root = self.web.address("")
        for address, path in ((root[:-1], "/certfnsh.asp"), (root, "/certfnsh.asp"),
                              (root + "a/../b?x", "/a/../b?x/certfnsh.asp")):
            self.web.pages[path] = self.reply
            self.fail_with(REJECTED, *NEW, "-CA", address)
            self.assertEqual(self.web.asked[-1], path)
        self.set_machine(f'"DefaultCA"="{self.address}"')
        self.fail_with(REJECTED, *NEW)
        self.assertEqual(self.web.asked[-1], PAGE)
        _, body = self.kestrel(*NEW, "-CA", "http://127.0.0.1:1/a")
        self.assertIn(error_line(b"No connection to the server could be made: 127.0.0.1:1", 12029),
                      body)
        bad = error_line(b"Incorrect CA address: 'HTTP://x'.", 0x200002C1)
        self.expect([*NEW, "-CA", "HTTP://x"], 0x200002C1, SENT + bad)
        self.expect(["-pendcert", "-CA", "HTTP://x", "-noCSP"], 0x200002C1,
                    b"Enter request ID:1\n" + ASKED + bad, stdin=b"1\n")
        self.set_machine('"DefaultCA"=dword:1')
        self.fail_with(13, *NEW)

    def test_refusals(self):
        wrong = lambda word: error_line(b"Wrong key: '%s'." % word, 0x200000CE)
        no_id = lambda name: error_line(b"File doesn't contain the request ID: '%s'." % name,
                                        0x200002C0)
        self.write("three", b"\1\0\0")
        self.write("five", b"\1\0\0\0\n")
        rows = [
            ([*NEW, "file"], error_line(b"Command doesn't need file argument.", 0x200000D2)),
            ([*NEW, "-CA", "a", "-FLCA", "b"], wrong(b"FLCA")),
            ([*NEW, "-FLCA", "a", "-tpassword", "x" * 20], wrong(b"tpassword")),
            (self.fetch("-FileID", "three"), no_id(b"three")),
            (self.fetch("-FileID", "five"), no_id(b"five")),
        ]
        for args, line in rows:
            with self.subTest(args):
                self.expect(args, int(line[-12:-2], 16), line)
        self.write("id", b"\1\0\0\0")
        for word in ("token", "tpassword", "dn"):
            self.expect(self.fetch("-FileID", "id", f"-{word}", "x"), 0x200000CE,
                        wrong(word.encode()))
        self.set_machine('"Version"=dword:6')
        self.fail_with(0x80004001, *self.create("-thumbprint", "x"), errors=2)
        self.assertEqual((self.web.asked, self.ctl("identity", "list")[:-1].count(b"\n")), ([], 0))
