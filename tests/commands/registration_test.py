"""-listDN, -creatuser and -checkreg against pages that stand still."""

import os
import subprocess
import sys

import web_server
from kestrel_case import KestrelCase, closing, error_line

NTE_BAD_DATA = error_line(b"The provider cannot read the data.", 0x80090005)
NAME = '<TR><TD><FONT color="red">{}:</FONT><TD><INPUT name="CN" maxLength="9" value=""></TR>'
FORM = ('<INPUT name="GetSubjectFormPosted"><TABLE>' + NAME.format("Имя") +
        '<TR><TD></TD><INPUT name="hidden" value="1"></TR>'
        '<TR><TD>Страна:</TD><select name="C" ><option value="RU" selected></option>'
        '<option value=Чад></option></select></TR></TABLE>').encode("cp1251")
FIELDS = ("Field ID: CN\nField name: Имя\nMandatory field.\nMaximum length: 9\n\n"
          'Field ID: C\nField name: Страна\nAllowed values: "RU", Чад\n\n').encode()
TOKEN = b'<INPUT Name=TokenID value="T-1"><INPUT Name=Password value="pass%d"> Reg%s'
STATE = b"tblRegRequests<TR><TH></TR><TR><TD>&nbsp;17 </TD></TR>"


class Registration(KestrelCase):
    def setUp(self):
        super().setUp()
        os.makedirs(self.path("log.pages"))
        self.self_sign("localhost")
        files = self.path("localhost.pem") + ":" + self.path("localhost.key")
        server = subprocess.Popen([sys.executable, web_server.__file__, self.path("log"), files],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.addCleanup(server.communicate)
        clear, tls = server.stdout.readline().split()
        self.url, self.tls = f"http://127.0.0.1:{clear}", f"https://localhost:{tls}"

    def page(self, name, content):
        self.write("log.pages/Register_" + name + ".asp", content)

    def posted(self, name):
        return self.read("log.pages/Register_" + name + ".asp.posted")

    def test_list_of_fields(self):
        self.page("RegGetSubject", FORM)
        self.expect(["-listDN", "-FLCA", self.url], 0, FIELDS)
        self.set_machine(f'"DefaultRegistration"="{self.url}"')
        self.expect(["-listDN"], 0, FIELDS)
        self.fail_with(12030, "-listDN", "-FLCA", self.url + "/a/")
        self.assertIn(b"GET /a//Register/RegGetSubject.asp", self.read("log"))

    def test_addresses_that_do_not_answer(self):
        self.page("RegGetSubject", b"another page")
        self.set_machine('"DefaultRegistration"=dword:00000001')
        closed = b"The connection to the server was closed."
        for name, args, code, text in (
                ("not the form", ["-FLCA", self.url], 1359, b"The platform failed inside."),
                ("no such page", ["-FLCA", self.url + "/x"], 12030, closed),
                ("in clear after all", ["-FLCA", f"https{self.url[4:]}/status?code=301&x=http://"],
                 1359, b"The platform failed inside."),
                ("a stranger", ["-FLCA", self.tls], 12175,
                 b"No secure connection to the server could be made: SSL certificate problem: "
                 b"self-signed certificate"),
                ("nobody", ["-FLCA", "http://127.0.0.1:1"], 12029, None),
                ("a setting that is no text", [], 13, None),
                ("another key", ["-FLCA", self.url, "-token", "t"], 0x200000CE,
                 b"Wrong key: 'token'.")):
            with self.subTest(name):
                body = self.fail_with(code, "-listDN", *args)
                if text:
                    self.assertEqual(body, error_line(text, code) + closing(code))

    def test_a_page_without_an_end(self):
        with open(self.path("log.pages/Register_RegGetSubject.asp"), "wb") as page:
            page.truncate(257 << 20)  # one more than is held
        body = self.fail_with(223, "-listDN", "-FLCA", self.url)
        self.assertEqual(body, error_line(b"The file is larger than the limit.", 223) + closing(223))

    def create(self, answer, *fields):
        self.page("RegGetSubject", FORM)
        keys = [word for field in fields for word in ("-field", field)]
        # The form is there until it was read: the answer to the post follows it.
        self.write("log.pages/Register_RegGetSubject.asp.answer", answer)
        return ["-creatuser", "-FLCA", self.url, *keys]

    def test_registers(self):
        for number, (rest, told) in enumerate(((b"CreateCertRequest", b"User registred.\n"),
                                               (b"TemporaryUser", b"User registration pending.\n"))):
            args = self.create(TOKEN % (number, rest), "CN=Юля = я", "C=Чад")
            self.expect(args, 0, told + b"Token ID: T-1\nPassword: pass%d\n" % number)
            self.assertEqual(self.posted("RegGetSubject"),
                             b"GetSubjectFormPosted=1&CN=%DE%EB%FF+%3D+%FF&C=%D7%E0%E4")

    def test_fields_that_do_not_fit(self):
        token = TOKEN % (0, b"TemporaryUser")
        for name, answer, fields, code, body in (
                ("no sign", token, ["CN"], 0x80090005, b"Wrong field format.CN\n" + NTE_BAD_DATA),
                ("no such field", token, ["hidden=2"], 0x80090005,
                 b"Wrong field ID: hidden\n" + NTE_BAD_DATA),
                ("mandatory", token, [], 0x80090005, NTE_BAD_DATA),
                ("not in the page's alphabet", token, ["CN=日"], 1113, error_line(
                    b"The text holds a character that the other encoding has no form for.", 1113)),
                ("no token", b"RegTemporaryUser", ["CN=a", 'C="RU"'], 1359,
                 error_line(b"The platform failed inside.", 1359)),
                ("no status", TOKEN % (0, b""), ["CN=a", 'C="RU"'], 1359,
                 error_line(b"The platform failed inside.", 1359))):
            with self.subTest(name):
                self.expect(self.create(answer, *fields), code, body)

    def test_state_of_a_registration(self):
        args = ["-checkreg", "-FLCA", self.url, "-token", "T 1", "-tpassword", "p&=+%"]
        for page, code, body in (
                (STATE, 0, b"Request ID: 17\nUser registration pending.\n"),
                (STATE + b"CreateCertReqButton", 0, b"Request ID: 17\nUser registred.\n"),
                (STATE[:-40], 1359, error_line(b"The platform failed inside.", 1359))):
            self.page("RegTemporaryUser", page)
            self.expect(args, code, body)
            self.assertEqual(self.posted("RegTemporaryUser"), b"TokenID=T 1&Password=p&=+%")
        body = self.fail_with(0x80090010, "-checkreg", "-FLCA", self.url)
        self.assertIn(b"does not permit", body)
        secret = "x" * 20
        body = self.fail_with(0x200000CE, *args[:-1], secret)
        self.assertNotIn(secret.encode(), body)

    def test_a_request_is_asked_for_in_vain(self):
        status, body = self.kestrel("-pendcert", "-noCSP", "-FLCA", "http://127.0.0.1:1", "-token", "T",
                                    "-tpassword", "p", stdin=b"1\n")
        self.assertIn(b"Request failed", body)
        self.assertEqual(status, 0)
