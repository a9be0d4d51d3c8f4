"""The FLCA pages under /User/: for people who hold a certificate and show it to the TLS server."""

import base64
import hashlib

from enrolment.exchange import page
from enrolment.flca_parts import (USER_WORDS, armoured, bare, lines_of, request_page, stored_form,
                                  view_page)
from enrolment.openssl import OpenSslError
from enrolment.state import ISSUED, PENDING, REVOKED

# Certificates are numbered apart from requests.
FIRST_CERTIFICATE = 1000
REFUSED = "/User/Error.asp"


def cells(*texts):
    return "\r\n".join(f'<td class="View">{text}</td>' for text in texts)


def state_link(row, function, number):
    """A state as these pages show it: the word is the text of a link."""
    return f'<a href="javascript:{function}({number})">{USER_WORDS[row["state"]]}</a>'


class UserPages:
    def __init__(self, issuer, decision, stored):
        self.issuer, self.decision, self.stored = issuer, decision, stored

    def handle(self, question):
        handler = self.PAGES.get(question.path.rpartition("/")[2].lower())
        if handler is None:
            return page("Нет такой страницы", 404)
        client = question.client()
        if client is None:
            return page("Нужен сертификат клиента", 403)
        return handler(self, question, hashlib.sha1(client).hexdigest())

    def home(self, _, owner):
        rows = self.issuer.state.requests_of(owner)
        certificates = "".join(self.certificate_row(*item) for item in rows
                               if "certificate" in item[1])
        requests = "".join(self.request_row(*item) for item in rows)
        revocations = "".join(f"<tr>{cells(number, USER_WORDS[REVOKED])}</tr>\r\n"
                              for number, row in rows if row["state"] == REVOKED)
        return page(
            f"Сертификаты:\r\n<table>\r\n<tr><td>Номер</td></tr>\r\n{certificates}</table>\r\n"
            "Запросы на сертификаты:\r\n<table>\r\n<tr><td>Дата</td></tr>\r\n"
            f"{requests}</table>\r\n"
            "Запросы на отзыв:\r\n<table>\r\n<tr><td>Дата</td></tr>\r\n"
            f"{revocations}</table>")

    def certificate_row(self, number, row):
        own = number + FIRST_CERTIFICATE
        shown = cells(row["serial"], "&nbsp;01.01.2026&nbsp;", "<nobr>User</nobr>",
                      state_link(row, "ShowState", own))
        return (f"<tr>\r\n{shown}\r\n"
                f'<td><a href="javascript:ViewCert({own})">Показать</a></td></tr>\r\n')

    def request_row(self, number, row):
        shown = cells("&nbsp;01.01.2026&nbsp;", "<nobr>User</nobr>", "Ann",
                      state_link(row, "ShowState", number))
        form = self.form_of(row)
        text = (armoured if form == "armoured" else lines_of)(stored_form(self.issuer, row, form))
        return (f'<tr>\r\n{shown}\r\n<td><form ID="frmPrintRequestPage{number}" method=post>'
                f'<INPUT TYPE="hidden" NAME="PKCS10" VALUE="{text}"></form></td></tr>\r\n')

    def form_of(self, row):
        """One signature around a request that waits, two around one that was decided on."""
        if row["state"] == PENDING:
            return self.stored if self.stored in ("plain", "once") else "once"
        return self.stored if self.stored in ("twice", "armoured", "utf16") else "twice"

    def new_request(self, _, owner):
        return request_page(f'CN="Ann ""A"" {owner[:4]}"')

    def submit(self, question, owner):
        form = question.form()
        try:
            twice = bare(form["PKCS7x2"])
            sent = bare(form["PKCS7"])
            if self.issuer.unwrap(twice) != sent:
                raise ValueError("the outer message holds another request")
            self.issuer.take(owner, sent, self.decision, template="user",
                             twice=base64.b64encode(twice).decode())
        except (OpenSslError, ValueError, KeyError):
            return page(f'<a href="{REFUSED}">Error.asp</a>', 302)
        return page('<a href="User.asp">User.asp</a>', 302)

    def own_row(self, number, owner):
        row = self.issuer.state.request(number)
        return row if row and row["owner"] == owner else None

    def certificate(self, question, owner):
        row = self.own_row(question.parameter("ID"), owner)
        if row is None or row["state"] != ISSUED:
            return page("Сертификат не найден")
        chain = lines_of(self.issuer.chain(row["certificate"].encode())).split("\r\n")
        script = "".join(f'sCert=sCert & "{line}" & vbNewLine\r\n' for line in chain if line)
        return page(f'<SCRIPT LANGUAGE="VBScript">\r\nsCert=""\r\n{script}</SCRIPT>')

    def view_certificate(self, question, owner):
        number = int(question.parameter("ID") or 0) - FIRST_CERTIFICATE
        row = self.own_row(number, owner)
        if row is None or "certificate" not in row:
            return page("Сертификат не найден", 404)
        return view_page("Сертификат", row["certificate"].encode())

    def view_request(self, question, _):
        return view_page("Запрос на сертификат", bare(question.form()["PKCS10"]))

    PAGES = {
        "user.asp": home,
        "usermakecertreq.asp": new_request,
        "usersubmitcertreq.asp": submit,
        "usergetcert.asp": certificate,
        "userviewcert.asp": view_certificate,
        "viewcertrequest.asp": view_request,
    }
