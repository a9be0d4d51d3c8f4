"""-creatrqst and -instcert from a request to messages, with an authority of openssl."""

import base64
import os
import re
import shutil
import subprocess

import tokens
from kestrel_case import KestrelCase, closing, error_line

SAVED = b"Request is saved in file.\n"
INSTALLED = b"Certificate is installed.\n"
HAS_CERTTOOL = shutil.which("certtool") is not None
# Provider types, and whether their keys receive messages.
PROVIDERS = ((24, True), (16, False), (75, True), (80, True), (81, True))
REQUEST_KEYS = ["-dn", "CN=Ann", "-provtype", "24"]


class Enroll(KestrelCase):
    apart = True  # nobody is asked

    def setUp(self):
        super().setUp()
        self.self_sign("ca", "basicConstraints=critical,CA:TRUE", "subjectKeyIdentifier=hash")
        self.write("ids", b"authorityKeyIdentifier=keyid\n")

    def use_version(self, version):
        self.set_machine(f'"Version"=dword:{version:08x}', '"InstallRoots"=dword:00000002')

    def request(self, name, *keys):
        self.expect(["-creatrqst", *keys, "-der", name], 0, SAVED)
        _, text = self.openssl("req", "-inform", "DER", "-in", name, "-verify", "-noout", "-text",
                               "-nameopt", "RFC2253")
        return text.decode()

    def issue(self, request, name):
        self.openssl("x509", "-req", "-inform", "DER", "-in", request, "-CA", "ca.pem", "-CAkey",
                     "ca.key", "-CAcreateserial", "-days", "20", "-copy_extensions", "copyall",
                     "-extfile", "ids", "-out", f"{name}.pem")
        self.openssl("crl2pkcs7", "-nocrl", "-certfile", f"{name}.pem", "-certfile", "ca.pem",
                     "-out", f"{name}.p7")

    def listed(self, store):
        return self.ctl("store", "list", store).decode().splitlines()[1:]

    def holds(self, **counts):
        self.assertEqual({store: len(self.listed(store)) for store in counts}, counts)

    def containers(self):
        return self.ctl("identity", "list").decode().splitlines()[1:]

    def need_engine_for(self, kind):
        if kind >= 75:
            self.need_engine()

    def use(self, name, receives):
        self.write("in", b"what Ann has to say")
        self.succeed("-sign", "-norev", "-dn", name, "in", "sig")
        self.succeed("-verify", "-norev", "-dn", name, "sig", "out")
        self.assertEqual(self.read("out"), self.read("in"))
        if receives:
            self.succeed("-encr", "-norev", "-dn", name, "in", "msg")
            self.succeed("-decr", "-norev", "-dn", name, "msg", "out2")
            self.assertEqual(self.read("out2"), self.read("in"))

    def test_from_nothing_to_messages(self):
        """The newer control has keys of the provider that is named; its side follows -km alone."""
        for version, kind, receives in [(10, *row) for row in PROVIDERS] + [(6, *row) for row in PROVIDERS[2:]]:
            with self.subTest((version, kind)):
                self.need_engine_for(kind)
                self.use_version(version)
                name, newer = f"Ann {version} {kind}", version == 6
                keys = ["-provname", self.provider_name(kind)] if newer else ["-provtype", str(kind)]
                text = self.request("req", "-dn", f"CN={name},O=Example", *keys, "-smime")
                self.assertIn(f"Subject: O=Example,CN={name}\n", text)
                self.assertIn("E-mail Protection", text)
                self.assertIn("Digital Signature, Non Repudiation, Key Enc", text)
                self.assertIn("S/MIME Capabilities", text)
                self.assertEqual(len(self.listed("REQUEST")), 1)
                if HAS_CERTTOOL:
                    done = subprocess.run(["certtool", "--crq-info", "--inder", "--infile", "req"],
                                          cwd=self.folder, capture_output=True, check=True)
                    self.assertIn(f"Subject: O=Example,CN={name}\n".encode(), done.stdout)
                self.issue("req", "cert")
                box = self.containers()[-1].split()[0] if newer else name  # request, request-2, request-3
                self.expect(["-instcert", "-provtype", str(kind), *["-dmElsewhere"][:newer], "-cont", box,
                             "cert.p7"], 0, INSTALLED)
                self.holds(REQUEST=0, Root=1)
                self.assertIn(name, "".join(self.listed("My")))
                self.use(name, receives)

    def provider_name(self, kind):
        return dict(self.columns("providers", "type", "provider"))[str(kind)]

    def test_usages_of_both_controls(self):
        rows = [  # keys, key usage with the older control, with the newer one
            (["-both"], "Digital Signature, Non Repudiation, Key Encipherment, Data Encipherment",
             "Digital Signature, Non Repudiation, Key Encipherment, Data Encipherment"),
            (["-ex"], "Key Encipherment, Data Encipherment",
             "Key Encipherment, Data Encipherment"),
            (["-sg"], "Digital Signature, Non Repudiation",
             "Digital Signature, Non Repudiation, Key Encipherment, Data Encipherment"),
        ]
        for version in (10, 6, 7):
            self.use_version(version)
            for keys, older, newer in rows:
                with self.subTest(f"{version} {keys}"):
                    text = self.request("req", *REQUEST_KEYS, *keys)
                    usage = re.search(r"Key Usage: critical\n +(.*)\n", text)[1]
                    self.assertEqual(usage, newer if version == 6 else older)
        self.use_version(10)
        text = self.request("req", *REQUEST_KEYS, "-certusage",
                            "1.3.6.1.5.5.7.3.2,1.3.6.1.5.5.7.3.1", "-keysize", "3072")
        self.assertIn("TLS Web Client Authentication, TLS Web Server Authentication", text)
        self.assertIn("(3072 bit)", text)
        self.assertIn("(2048 bit)", self.request("req", *REQUEST_KEYS, "-keysize", "3072", "-exprt"))
        self.assertIn("(2048 bit)", self.request("req", *REQUEST_KEYS, "-keysize", "67584"))
        self.use_version(6)
        self.assertIn("(2048 bit)", self.request("req", *REQUEST_KEYS, "-keysize", "3072"))
        body = self.fail_with(0x80091003, "-creatrqst", *REQUEST_KEYS, "-certusage", "1.2,1.3", "x")
        self.assertIn(b"Error: ", body)

    def extension(self, number, critical=False, value=b"\x05\x00"):
        return tokens.sequence(tokens.oid(f"1.2.3.{number}"), b"\x01\x01\xff" if critical else b"",
                               tokens.octets(value))

    def test_extensions(self):
        keys = []
        for number in range(10):
            keys += ["-ext", self.write(f"e{number}", self.extension(number, number == 3))]
        for version in (10, 6):
            self.use_version(version)
            text = self.request("req", *REQUEST_KEYS, *keys)
            found = re.findall(r"1\.2\.3\.(\d): ?(critical)?", text)
            marks = [("3" if version == 10 else "")]
            self.assertEqual([int(n) for n, _ in found], list(range(10)))
            self.assertEqual(["".join(n for n, mark in found if mark)], marks)

    def test_bad_extensions(self):
        good = self.extension(1)
        rows = [
            ("base64", base64.b64encode(good), 0x80092002),
            ("two", good + self.extension(2), 0x80092002),
            ("no extension", b"\x05\x00", 0x8009310B),
            ("value of two elements", self.extension(1, value=b"\x05\x00\x05\x00"), 0x80093103),
            ("far too long", b"0" * (1024 * 1024 + 1), 0xDF),
            ("not there", None, 0x20000065),
        ]
        for name, content, code in rows:
            with self.subTest(name):
                if content is not None:
                    self.write("bad", content)
                else:
                    os.remove(self.path("bad"))
                self.fail_with(code, "-creatrqst", *REQUEST_KEYS, "-ext", "bad", "out", errors=1)
                self.assertFalse(os.path.exists(self.path("out")))
        self.write("good", good)
        self.write("again", good)
        self.fail_with(0x80071392, "-creatrqst", *REQUEST_KEYS, "-ext", "good", "-ext", "again",
                       "out")
        self.assertEqual(self.containers(), [])  # no key of any of these is left
        self.request("req", *REQUEST_KEYS, "-ext", "good")

    def test_refusals(self):
        wrong = lambda word: (0x200000CE, error_line(b"Wrong key: '%s'." % word, 0x200000CE))
        rows = [
            (["-creatrqst", "-dn", "CN=x"], (0x200000D1, error_line(b"No output file.", 0x200000D1))),
            (["-creatrqst", "-dn", "CN=x", "a", "b"],
             (0x200000C8, error_line(b"Too many files: 'b'.", 0x200000C8))),
            (["-creatrqst", "a"],
             (0x200000CD, error_line(b"No required key: '-dn'.", 0x200000CD))),
            (["-creatrqst", "-dn", "CN=x", "-nokeygen", "-exprt", "-cont", "c", "a"],
             wrong(b"exprt")),
            (["-creatrqst", "-dn", "CN=x", "-ex", "-sg", "a"], wrong(b"sg")),
            (["-creatrqst", "-dn", "CN=x", "-pin", "1", "a"], wrong(b"pin")),
            (["-instcert"], (0x200000D0, error_line(b"No input file.", 0x200000D0))),
            (["-instcert", "-noCSP", "a", "b"],
             (0x200000C8, error_line(b"Too many files: 'b'.", 0x200000C8))),
            (["-instcert", "-noCSP", "-pin", "1", "a"], wrong(b"pin")),
            (["-instcert", "-noCSP", "large"],
             (0x20000069, error_line(b"File is too large.", 0x20000069))),
        ]
        with open(self.path("large"), "wb") as file:
            file.truncate(1100 << 20)
        for args, (code, line) in rows:
            with self.subTest(args):
                self.expect(args, code, line)
        self.assertEqual(self.containers(), [])
        for args in (["-instcert", "ca.pem"], ["-creatrqst", "-dn", "CN=x", "-nokeygen", "out"]):
            body = self.fail_with(0x200002BD, *args)
            self.assertIn(error_line(b"Containers not found.", 0x200002BD), body)
        status, body = self.raw("-creatrqst", "-dn", "CN=x", "-pin", "1", "a",
                                env={"LC_ALL": "ru_RU.UTF-8"})
        self.assertIn("Неверный ключ: 'pin'.".encode(), body)
        self.assertEqual(status, 0xCE)

    def test_keys_that_are_there(self):
        self.ctl("identity", "create", "CN=Old", "--provtype", "24", "--container", "box", "--pin",
                 "1234")
        self.ctl("identity", "create", "CN=x", "--provtype", "24", "--container", "machine's",
                 "--pin", "1", "--machine")
        keys = ["-dn", "CN=New", "-provtype", "24", "-cont", "box"]
        self.request("req", *keys, "-nokeygen", "-pin", "1234")
        rows = [
            ("wrong password", [*keys, "-nokeygen", "-pin", "4321"], 0x8010006B),
            ("nobody to ask", [*keys, "-nokeygen", "-silent"], 0x80090022),
            ("new key in its place", keys, 0x8009000F),
            ("no such key in it", [*keys, "-nokeygen", "-sg", "-pin", "1234"], 0x8009000D),
            ("no such container", [*keys[:-1], "other", "-nokeygen"], 0x80090016),
            ("of another type", ["-dn", "CN=x", "-cont", "box", "-nokeygen"], 0x80090016),
            ("the machine's", [*keys[:-1], "machine's", "-nokeygen", "-km", "-pin", "1"],
             0x80090016),
            ("bad name", ["-dn", "no name", "-provtype", "24"], 0x80092023),
            ("no such type", ["-dn", "CN=x", "-provtype", "77"], 0x80090017),
        ]
        for name, args, code in rows:
            with self.subTest(name):
                self.fail_with(code, "-creatrqst", *args, "out", errors=1)
                self.assertFalse(os.path.exists(self.path("out")))
        self.request("second", *keys, "-sg")  # beside the other key
        self.issue("req", "cert")
        # The request leads to the key, so that its password is not needed.
        self.expect(["-instcert", "-provtype", "24", "-cont", "box", "cert.pem"], 0, INSTALLED)
        self.assertEqual(len(self.containers()), 2)  # rows of one, a key each

    def test_bad_responses(self):
        self.use_version(10)
        self.request("req", *REQUEST_KEYS)
        self.issue("req", "cert")
        _, der = self.openssl("pkcs7", "-in", "cert.p7", "-outform", "DER")
        at = der.rindex(b"\x17\x0d")  # a date of the root's
        self.make_certificate("rsa", "stranger")
        self.make_certificate("ec", "pointless")
        point = self.der_of("pointless")
        at2 = point.index(b"\x03\x42\x00\x04") + 10
        self.write("pointless.der", point[:at2] + bytes([point[at2] ^ 1]) + point[at2 + 1:])
        self.openssl("x509", "-inform", "DER", "-in", "pointless.der", "-out", "pointless.pem")
        forged = self.der_of("cert")
        self.write("f.der", forged[:-1] + bytes([forged[-1] ^ 1]))
        self.openssl("x509", "-inform", "DER", "-in", "f.der", "-out", "f.pem")
        for one, other in (("f", "ca"), ("cert", "pointless")):
            self.openssl("crl2pkcs7", "-nocrl", "-certfile", f"{one}.pem", "-certfile",
                         f"{other}.pem", "-out", f"{other}.p7")
        rows = [
            ("another's", self.read("stranger.pem"), 0x80092004),
            ("altered", self.read("ca.p7"), 0x80096004),
            ("altered, its issuer in a store", self.read("f.der"), 0x80096004),
            ("a point off the curve", self.read("pointless.p7"), 0x8009310B),
            ("cut short", der[:-20], None),
            ("one certificate damaged", der[:at] + b"\x02" + der[at + 1:], None),
            ("empty", b"", 0x20000065),
        ]
        for name, content, code in rows:
            with self.subTest(name):
                self.write("bad", content)
                self.ctl("store", "add", "CA", "ca.pem")
                self.fail_with(code, "-instcert", "-noCSP", "bad", errors=1)
                self.holds(My=0, Root=0, REQUEST=1)
        self.fail_with(0x80090016, "-instcert", "-cont", "Ann", "cert.p7")  # type 75 is asked for
        self.assertEqual(self.listed("My"), [])
        for _ in range(2):
            self.expect(["-instcert", "-noCSP", "cert.p7"], 0, INSTALLED)
            self.assertEqual(len(self.listed("My")), 1)

    def test_whose_root_is_trusted(self):
        self.request("req", *REQUEST_KEYS)
        self.issue("req", "cert")
        keys = ["-instcert", "-provtype", "24", "-cont", "Ann", "cert.p7"]
        self.expect(keys, 0, INSTALLED)  # nobody to ask
        self.assertEqual(self.listed("Root"), [])
        shown = self.on_terminal(b"(y/n)? ", b"n", *keys)
        self.assertIn(b"CN=ca", shown)
        self.assertEqual(self.listed("Root"), [])
        shown = self.on_terminal(b"(y/n)? ", b"y", *keys)
        self.assertIn(INSTALLED.replace(b"\n", b"\r\n"), shown)
        self.assertEqual(len(self.listed("Root")), 1)

    def test_sides_and_stores(self):
        self.request("req", *REQUEST_KEYS)
        self.issue("req", "cert")
        self.fail_with(0x80070005, "-instcert", "-noCSP", "-duroot", "cert.p7")
        self.holds(Root=0, REQUEST=1)
        self.expect(["-instcert", "-noCSP", "-duREQUEST", "cert.p7"], 0, INSTALLED)
        self.ctl("store", "export", "REQUEST", "kept.pem")
        self.assertEqual(self.read("kept.pem"), self.read("cert.pem"))
        self.use_version(10)
        self.request("req", *REQUEST_KEYS, "-km")
        self.issue("req", "cert")
        self.expect(["-instcert", "-noCSP", "-dmSpecial", "cert.p7"], 0, INSTALLED)
        machine = self.ctl("store", "list", "Special", "--machine").decode()
        self.assertIn("yes", machine)
        self.assertEqual(self.listed("Root"), [])
        self.assertIn("CN=ca", self.ctl("store", "list", "Root", "--machine").decode())
        self.expect(["-instcert", "-noCSP", "-duRoot", "kept.pem"], 0, INSTALLED)
        self.holds(Root=1)

    def test_keys_that_are_gone(self):
        """Whatever leads to a key, nothing is stored for one that is not there."""
        ec = ["-provtype", "16"]
        made = ["-creatrqst", "-provname", self.provider_name(16), *ec]
        for version in (10, 6):
            self.use_version(version)
            shutil.rmtree(self.home, ignore_errors=True)
            self.succeed(*made, "-dn", "CN=Other", "-cont", "other", "-der", "x")
            self.succeed(*made, "-dn", "CN=Ann", "-cont", "box", "-der", "req")
            self.issue("req", "cert")
            shutil.rmtree(self.path("home/containers/box"))
            rows = [("-noCSP", ["-noCSP"]), ("another", ["-cont", "other"])]
            for name, keys in rows:
                with self.subTest(f"{version} {name}"):
                    body = self.fail_with(0x80092004, "-instcert", *ec, *keys, "cert.p7")
            self.assertIn(b"no key here fits", body)
            self.succeed(*made, "-dn", "CN=Ann", "-cont", "box", "-der", "again")
            self.fail_with(0x80092004, "-instcert", *ec, "-cont", "box", "cert.p7")
            self.holds(My=0, CA=0, Root=0, REQUEST=3)
            self.assertFalse(os.path.exists(self.path("home/containers/box/exchange.cer")))
            self.issue("again", "cert")
            self.expect(["-instcert", *ec, "-cont", "box", "cert.p7"], 0, INSTALLED)
            self.assertEqual(len(self.listed("REQUEST")), 2)

    def test_passwords_are_asked_for_once_or_not(self):
        keys = ["-provtype", "16", "-cont", "box"]
        self.ctl("identity", "create", "CN=x", "--provtype", "16", "--container", "box", "--pin", "1")
        self.succeed("-creatrqst", "-dn", "CN=Ann", *keys, "-nokeygen", "-pin", "1", "-der", "req")
        self.issue("req", "cert")
        self.write("foreign", self.read("ca.pem") * 3)
        self.ctl("request", "delete", "box")
        self.fail_with(0x80092004, "-instcert", *keys, "foreign")
        folder = self.path("home/containers/box/")
        for part in ("exchange.pub", "exchange.cer"):
            public = self.read(folder + part)
            os.remove(folder + part)
        shown = self.on_terminal(b": ", b"1\n", "-instcert", *keys, "foreign")
        self.assertEqual(shown.count(b"assword"), 1, shown)
        self.assertIn(closing(0x80092004).strip(), shown)
        self.write(folder + "exchange.cer", public)  # of a container without the public part
        self.expect(["-instcert", *keys, "cert.p7"], 0, INSTALLED)

    def test_what_cannot_be_written(self):
        rows = [("a file in the folder's place", "home/containers"), ("no database", "home/stores.db")]
        for name, place in rows:
            with self.subTest(name):
                os.makedirs(self.path("home"), exist_ok=True)
                self.write(place, b"no such thing")
                self.fail_with(None, "-creatrqst", *REQUEST_KEYS, "out", errors=1)
                self.assertFalse(os.path.exists(self.path("out")))
                os.remove(self.path(place))
                self.assertEqual(self.containers(), [])
